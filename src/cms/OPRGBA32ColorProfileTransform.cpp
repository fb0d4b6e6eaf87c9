#include "OPRGBA32ColorProfileTransform.h"

#include "OPTransformImageColors.h"

namespace {

template <class Image>
void walk(const KXCMSTransform &transform, Image &image)
{
    if (!transform.IsEmpty())
        OPTransformImageColors<KXCMSTransform, Image>(transform, &image)();
}

} // namespace

OPRGBA32ColorProfileTransform::OPRGBA32ColorProfileTransform(const KXCMSProfile &first, const KXCMSProfile &second)
    : m_Forward(first, second)
    , m_Backward(second, first)
{
}

/// Both directions or none: the second one may lack memory.
OPRGBA32ColorProfileTransform &OPRGBA32ColorProfileTransform::operator=(const OPRGBA32ColorProfileTransform &other)
{
    OPRGBA32ColorProfileTransform made(other);
    m_Forward.d.swap(made.m_Forward.d);
    m_Backward.d.swap(made.m_Backward.d);
    return *this;
}

void OPRGBA32ColorProfileTransform::operator()(void *, unsigned int) const { }
void OPRGBA32ColorProfileTransform::operator()(RGBA32iImage &image) const { walk(m_Forward, image); }
void OPRGBA32ColorProfileTransform::operator()(QImage &image) const { walk(m_Forward, image); }
void OPRGBA32ColorProfileTransform::operator()(OPRGBA32i &pixel) const { m_Forward(pixel); }

void OPRGBA32ColorProfileTransform::Invert(void *, unsigned int) const { }
void OPRGBA32ColorProfileTransform::Invert(RGBA32iImage &image) const { walk(m_Backward, image); }
void OPRGBA32ColorProfileTransform::Invert(QImage &image) const { walk(m_Backward, image); }
void OPRGBA32ColorProfileTransform::Invert(OPRGBA32i &pixel) const { m_Backward(pixel); }
