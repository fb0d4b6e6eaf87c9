#include "KXCMSTransform.h"

#include "tintClass.h"

#include <QtGui/QColor>

class KXCMSTransform::Private {
public:
    Private() = default;
    Private(const KXCMSProfile &source, const KXCMSProfile &target)
        : m_Source(source)
        , m_Target(target)
    {
        Make();
    }
    ~Private() { tintClass::deleteTransform(m_Handle); }
    Private(const Private &) = delete;
    Private &operator=(const Private &) = delete;

    void Assign(const Private &other)
    {
        m_Source = other.m_Source;
        m_Target = other.m_Target;
        Make();
    }

    const KXCMSProfile &Source() const { return m_Source; }
    const KXCMSProfile &Target() const { return m_Target; }
    void *Handle() const { return m_Handle; }

private:
    /// Replaces the handle by one for the profiles as they are now.
    void Make()
    {
        constexpr unsigned int perceptual = 0, noFlags = 0;
        tintClass::deleteTransform(m_Handle);
        m_Handle = nullptr;
        if (m_Source.GetColorSpace() == KXCMSProfile::Rgb && m_Target.GetColorSpace() == KXCMSProfile::Rgb
            && m_Source != m_Target)
            m_Handle = tintClass::createTransform(
                m_Source.Handle(), tintFormatBGRA8, m_Target.Handle(), tintFormatBGRA8, perceptual, noFlags);
    }

    KXCMSProfile m_Source;
    KXCMSProfile m_Target;
    void *m_Handle = nullptr;
};

KXCMSTransform::KXCMSTransform()
    : d(new Private)
{
}

KXCMSTransform::KXCMSTransform(const KXCMSProfile &source, const KXCMSProfile &target)
    : d(new Private(source, target))
{
}

KXCMSTransform::KXCMSTransform(const KXCMSTransform &other)
    : BaseTransformation(other)
    , d(new Private(other.d->Source(), other.d->Target()))
{
}

KXCMSTransform::~KXCMSTransform() = default;

KXCMSTransform &KXCMSTransform::operator=(const KXCMSTransform &other)
{
    BaseTransformation::operator=(other);
    d->Assign(*other.d);
    return *this;
}

void KXCMSTransform::operator()(OPRGBA32i &pixel) const
{
    if (void *const handle = d->Handle())
        tintClass::doTransform(handle, &pixel, &pixel, 1);
}

void KXCMSTransform::operator()(QColor &color) const
{
    if (IsEmpty())
        return;
    OPRGBA32i pixel(color.rgba());
    (*this)(pixel);
    color.setRgba(pixel);
}

bool KXCMSTransform::IsEmpty() const { return !d->Handle(); }
