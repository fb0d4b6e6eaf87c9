#include "AVX2LIB.h"

#include <dlfcn.h>

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace {

std::mutex mutex;
std::optional<std::string> namedModule; // not set: the module beside the library; empty: none

constexpr char moduleFile[] = "libkxcore_avx2.so";

bool processorHasAvx2()
{
#if defined(__x86_64__) || defined(__i386__)
    return __builtin_cpu_supports("avx2"); // asks the operating system's support of the registers too
#else
    return false;
#endif
}

/// The folder, with its last slash, of the shared object that this code is part of.
std::string ownFolder()
{
    Dl_info info {};
    if (!dladdr(reinterpret_cast<void *>(&ownFolder), &info) || !info.dli_fname)
        return {};
    const std::string file = info.dli_fname;
    const auto slash = file.rfind('/');
    return slash == std::string::npos ? std::string() : file.substr(0, slash + 1);
}

} // namespace

AVX2LIB *AVX2LIB::Instance()
{
    // Modules stay loaded, and their handles valid, until the process ends: functions of theirs are held everywhere.
    static auto &modules = *new std::map<std::string, std::unique_ptr<AVX2LIB>>;

    const std::lock_guard<std::mutex> lock(mutex);
    const std::string path = namedModule ? *namedModule : ownFolder() + moduleFile;
    if (path.empty() || !processorHasAvx2())
        return nullptr;
    auto &module = modules[path];
    if (!module)
        if (void *handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL))
            module.reset(new AVX2LIB(handle));
    return module.get();
}

void AVX2LIB::UseModule(const char *path)
{
    const std::lock_guard<std::mutex> lock(mutex);
    namedModule = path ? path : "";
}

void AVX2LIB::UseDefaultModule()
{
    const std::lock_guard<std::mutex> lock(mutex);
    namedModule.reset();
}

void *AVX2LIB::GetProcAddress(const char *name) const { return name ? dlsym(m_module, name) : nullptr; }
