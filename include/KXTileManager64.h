#pragma once

/// @file
/// Tile memory: blocks of 65,536 bytes, and what may go wrong with them.
///
/// The tiles of @c KXImage do not come from here; these blocks serve the older form of tile records.

#include "KXGlobal.h"

#include <cstddef>
#include <exception>

/// Source of tile blocks. There is one for the process; its operations may be called from any thread.
class KX_EXPORT KXTileManager64 {
public:
    /// Size of every block.
    static constexpr std::size_t BlockBytes = 65536;

    /// The tile manager; never null, alive until the process ends.
    static KXTileManager64 *Instance();

    /// A block of @c BlockBytes bytes with undefined content, aligned for any type. The caller gives it back with
    /// @c Release. Throws std::bad_alloc.
    void *AllocTile();

    /// Gives back a block that @c AllocTile gave. Null is accepted and ignored; nothing else is.
    void Release(void *block);

    KXTileManager64(const KXTileManager64 &) = delete;
    KXTileManager64 &operator=(const KXTileManager64 &) = delete;

private:
    KXTileManager64() = default;
};

/// The failures of a tile memory that swaps and checks its blocks. They are here for code that plugs in such a memory
/// and for those who catch them: nothing in this library throws any of them. @c what() is @c WHATDATA.
class KX_EXPORT OPTMAlreadyFree : public std::exception {
public:
    static constexpr char WHATDATA[] = "Tile already free.";
    const char *what() const noexcept override;
};

class KX_EXPORT OPTMBadInstance : public std::exception {
public:
    static constexpr char WHATDATA[] = "Tile manager instance doesn't exist.";
    const char *what() const noexcept override;
};

class KX_EXPORT OPTMInvalidBlock : public std::exception {
public:
    static constexpr char WHATDATA[] = "Invalid tile pointer.";
    const char *what() const noexcept override;
};

class KX_EXPORT OPTMSwapError : public std::exception {
public:
    static constexpr char WHATDATA[] = "Nothing to swap.";
    const char *what() const noexcept override;
};

class KX_EXPORT OPTMSwapFileError : public std::exception {
public:
    static constexpr char WHATDATA[] = "Can't create swap file.";
    const char *what() const noexcept override;
};
