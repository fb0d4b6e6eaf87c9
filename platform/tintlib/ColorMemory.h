#pragma once

#include "Engine.h"

namespace tint {

/// Converts one pixel of tintFormatBGRA8 by @p engine, whose number must not be 0, or takes the result from what the
/// thread remembers of earlier calls. The fourth byte takes no part and is not written; @p input and @p output may be
/// the same.
void convertRemembering(const Engine &engine, const unsigned char *input, unsigned char *output);

/// The same for a run of pixels; @p input and @p output must not overlap otherwise. Where few colours come again the
/// engine gets the pixels as they are.
void convertRun(const Engine &engine, const unsigned char *input, unsigned char *output, quint32 count);

} // namespace tint
