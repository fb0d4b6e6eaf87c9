#include <KXCore.h>

#include <cstdio>
#include <cstring>

/// Uses the installed library as a stranger would. With the argument "module" the kernel module must have been found
/// beside the installed library, unless the processor cannot run it.
int main(int argc, char **argv)
{
    RGBA32iImage image(300, 200, true);
    if (!image.TileData(4, true) || image.IsFakeTile(4) || !image.IsFakeTile(0)) {
        std::puts("tiles do not behave");
        return 1;
    }
    const bool expected = argc > 1 && std::strcmp(argv[1], "module") == 0 && __builtin_cpu_supports("avx2");
    if ((AVX2LIB::Instance() != nullptr) != expected) {
        std::puts(expected ? "the installed module is not found" : "there is a module where none was installed");
        return 1;
    }
    std::puts(expected ? "with the module" : "without a module");
    return 0;
}
