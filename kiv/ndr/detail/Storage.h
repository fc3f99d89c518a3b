/// \file
/// Internal: sizes, alignment and allocation of the buffers.
///
/// The NDR data of a buffer begins at a multiple of 8. The alignment of an address is therefore the alignment of the
/// offset in the packet, and gaps are computed from addresses.
#pragma once

#include <kiv/foundation/OS.h>
#include <kiv/foundation/detail/SetStatus.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <limits>

namespace kiv {

/// The number of bytes from `position` to the next multiple of `alignment`, a power of two.
inline unsigned int gapTo(unsigned int alignment, const char* position)
{
    return static_cast<unsigned int>(-reinterpret_cast<std::uintptr_t>(position) & (alignment - 1));
}

/// The first multiple of 8 at or behind `position`. The skipped bytes become zero.
inline char* alignedStart(char* position)
{
    constexpr unsigned int bufferAlignment = 8;
    const unsigned int gap = gapTo(bufferAlignment, position);
    std::memset(position, 0, gap);
    return position + gap;
}

/// reset() gives back a buffer that has outgrown this size.
constexpr unsigned int keptBufferSize = 0x100000;

/// No buffer is made smaller than this.
constexpr unsigned int minBufferSize = 32;

/// Buffers grow by pages of this size.
constexpr std::uint64_t pageSize = 4096;

/// Bytes of an allocation for what the alignment of the data skips.
constexpr unsigned int alignmentSpare = 8;

/// The number of pages that a growth for so many bytes is asked for.
constexpr unsigned int pagesBeyond(std::uint64_t bytes) { return static_cast<unsigned int>(bytes / pageSize + 1); }

/// The status of a failed allocation, with ENOMEM: for sizes that are too large to be asked for.
inline void failAllocation(itcStatus& status)
{
    errno = ENOMEM;
    setStatus(status, Itc_Ndr_Buffer_Alloc_Failed, Error);
}

/// \return null with (`Itc_Ndr_Buffer_Alloc_Failed`, Error) when there is no memory, or when the size fits no `size_t`.
inline char* allocateOrFail(itcStatus& status, std::uint64_t size)
{
    if (size > std::numeric_limits<std::size_t>::max()) {
        failAllocation(status);
        return nullptr;
    }
    char* const fresh = static_cast<char*>(OS_malloc(static_cast<std::size_t>(size)));
    if (fresh == nullptr)
        setStatus(status, Itc_Ndr_Buffer_Alloc_Failed, Error);
    return fresh;
}

/// Frees what a buffer owns. Null: nothing is owned, and OS_free() is not called.
inline void release(char* storage)
{
    if (storage != nullptr)
        OS_free(storage);
}

} // namespace kiv
