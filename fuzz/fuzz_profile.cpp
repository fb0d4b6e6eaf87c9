#include "Fuzz.h"

#include "KXCMSTransform.h"

#include "catalogue/Profiles.h"

#include <climits>
#include <cstdio>
#include <cstdlib>

using profiles::loaded;

namespace {

/// Ends the program, with the line, where the answer is wrong.
void require(bool condition, int line)
{
    if (!condition) {
        std::fprintf(stderr, "wrong answer, line %d\n", line);
        std::abort();
    }
}

#define REQUIRE(condition) require(condition, __LINE__)

} // namespace

/// Loads the bytes, and uses what could be loaded: it is saved as it was, and some of it is converted from and to.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const KXCMSProfile srgb = loaded(profiles::srgb());
    if (size > INT_MAX)
        return 0;
    KXCMSProfile profile = loaded(profiles::grey());
    const KXCMSProfile before = profile;
    const auto *const bytes = reinterpret_cast<const char *>(data);
    if (!profile.Load(bytes, int(size))) {
        REQUIRE(profile.ToByteArray() == profiles::grey());
        return 0;
    }
    if (size == 0) {
        REQUIRE(profile.IsEmpty() && !before.IsEmpty());
        return 0;
    }
    const QByteArray saved = profile.ToByteArray();
    REQUIRE(!saved.isEmpty() && QByteArray::fromRawData(bytes, int(size)).startsWith(saved));
    REQUIRE(loaded(saved) == profile && before == profile);
    REQUIRE(!profile.GetInfo().isEmpty());

    // A transform takes a thousand times as long as all of the above, so that one input in sixteen has to do.
    if (qChecksum(saved.constData(), uint(saved.size())) % 16)
        return 0;
    const KXCMSTransform there(profile, srgb), back(srgb, profile);
    OPRGBA32i pixel(10, 200, 90, 123), again = pixel;
    there(pixel), back(pixel);
    const KXCMSTransform thereToo = there, backToo = back; // NOLINT: it is the copies that are tried
    thereToo(again), backToo(again);
    REQUIRE(pixel == again && pixel.a == 123);
    return 0;
}

QByteArrayList FuzzSeeds()
{
    return profiles::all() << profiles::chain(2, 2) << profiles::chainOf(2, profiles::curveSet(3, 3));
}
