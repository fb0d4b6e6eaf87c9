#include "AVX2LIB.h"

#include <dlfcn.h>
#include <link.h>

#include <cstdint>
#include <fstream>
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

/// Whether a file holds all that it is to be loaded from. The loader does not ask: it maps what a file that was cut off
/// lacks, and the process ends where that is touched.
bool isWhole(const std::string &path)
{
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file)
        return true; // the loader may know a folder for it
    const auto size = std::uint64_t(file.tellg());
    const auto read = [&file](std::uint64_t position, auto &record) {
        file.seekg(std::streamoff(position));
        return bool(file.read(reinterpret_cast<char *>(&record), sizeof record));
    };
    ElfW(Ehdr) header;
    if (!read(0, header))
        return false;
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        ElfW(Phdr) part;
        if (!read(header.e_phoff + i * sizeof part, part))
            return false;
        if (part.p_type == PT_LOAD && (part.p_offset > size || part.p_filesz > size - part.p_offset))
            return false;
    }
    return true;
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
    if (!module && isWhole(path))
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
