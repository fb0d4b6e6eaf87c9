#pragma once

#include "KXImage.h"

#include <QtCore/QRect>

#include <algorithm>
#include <optional>
#include <set>
#include <vector>

/// A model of composition for tests: one pixel at a time, straight from the formulas, without any regard for speed.
/// Unsigned 32-bit numbers wrap as they do in the library; what is said to be signed is computed in 64 bits.
namespace reference {

using Word = quint32;
using Wide = qint64;

inline Word grey(OPRGBA32i p) { return (p.r * 11u + p.g * 16u + p.b * 5u) >> 5; }
inline unsigned char byte(Word v) { return static_cast<unsigned char>(v); }
inline unsigned char clamped(Wide v) { return static_cast<unsigned char>(v < 0 ? 0 : v > 255 ? 255 : v); }
inline Word div255(Word x) { return (x + 1 + (x >> 8)) >> 8; }
inline OPRGBA32i withAlpha(OPRGBA32i p, Word alpha) { return { p.b, p.g, p.r, byte(alpha) }; }

template <class Channel>
OPRGBA32i eachColour(OPRGBA32i s, OPRGBA32i d, Word alpha, Channel channel)
{
    return { byte(channel(s.b, d.b)), byte(channel(s.g, d.g)), byte(channel(s.r, d.r)), byte(alpha) };
}

inline bool isSeparable(int mode) { return (mode >= 12 && mode <= 23) || (mode >= 48 && mode <= 54); }
inline bool hasPlainForm(int mode)
{
    static const std::set<int> others { 0, 2, 3, 6, 8, 24, 25, 31, 39, 40, 41, 42, 43, 44, 45, 46, 47, 55, 57 };
    return isSeparable(mode) || others.count(mode);
}
inline bool hasMaskedForm(int mode)
{
    static const std::set<int> others { 0, 3, 8, 38, 39, 41, 47, 55, 57 };
    return (mode >= 12 && mode <= 23) || others.count(mode);
}

/// The colour that a separable mode makes of opaque pixels; above 255 in modes 12, 49 and 51.
inline Wide mixed(int mode, Wide s, Wide d)
{
    switch (mode) {
    case 12:
    case 49:
        return s + d;
    case 13:
        return s * d / 255;
    case 14:
        return 255 - (((255 - s) * (255 - d)) >> 8);
    case 15:
        return d < 128 ? 2 * s * d / 255 : 255 + (s - 255) * (255 - d) * 2 / 255;
    case 16:
        return std::min(s, d);
    case 17:
        return std::max(s, d);
    case 18:
        return s == 255 ? 255 : std::min<Wide>(d * 255 / (255 - s), 255);
    case 19:
        return s == 0 ? 0 : std::max<Wide>((d - 255) * 256 / s + 255, 0);
    case 20:
        return mixed(15, d, s);
    case 21: {
        const Wide h = s >> 1;
        return d < 128 ? Wide(float(2 * h + 128) * float(d) * 0.003921569f)
                       : Wide(255.0f - float(2 * (191 - h)) * float(255 - d) * 0.003921569f);
    }
    case 22:
        return std::abs(s - d);
    case 23:
        return s + d - 2 * s * d / 255;
    case 48:
    case 50:
        return std::max<Wide>(s + d - 255, 0);
    case 51:
        return d < 128 ? std::max<Wide>(s + 2 * d - 255, 0) : s + 2 * d - 256;
    case 52:
        if (d < 128)
            return s == 0 ? 0 : std::max<Wide>(255 - (65280 - 512 * d) / s, 0);
        return s == 255 ? 255 : std::min<Wide>((510 * d - 65280) / (255 - s), 255);
    case 53:
        return d < 128 ? std::min(2 * d, s) : std::max(2 * d - 256, s);
    case 54:
        return mixed(52, s, d) < 128 ? 0 : 255;
    }
    return d;
}

inline OPRGBA32i framed(int mode, OPRGBA32i s, OPRGBA32i d, Word sa, bool lock)
{
    const Word da = d.a, wd = (255 - sa) * da, wb = da * sa, ws = (255 - da) * sa;
    const Word ra = std::min((sa * 255 + wd) / 255, 255u), w = ra * 255;
    if (w == 0)
        return {};
    return eachColour(s, d, lock ? da : ra,
        [=](Word sc, Word dc) { return std::min((Word(mixed(mode, sc, dc)) * wb + dc * wd + sc * ws) / w, 255u); });
}

inline OPRGBA32i sourceOver(OPRGBA32i s, OPRGBA32i d, Word sa, bool lock)
{
    const Word p = sa * 255, q = (255 - sa) * d.a, ra = std::min((p + q) / 255, 255u), w = ra * 255;
    if (w == 0)
        return {};
    return eachColour(s, d, lock ? d.a : ra, [=](Word sc, Word dc) { return std::min((sc * p + dc * q) / w, 255u); });
}

/// Luminosity once the source's alpha is known.
inline OPRGBA32i luminosity(OPRGBA32i s, OPRGBA32i d, Word sa)
{
    const Word gd = std::min(grey(d), 255u), gs = std::min(grey(s), 255u);
    const Wide l = std::min((gs * sa + (255 - sa) * gd) / 255, 255u);
    return eachColour(s, d, d.a, [=](Word, Word dc) { return clamped(l + (Wide(dc) - gd) * d.a / 255); });
}

/// What both forms of a mode have in common once the source's alpha is known.
inline OPRGBA32i blended(int mode, OPRGBA32i s, OPRGBA32i d, Word sa, bool lock)
{
    switch (mode) {
    case 8:
        return lock ? d : withAlpha(d, (255 - sa) * d.a / 255);
    case 41:
        if (lock && s.a == 0)
            return { 255, 255, 255, d.a };
        return luminosity(s, d, sa);
    case 47: {
        const Word w = sa * 255;
        return lock ? d : withAlpha(d, std::min((std::min(grey(s), 255u) * w + d.a * (65025 - w)) / 65025, 255u));
    }
    case 57: {
        if (sa == 0)
            return d;
        if (!lock && sa == 255)
            return s;
        const Word a = lock ? Word(d.a) : std::min(d.a + sa, 255u);
        if (a == 0)
            return {};
        return eachColour(s, d, a, [=](Word sc, Word dc) { return a > sa ? (dc * (a - sa) + sc * sa) / a : sc; });
    }
    }
    return isSeparable(mode) ? framed(mode, s, d, sa, lock) : d;
}

/// One pixel of a mode's plain form, with an optional pixel whose alpha is a coverage.
inline OPRGBA32i plain(int mode, OPRGBA32i s, OPRGBA32i d, const OPRGBA32i *mask, Word opacity, bool lock)
{
    const auto covered = [mask](Word sa) { return mask ? mask->a * sa / 255 : sa; };
    const Word sa = covered((s.a * opacity) >> 8);
    switch (mode) {
    case 0: {
        const Word own = covered(s.a * opacity / 255);
        return !lock && own == 255 ? s : sourceOver(s, d, own, lock);
    }
    case 2:
        return !lock && s.a * opacity != 0 ? withAlpha(d, 0) : d;
    case 3:
        if (lock)
            return withAlpha(s, d.a);
        return opacity == 256 ? s : withAlpha(s, sa);
    case 6:
        return lock ? d : withAlpha(d, d.a * sa / 255);
    case 24:
        return eachColour(s, d, lock ? d.a : d.a | sa, [](Word sc, Word dc) { return dc | sc; });
    case 25:
        return eachColour(s, d, lock ? d.a : d.a & sa, [](Word sc, Word dc) { return dc & sc; });
    case 31:
        return eachColour(s, d, lock ? d.a : d.a & ~sa, [](Word sc, Word dc) { return dc & ~sc; });
    case 39:
        return { byte(sa), byte(sa), byte(sa), lock ? d.a : byte(255) };
    case 40: {
        const auto g = s.a ? byte(grey(s)) : byte(255);
        return { g, g, g, s.a || !lock ? byte(255) : d.a };
    }
    case 41: // locked the source counts in full
        return blended(mode, s, d, covered(lock ? Word(s.a) : (s.a * opacity) >> 8), lock);
    case 42:
        if (s.a == 0)
            return d;
        return withAlpha(s, lock ? d.a : sa);
    case 43:
    case 44:
    case 45:
    case 46:
        if (lock)
            return plain(0, s, d, nullptr, opacity, lock);
        if (mode == 43)
            return withAlpha(d, s.a == 0 ? 0 : d.a * sa / 255);
        return withAlpha(d, mode == 44 ? clamped(d.a + s.a) : mode == 45 ? std::min(d.a, s.a) : clamped(d.a - s.a));
    case 55:
        return d.a == 0 ? s : d;
    case 57: {
        const Word own = div255(s.a * opacity);
        return blended(mode, s, d, mask ? div255(mask->a * own) : own, lock);
    }
    }
    return blended(mode, s, d, sa, lock);
}

/// One pixel of a mode's masked form: @p second and the optional masks are coverages; @p mask2 needs @p mask1.
inline OPRGBA32i masked(int mode, OPRGBA32i s, OPRGBA32i second, OPRGBA32i d, const OPRGBA32i *mask1,
    const OPRGBA32i *mask2, Word opacity, bool lock)
{
    if (!hasMaskedForm(mode))
        return d;
    const auto covered = [=](Word sa) {
        if (mask1)
            sa = mask1->a * sa / 255;
        return mask1 && mask2 ? mask2->a * sa / 255 : sa;
    };
    const Word product = s.a * second.a * opacity, sa = covered(product / 65280);
    switch (mode) {
    case 0:
        return sourceOver(s, d, covered(product / 65025), lock);
    case 3:
        return withAlpha(s, lock ? d.a : sa);
    case 38:
        return lock || (second.a && (!mask1 || mask1->a)) ? d : s;
    case 39:
        return { byte(sa), byte(sa), byte(sa), lock ? d.a : byte(covered(second.a)) };
    case 41: {
        const OPRGBA32i result = blended(mode, s, d, sa, lock);
        return lock ? result : withAlpha(result, 255);
    }
    case 55:
        return second.a == 0 ? s : withAlpha(d, second.a);
    }
    return blended(mode, s, d, sa, lock);
}

/// A picture without storage, and the tiles of @c tilesX columns that were resolved for writing.
struct Canvas {
    explicit Canvas(const RGBA32iImage &image)
        : width(image.Width())
        , height(image.Height())
        , tilesX((width + 127) / 128)
        , pixels(size_t(width) * size_t(height))
    {
        for (int y = 0; y < height; ++y)
            image.ReadRow(unsigned(y), 0, &pixels[size_t(y) * size_t(width)], unsigned(width) * 4);
    }
    OPRGBA32i &At(QPoint p) { return pixels[size_t(p.y()) * size_t(width) + size_t(p.x())]; }
    void Touch(QPoint p) { touched.insert(p.y() / 128 * tilesX + p.x() / 128); }

    int width, height, tilesX;
    std::vector<OPRGBA32i> pixels;
    std::set<int> touched;
};

enum class Fakes { AreEmpty, AreRead };
enum class Window { Counts, IsIgnored };

/// What @p image stores at @p p, or null: nothing is stored in null tiles nor, unless they are read, in fake ones, apart
/// from what the flat window has there.
inline const OPRGBA32i *stored(
    const RGBA32iImage &image, QPoint p, Fakes fakes = Fakes::AreEmpty, Window window = Window::Counts)
{
    if (!image.IsTiled())
        return image.Bits() + qptrdiff(p.y()) * image.Width() + p.x();
    const int tile = p.y() / 128 * image.TilesX() + p.x() / 128;
    const OPRGBA32i *const block = image.TileData(tile);
    if (block && (fakes == Fakes::AreRead || !image.IsFakeTile(tile)))
        return block + p.y() % 128 * 128 + p.x() % 128;
    const QPoint w = p + image.FlatWindowOffset() - image.FlatWindowOrigin();
    if (window == Window::IsIgnored || !image.HasFlatWindow()
        || !QRect(QPoint(), image.FlatWindowRect().size()).contains(w))
        return nullptr;
    return image.Bits() + w.y() * image.FlatWindowRect().width() + w.x();
}

/// An image with its rectangle; as a mask also what counts outside of it.
struct Side {
    const RGBA32iImage &image;
    QRect rect;
    bool outsideVisible = false;
};

/// Calls @p body(offset from the corner of @p dstRect, place on the canvas) for what the sides have in common.
template <class Body>
void forEachPlace(Canvas &canvas, const QRect &dstRect, std::initializer_list<const Side *> sides, Body body)
{
    const QRect area = dstRect & QRect(0, 0, canvas.width, canvas.height);
    for (int y = area.y(); y < area.y() + area.height(); ++y)
        for (int x = area.x(); x < area.x() + area.width(); ++x) {
            const QPoint p(x, y), offset = p - dstRect.topLeft();
            bool common = true;
            for (const Side *const side : sides) {
                const QPoint q = offset + side->rect.topLeft();
                common = common && side->rect.contains(q) && side->image.Rect().contains(q);
            }
            if (common)
                body(offset, p);
        }
}

/// 0..256; 0 for what is not a number when clamped.
inline Word opacity256(double opacity, bool isClamped)
{
    if (isClamped)
        opacity = opacity > 0 ? std::min(opacity, 1.0) : 0;
    return Word(opacity * 256);
}

enum class Operation { Compose, Copy };

inline void compose(Canvas &canvas, const QRect &dstRect, const Side &src, int mode, Word opacity, bool lock,
    Operation operation = Operation::Compose)
{
    if (operation == Operation::Compose && (mode == 4 || opacity == 0))
        return;
    forEachPlace(canvas, dstRect, { &src }, [&](QPoint offset, QPoint p) {
        const OPRGBA32i *const s = stored(src.image, offset + src.rect.topLeft());
        if (s || src.image.HasFlatWindow())
            canvas.Touch(p);
        if (s)
            canvas.At(p) = operation == Operation::Copy ? *s : plain(mode, *s, canvas.At(p), nullptr, opacity, lock);
    });
}

/// The mask's coverage pixel: all ones where it is not but counts as visible; nothing where it hides. @p moved says by
/// how much the mask's rectangle goes along with the clipped start.
inline std::optional<OPRGBA32i> coverage(
    const Side &mask, QPoint offset, QPoint moved = {}, Window window = Window::IsIgnored)
{
    const QPoint m = offset + mask.rect.topLeft();
    if (mask.rect.translated(moved).contains(m) && mask.image.Rect().contains(m))
        if (const OPRGBA32i *const pixel = stored(mask.image, m, Fakes::AreEmpty, window))
            return *pixel;
    return mask.outsideVisible ? std::optional<OPRGBA32i>(0xFFFFFFFFu) : std::nullopt;
}

inline void composeMaskOn(
    Canvas &canvas, const QRect &dstRect, const Side &src, const Side &mask, int mode, Word opacity, bool lock)
{
    if (!src.image.IsTiled() && !mask.image.IsTiled() && mask.rect.size() == QSize(0, 0) && mask.outsideVisible)
        qFatal("a call without a mask is not modelled here");
    if (mode == 4 || opacity == 0 || mask.image.Rect().isEmpty())
        return;
    std::optional<QPoint> start;
    forEachPlace(canvas, dstRect, { &src }, [&](QPoint offset, QPoint p) {
        if (!start) // the first place is the clipped corner
            start = offset;
        const OPRGBA32i *const s = stored(src.image, offset + src.rect.topLeft());
        const auto second = coverage(mask, offset, *start, Window::Counts);
        if (!s || !second)
            return;
        canvas.Touch(p);
        canvas.At(p) = masked(mode, *s, *second, canvas.At(p), nullptr, nullptr, opacity, lock);
    });
}

/// The workers of the clipping family. Without @p first the clip's alpha is the mask of the plain form; with it the mask
/// is the second coverage, the clip the third, and @p last, if given, the fourth.
inline void composeClipped(Canvas &canvas, const QRect &dstRect, const Side &src, const Side &clip, const Side *first,
    const Side *last, int mode, Word opacity, bool lock)
{
    if (mode == 4 || opacity == 0)
        return;
    forEachPlace(canvas, dstRect, { &src, &clip }, [&](QPoint offset, QPoint p) {
        const Window window = first ? Window::Counts : Window::IsIgnored;
        const OPRGBA32i *const s = stored(src.image, offset + src.rect.topLeft(), Fakes::AreEmpty, window);
        const OPRGBA32i *const c = stored(clip.image, offset + clip.rect.topLeft(), Fakes::AreRead, Window::IsIgnored);
        if (!s || !c)
            return;
        OPRGBA32i &d = canvas.At(p);
        if (!first) {
            d = plain(mode, *s, d, c, opacity, lock);
            return;
        }
        const auto second = coverage(*first, offset), fourth = last ? coverage(*last, offset) : OPRGBA32i();
        if (second && fourth)
            d = masked(mode, *s, *second, d, c, last ? &*fourth : nullptr, opacity, lock);
    });
}

} // namespace reference
