#include "KXWBTransformation.h"

#include "Tables.h"
#include "WhiteBalance.h"
#include "support/Kernels.h"

#include <atomic>
#include <mutex>
#include <new>
#include <utility>

namespace {

using Kernel = std::function<void(const KXWBTransformation &, unsigned char *, bool)>;

WBData measured(const RGBA32iImage &image)
{
    Q_ASSERT_X(!image.IsTiled(), "KXWBTransformation", "a flat image is measured");
    const OPRGBA32i *const pixels = image.IsTiled() ? nullptr : image.Bits();
    return color::measured({ { pixels, qptrdiff(sizeof *pixels) * image.Width() }, image.Width(), image.Height() });
}

WBData measured(const QImage &image)
{
    const QImage argb = image.convertToFormat(QImage::Format_ARGB32);
    if (argb.isNull() && !image.isNull())
        throw std::bad_alloc();
    return color::measured({ pixels::borrow(argb), argb.width(), argb.height() });
}

/// What the kernel of the class runs: one of the three below it, that of the object made last. The function object that
/// callers see is set to runChosen once and stays that; so a constructor on one thread writes nothing that a block on
/// another one reads but this pointer. Only with a module that lacks one of the kernels it is emptied again, and blocks
/// may then not run meanwhile.
std::atomic<const Kernel *> chosen { nullptr };

void runChosen(const KXWBTransformation &self, unsigned char *pixels, bool flag)
{
    kernels::call(*chosen.load(std::memory_order_acquire), self, pixels, flag);
}

/// Lets @p shown run @p kernel from now on. With null it becomes empty.
void choose(Kernel &shown, const Kernel *kernel)
{
    static std::mutex mutex;
    const std::lock_guard<std::mutex> lock(mutex);
    if (!kernel) {
        if (shown)
            shown = nullptr;
        return;
    }
    chosen.store(kernel, std::memory_order_release);
    const auto *const target = shown.target<decltype(&runChosen)>();
    if (!target || *target != runChosen)
        shown = runChosen;
}

} // namespace

Kernel KXWBTransformation::m_WhiteBalanceTransformationAVX2;
Kernel KXWBTransformation::m_WhiteBalanceOverExposureAVX2;
Kernel KXWBTransformation::m_WhiteBalanceUnderExposureAVX2;
Kernel KXWBTransformation::m_WhiteBalanceAutoAVX2;

KXWBTransformation::KXWBTransformation(const RGBA32iImage &image, BalanceFunction function, int amount)
    : KXWBTransformation(measured(image), function, amount)
{
}

KXWBTransformation::KXWBTransformation(const QImage &image, BalanceFunction function, int amount)
    : KXWBTransformation(measured(image), function, amount)
{
}

KXWBTransformation::KXWBTransformation(WBData data, BalanceFunction function, int amount)
    : m_Amount(color::fadeOfPercent(amount))
    , m_Function(function)
    , m_Data(std::make_shared<const WBData>(std::move(data)))
    , m_Tables { Auto(), OverExposure(), UnderExposure() }
{
    GetFunction();
}

KXWBTransformation::KXWBTransformation(const KXWBTransformation &other)
    : BaseTransformation(other)
    , m_Amount(other.m_Amount)
    , m_Function(other.m_Function)
    , m_Data(std::make_shared<const WBData>(*other.m_Data))
    , m_Tables(other.m_Tables)
{
}

KXWBTransformation &KXWBTransformation::operator=(const KXWBTransformation &other) = default;

KXWBTransformation::~KXWBTransformation() = default;

void KXWBTransformation::operator()(OPRGBA32i &pixel) const
{
    Q_ASSERT_X(IsKnown(), "KXWBTransformation", "there is no such balance function");
    if (IsKnown())
        pixel = Tables(m_Function)(pixel);
}

void KXWBTransformation::operator()(unsigned char *pixels, bool flag) const
{
    kernels::call(m_WhiteBalanceTransformationAVX2, *this, pixels, flag);
}

/// A channel whose values are all one divides 0 by 0, or more by 0, in its stretch. NaN gets through to the truncation.
KXChannelTables KXWBTransformation::Auto() const
{
    const WBData &data = *m_Data;
    const auto channel = [&](double scale, double offset, double least, double most, double mean) {
        return color::tableOf([&](int i) {
            const double corrected = color::limited(offset * 255.0 + i * scale);
            const double stretched = (corrected - least) / (most - least) * data.stretchHigh + data.stretchLow;
            const double moved = color::limited(data.meanY - mean + i);
            const int mixed = arithmetic::truncate(moved * (1.0 - data.mix) + color::limited(stretched) * data.mix);
            return data.table[size_t(color::faded(i, mixed, m_Amount, color::wholeFade) & 255)];
        });
    };
    return { channel(1, data.offsetR, data.minR, data.maxR, data.meanR),
        channel(data.scaleG, 0, data.minG, data.maxG, data.meanG),
        channel(1, data.offsetB, data.minB, data.maxB, data.meanB) };
}

KXChannelTables KXWBTransformation::OverExposure() const
{
    return color::sameTables([&](int i) { return color::faded(i, i * i / 255, m_Amount, color::wholeFade); });
}

KXChannelTables KXWBTransformation::UnderExposure() const
{
    return color::sameTables(
        [&](int i) { return color::faded(i, 255 - ((255 - i) * (255 - i) >> 8), m_Amount, color::wholeFade); });
}

void KXWBTransformation::GetFunction()
{
    const struct {
        const Kernel &kernel;
        bool isBound;
    } functions[] = {
        // by BalanceFunction
        { m_WhiteBalanceAutoAVX2, kernels::bind(m_WhiteBalanceAutoAVX2, KX_SYMBOL(WhiteBalanceAutoAVX2)) },
        { m_WhiteBalanceOverExposureAVX2,
            kernels::bind(m_WhiteBalanceOverExposureAVX2, KX_SYMBOL(WhiteBalanceOverExposureAVX2)) },
        { m_WhiteBalanceUnderExposureAVX2,
            kernels::bind(m_WhiteBalanceUnderExposureAVX2, KX_SYMBOL(WhiteBalanceUnderExposureAVX2)) },
    };
    m_HasKernel = functions[0].isBound && functions[1].isBound && functions[2].isBound;
    if (!IsKnown())
        return;
    const auto &own = functions[size_t(m_Function)];
    choose(m_WhiteBalanceTransformationAVX2, own.isBound ? &own.kernel : nullptr);
}
