#pragma once

/// @file
/// ICC profile of an image.

#include "KXGlobal.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <memory>

/// A shared ICC profile value.
class KX_EXPORT KXCMSProfile {
public:
    KXCMSProfile();
    KXCMSProfile(const KXCMSProfile &other);
    ~KXCMSProfile();
    KXCMSProfile &operator=(const KXCMSProfile &other);

private:
    class Private;
    std::unique_ptr<Private> d;
};
