#pragma once

#include "tintClass.h"

#include <QtCore/QByteArray>

#include <memory>
#include <string>

namespace tint {

/// What a profile handle points to. Never changed once it is made.
struct Profile {
    QByteArray bytes;
    QByteArray digest; ///< SHA-256 of the bytes
    std::string info; ///< see tintClass::getProfileInfo
    tintColorSpaceSignature colorSpace;
};

/// The profile in the first bytes of @p data, under the rules of tintClass::openProfileFromMem; null when it is
/// refused.
std::unique_ptr<Profile> readProfile(const char *data, unsigned int size);

} // namespace tint
