#pragma once

/// @file
/// Random pixels, as OPAddNoiseProcessing lays over a layer.

#include "BaseTransformation.h"
#include "KXGlobal.h"

#include <algorithm>
#include <functional>

/// The engine of random words: the sequence of @c std::mt19937 with the same seed.
///
/// The words are made 624 at a time, by the kernel "MersenneTwisterAVX2" where there is one. A copy goes on by itself
/// from where the original is.
class KX_EXPORT KXMersenneTwister {
public:
    static constexpr int Size = 624;

    explicit KXMersenneTwister(quint32 seed);

    /// The next word.
    quint32 operator()()
    {
        int taken;
        return *Take(1, &taken);
    }

    /// The next words: as many of @p wanted, at least one, as lie together. They stay there until the next call.
    const quint32 *Take(int wanted, int *taken)
    {
        if (m_next == Size)
            Refill();
        *taken = std::min(wanted, Size - m_next);
        m_next += *taken;
        return m_words + m_next - *taken;
    }

private:
    void Refill();

    quint32 m_state[Size];
    quint32 m_words[Size];
    int m_next = Size;
};

/// Base of the two kinds of noise: replaces pixels, whatever they were, by the next ones of a random sequence.
///
/// Each pixel takes its draws in the order red, green, blue, alpha. The sequence belongs to the object and moves on
/// with each pixel, whichever form draws it: so pixels are drawn in order, and **one object serves one thread at a
/// time**. From one seed comes one sequence, with the kernel module and without it.
class KX_EXPORT KXNoise : public BaseTransformation {
public:
    KXMersenneTwister &Engine() const { return m_engine; }

    /// The low 32 bits of the clock's seconds, which seed an object that is given no seed.
    static quint32 ClockSeed();

protected:
    explicit KXNoise(quint32 seed)
        : m_engine(seed)
    {
    }

    mutable KXMersenneTwister m_engine;
};

/// All values alike: each channel is the top byte of a word.
class KX_EXPORT OPUniformNoise : public KXNoise {
public:
    explicit OPUniformNoise(quint32 seed = ClockSeed());

    using BaseTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;
    void operator()(OPRGBA32i &pixel) const override;

    /// "UniformNoiseAVX2"
    static std::function<void(const OPUniformNoise &, unsigned char *, bool)> m_UniformNoiseAVX2;
};

/// Normally distributed values, truncated and clamped to 0..255. Mean and standard deviation are both 255, so that half
/// of all values are 255 and a sixth are 0: bright, with a dark tail.
class KX_EXPORT OPGaussianNoise : public KXNoise {
public:
    explicit OPGaussianNoise(quint32 seed = ClockSeed());

    using BaseTransformation::operator();
    void operator()(unsigned char *pixels, bool flag) const override;
    void operator()(OPRGBA32i &pixel) const override;

    /// "GaussianNoiseAVX2"
    static std::function<void(const OPGaussianNoise &, unsigned char *, bool)> m_GaussianNoiseAVX2;

private:
    /// The polar method gives two values at a time; the second one waits here.
    struct Normal {
        double Draw(KXMersenneTwister &engine);

        double saved = 0;
        bool hasSaved = false;
    };

    mutable Normal m_red, m_green, m_blue, m_alpha;
};
