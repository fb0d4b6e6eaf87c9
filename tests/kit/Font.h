#pragma once

#include "kit/Test.h"

#include <QtGui/QFont>
#include <QtGui/QFontDatabase>

/// A font for tests that draw text: from its file, so that it is the same whatever the machine has. Such a test is a
/// GUI one in its CMakeLists.txt.
namespace kit {

inline QFont font(int pixels)
{
    static const int id = QFontDatabase::addApplicationFont(KXCORE_TEST_FONT);
    if (id < 0)
        qFatal("This test needs the font %s, from the package fonts-dejavu-core", KXCORE_TEST_FONT);
    QFont result(QFontDatabase::applicationFontFamilies(id).value(0));
    result.setPixelSize(pixels);
    return result;
}

} // namespace kit
