/// \file
/// The descriptor set of the dispatcher.
#pragma once

#include <kiv/foundation/export.h>

#include <sys/select.h>

#include <cstdint>

/// 1024 descriptor bits, laid out as the platform's `fd_set`, so that select() takes a set as it is.
///
/// Bit `fd % 32` of word `fd / 32` stands for `fd`. A descriptor outside 0 to 1023 is nobody's bit: setting and
/// clearing it does nothing, and it is never set.
class KIV_EXPORT FdMask {
public:
    static constexpr int size = 1024; ///< Number of bits.

    void zero() { *this = FdMask(); }
    void setBit(int fd)
    {
        if (isIndex(fd))
            words[fd / wordBits] |= bit(fd);
    }
    void clrBit(int fd)
    {
        if (isIndex(fd))
            words[fd / wordBits] &= ~bit(fd);
    }
    bool isSet(int fd) const { return isIndex(fd) && (words[fd / wordBits] & bit(fd)) != 0; }
    bool anySet() const; ///< True when any bit is set.
    int numSet() const;  ///< The number of set bits.

    /// \name Descriptor and index
    /// Where a platform's descriptors are no small integers, these map them to bit indexes and back. The dispatcher
    /// calls them at every place where that matters; here a descriptor is its own index.
    /// \{
    int allocFd(int fd) { return fd; }
    int realFd(int fd) { return fd; }
    void freeFd(int) {}
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
