/// \file
/// Internal: sizes and alignment of buffers. Buffers begin at a multiple of 8, so the alignment of an address is that
/// of the offset in the packet.
#pragma once

#include <kiv/foundation/OS.h>
#include <kiv/foundation/detail/SetStatus.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

namespace kiv {

/// The number of bytes from `position` to the next multiple of `alignment`, a power of two.
inline unsigned int gapTo(unsigned int alignment, const char* position)
{
    return static_cast<unsigned int>(-reinterpret_cast<std::uintptr_t>(position) & (alignment - 1));
}

/// The first multiple of 8 at or behind `position`; what is skipped is zeroed.
inline char* alignedStart(char* position)
{
    constexpr unsigned int bufferAlignment = 8;
    const unsigned int gap = gapTo(bufferAlignment, position);
    std::memset(position, 0, gap);
    return position + gap;
}

/// Buffers that have outgrown this are given back by reset().
constexpr unsigned int keptBufferSize = 0x100000;

/// No buffer is made smaller than this.
constexpr unsigned int minBufferSize = 32;

/// Buffers grow by pages of this size.
constexpr std::uint64_t pageSize = 4096;

/// The pages that a growth for so many bytes is asked for.
constexpr unsigned int pagesBeyond(std::uint64_t bytes)
{
    return static_cast<unsigned int>(bytes / pageSize + 1);
}

/// A size that is not even asked for fails as the allocation would have, error number and all.
inline void failAllocation(itcStatus& status)
{
    errno = ENOMEM;
    setStatus(status, Itc_Ndr_Buffer_Alloc_Failed, Error);
}

/// Frees what a buffer owns, if anything.
inline void release(char* storage)
{
    if (storage != nullptr)
        OS_free(storage);
}

} // namespace kiv
