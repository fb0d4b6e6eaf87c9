// A kernel module for tests: its line kernels note what they were given, and write a mark.

#include "KXKernels.h"

#include <cstdio>
#include <string>

namespace {

std::string notes;
constexpr unsigned mark = 0xFF332211;

} // namespace

extern "C" Q_DECL_EXPORT const char *takeNotes()
{
    static std::string taken;
    taken.swap(notes);
    notes.clear();
    return taken.c_str();
}

extern "C" Q_DECL_EXPORT void LineHandlerAVX2(OPRGBABlurAccumulatorBase *accumulator, OPRGBA32i *,
    OPRGBA32i *destination, int readFirst, int readLast, int first, int last, int radius)
{
    char line[64];
    std::snprintf(line, sizeof line, "slide %d: %d-%d %d-%d %d;", accumulator->GetRadius(), readFirst, readLast, first,
        last, radius);
    notes += line;
    destination[0] = OPRGBA32i(mark);
}

extern "C" Q_DECL_EXPORT void LineHandlerConvolutionAVX2(OPKernelBase *kernel)
{
    notes += "kernel " + std::to_string(int(kernel->Type())) + ";";
}

extern "C" Q_DECL_EXPORT void KXIterativeConvolutionFast1DAVX2Convolve(
    const unsigned *source, unsigned *destination, unsigned length, const std::vector<short> &kernel)
{
    notes += "convolve " + std::to_string(length) + " by";
    for (const short entry : kernel)
        notes += " " + std::to_string(entry);
    notes += ";";
    destination[0] = source[0] == source[1] ? mark : 0; // the first pixel is repeated before the line
}
