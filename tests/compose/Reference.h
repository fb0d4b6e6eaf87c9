#pragma once

#include "KXConverter.h"
#include "kit/Picture.h"

#include <map>
#include <set>

/// A model of composition for tests: one pixel at a time, straight from the formulas, without any regard for speed.
/// Unsigned 32-bit numbers wrap as they do in the library; what is said to be signed is computed in 64 bits.
namespace reference {

using Word = quint32;
using Wide = qint64;

inline Word grey(OPRGBA32i p) { return (p.r * 11u + p.g * 16u + p.b * 5u) >> 5; }
inline unsigned char byte(Word v) { return static_cast<unsigned char>(v); }
inline unsigned char clamped(Wide v) { return static_cast<unsigned char>(v < 0 ? 0 : v > 255 ? 255 : v); }
inline Word div255(Word x) { return (x + 1 + (x >> 8)) >> 8; }
inline Word covered(Word alpha, const OPRGBA32i *mask) { return mask ? mask->a * alpha / 255 : alpha; }
inline OPRGBA32i withAlpha(OPRGBA32i p, Word alpha) { return { p.b, p.g, p.r, byte(alpha) }; }

template <class Channel>
OPRGBA32i eachColour(OPRGBA32i s, OPRGBA32i d, Word alpha, Channel channel)
{
    return { byte(channel(s.b, d.b)), byte(channel(s.g, d.g)), byte(channel(s.r, d.r)), byte(alpha) };
}

/// The colour that a separable mode makes of opaque pixels; above 255 in modes 12, 49 and 51.
using Mix = Wide (*)(Wide s, Wide d);
inline const std::map<int, Mix> &mixes()
{
    static const Mix excess = [](Wide s, Wide d) { return std::max<Wide>(s + d - 255, 0); };
    static const Mix overlay = [](Wide s, Wide d) {
        return d < 128 ? 2 * s * d / 255 : 255 - 2 * (255 - s) * (255 - d) / 255;
    };
    static const Mix softLight = [](Wide s, Wide d) {
        const Wide h = s >> 1;
        return d < 128 ? Wide(float(2 * h + 128) * float(d) * 0.003921569f)
                       : Wide(255.0f - float(2 * (191 - h)) * float(255 - d) * 0.003921569f);
    };
    static const Mix vividLight = [](Wide s, Wide d) {
        if (d < 128)
            return s == 0 ? 0 : std::max<Wide>(255 - (65280 - 512 * d) / s, 0);
        return s == 255 ? 255 : std::min<Wide>((510 * d - 65280) / (255 - s), 255);
    };
    static const std::map<int, Mix> all {
        { 0, [](Wide s, Wide) { return s; } },
        { 12, [](Wide s, Wide d) { return s + d; } },
        { 13, [](Wide s, Wide d) { return s * d / 255; } },
        { 14, [](Wide s, Wide d) { return 255 - (((255 - s) * (255 - d)) >> 8); } },
        { 15, overlay },
        { 16, [](Wide s, Wide d) { return std::min(s, d); } },
        { 17, [](Wide s, Wide d) { return std::max(s, d); } },
        { 18, [](Wide s, Wide d) { return s == 255 ? 255 : std::min<Wide>(d * 255 / (255 - s), 255); } },
        { 19, [](Wide s, Wide d) { return s == 0 ? 0 : std::max<Wide>((d - 255) * 256 / s + 255, 0); } },
        { 20, [](Wide s, Wide d) { return overlay(d, s); } },
        { 21, softLight },
        { 22, [](Wide s, Wide d) { return std::abs(s - d); } },
        { 23, [](Wide s, Wide d) { return s + d - 2 * s * d / 255; } },
        { 48, excess },
        { 49, [](Wide s, Wide d) { return s + d; } },
        { 50, excess },
        { 51, [](Wide s, Wide d) { return d < 128 ? std::max<Wide>(s + 2 * d - 255, 0) : s + 2 * d - 256; } },
        { 52, vividLight },
        { 53, [](Wide s, Wide d) { return d < 128 ? std::min(2 * d, s) : std::max(2 * d - 256, s); } },
        { 54, [](Wide s, Wide d) -> Wide { return vividLight(s, d) < 128 ? 0 : 255; } },
    };
    return all;
}

/// In two steps: the source takes on the mix as far as there is a destination, and is then laid over it by @p sa.
inline OPRGBA32i framed(Mix mix, OPRGBA32i s, OPRGBA32i d, Word sa, bool lock)
{
    const Word bare = (255 - sa) * (255 - d.a), alpha = std::min((255 * 255 - bare) / 255, 255u);
    if (alpha == 0)
        return {};
    return eachColour(s, d, lock ? d.a : alpha, [=](Word sc, Word dc) {
        const Word laid = 255 * sc + d.a * (Word(mix(sc, dc)) - sc), kept = (255 - sa) * d.a;
        return std::min((laid * sa + dc * kept) / (255 * alpha), 255u);
    });
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
        return eachColour(s, d, d.a, [=](Word, Word dc) {
            const Wide grown = std::min((grey(s) * sa + (255 - sa) * grey(d)) / 255, 255u);
            return clamped(grown + (Wide(dc) - grey(d)) * d.a / 255);
        });
    case 47:
        return lock ? d : withAlpha(d, std::min((grey(s) * sa * 255 + d.a * (65025 - sa * 255)) / 65025, 255u));
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
    const auto mix = mixes().find(mode);
    return mix == mixes().end() ? d : framed(mix->second, s, d, sa, lock);
}

/// One pixel of a mode's plain form, with an optional pixel whose alpha is a coverage.
inline OPRGBA32i plain(int mode, OPRGBA32i s, OPRGBA32i d, const OPRGBA32i *mask, Word opacity, bool lock)
{
    const Word sa = covered((s.a * opacity) >> 8, mask), wide = covered(s.a * opacity / 255, mask);
    switch (mode) {
    case 0:
        return !lock && wide == 255 ? s : blended(mode, s, d, wide, lock);
    case 2:
        return !lock && s.a * opacity != 0 ? withAlpha(d, 0) : d;
    case 3:
        return !lock && opacity == 256 ? s : withAlpha(s, lock ? d.a : sa);
    case 6:
        return lock ? d : withAlpha(d, d.a * sa / 255);
    case 24:
        return { (d.word | withAlpha(s, lock ? 0 : sa).word) };
    case 25:
        return { (d.word & withAlpha(s, lock ? 255 : sa).word) };
    case 31:
        return { (d.word & ~withAlpha(s, lock ? 0 : sa).word) };
    case 39:
        return { byte(sa), byte(sa), byte(sa), lock ? d.a : byte(255) };
    case 40: {
        const auto g = s.a ? byte(grey(s)) : byte(255);
        return { g, g, g, s.a || !lock ? byte(255) : d.a };
    }
    case 41: // locked the source counts in full
        return blended(mode, s, d, covered(lock ? Word(s.a) : (s.a * opacity) >> 8, mask), lock);
    case 42:
        return s.a == 0 ? d : withAlpha(s, lock ? d.a : sa);
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
    if (mode >= 48 && mode <= 54) // these have the plain form alone
        return d;
    const auto byBoth = [=](Word sa) { return covered(covered(sa, mask1), mask1 ? mask2 : nullptr); };
    const Word product = s.a * second.a * opacity, sa = byBoth(product / 65280);
    switch (mode) {
    case 0:
        return blended(mode, s, d, byBoth(product / 65025), lock);
    case 3:
        return withAlpha(s, lock ? d.a : sa);
    case 38:
        return lock || (second.a && (!mask1 || mask1->a)) ? d : s;
    case 39:
        return { byte(sa), byte(sa), byte(sa), lock ? d.a : byte(byBoth(second.a)) };
    case 41:
        return withAlpha(blended(mode, s, d, sa, lock), lock ? d.a : 255);
    case 55:
        return second.a == 0 ? s : withAlpha(d, second.a);
    }
    return blended(mode, s, d, sa, lock);
}

/// A picture without storage, and the tiles that were resolved for writing.
struct Canvas {
    explicit Canvas(const RGBA32iImage &image)
        : picture(kit::Picture::of(image))
    {
    }
    OPRGBA32i &At(QPoint p) { return picture.at(p.x(), p.y()); }

    kit::Picture picture;
    std::set<int> touched;
};

/// An image with its rectangle; as a mask also what counts outside of it.
struct Side {
    const RGBA32iImage &image;
    QRect rect;
    bool outsideVisible = false;

    /// The place @p offset away from the rectangle's corner, if it lies in the rectangle, moved, and in the image.
    std::optional<QPoint> Place(QPoint offset, QPoint moved = {}) const
    {
        const Wide x = Wide(rect.x()) + offset.x(), y = Wide(rect.y()) + offset.y();
        if (rect.isEmpty() || !QRect(moved, rect.size()).contains(offset) || x < 0 || y < 0 || x >= image.Width()
            || y >= image.Height())
            return std::nullopt;
        return QPoint(int(x), int(y));
    }

    /// What the image stores at @p p, or null: null and fake tiles store nothing but what the flat window has there.
    const OPRGBA32i *Stored(QPoint p) const
    {
        if (!image.IsTiled())
            return image.Bits() + qptrdiff(p.y()) * image.Width() + p.x();
        const int tile = p.y() / 128 * image.TilesX() + p.x() / 128;
        if (image.TileData(tile) && !image.IsFakeTile(tile))
            return image.TileData(tile) + p.y() % 128 * 128 + p.x() % 128;
        const QPoint w = p + image.FlatWindowOffset() - image.FlatWindowOrigin();
        if (!image.HasFlatWindow() || !QRect(QPoint(), image.FlatWindowRect().size()).contains(w))
            return nullptr;
        return image.Bits() + w.y() * image.FlatWindowRect().width() + w.x();
    }

    /// The mask's pixel: all ones where it is not but counts as visible; nothing where it hides.
    std::optional<OPRGBA32i> Coverage(QPoint offset, QPoint moved) const
    {
        if (const auto place = Place(offset, moved))
            if (const OPRGBA32i *const pixel = Stored(*place))
                return *pixel;
        return outsideVisible ? std::optional<OPRGBA32i>(0xFFFFFFFFu) : std::nullopt;
    }
};

/// The sides of a composition. Without @c first a clip's alpha is the mask of the plain form; with it that mask is the
/// second coverage, the clip the third, and @c last, if given, the fourth. If there is no clip, the rectangle of
/// @c first moves along with a clipped start.
struct Sides {
    Side source;
    const Side *clip = nullptr, *first = nullptr, *last = nullptr;
};

/// 0..256; 0 for what is not a number when clamped.
inline Word opacity256(double opacity, bool isClamped)
{
    return Word((!isClamped ? opacity : opacity > 0 ? std::min(opacity, 1.0) : 0) * 256);
}

inline void compose(Canvas &canvas, const QRect &dstRect, const Sides &sides, int mode, Word opacity, bool lock)
{
    const auto [source, clip, first, last] = sides;
    if (mode == 4 || opacity == 0 || (first && !clip && first->image.Rect().isEmpty()))
        return;
    const QRect area = dstRect & canvas.picture.rect();
    std::optional<QPoint> start; // the clipped corner
    for (int y = area.y(); y < area.y() + area.height(); ++y)
        for (int x = area.x(); x < area.x() + area.width(); ++x) {
            const QPoint offset = QPoint(x, y) - dstRect.topLeft();
            const auto from = source.Place(offset), clipped = clip ? clip->Place(offset) : QPoint();
            if (!from || !clipped)
                continue;
            if (!start)
                start = offset;
            const OPRGBA32i *const s = source.Stored(*from), *const c = clip ? clip->Stored(*clipped) : nullptr;
            const auto second = first ? first->Coverage(offset, clip ? QPoint() : *start) : OPRGBA32i();
            const auto fourth = last ? last->Coverage(offset, {}) : OPRGBA32i();
            const bool shows = s && (c || !clip) && second && fourth;
            if (shows || (!first && source.image.HasFlatWindow()))
                canvas.touched.insert(y / 128 * ((canvas.picture.width + 127) / 128) + x / 128);
            OPRGBA32i &d = canvas.At({ x, y });
            if (shows)
                d = first ? masked(mode, *s, *second, d, c, last ? &*fourth : nullptr, opacity, lock)
                          : plain(mode, *s, d, c, opacity, lock);
        }
}

/// Where an image is not as expected, in words; empty when it is.
inline QString difference(const Canvas &expected, const RGBA32iImage &image)
{
    return kit::difference(kit::Picture::of(image), expected.picture);
}
inline QString difference(const Canvas &expected, const QImage &image)
{
    return difference(expected, ConvertImage<QImage, RGBA32iImage>(image));
}

/// Whether exactly the tiles that @p expected touched left sharing with @p before; in words when not.
inline QString tileDifference(const Canvas &expected, const RGBA32iImage &before, const RGBA32iImage &after)
{
    for (int i = 0; before.HasTile(i); ++i)
        if ((after.TileData(i) != before.TileData(i)) != bool(expected.touched.count(i)))
            return QString("tile %1 %2").arg(i).arg(expected.touched.count(i) ? "is still shared" : "was resolved");
    return {};
}

} // namespace reference
