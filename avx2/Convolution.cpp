#include "GeneralLine.h"
#include "Kernel.h"
#include "ShortRows.h"
#include "Staircase.h"
#include "SymmetricLine.h"

#include "KXPixels.h"
#include "lines/Convolve.h"

#include <vector>

// Fixed-point convolution of one line. Each form gives the sums of a plain loop modulo 2^32.

namespace {

enum class Form { ShortRow, Staircase, Symmetric, General, Plain };

/// The fastest form for a line of @p length pixels.
Form chooseForm(const std::vector<short> &taps, unsigned length, const Staircase &staircase)
{
    if (lines::rows::fits(taps))
        return Form::ShortRow;
    if (staircase.Pays())
        return Form::Staircase;
    if (taps.empty() || taps.size() > chunks::maxTaps || length < chunks::groupPixels)
        return Form::Plain;
    return lines::isSymmetric(taps) ? Form::Symmetric : Form::General;
}

} // namespace

/// One line: @p source holds @p length + taps.size() - 1 pixels at least, @p destination takes @p length.
KXCORE_KERNEL void KXIterativeConvolutionFast1DAVX2Convolve(
    const unsigned *source, unsigned *destination, unsigned length, const std::vector<short> &taps)
{
    const Staircase staircase(taps, length);
    switch (chooseForm(taps, length, staircase)) {
    case Form::ShortRow:
        return shortrows::convolve<false>(source, destination, int(length), taps);
    case Form::Staircase:
        if (staircase.Convolve(source, destination, int(length)))
            return;
        break; // no memory
    case Form::Symmetric:
        return symmetric::convolve(source, destination, int(length), taps);
    case Form::General:
        return general::convolve(source, destination, int(length), taps);
    case Form::Plain:
        break;
    }
    // The library's own, which needs nothing.
    lines::convolve(
        reinterpret_cast<const OPRGBA32i *>(source), reinterpret_cast<OPRGBA32i *>(destination), int(length), taps);
}

/// The same on pixels that are premultiplied first: see lines::rows.
KXCORE_KERNEL void KXIterativeConvolutionFast1DAVX2ConvolvePremultiplied(
    const unsigned *source, unsigned *destination, unsigned length, const std::vector<short> &taps)
{
    shortrows::convolve<true>(source, destination, int(length), taps);
}
