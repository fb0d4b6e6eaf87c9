#include <QtCore/qglobal.h>

/// Stands in for the C library's: no library is unloaded. What an OpenGL driver keeps for the whole process would look
/// like leaks to the address sanitizer once the driver is gone, and like those of no library that could be named.
extern "C" Q_DECL_EXPORT int dlclose(void *) { return 0; }
