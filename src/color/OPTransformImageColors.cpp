#include "OPTransformImageColors.h"

#include "KXFillTransformation.h"
#include "KXTableTransformation.h"
#include "OPInvertTransformation.h"

#include "color/Runs.h"
#include "color/Walks.h"
#include "pixels/BorrowedImage.h"
#include "pixels/Tiles.h"
#include "support/Kernels.h"
#include "support/Log.h"
#include "support/Workers.h"

#include <algorithm>
#include <functional>
#include <typeinfo>

namespace {

constexpr char path[] = "include/OPTransformImageColors";

// One slot for each form of walk and type of image, bound when a walk begins.
kernels::Slot plainKernel { KX_SYMBOL(VectorProcess) };
kernels::Slot plainKernelOfQImage { KX_SYMBOL(VectorProcess) };
kernels::Slot iterativeKernel { KX_SYMBOL(IterativeVectorProcess) };
kernels::Slot positionAwareKernel { KX_SYMBOL(PixelTransformIterativeVectorProcess) };

using IterativeKernel = decltype(iterativeKernel);

/// How an adjustment is applied to @p count pixels of row @p y, from column @p x on.
using ApplyToRun = void (*)(const BaseTransformation &transformation, OPRGBA32i *pixels, int count, int x, int y);

void applyToColours(const BaseTransformation &transformation, OPRGBA32i *pixels, int count, int, int)
{
    for (int i = 0; i < count; ++i)
        transformation(pixels[i]);
}

void applyInRuns(const BaseTransformation &transformation, OPRGBA32i *pixels, int count, int, int)
{
    static_cast<const color::RunTransformation &>(transformation).Run(pixels, count);
}

/// Without a virtual call for each pixel, which would cost more than the look-up.
void applyTables(const BaseTransformation &transformation, OPRGBA32i *pixels, int count, int, int)
{
    const KXChannelTables &tables = static_cast<const KXTableTransformation &>(transformation).Tables();
    for (int i = 0; i < count; ++i)
        pixels[i] = tables(pixels[i]);
}

/// The same for a class whose form for one pixel stands in its header.
template <class Transformation>
void applyInline(const BaseTransformation &transformation, OPRGBA32i *pixels, int count, int, int)
{
    const auto &own = static_cast<const Transformation &>(transformation);
    auto *const words = reinterpret_cast<unsigned *>(pixels); // GCC makes vectors of these, and none of unions
    for (int i = 0; i < count; ++i) {
        OPRGBA32i pixel(words[i]);
        own.Transformation::operator()(pixel);
        words[i] = pixel.word;
    }
}

/// That form, if @p transformation is of one of these classes; otherwise null. A class that derives from one of them
/// may do something else with a pixel.
template <class... Transformations>
ApplyToRun inlineFormOf(const BaseTransformation &transformation)
{
    const struct {
        const std::type_info &type;
        ApplyToRun apply;
    } forms[] = { { typeid(Transformations), applyInline<Transformations> }... };
    for (const auto &form : forms)
        if (typeid(transformation) == form.type)
            return form.apply;
    return nullptr;
}

/// How @p transformation changes the colours of a run.
ApplyToRun formOf(const BaseTransformation &transformation)
{
    if (const ApplyToRun form = inlineFormOf<KXFillTransformation, OPColorize<OPRGBA32i>, OPInvertTransformation,
            OPInvertAlphaTransformation, OPInvertColor<OPRGBA32i>, OPInvertColorAlpha<OPRGBA32i>>(transformation))
        return form;
    if (dynamic_cast<const KXTableTransformation *>(&transformation))
        return applyTables;
    return dynamic_cast<const color::RunTransformation *>(&transformation) ? applyInRuns : applyToColours;
}

void applyAtPosition(const BaseTransformation &transformation, OPRGBA32i *pixels, int count, int x, int y)
{
    for (int i = 0; i < count; ++i)
        transformation(x + i, y, pixels[i]);
}

/// Applies a transformation to row @p y of @p area. Tiles are written as they are, shared ones too.
void walkRow(const BaseTransformation &transformation, RGBA32iImage &image, const QRect &area, int y, ApplyToRun apply)
{
    if (!image.IsTiled()) {
        apply(transformation, pixels::flatPixel(image, area.x(), y), area.width(), area.x(), y);
        return;
    }
    pixels::forEachTile(image, QRect(area.x(), y, area.width(), 1), [&](const pixels::TilePart &run) {
        if (OPRGBA32i *const tile = image.TileData(run.tile, false))
            apply(transformation, tile + run.offset, run.columns, run.x, y);
    });
}

/// Lets @p kernel do the walk, if the image is flat, the module has the kernel and the transformation has one of its
/// own. Returns whether it did.
bool runKernel(IterativeKernel &kernel, BaseTransformation &transformation, RGBA32iImage &image, const QRect &area,
    const std::atomic<bool> &cancel, const std::function<void()> &progress)
{
    if (image.IsTiled())
        return false;
    const auto bound = kernel.Bind();
    if (!bound || !transformation.HasKernel())
        return false;
    bound(image.Bits(), image.Width(), area, &transformation, cancel, progress);
    return true;
}

/// What a worker of an iterative walk does with a row; false after a cancel. It keeps the transformation and the
/// progress function, for workers may outlive the call.
auto iterativeRow(const std::shared_ptr<BaseTransformation> &transformation, RGBA32iImage &image, const QRect &area,
    const std::atomic<bool> &cancel, const std::function<void()> &progress, ApplyToRun apply)
{
    return [transformation, &image, area, &cancel, progress, apply](int y) {
        if (cancel)
            return false;
        walkRow(*transformation, image, area, y, apply);
        if (progress)
            progress();
        return true;
    };
}

} // namespace

void OPImageWalk::Plain(
    const std::shared_ptr<BaseTransformation> &transformation, RGBA32iImage &image, const QRect &rect)
{
    support::guarded({ path, __LINE__ }, [&] {
        const QRect area = pixels::clippedOrWhole(image.Rect(), rect);
        if (area.isEmpty())
            return;
        const auto walked = color::inRuns(transformation);
        if (!image.IsTiled())
            if (const auto kernel = plainKernel.Bind())
                return kernel(image.Bits(), image.Width(), area, walked.get());
        const auto row = [&, apply = formOf(*walked)](int y) {
            walkRow(*walked, image, area, y, apply);
            return true;
        };
        const int first = area.y(), end = area.y() + area.height();
        if (!image.IsTiled())
            return workers::walkRows(workers::forWalks(), first, end - 1, row); // without the last row; see the class
        // In turn: the first worker does all rows, and what it throws leaves before the next one starts.
        for (int worker = workers::forWalks(), y = first; worker > 0; --worker)
            workers::run(1, [&] {
                for (; y < end; ++y)
                    row(y);
            });
    });
}

void OPImageWalk::Plain(const std::shared_ptr<BaseTransformation> &transformation, QImage &image, const QRect &rect)
{
    support::guarded({ path, __LINE__ }, [&] {
        const QRect area = pixels::clippedOrWhole(image.rect(), rect);
        if (area.isEmpty() || image.depth() != 32)
            return;
        const auto walked = color::inRuns(transformation);
        const auto apply = formOf(*walked);
        const auto rows = pixels::borrowForWriting(image);
        int y = area.y();
        const int end = area.y() + area.height();
        // The kernel gives what the walk over a flat KXImage gives, which does nothing on a single processor and ends
        // before the last row. Its stride is the width; rows of a foreign buffer may lie further apart.
        const bool served = workers::forWalks() > 0 && rows.strideBytes == qptrdiff(image.width()) * 4;
        if (const auto kernel = served ? plainKernelOfQImage.Bind() : nullptr) {
            kernel(rows.first, image.width(), area, walked.get());
            y = end - 1;
        }
        for (; y < end; ++y)
            apply(*walked, rows.Row(y) + area.x(), area.width(), area.x(), y);
    });
}

void OPImageWalk::Iterative(const std::shared_ptr<BaseTransformation> &transformation, RGBA32iImage &image,
    const QRect &rect, const std::atomic<bool> &cancel, const std::function<void()> &progress)
{
    support::guarded({ path, __LINE__ }, [&] {
        const QRect area = pixels::clippedOrWhole(image.Rect(), rect);
        if (area.isEmpty() || runKernel(iterativeKernel, *transformation, image, area, cancel, progress))
            return;
        const auto walked = color::inRuns(transformation);
        workers::walkRows(workers::forWalks(), area.y(), area.y() + area.height(),
            iterativeRow(walked, image, area, cancel, progress, formOf(*walked)));
    });
}

void OPImageWalk::PositionAware(const std::shared_ptr<BaseTransformation> &transformation, RGBA32iImage &image,
    const QRect &rect, const std::atomic<bool> &cancel, const std::function<void()> &progress)
{
    if (!image.IsTiled())
        return color::walkAtPositions(transformation, image, rect, cancel, progress);
    support::guarded({ path, __LINE__ }, [&] {
        const QRect area = pixels::clippedOrWhole(image.Rect(), rect);
        if (area.isEmpty())
            return;
        const auto row = iterativeRow(transformation, image, area, cancel, progress, applyAtPosition);
        // Not waited for: a worker logs what it throws, nobody else would.
        workers::startForEachItem(workers::forWalks(), area.y(), area.y() + area.height(), [row](int y) {
            bool goOn = true;
            support::guarded({ path, __LINE__ }, [&] { goOn = row(y); });
            return goOn;
        });
    });
}

void color::walkAtPositions(const std::shared_ptr<BaseTransformation> &transformation, RGBA32iImage &image,
    const QRect &rect, const std::atomic<bool> &cancel, const std::function<void()> &progress)
{
    support::guarded({ path, __LINE__ }, [&] {
        const QRect area = pixels::clippedOrWhole(image.Rect(), rect);
        if (area.isEmpty() || runKernel(positionAwareKernel, *transformation, image, area, cancel, progress))
            return;
        workers::walkRows(workers::forWalks(), area.y(), area.y() + area.height(),
            iterativeRow(transformation, image, area, cancel, progress, applyAtPosition));
    });
}
