#pragma once

/// @file
/// EXIF metadata of an image.

#include "KXGlobal.h"

/// One typed EXIF tag with its value.
class KX_EXPORT KXEXIFElement {
public:
    ~KXEXIFElement();
};
