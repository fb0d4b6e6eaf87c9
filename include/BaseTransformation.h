#pragma once

/// @file
/// The base of the per-pixel colour adjustments.

#include "KXGlobal.h"
#include "KXPixels.h"

/// One adjustment of a pixel: a small value that knows how to change an OPRGBA32i.
///
/// Forms    A class overrides the operations that it serves; every other one has an empty body and leaves its pixels as
///          they are. The order of the virtual operations is part of the interface: the kernel module calls through it.
///          A class that overrides some of the operators names the others with @c using BaseTransformation::operator();
/// Pixels   Straight alpha. Alpha stays unless a class says otherwise.
/// Values   Copyable and assignable; tables are owned and copied. A copy takes over whether a kernel is bound and binds
///          nothing itself. Nothing but the setters of a class changes an object, and they must not run while a walk
///          uses it.
/// Kernels  An accelerated class holds its kernel in a public static function object that all its objects share. Each
///          constructor looks it up if it is still empty, and sets @c m_HasKernel if it is bound then. The library's
///          own classes do that under a lock, so that first objects may be made on several threads at once; whoever
///          sets or clears a function object must not do it while objects are made or used.
/// Threads  All operations but the destructor are const and touch no shared state: one object serves many threads.
/// Errors   None. What becomes of parameters beyond the useful ones stands at the class that takes them.
///
/// An adjustment of an application's own overrides the form for one pixel, and that is all:
/// @code
/// class Darken : public BaseTransformation {
/// public:
///     using BaseTransformation::operator();
///     void operator()(OPRGBA32i &pixel) const override { pixel.word = (pixel.word & 0xFF000000u) | half(pixel.word); }
///
/// protected:
///     static unsigned half(unsigned word) { return (word >> 1) & 0x007F7F7Fu; } // of each colour
/// };
///
/// OPTransformImageColors(Darken(), &photo)(); // a QImage
/// @endcode
/// With a kernel of its own it is called for whole blocks where the kernel module does the walk, and for single pixels
/// everywhere else; both must give the same bytes. Here the kernel is a loop that any compiler turns into vectors. One
/// that needs a processor with AVX2 belongs in a source file of its own, and @c m_HasKernel is set where there is one:
/// @code
/// class FastDarken : public Darken {
/// public:
///     FastDarken() { m_HasKernel = true; }
///     using Darken::operator();
///     void operator()(unsigned char *pixels, bool) const override
///     {
///         unsigned words[BlockLength];
///         std::memcpy(words, pixels, sizeof words); // pixels may lie at any address
///         for (unsigned &word : words)
///             word = (word & 0xFF000000u) | half(word);
///         std::memcpy(pixels, words, sizeof words);
///     }
/// };
/// @endcode
class KX_EXPORT BaseTransformation {
public:
    /// How many pixels the block forms are given.
    static constexpr int BlockLength = 128;

    BaseTransformation() = default;
    BaseTransformation(const BaseTransformation &) = default;
    BaseTransformation &operator=(const BaseTransformation &) = default;
    virtual ~BaseTransformation();

    /// A block of pixels that begins at image position (@p x, @p y), in place, through the kernel of a class whose
    /// result depends on the position. Like the block form below it is called by the kernel module alone.
    virtual void operator()(int /*x*/, int /*y*/, unsigned char * /*pixels*/, bool /*flag*/) const { }

    /// One pixel at image position (@p x, @p y), in place, for stages that depend on the position.
    virtual void operator()(int /*x*/, int /*y*/, OPRGBA32i & /*pixel*/) const { }

    /// A block of pixels, in place, through the kernel of the class. **Does nothing at all while no kernel is bound**:
    /// a caller looks at @c HasKernel first. The library itself never calls it; it is the way in for the kernel module.
    /// The flag has no meaning.
    virtual void operator()(unsigned char * /*pixels*/, bool /*flag*/) const { }

    /// One pixel, in place: the adjustment itself.
    virtual void operator()(OPRGBA32i & /*pixel*/) const { }

    /// For classes that hold a buffer which they were given beforehand: changes pixel @p index of it. Such an object
    /// must have its buffer.
    virtual void operator()(int /*index*/) const { }

    /// Whether the kernel of the class was bound when the object, or the one that it was copied from, was made.
    bool HasKernel() const { return m_HasKernel; }

protected:
    bool m_HasKernel = false;
};
