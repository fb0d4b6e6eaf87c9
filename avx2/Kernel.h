#pragma once

#include <QtCore/qglobal.h>

/// Marks a kernel of the module: a C symbol that the library finds by name. Its name stands in exports.map too.
#define KXCORE_KERNEL extern "C" Q_DECL_EXPORT
