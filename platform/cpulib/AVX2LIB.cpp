#include "AVX2LIB.h"

#include <dlfcn.h>
#include <link.h>

#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace {

constexpr char moduleFile[] = "libkxcore_avx2.so";

/// The module file beside the file of the shared object that this code is part of, by its absolute path without
/// symbolic links; "" when that cannot be found out.
class DefaultModule {
public:
    DefaultModule()
    {
        Dl_info info {};
        if (!dladdr(this, &info) || !info.dli_fname || !realpath(info.dli_fname, m_path))
            return;
        char *const file = std::strrchr(m_path, '/') + 1;
        const bool fits = size_t(file - m_path) + sizeof moduleFile <= sizeof m_path;
        if (fits)
            std::memcpy(file, moduleFile, sizeof moduleFile);
        else
            m_path[0] = '\0';
    }

    const char *Path() const { return m_path; }

private:
    char m_path[PATH_MAX] = "";
};

// Made as the library is loaded: the path that the loader knows may be relative to the folder that is the current one
// at that time.
const DefaultModule defaultModule;

std::mutex mutex;
std::optional<std::string> namedModule; // not set: the module beside the library; empty: none

bool processorHasAvx2()
{
#if defined(__x86_64__) || defined(__i386__)
    return __builtin_cpu_supports("avx2"); // asks the operating system's support of the registers too
#else
    return false;
#endif
}

/// Whether a file holds all that it is to be loaded from. The loader does not ask: it maps what a file that was cut off
/// lacks, and the process ends where that is touched.
bool isWhole(const std::string &path)
{
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file)
        return path.find('/') == std::string::npos; // where the loader may know a folder for it
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
    const std::string path = namedModule ? *namedModule : defaultModule.Path();
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
