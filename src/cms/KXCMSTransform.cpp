#include "KXCMSTransform.h"

#include "color/Runs.h"
#include "tintClass.h"

#include <QtGui/QColor>

#include <typeinfo>

class KXCMSTransform::Private {
public:
    Private() = default;
    Private(const KXCMSProfile &source, const KXCMSProfile &target)
        : m_Source(source)
        , m_Target(target)
    {
        constexpr unsigned int perceptual = 0, noFlags = 0;
        if (m_Source.GetColorSpace() == KXCMSProfile::Rgb && m_Target.GetColorSpace() == KXCMSProfile::Rgb
            && m_Source != m_Target)
            m_Handle = tintClass::createTransform(
                m_Source.Handle(), tintFormatBGRA8, m_Target.Handle(), tintFormatBGRA8, perceptual, noFlags);
    }
    ~Private() { tintClass::deleteTransform(m_Handle); }
    Private(const Private &) = delete;
    Private &operator=(const Private &) = delete;

    const KXCMSProfile &Source() const { return m_Source; }
    const KXCMSProfile &Target() const { return m_Target; }
    void *Handle() const { return m_Handle; }

private:
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
    auto made = std::make_unique<Private>(other.d->Source(), other.d->Target());
    BaseTransformation::operator=(other);
    d = std::move(made);
    return *this;
}

void KXCMSTransform::operator()(OPRGBA32i &pixel) const
{
    if (void *const handle = d->Handle())
        tintClass::doTransform(handle, &pixel, &pixel, 1);
}

void KXCMSTransform::operator()(OPRGBA32i *pixels, int count) const
{
    void *const handle = d->Handle();
    if (handle && count > 0)
        tintClass::doTransform(handle, pixels, pixels, static_cast<unsigned int>(count));
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

namespace {

/// A transform between profiles, by rows instead of pixels.
class ProfileRuns : public color::RunTransformation {
public:
    explicit ProfileRuns(std::shared_ptr<const KXCMSTransform> transform)
        : m_transform(std::move(transform))
    {
    }

    using BaseTransformation::operator();
    void operator()(OPRGBA32i &pixel) const override { (*m_transform)(pixel); }
    void Run(OPRGBA32i *pixels, int count) const override { (*m_transform)(pixels, count); }

private:
    std::shared_ptr<const KXCMSTransform> m_transform;
};

} // namespace

std::shared_ptr<BaseTransformation> color::inRuns(const std::shared_ptr<BaseTransformation> &transformation)
{
    const BaseTransformation &given = *transformation;
    if (typeid(given) != typeid(KXCMSTransform)) // a class derived from it may do something else to a pixel
        return transformation;
    return std::make_shared<ProfileRuns>(std::static_pointer_cast<const KXCMSTransform>(transformation));
}
