#pragma once

#include "support/KernelPrototypes.h"

/// Marks a kernel of the module: one of the C symbols that the library finds by name. KernelList.h lists them all.
#define KXCORE_KERNEL extern "C" Q_DECL_EXPORT
