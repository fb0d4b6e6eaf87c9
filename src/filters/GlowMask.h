#pragma once

#include "KXKernels.h"

#include "FilterFrame.h"

#include <memory>
#include <vector>

namespace filters {

/// The mask of a diffuse glow as the module makes it: what is bright, blurred, made hard, and blurred again.
///
/// It is a plane of bytes, as no step but the last sees a colour: so steps go over a quarter of the memory, and the
/// layer is not copied. All steps together are a pass, with the cancels, progress and workers of the passes over images
/// that they stand for: a walk, a blur of rows and of columns, a walk, and the same blur.
class GlowMask {
public:
    /// Whether it can be made so. It needs a flat image, more than one processor and the module; a Gaussian must be no
    /// wider than the module's kernels take.
    static bool IsPossible(const RGBA32iImage &layer, const OPGaussianAlpha1D &gaussian);

    /// The layer and the Gaussian are borrowed. Where the mask is read and not written it has the alphas of the layer.
    GlowMask(const RGBA32iImage &layer, const WorkArea &area, const OPGaussianAlpha1D &gaussian, int threshold);

    int LineCount() const;
    void Run(const std::atomic<bool> &cancel, const Progress &progress);

    /// Pixels of one colour under the alphas of the mask, which is borrowed. Places are those in the layer.
    Picture InColor(OPRGBA32i color) const;

private:
    /// What a cache line holds, at first anything. Rows begin with one: so none has bytes of two blocks of columns.
    struct alignas(64) Bytes {
        unsigned char of[64];
    };

    unsigned char *Row(int y) { return m_bytes[size_t(y) * m_stride].of; }
    const unsigned char *Row(int y) const { return m_bytes[size_t(y) * m_stride].of; }
    const OPRGBA32i *LayerRow(int y) const;

    template <class Change>
    void Walk(const std::atomic<bool> &cancel, const Progress &progress, Change change);
    void Blur(int level, const std::atomic<bool> &cancel, const Progress &progress);

    const RGBA32iImage &m_layer;
    const OPGaussianAlpha1D &m_gaussian;
    const int m_threshold;
    const QRect m_read; ///< the part of the layer that the mask holds
    const QRect m_rect; ///< what is changed of the mask
    const size_t m_stride;
    const std::unique_ptr<Bytes[]> m_bytes;
};

} // namespace filters
