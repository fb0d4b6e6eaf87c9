#include "KXCMSProfile.h"

class KXCMSProfile::Private { };
KXCMSProfile::KXCMSProfile()
    : d(new Private)
{
}
KXCMSProfile::KXCMSProfile(const KXCMSProfile &other)
    : d(new Private(*other.d))
{
}
KXCMSProfile::~KXCMSProfile() = default;
KXCMSProfile &KXCMSProfile::operator=(const KXCMSProfile &other)
{
    *d = *other.d;
    return *this;
}
