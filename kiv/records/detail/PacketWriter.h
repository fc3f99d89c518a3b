/// \file
/// The place in a send buffer where the next byte goes.
#pragma once

#include <kiv/foundation/export.h>
#include <kiv/ndr/itcNDRSend.h>
#include <kiv/records/detail/Failure.h>
#include <kiv/records/detail/Layout.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kiv {

/// Writes bytes into an itcNDRSend. Every step moves the end of the packet. A put that fails goes back to where it
/// began.
class PacketWriter {
public:
    explicit PacketWriter(itcNDRSend& sendBuffer)
        : depth(levelsAround), buffer(sendBuffer), place(sendBuffer.*(&Fields::writePos))
    {}

    /// Makes room for `bytes` bytes and one more. The one more tells an empty buffer, whose pointers are all null, from
    /// a buffer with room for one byte.
    KIV_ALWAYS_INLINE bool ensure(std::size_t bytes)
    {
        if (KIV_LIKELY(isFree(buffer, place, bytes)))
            return true;
        char* const grown = grow(buffer, bytes);
        if (grown == nullptr)
            return false;
        place = grown;
        return true;
    }

    /// Where the next byte goes.
    KIV_ALWAYS_INLINE char* end() const { return place; }
    /// Ends the packet at `newEnd`. What lies in front may be written before or behind this call. Behind is faster: the
    /// writer need not be kept for it.
    KIV_ALWAYS_INLINE void endAt(char* newEnd)
    {
        place = newEnd;
        buffer.*(&Fields::writePos) = newEnd;
    }

    /// The number of bytes in front of the place. It stays the same when the buffer grows.
    std::size_t offset() const { return static_cast<std::size_t>(place - buffer.*(&Fields::frameStart)); }

    /// Writes a count into a place that was left for it. `at` is the offset behind the count.
    void patchCount(std::size_t at)
    {
        const auto word = static_cast<std::uint32_t>(offset() - at);
        std::memcpy(buffer.*(&Fields::frameStart) + at - sizeof word, &word, sizeof word);
    }

    /// Ends the packet where it ended at `begin`. A buffer that had no storage then may have an empty packet now.
    void goBackTo(std::size_t begin)
    {
        constexpr std::size_t emptyPacket = 14; // the header area and the label
        if (buffer.*(&Fields::frameStart) != nullptr)
            endAt(buffer.*(&Fields::frameStart) + std::max(begin, emptyPacket));
    }

    /// Lets `put`, which may be the host's, put into the buffer itself. \return whether the buffer is in order behind
    /// it.
    template <class Put> bool throughBuffer(const Put& put)
    {
        const HostLevel level(depth);
        if (HostLevel::isTooDeep())
            return fail(Itc_Ndr_Buff_Sz_More_Than_Max);
        const bool isPut = withoutExceptions(buffer, [&] {
            put(buffer);
            return true;
        });
        place = buffer.*(&Fields::writePos);
        return isPut && buffer.severity < Error;
    }

    bool fail(ItcStatusCode code) { return kiv::fail(buffer, code, Error); }

    unsigned int depth; ///< How many records lie around the value.

private:
    // The buffer's fields are protected. A deriving class may name them, and the names then work with every buffer. No
    // object of this class is ever made.
    struct Fields : itcNDRSend {
        using itcNDRSend::frameStart;
        using itcNDRSend::lastUsable;
        using itcNDRSend::writePos;
    };

    KIV_ALWAYS_INLINE static bool isFree(const itcNDRSend& b, const char* from, std::size_t bytes)
    {
        const std::ptrdiff_t free = b.*(&Fields::lastUsable) - from;
        return free >= 0 && static_cast<std::size_t>(free) >= bytes;
    }

    // Rare: its code must not stand in every put. It takes no reference to the writer, which can then live in
    // registers.
    // \return the place in the new storage; null, with the status set, without room.
    [[gnu::noinline, gnu::cold]] static char* grow(itcNDRSend& b, std::size_t bytes)
    {
        constexpr std::size_t pageSize = 4096;
        constexpr std::size_t slack = 32; // the label, the header area and one more byte
        if (bytes <= UINT32_MAX - slack) {
            b.extend_buffer(static_cast<unsigned int>((bytes + slack) / pageSize + 1));
            char* const grown = b.*(&Fields::writePos);
            if (b.severity < Error && isFree(b, grown, bytes))
                return grown;
        }
        // The growth has failed and said so, or a deriving class has grown by less and said nothing.
        if (b.severity < Error)
            kiv::fail(b, Itc_Ndr_Buffer_Alloc_Failed, Error);
        return nullptr;
    }

    itcNDRSend& buffer;
    char* place; // what the buffer's writePos is, too: a store through a char* may alias the field
};

} // namespace kiv
