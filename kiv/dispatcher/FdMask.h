/// \file
/// The descriptor set of the dispatcher.
#pragma once

#include <kiv/foundation/export.h>

#include <sys/select.h>

#include <cstdint>

/// A set of descriptors from 0 to 1023: one bit for each.
///
/// Bit `fd % 32` of word `fd / 32` stands for descriptor `fd`. This is the layout of the platform's `fd_set`. The
/// dispatcher therefore hands a set to select() without converting it.
///
/// Descriptors outside 0 to 1023 are ignored: setBit() and clrBit() do nothing, isSet() is false.
///
/// \par Threads
/// One thread at a time per object.
class KIV_EXPORT FdMask {
public:
    static constexpr int size = 1024; ///< The number of bits.

    void zero() { *this = FdMask(); } ///< Clears all bits.
    /// Adds `fd` to the set.
    void setBit(int fd)
    {
        if (isIndex(fd))
            words[fd / wordBits] |= bit(fd);
    }
    /// Removes `fd` from the set.
    void clrBit(int fd)
    {
        if (isIndex(fd))
            words[fd / wordBits] &= ~bit(fd);
    }
    /// True if `fd` is in the set.
    bool isSet(int fd) const { return isIndex(fd) && (words[fd / wordBits] & bit(fd)) != 0; }
    bool anySet() const; ///< True if at least one bit is set.
    int numSet() const;  ///< The number of set bits.

    /// \name Descriptor and index
    /// Translation between a descriptor and the index of its bit. On this platform a descriptor is its own index, so
    /// nothing is translated. The dispatcher calls these operations nevertheless: a platform whose descriptors are not
    /// small integers changes only them.
    /// \{
    int allocFd(int fd) { return fd; } ///< \return the index for descriptor `fd`: here `fd` itself.
    int realFd(int fd) { return fd; }  ///< \return the descriptor behind index `fd`: here `fd` itself.
    void freeFd(int) {}                ///< The descriptor has lost its last handler. Here nothing happens.
    /// \}

private:
    static constexpr int wordBits = 32;

    static bool isIndex(int fd) { return static_cast<unsigned int>(fd) < static_cast<unsigned int>(size); }
    static uint32_t bit(int fd) { return uint32_t{1} << (fd & (wordBits - 1)); }

    alignas(fd_set) uint32_t words[size / wordBits] = {};
};

// NOLINTNEXTLINE(misc-redundant-expression): the two alignments are written alike, they are not the same
static_assert(sizeof(FdMask) == sizeof(fd_set) && alignof(FdMask) == alignof(fd_set),
              "select() is given an FdMask as its fd_set");
#if __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
static_assert(sizeof(long) == sizeof(uint32_t), "a wider word of fd_set has the same layout only on little-endian");
#endif
