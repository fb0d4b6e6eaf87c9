#include "OPRGBA32ColorProfileTransform.h"

#include "Scene.h"
#include "Suite.h"

#include "catalogue/Profiles.h"

#include <cmath>
#include <memory>
#include <random>

namespace bench {

namespace {

using Picture = std::vector<OPRGBA32i>;

unsigned char byte(double v) { return static_cast<unsigned char>(v < 0 ? 0 : v > 255 ? 255 : v); }

/// Light that changes slowly over the picture, and little noise: colours come again and again.
Picture smoothPhoto()
{
    std::mt19937 random(1);
    std::normal_distribution<double> normal;
    Picture picture;
    picture.reserve(static_cast<size_t>(pixels));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const double light = 128 + 70 * std::sin(x * 0.004 + y * 0.002)
                + 25 * std::sin(x * 0.05) * std::sin(y * 0.043) + 2 * normal(random);
            const double tint = 10 * std::sin(y * 0.01) + 8 * std::cos(x * 0.007);
            picture.emplace_back(byte(light * 0.8 + 10 - tint + 0.3 * normal(random)),
                byte(light * 0.9 + 0.3 * normal(random)), byte(light + tint + 0.3 * normal(random)), 255);
        }
    return picture;
}

/// Edges, textures, and the noise of a sensor, mostly of brightness: few colours come again.
Picture detailedPhoto()
{
    std::mt19937 random(1);
    std::normal_distribution<double> normal;
    Picture picture(pixelsOf(photoLayer), pixelsOf(photoLayer) + size_t(pixels));
    for (OPRGBA32i &pixel : picture) {
        const double light = 6 * normal(random);
        for (unsigned char *channel : { &pixel.b, &pixel.g, &pixel.r })
            *channel = byte(*channel + light + 2 * normal(random));
    }
    return picture;
}

/// A transform of Little CMS. What a Suite holds lives as long as the process.
cmsHTRANSFORM lcmsTransform(const QByteArray &from, const QByteArray &to)
{
    cmsHPROFILE source = cmsOpenProfileFromMem(from.constData(), cmsUInt32Number(from.size()));
    cmsHPROFILE target = cmsOpenProfileFromMem(to.constData(), cmsUInt32Number(to.size()));
    cmsHTRANSFORM transform = cmsCreateTransform(source, TYPE_BGRA_8, target, TYPE_BGRA_8, INTENT_PERCEPTUAL, 0);
    cmsCloseProfile(source);
    cmsCloseProfile(target);
    return transform;
}

} // namespace

/// One thread against one: ours walks over the tiles of an image, which a single worker does, and Little CMS gets whole
/// rows.
void addProfiles(Suite &suite)
{
    const QByteArray srgb = profiles::srgb();
    const struct {
        const char *name;
        Picture (*make)();
    } pictures[] = { { "smooth photo", smoothPhoto }, { "detailed photo", detailedPhoto },
        { "noise", [] { return Picture(pixelsOf(layer), pixelsOf(layer) + size_t(pixels)); } },
        { "one colour", [] { return Picture(static_cast<size_t>(pixels), OPRGBA32i(40, 120, 220, 255)); } } };
    const struct {
        const char *name;
        QByteArray from;
    } kinds[] = { { "matrix", profiles::wideGamut() }, { "tables", profiles::rgbTables2() } };
    // Made when they are first measured, and both in one layout.
    static Picture rows;
    static RGBA32iImage tiles;
    for (const auto &picture : pictures) {
        const auto original = [make = picture.make, kept = std::make_shared<Picture>()]() -> const Picture & {
            if (kept->empty())
                *kept = make();
            return *kept;
        };
        for (const auto &kind : kinds) {
            const std::string name = std::string("profiles, ") + kind.name + ": " + picture.name;
            suite.addRow(name, { Column::LittleCms, "", 1 });

            const auto transform =
                std::make_shared<OPRGBA32ColorProfileTransform>(profiles::loaded(kind.from), profiles::loaded(srgb));
            const auto restoreTiles = [original] {
                if (tiles.Width() == 0)
                    tiles = RGBA32iImage(width, height, true);
                for (unsigned y = 0; y < unsigned(height); ++y)
                    tiles.WriteRow(y, 0, &original()[size_t(y) * width], width * 4);
            };
            suite.addOurs(name, 5, restoreTiles, [transform] { (*transform)(tiles); });
            suite.addPeer(
                name, Column::LittleCms, 5, [original] { rows = original(); },
                [peer = lcmsTransform(kind.from, srgb)] {
                    for (int y = 0; y < height; ++y) {
                        OPRGBA32i *const row = &rows[size_t(y) * width];
                        cmsDoTransform(peer, row, row, width);
                    }
                });
        }
    }
}

} // namespace bench
