#include "OPColorTransformStack.h"

#include "RawForms.h"

#include <QtCore/QMutexLocker>

#include <algorithm>

OPColorTransformStack::~OPColorTransformStack()
{
    Q_ASSERT_X(std::all_of(m_Stack.begin(), m_Stack.end(),
                   [this](OPColorTransformBase *element) { return !element || m_Stack.count(element) == 1; }),
        "OPColorTransformStack", "an element is held twice, and would be deleted twice");
    qDeleteAll(m_Stack);
}

void OPColorTransformStack::Push(OPColorTransformBase *transform)
{
    const QMutexLocker lock(&m_Mutex);
    m_Stack.push_back(transform);
}

OPColorTransformBase *OPColorTransformStack::Pop()
{
    const QMutexLocker lock(&m_Mutex);
    Q_ASSERT_X(!m_Stack.isEmpty(), "OPColorTransformStack", "nothing to take from an empty stack");
    return m_Stack.takeLast();
}

OPColorTransformBase *OPColorTransformStack::Top() const
{
    const QMutexLocker lock(&m_Mutex);
    Q_ASSERT_X(!m_Stack.isEmpty(), "OPColorTransformStack", "an empty stack has no last element");
    return m_Stack.last();
}

void OPColorTransformStack::PopAll()
{
    for (;;) {
        const QMutexLocker lock(&m_Mutex);
        if (m_Stack.isEmpty())
            return;
        m_Stack.removeLast();
    }
}

bool OPColorTransformStack::isEmpty() const
{
    const QMutexLocker lock(&m_Mutex);
    return m_Stack.isEmpty();
}

template <class Visit>
void OPColorTransformStack::FirstToLast(Visit visit) const
{
    const QMutexLocker lock(&m_Mutex);
    for (const OPColorTransformBase *transform : m_Stack)
        if (transform)
            visit(*transform);
}

template <class Visit>
void OPColorTransformStack::LastToFirst(Visit visit) const
{
    const QMutexLocker lock(&m_Mutex);
    for (auto transform = m_Stack.crbegin(); transform != m_Stack.crend(); ++transform)
        if (*transform)
            visit(static_cast<const OPColorTransformBase &>(**transform));
}

void OPColorTransformStack::operator()(void *data, unsigned int byteCount) const
{
    FirstToLast([=](const auto &transform) { transform(data, byteCount); });
}

void OPColorTransformStack::operator()(RGBA32iImage &image) const
{
    LastToFirst([&](const auto &transform) { transform(color::flatPixels(image), color::pixelCount(image)); });
}

void OPColorTransformStack::operator()(QImage &image) const
{
    FirstToLast([&](const auto &transform) { transform(image); });
}

void OPColorTransformStack::operator()(OPHSLA &pixel) const
{
    FirstToLast([&](const auto &transform) { transform(pixel); });
}

void OPColorTransformStack::operator()(OPRGBA128f &pixel) const
{
    FirstToLast([&](const auto &transform) { transform(pixel); });
}

void OPColorTransformStack::operator()(OPRGBA128i &pixel) const
{
    FirstToLast([&](const auto &transform) { transform(pixel); });
}

void OPColorTransformStack::operator()(OPRGBA64f &pixel) const
{
    FirstToLast([&](const auto &transform) { transform(pixel); });
}

void OPColorTransformStack::operator()(OPRGBA64i &pixel) const
{
    FirstToLast([&](const auto &transform) { transform(pixel); });
}

void OPColorTransformStack::operator()(OPRGBA32i &pixel) const
{
    FirstToLast([&](const auto &transform) { transform(pixel); });
}

void OPColorTransformStack::Invert(void *data, unsigned int byteCount) const
{
    LastToFirst([=](const auto &transform) { transform.Invert(data, byteCount); });
}

void OPColorTransformStack::Invert(RGBA32iImage &image) const
{
    LastToFirst([&](const auto &transform) { transform.Invert(color::flatPixels(image), color::pixelCount(image)); });
}

void OPColorTransformStack::Invert(QImage &image) const
{
    LastToFirst([&](const auto &transform) { transform.Invert(image); });
}

void OPColorTransformStack::Invert(OPRGBA128f &pixel) const
{
    LastToFirst([&](const auto &transform) { transform.Invert(pixel); });
}

void OPColorTransformStack::Invert(OPRGBA128i &pixel) const
{
    LastToFirst([&](const auto &transform) { transform.Invert(pixel); });
}

void OPColorTransformStack::Invert(OPRGBA64f &pixel) const
{
    LastToFirst([&](const auto &transform) { transform.Invert(pixel); });
}

void OPColorTransformStack::Invert(OPRGBA64i &pixel) const
{
    LastToFirst([&](const auto &transform) { transform.Invert(pixel); });
}

void OPColorTransformStack::Invert(OPRGBA32i &pixel) const
{
    LastToFirst([&](const auto &transform) { transform.Invert(pixel); });
}
