#pragma once

/// @file
/// The kernel module: a shared object with faster forms of the library's hot loops, found by name at run time.
///
/// Without a module, or on a processor without AVX2, everything works and gives the same bytes; it is only slower.
/// Thread safety: all functions may be called from any thread. @c UseModule is meant for start-up or for tests, before
/// anything has bound a kernel: what is bound stays bound to the module that it came from, only what is empty is looked
/// up in the new one, and @c loadAVX2Functions(true) takes all composition functions anew.

#include "KXGlobal.h"

/// Handle of the kernel module.
class KX_EXPORT AVX2LIB {
public:
    /// The module, loaded on first use: the file named with @c UseModule, otherwise "libkxcore_avx2.so" beside the
    /// library that holds this function. Beside means in the folder of the library's real file, symbolic links
    /// followed, as it was when the library was loaded: a later change of the current folder makes no difference. Null
    /// when there is no such file, when it cannot be loaded, when @c UseModule was told to use none, or when the
    /// processor (or its operating system) has no AVX2. The handle lives as long as the process; a module is never
    /// unloaded.
    static AVX2LIB *Instance();

    /// Names the module file that @c Instance is to load from now on, instead of the one beside the library.
    /// @p path is a file name in the platform's 8-bit encoding, or what else the system's loader takes; null or "" says
    /// that there is no module. A relative one is looked for when the module is loaded.
    static void UseModule(const char *path);

    /// Goes back to the module beside the library.
    static void UseDefaultModule();

    /// The address of the symbol @p name in the module, or null when the module does not have it.
    void *GetProcAddress(const char *name) const;

    AVX2LIB(const AVX2LIB &) = delete;
    AVX2LIB &operator=(const AVX2LIB &) = delete;

private:
    explicit AVX2LIB(void *module)
        : m_module(module)
    {
    }

    void *m_module;
};
