#pragma once

class OPGaussianAlpha1D;

/// Computes the @p length pixels of a kernel's destination, each of which has its own pixel in the source.
void blurAlphaOfLine(OPGaussianAlpha1D &kernel, int length);
