#pragma once

/// @file
/// Export macro of the library. What is not marked KX_EXPORT is not part of the interface.

#include <QtCore/qglobal.h>

#ifdef KXCORE_BUILD
#define KX_EXPORT Q_DECL_EXPORT
#else
#define KX_EXPORT Q_DECL_IMPORT
#endif
