#include "Entries.h"

#include "KXComposer.h"

#include <algorithm>
#include <iterator>

namespace catalogue {

namespace {

using Mode = KXCompositionMode;

/// What a mode makes of a colour s over a colour d, in 0..255, before it is mixed by the coverage; or what else it
/// does.
struct Description {
    Mode mode;
    const char *summary;
};

constexpr Description descriptions[] = {
    { Mode::SourceOver, "s" },
    { Mode::Clear, "alpha becomes 0 wherever the source is not transparent" },
    { Mode::Source, "replaces the pixel" },
    { Mode::DestinationIn, "alpha times the source's" },
    { Mode::DestinationOut, "alpha times what the source leaves free" },
    { Mode::Plus, "s + d" },
    { Mode::Multiply, "s * d / 255" },
    { Mode::Screen, "255 - ((255 - s) * (255 - d) >> 8)" },
    { Mode::Overlay, "Multiply for a dark d, Screen for a light one, twice as strong" },
    { Mode::Darken, "min(s, d)" },
    { Mode::Lighten, "max(s, d)" },
    { Mode::ColorDodge, "d * 255 / (255 - s)" },
    { Mode::ColorBurn, "255 - (255 - d) * 256 / s" },
    { Mode::HardLight, "Multiply for a dark s, Screen for a light one, twice as strong" },
    { Mode::SoftLight, "a gentle Overlay, from half to all of d" },
    { Mode::Difference, "|s - d|" },
    { Mode::Exclusion, "s + d - 2 * s * d / 255" },
    { Mode::SourceOrDestination, "d | s" },
    { Mode::SourceAndDestination, "d & s" },
    { Mode::NotSourceAndDestination, "d & ~s" },
    { Mode::FillUnmasked, "the source pixel where mask or clip is transparent" },
    { Mode::AlphaToGrey, "the source's alpha as a grey" },
    { Mode::SourceToGrey, "the grey of the source, opaque" },
    { Mode::Luminosity, "d moved to the grey value of s" },
    { Mode::SourceWhereOpaque, "replaces the pixel where the source is not transparent" },
    { Mode::AlphaIntersect, "alpha times the source's, 0 where the source is transparent" },
    { Mode::AlphaAdd, "alpha plus the source's" },
    { Mode::AlphaMin, "the smaller alpha" },
    { Mode::AlphaSubtract, "alpha minus the source's" },
    { Mode::GreyToAlpha, "alpha moved to the grey value of s" },
    { Mode::LinearBurn, "s + d - 255" },
    { Mode::LinearDodge, "s + d, as Plus; through a mask it composes nothing" },
    { Mode::LinearBurnBrush, "s + d - 255, as LinearBurn; ComposeDualBrush takes this one of the two" },
    { Mode::LinearLight, "s + 2 * d - 255 or 256" },
    { Mode::VividLight, "burns for a dark d, dodges for a light one" },
    { Mode::PinLight, "min(2 * d, s) for a dark d, max(2 * d - 256, s) for a light one" },
    { Mode::HardMix, "VividLight, then 0 or 255" },
    { Mode::FillTransparent, "the source pixel where the destination is transparent" },
    { Mode::AlphaAccumulate, "adds the coverages, and mixes colours by their shares" },
};

std::string summaryOf(Mode mode)
{
    const auto *const found = std::find_if(std::begin(descriptions), std::end(descriptions),
        [mode](const Description &description) { return description.mode == mode; });
    return found == std::end(descriptions) ? "" : found->summary;
}

enum class Form { Plain, Masked };

/// Composes the upper image over the image itself; in the masked form the upper image is its own mask.
RGBA32iImage compose(const Input &input, Mode mode, double opacity, bool lockAlpha, Form form)
{
    RGBA32iImage image = input.image;
    const QRect all = image.Rect();
    if (form == Form::Masked)
        ComposeMaskOn(input.upper, all, mode, image, all, opacity, input.upper, all, true, lockAlpha);
    else
        Compose(input.upper, all, mode, image, all, opacity, lockAlpha);
    return image;
}

Variant variant(std::string name, Mode mode, double opacity, bool lockAlpha, Form form)
{
    if (mode == Mode::FillUnmasked)
        form = Form::Masked; // the one mode without a plain form
    Variant made;
    made.name = std::move(name);
    made.run = [=](const Input &input, const Watch &) { return compose(input, mode, opacity, lockAlpha, form); };
    return made;
}

} // namespace

std::vector<Operation> modes()
{
    std::vector<Operation> list;
    for (const Mode mode : KXCompositionModes()) {
        Operation operation;
        operation.kind = Kind::Mode;
        operation.mode = mode;
        operation.name = operation.className = KXCompositionModeName(mode);
        operation.summary = summaryOf(mode);
        // 255 of 256: at 256 SourceOver turns a colour of 0 in an opaque source into 255.
        operation.variants = { variant("", mode, 255.0 / 256.0, false, Form::Plain),
            variant("opacity 0.3", mode, 0.3, false, Form::Plain),
            variant("alpha locked", mode, 0.7, true, Form::Plain), variant("masked", mode, 0.9, false, Form::Masked) };
        list.push_back(std::move(operation));
    }
    return list;
}

} // namespace catalogue
