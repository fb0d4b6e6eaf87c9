#pragma once

/// @file
/// What a fuzz target defines.

#include <QtCore/QByteArrayList>

#include <cstddef>
#include <cstdint>

/// Gives @p size bytes at @p data to the code under test and returns 0. Any bytes must do: what may not happen is a
/// crash, a leak, a hang or a report of a sanitizer. A wrong answer may be asserted too.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

/// A few well-formed inputs from which the damage starts.
QByteArrayList FuzzSeeds();
