#include "OPRGBA32ColorProfileTransform.h"

#include "Suite.h"

#include "kit/Profiles.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <random>

namespace bench {

namespace {

using Picture = std::vector<OPRGBA32i>;

Picture noise()
{
    std::mt19937 random(1);
    Picture picture(static_cast<size_t>(pixels));
    for (OPRGBA32i &pixel : picture)
        pixel = OPRGBA32i(unsigned(random()));
    return picture;
}

/// Light that changes over the picture, some detail, and noise mostly of brightness.
Picture photo()
{
    std::mt19937 random(1);
    std::normal_distribution<double> normal;
    const auto byte = [](double v) { return static_cast<unsigned char>(v < 0 ? 0 : v > 255 ? 255 : v); };
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

RGBA32iImage &image()
{
    static RGBA32iImage flat(width, height, false);
    return flat;
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

/// Ours goes pixel by pixel through the walk; Little CMS gets whole rows, on one thread. What counts for ours is how
/// often colours come again.
void addProfiles(Suite &suite)
{
    const QByteArray srgb = profiles::srgb();
    const struct {
        const char *name;
        Picture (*make)();
    } pictures[] = { { "photo", photo }, { "noise", noise },
        { "one colour", [] { return Picture(static_cast<size_t>(pixels), OPRGBA32i(40, 120, 220, 255)); } } };
    const struct {
        const char *name;
        QByteArray from;
    } kinds[] = { { "matrix", profiles::wideGamut() }, { "tables", profiles::rgbTables2() } };
    for (const auto &picture : pictures) {
        // Made when it is first measured.
        const auto original = [make = picture.make, kept = std::make_shared<Picture>()]() -> const Picture & {
            if (kept->empty())
                *kept = make();
            return *kept;
        };
        for (const auto &kind : kinds) {
            const std::string name = std::string("profiles, ") + kind.name + ": " + picture.name;
            suite.addRow(name);

            const auto restoreOriginal = [original] {
                std::copy(original().begin(), original().end(), image().Bits());
            };
            const auto transform =
                std::make_shared<OPRGBA32ColorProfileTransform>(profiles::loaded(kind.from), profiles::loaded(srgb));
            suite.addOurs(name, 5, restoreOriginal, [transform] { (*transform)(image()); });
            suite.addPeer(name, Column::LittleCms, 5, restoreOriginal, [peer = lcmsTransform(kind.from, srgb)] {
                for (int y = 0; y < height; ++y) {
                    OPRGBA32i *const row = image().Bits() + size_t(y) * width;
                    cmsDoTransform(peer, row, row, width);
                }
            });
        }
    }
}

} // namespace bench
