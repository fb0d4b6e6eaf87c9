#include "tintClass.h"

#include "ColorMemory.h"
#include "Engine.h"
#include "Profile.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <memory>

#include <lcms2.h>

static_assert(tintFormatBGRA8 == TYPE_BGRA_8, "the encoding of Little CMS");

namespace {

using tint::Profile;

/// What a transform handle points to.
struct Transform {
    std::shared_ptr<const tint::Engine> engine;
    bool remembers; ///< whether pixels go through the thread's memory of colours
};

} // namespace

void *tintClass::openProfileFromMem(const void *data, unsigned int size)
{
    if (!data || size > unsigned(INT_MAX))
        return nullptr;
    return tint::readProfile(static_cast<const char *>(data), size).release();
}

int tintClass::closeProfile(void *profile)
{
    delete static_cast<Profile *>(profile);
    return profile != nullptr;
}

int tintClass::saveProfileToMem(void *profile, void *buffer, unsigned int *size)
{
    if (!profile || !size)
        return 0;
    const QByteArray &bytes = static_cast<Profile *>(profile)->bytes;
    const auto needed = static_cast<unsigned int>(bytes.size());
    if (buffer) {
        if (*size < needed)
            return 0;
        std::memcpy(buffer, bytes.constData(), needed);
    }
    *size = needed;
    return 1;
}

unsigned int tintClass::getProfileInfo(void *profile, char *buffer, unsigned int size)
{
    if (!profile)
        return 0;
    const std::string &info = static_cast<Profile *>(profile)->info;
    const auto whole = static_cast<unsigned int>(info.size()) + 1;
    if (!buffer)
        return size == 0 ? whole : 0;
    if (size == 0)
        return 0;
    const unsigned int written = std::min(size, whole);
    std::memcpy(buffer, info.data(), written - 1);
    buffer[written - 1] = 0;
    return written;
}

tintColorSpaceSignature tintClass::getColorSpace(void *profile)
{
    return profile ? static_cast<Profile *>(profile)->colorSpace : tintSigNone;
}

void *tintClass::createTransform(void *input, unsigned int inputFormat, void *output, unsigned int outputFormat,
    unsigned int intent, unsigned int flags)
{
    if (!input || !output)
        return nullptr;
    const bool remembers =
        inputFormat == tintFormatBGRA8 && outputFormat == tintFormatBGRA8 && !(flags & cmsFLAGS_COPY_ALPHA);
    if (remembers)
        flags |= cmsFLAGS_NOCACHE; // of the last colour, which would be looked for in vain
    auto transform = std::make_unique<Transform>();
    transform->engine = tint::engineFor(
        *static_cast<Profile *>(input), inputFormat, *static_cast<Profile *>(output), outputFormat, intent, flags);
    if (!transform->engine)
        return nullptr;
    transform->remembers = remembers && transform->engine->number() != 0;
    return transform.release();
}

void tintClass::doTransform(void *transform, const void *input, void *output, unsigned int count)
{
    if (!transform)
        return;
    const Transform &t = *static_cast<Transform *>(transform);
    if (!t.remembers)
        return t.engine->convert(input, output, count);
    const auto *const from = static_cast<const unsigned char *>(input);
    auto *const to = static_cast<unsigned char *>(output);
    if (count == 1)
        tint::convertRemembering(*t.engine, from, to);
    else
        tint::convertRun(*t.engine, from, to, count);
}

void tintClass::deleteTransform(void *transform) { delete static_cast<Transform *>(transform); }
