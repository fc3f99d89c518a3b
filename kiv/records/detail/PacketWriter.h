/// \file
/// The place in a send buffer where the next byte goes.
#pragma once

#include <kiv/foundation/export.h>
#include <kiv/ndr/itcNDRSend.h>
#include <kiv/records/detail/Failure.h>
#include <kiv/records/detail/Layout.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kiv {

/// Writes bytes into an itcNDRSend. commit() makes them part of the packet. Until then the buffer is as it was, except
/// that it may have grown.
class PacketWriter {
public:
    explicit PacketWriter(itcNDRSend& sendBuffer) : place(sendBuffer.*(&Fields::writePos)), depth(0), buffer(sendBuffer)
    {}

    /// Makes room for `bytes` bytes and one more. The one more tells an empty buffer, whose pointers are all null, from
    /// a buffer with room for one byte.
    KIV_INLINE bool ensure(std::size_t bytes)
    {
        const std::ptrdiff_t free = buffer.*(&Fields::lastUsable) - place;
        return KIV_LIKELY(free >= 0 && static_cast<std::size_t>(free) >= bytes) || grow(bytes);
    }

    /// Writes zeros up to a multiple of `alignment`, which is at most 8. REQUIRES: there is room.
    void skipTo(std::size_t alignment)
    {
        const unsigned int gap = gapBefore(alignment, place);
        std::memset(place, 0, gap);
        place += gap;
    }

    /// REQUIRES: there is room.
    void write(const void* bytes, std::size_t count)
    {
        if (count != 0)
            std::memcpy(place, bytes, count);
        place += count;
    }

    /// Writes a count as an `unsigned int`. REQUIRES: there is room for 8 bytes.
    void writeCount(std::size_t count)
    {
        skipTo(sizeof(std::uint32_t));
        const auto word = static_cast<std::uint32_t>(count);
        write(&word, sizeof word);
    }

    /// The number of bytes in front of the place. It stays the same when the buffer grows.
    std::size_t offset() const { return static_cast<std::size_t>(place - buffer.*(&Fields::frameStart)); }

    /// Writes a count into a place that was left for it. `at` is the offset behind the count.
    void patchCount(std::size_t at)
    {
        const auto word = static_cast<std::uint32_t>(offset() - at);
        std::memcpy(buffer.*(&Fields::frameStart) + at - sizeof word, &word, sizeof word);
    }

    void commit() { buffer.*(&Fields::writePos) = place; }

    /// Lets `put` put into the buffer itself. \return whether the buffer is in order behind it.
    template <class Put> bool throughBuffer(const Put& put)
    {
        commit();
        put(buffer);
        place = buffer.*(&Fields::writePos);
        return buffer.severity < Error;
    }

    bool fail(ItcStatusCode code) { return kiv::fail(buffer, code, Error); }

    char* place;        ///< Where the next byte goes.
    unsigned int depth; ///< How many records lie around the value.

private:
    // Names the buffer's protected fields, as a deriving class may.
    struct Fields : itcNDRSend {
        using itcNDRSend::frameStart;
        using itcNDRSend::lastUsable;
        using itcNDRSend::writePos;
    };

    // Not inline: it is rare, and its code would stand in every put.
    [[gnu::noinline, gnu::cold]] bool grow(std::size_t bytes)
    {
        constexpr std::size_t pageSize = 4096;
        constexpr std::size_t slack = 32; // the label, the header area and one more byte
        if (bytes > UINT32_MAX - slack)
            return fail(Itc_Ndr_Buffer_Alloc_Failed);
        commit();
        buffer.extend_buffer(static_cast<unsigned int>((bytes + slack) / pageSize + 1));
        place = buffer.*(&Fields::writePos);
        if (buffer.severity >= Error)
            return false;
        // A deriving class may have grown by less, and said nothing.
        const std::ptrdiff_t free = buffer.*(&Fields::lastUsable) - place;
        return (free >= 0 && static_cast<std::size_t>(free) >= bytes) || fail(Itc_Ndr_Buffer_Alloc_Failed);
    }

    itcNDRSend& buffer;
};

/// The end of a packet as it was before a put, to go back to when the put fails.
class PacketEnd {
public:
    explicit PacketEnd(itcNDRSend& sendBuffer) : length(sendBuffer.raw_length_inline()), buffer(sendBuffer) {}

    void restore()
    {
        if (buffer.raw_length_inline() == 0)
            return;
        constexpr unsigned int labelSize = 2;
        constexpr unsigned int headerSize = 12;
        buffer.*(&Fields::writePos) =
            buffer.*(&Fields::frameStart) + headerSize + (length > labelSize ? length : labelSize);
    }

private:
    struct Fields : itcNDRSend {
        using itcNDRSend::frameStart;
        using itcNDRSend::writePos;
    };

    unsigned int length;
    itcNDRSend& buffer;
};

} // namespace kiv
