#include "KXTileManager64.h"

#include <cstdlib>
#include <new>

KXTileManager64 *KXTileManager64::Instance()
{
    static KXTileManager64 instance;
    return &instance;
}

void *KXTileManager64::AllocTile()
{
    void *block = std::malloc(BlockBytes);
    if (!block)
        throw std::bad_alloc();
    return block;
}

void KXTileManager64::Release(void *block) { std::free(block); }

// Each what() stands here, and not in the header, so that the type of each exception has one home in the library and is
// caught across its border.
const char *OPTMAlreadyFree::what() const noexcept { return WHATDATA; }
const char *OPTMBadInstance::what() const noexcept { return WHATDATA; }
const char *OPTMInvalidBlock::what() const noexcept { return WHATDATA; }
const char *OPTMSwapError::what() const noexcept { return WHATDATA; }
const char *OPTMSwapFileError::what() const noexcept { return WHATDATA; }
