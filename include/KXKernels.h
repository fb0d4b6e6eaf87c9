#pragma once

/// @file
/// What a line pass runs along each line of an image: sliding accumulators and one-dimensional kernels.
///
/// Lines are contiguous pixels with straight alpha; positions count from 0. All classes are values: a worker of a pass
/// copies the object that it was given, so that each thread slides a window of its own. One object must not be used by
/// two threads at once. Nothing here throws but constructors that allocate.

#include "KXGaussianBase.h"
#include "KXGlobal.h"
#include "KXPixels.h"

#include <algorithm>
#include <vector>

/// What a kernel or an accumulator works on. The numbers are part of the interface to the kernel module.
enum KernelType : int {
    KernelUnspecified = 0, ///< an accumulator that does nothing, or an application's own
    KernelPlain = 1, ///< four channels as they are; a kernel of this type is never given to the kernel module
    KernelPremultiplied = 2, ///< four channels, colour premultiplied
    KernelAlpha = 3, ///< alpha only
    KernelAlphaInverted = 4, ///< alpha only, complemented
    KernelAlphaColored = 5 ///< alpha only, colour replaced
};

/// Root of all accumulators and kernels.
class KX_EXPORT OPKernelBase {
public:
    explicit OPKernelBase(KernelType type)
        : m_type(type)
    {
    }
    OPKernelBase(const OPKernelBase &) = default;
    OPKernelBase &operator=(const OPKernelBase &) = default;
    virtual ~OPKernelBase();

    KernelType Type() const { return m_type; }

private:
    KernelType m_type;
};

/// A window of 2 * radius + 1 samples that slides along a line: samples are added and subtracted, and @c Finalize
/// writes what the window holds. This class does nothing at all and has the radius 0.
///
/// The forms with @c unsigned @c char pointers, and @c SubtractAddFinalize, are empty in every class of this library.
/// They are hooks for the kernel module.
///
/// Each accumulator is used like this one:
/// @code
/// std::vector<OPRGBA32i> means(line.size());
/// const int count = int(line.size());
/// const auto at = [&](int i) { return line[size_t(std::clamp(i, 0, count - 1))]; }; // the end pixels repeat
/// OPRGBABlurAccumulator window(1);
/// const int radius = window.GetRadius();
/// for (int i = -radius; i < radius; ++i)
///     window.Add(at(i));
/// for (int i = 0; i < count; ++i) {
///     window.Add(at(i + radius)); // the window is complete: from i - radius to i + radius
///     window.Finalize(means[size_t(i)]);
///     window.Subtract(at(i - radius));
/// }
/// @endcode
class KX_EXPORT OPRGBABlurAccumulatorBase : public OPKernelBase {
public:
    /// The largest radius: with it a window of 255s still sums to less than 2^31. Accumulators clamp their radius to
    /// 0..MaximumRadius.
    static constexpr int MaximumRadius = (1 << 22) - 1;

    OPRGBABlurAccumulatorBase()
        : OPKernelBase(KernelUnspecified)
    {
    }

    /// Takes a sample into the window.
    virtual void Add(unsigned char *, bool);
    virtual void Add(const OPRGBA32i &);
    /// Takes out of the window a sample that was added before.
    virtual void Subtract(unsigned char *, bool);
    virtual void Subtract(const OPRGBA32i &);
    /// Writes what the window holds; the window stays as it is.
    virtual void Finalize(unsigned char *, bool) const;
    virtual void Finalize(OPRGBA32i &) const;
    /// Empties the window.
    virtual void Reset();
    /// In samples: the window holds 2 * radius + 1.
    virtual int GetRadius() const;
    virtual void SubtractAddFinalize(unsigned char *, unsigned char *, void *, void *, void *, void *);

protected:
    explicit OPRGBABlurAccumulatorBase(KernelType type)
        : OPKernelBase(type)
    {
    }
};

/// The mean of each of the four channels, truncated. Colour counts whatever its alpha is.
class KX_EXPORT OPRGBABlurAccumulator : public OPRGBABlurAccumulatorBase {
public:
    explicit OPRGBABlurAccumulator(int radius)
        : OPRGBABlurAccumulator(KernelPlain, radius)
    {
    }

    using OPRGBABlurAccumulatorBase::Add;
    using OPRGBABlurAccumulatorBase::Finalize;
    using OPRGBABlurAccumulatorBase::Subtract;
    void Add(const OPRGBA32i &pixel) override
    {
        m_a += pixel.a;
        m_r += pixel.r;
        m_g += pixel.g;
        m_b += pixel.b;
    }
    /// Takes a sample into the window @p times times; a window holds no more than its size.
    void AddRepeated(const OPRGBA32i &pixel, int times)
    {
        m_a += times * pixel.a;
        m_r += times * pixel.r;
        m_g += times * pixel.g;
        m_b += times * pixel.b;
    }
    void Subtract(const OPRGBA32i &pixel) override
    {
        m_a -= pixel.a;
        m_r -= pixel.r;
        m_g -= pixel.g;
        m_b -= pixel.b;
    }
    void Finalize(OPRGBA32i &target) const override
    {
        const auto mean = [this](int sum) { return static_cast<unsigned char>(sum / m_size); };
        target = OPRGBA32i(mean(m_b), mean(m_g), mean(m_r), mean(m_a));
    }
    void Reset() override { m_a = m_r = m_g = m_b = 0; }
    int GetRadius() const override;

    /// 2 * GetRadius() + 1.
    int Size() const { return m_size; }

protected:
    OPRGBABlurAccumulator(KernelType type, int radius)
        : OPRGBABlurAccumulatorBase(type)
        , m_radius(std::clamp(radius, 0, MaximumRadius))
        , m_size(2 * m_radius + 1)
    {
    }

    int m_radius;
    int m_size;
    int m_a = 0, m_r = 0, m_g = 0, m_b = 0;
};

/// The mean of straight pixels as if they were premultiplied, unpremultiplied again: colour counts by its alpha.
///
/// A colour sample counts c * a / 255, truncated, and the result is (sum / size * 255) / mean alpha, truncated at each
/// step and not clamped. So even a window of 1 loses some colour of semi-transparent pixels, and where the mean alpha
/// is 0 the whole pixel becomes 0.
class KX_EXPORT OPRGBABlurAccumulatorPremul : public OPRGBABlurAccumulator {
public:
    explicit OPRGBABlurAccumulatorPremul(int radius)
        : OPRGBABlurAccumulator(KernelPremultiplied, radius)
    {
    }

    using OPRGBABlurAccumulatorBase::Add;
    using OPRGBABlurAccumulatorBase::Finalize;
    using OPRGBABlurAccumulatorBase::Subtract;
    void Add(const OPRGBA32i &pixel) override
    {
        m_a += pixel.a;
        m_r += Premultiplied(pixel.r, pixel.a);
        m_g += Premultiplied(pixel.g, pixel.a);
        m_b += Premultiplied(pixel.b, pixel.a);
    }
    void AddRepeated(const OPRGBA32i &pixel, int times)
    {
        m_a += times * pixel.a;
        m_r += times * Premultiplied(pixel.r, pixel.a);
        m_g += times * Premultiplied(pixel.g, pixel.a);
        m_b += times * Premultiplied(pixel.b, pixel.a);
    }
    void Subtract(const OPRGBA32i &pixel) override
    {
        m_a -= pixel.a;
        m_r -= Premultiplied(pixel.r, pixel.a);
        m_g -= Premultiplied(pixel.g, pixel.a);
        m_b -= Premultiplied(pixel.b, pixel.a);
    }
    void Finalize(OPRGBA32i &target) const override
    {
        const int mean = m_a / m_size;
        if (mean <= 0) {
            target = OPRGBA32i();
            return;
        }
        const auto quotient = [this, mean](int sum) { return static_cast<unsigned char>(sum / m_size * 255 / mean); };
        target = OPRGBA32i(quotient(m_b), quotient(m_g), quotient(m_r), static_cast<unsigned char>(mean));
    }
    int GetRadius() const override;

private:
    static int Premultiplied(unsigned channel, unsigned alpha) { return static_cast<int>(channel * alpha / 255u); }
};

/// The mean of alpha, truncated; the colour bytes of the target stay. A pass finalises into a line of zeros, so that in
/// its result the colour bytes are 0.
class KX_EXPORT OPAlphaBlurAccumulator : public OPRGBABlurAccumulatorBase {
public:
    explicit OPAlphaBlurAccumulator(int radius)
        : OPAlphaBlurAccumulator(KernelAlpha, radius)
    {
    }

    using OPRGBABlurAccumulatorBase::Add;
    using OPRGBABlurAccumulatorBase::Finalize;
    using OPRGBABlurAccumulatorBase::Subtract;
    void Add(const OPRGBA32i &pixel) override { m_a += pixel.a; }
    /// Takes a sample into the window @p times times; a window holds no more than its size.
    void AddRepeated(const OPRGBA32i &pixel, int times) { m_a += times * pixel.a; }
    void Subtract(const OPRGBA32i &pixel) override { m_a -= pixel.a; }
    void Finalize(OPRGBA32i &target) const override { target.a = Mean(); }
    void Reset() override { m_a = 0; }
    int GetRadius() const override;

    /// 2 * GetRadius() + 1.
    int Size() const { return m_size; }

protected:
    OPAlphaBlurAccumulator(KernelType type, int radius)
        : OPRGBABlurAccumulatorBase(type)
        , m_radius(std::clamp(radius, 0, MaximumRadius))
        , m_size(2 * m_radius + 1)
    {
    }

    unsigned char Mean() const { return static_cast<unsigned char>(m_a / m_size); }

    int m_radius;
    int m_size;
    int m_a = 0;
};

/// 255 minus the mean of alpha; the colour bytes of the target stay.
class KX_EXPORT OPAlphaBlurAccumulatorWithInvert : public OPAlphaBlurAccumulator {
public:
    explicit OPAlphaBlurAccumulatorWithInvert(int radius)
        : OPAlphaBlurAccumulator(KernelAlphaInverted, radius)
    {
    }

    using OPAlphaBlurAccumulator::Finalize;
    void Finalize(OPRGBA32i &target) const override { target.a = static_cast<unsigned char>(~Mean()); }
    int GetRadius() const override;
};

/// A given colour under the mean of alpha.
class KX_EXPORT OPAlphaBlurAccumulatorWithRGBColorize : public OPAlphaBlurAccumulator {
public:
    /// The alpha of @p color is not used.
    OPAlphaBlurAccumulatorWithRGBColorize(int radius, const OPRGBA32i &color)
        : OPAlphaBlurAccumulator(KernelAlphaColored, radius)
        , m_color(color.b, color.g, color.r, 0)
    {
    }

    using OPAlphaBlurAccumulator::Finalize;
    void Finalize(OPRGBA32i &target) const override
    {
        target = m_color;
        target.a = Mean();
    }
    int GetRadius() const override;

    /// The colour, with an alpha of 0.
    OPRGBA32i Color() const { return m_color; }

private:
    OPRGBA32i m_color;
};

/// A kernel that maps one source line to one destination line, element by element.
///
/// Borrows both lines. Its user makes the source as long as what it holds of the line and the destination as long as
/// what is to be written, and sets the offset: the index in the source that belongs to element 0 of the destination.
/// Each derived class has @c operator()(int @c i), which computes element i of the destination; it needs both lines,
/// and a source that is not empty, which a debug build asserts. Where a source index leaves the line, the line's end
/// pixel stands for it.
///
/// Each line kernel is used like this one, here on all of a line but its first two pixels:
/// @code
/// std::vector<OPRGBA32i> grown(line.size() - 2);
/// OPShiftEdge1D grow(1);
/// grow.SetSource(&line);
/// grow.SetDestination(&grown);
/// grow.SetSourceOffset(2);
/// for (int i = 0; i < int(grown.size()); ++i)
///     grow(i);
/// @endcode
class KX_EXPORT OPLineKernelBase : public OPKernelBase {
public:
    ~OPLineKernelBase() override;
    OPLineKernelBase(const OPLineKernelBase &) = default;
    OPLineKernelBase &operator=(const OPLineKernelBase &) = default;

    void SetSource(const std::vector<OPRGBA32i> *source)
    {
        m_source = source;
        m_lastIndex = source ? static_cast<int>(source->size()) - 1 : -1;
    }
    void SetDestination(std::vector<OPRGBA32i> *destination) { m_destination = destination; }
    void SetSourceOffset(int offset) { m_sourceOffset = offset; }

    const std::vector<OPRGBA32i> *Source() const { return m_source; }
    std::vector<OPRGBA32i> *Destination() const { return m_destination; }
    int SourceOffset() const { return m_sourceOffset; }
    /// The last index of the source, -1 without one.
    int LastIndex() const { return m_lastIndex; }

protected:
    explicit OPLineKernelBase(KernelType type)
        : OPKernelBase(type)
    {
    }

    bool Inside(qint64 index) const { return index >= 0 && index <= m_lastIndex; }
    const OPRGBA32i &Clamped(qint64 index) const
    {
        Q_ASSERT(m_source && m_lastIndex >= 0);
        return (*m_source)[static_cast<size_t>(std::max<qint64>(std::min<qint64>(index, m_lastIndex), 0))];
    }
    OPRGBA32i &Target(int i) const
    {
        Q_ASSERT(m_destination && i >= 0 && static_cast<size_t>(i) < m_destination->size());
        return (*m_destination)[static_cast<size_t>(i)];
    }

    int m_lastIndex = -1;
    int m_sourceOffset = 0;
    const std::vector<OPRGBA32i> *m_source = nullptr;
    std::vector<OPRGBA32i> *m_destination = nullptr;
};

/// A Gaussian blur of alpha alone, summed in double precision from left to right, plus a half, truncated and clamped to
/// 0..255. Colour is copied.
class KX_EXPORT OPGaussianAlpha1D : public OPLineKernelBase, public KXGaussianBase {
public:
    /// Reaches @c KXGaussianBase::Reach(sigma) pixels to either side; beyond @c KXGaussianBase::MaximumRadius it is cut
    /// off. A sigma of 0 or NaN makes every weight NaN and every alpha 0. Throws nothing but std::bad_alloc.
    explicit OPGaussianAlpha1D(double sigma);
    OPGaussianAlpha1D(const OPGaussianAlpha1D &) = default;
    OPGaussianAlpha1D &operator=(const OPGaussianAlpha1D &) = default;
    ~OPGaussianAlpha1D() override;

    void operator()(int i);

    int Left() const { return static_cast<int>(KXGaussianBase::Left()); }
    int Right() const { return Left(); }
    int GetRadius() const { return Left(); }
};

/// Moves the edges of alpha along the line: a positive shift grows what is covered by that many pixels, a negative one
/// shrinks it. For shrinking, what lies beyond the line's ends counts as uncovered. Colour is copied; a shift of 0
/// copies everything.
class KX_EXPORT OPShiftEdge1D : public OPLineKernelBase {
public:
    /// The largest shift in either direction; a larger one is clamped to it.
    static constexpr int MaximumShift = (1 << 22) - 1;

    explicit OPShiftEdge1D(int shift);
    OPShiftEdge1D(const OPShiftEdge1D &) = default;
    OPShiftEdge1D &operator=(const OPShiftEdge1D &) = default;
    ~OPShiftEdge1D() override;

    void operator()(int i);

    int Shift() const { return m_shift; }
    int Left() const { return m_shift < 0 ? -m_shift : m_shift; }
    int Right() const { return Left(); }
    int GetRadius() const { return Left(); }

private:
    int m_shift;
};

/// Sharpens all four channels, each with the three-tap kernel -amount, 2 * amount + 1785, -amount over 1785.
///
/// What is added before the division is 765, not half of 1785, so that results lean downward. An amount of 0 copies the
/// line. The sum is taken in 32 bits and wraps for amounts beyond four million.
class KX_EXPORT OPSimpleSharpenKernel1D : public OPLineKernelBase {
public:
    explicit OPSimpleSharpenKernel1D(int amount);
    OPSimpleSharpenKernel1D(const OPSimpleSharpenKernel1D &) = default;
    OPSimpleSharpenKernel1D &operator=(const OPSimpleSharpenKernel1D &) = default;
    ~OPSimpleSharpenKernel1D() override;

    void operator()(int i);

    int Amount() const { return m_amount; }
    int DoubleAmount() const { return m_doubleAmount; }
    int Left() const { return 1; }
    int Right() const { return 1; }
    int GetRadius() const { return 1; }

private:
    int m_amount;
    int m_doubleAmount;
};
