/// \file
/// The place in a received packet where the next value begins, and how much is left behind it.
#pragma once

#include <kiv/foundation/export.h>
#include <kiv/ndr/itcNDRReceive.h>
#include <kiv/records/detail/Failure.h>
#include <kiv/records/detail/Layout.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace kiv {

/// How the numbers of a packet become numbers of this machine.
enum class Format {
    own,     ///< They are the same.
    swapped, ///< The bytes of each number are reversed.
    foreign  ///< Floating-point numbers have another format, too. The library's own takes convert them.
};

/// Reads bytes out of an itcNDRReceive. commit() makes the buffer stand behind them. Until then the buffer stands where
/// it was.
class PacketReader {
public:
    explicit PacketReader(itcNDRReceive& receiveBuffer)
        : place(receiveBuffer.*(&Fields::readPos)), depth(levelsAround), wasCut(false), buffer(receiveBuffer),
          swapped(receiveBuffer.*(&Fields::peerEndian) != itcNDR::ndr_endian),
          foreign(receiveBuffer.*(&Fields::peerFloat) != itcNDR::ndr_float), end(endOf(receiveBuffer)), isInPart(false)
    {}

    /// The bytes that are left. Negative in one case: the gap before a value that was not there has been skipped.
    KIV_ALWAYS_INLINE std::ptrdiff_t left() const { return end - place; }
    KIV_ALWAYS_INLINE bool has(std::size_t bytes) const
    {
        return left() >= 0 && static_cast<std::size_t>(left()) >= bytes;
    }
    KIV_ALWAYS_INLINE bool isSwapped() const { return swapped; }
    KIV_ALWAYS_INLINE Format format() const
    {
        return KIV_UNLIKELY(foreign) ? Format::foreign : swapped ? Format::swapped : Format::own;
    }

    /// Takes an `unsigned int`.
    bool takeWord(std::uint32_t& word)
    {
        const unsigned int gap = gapBefore(sizeof word, place);
        if (!has(gap + sizeof word))
            return endOfData();
        std::memcpy(&word, place + gap, sizeof word);
        if (swapped)
            word = __builtin_bswap32(word);
        place += gap + sizeof word;
        return true;
    }

    /// Takes a count, and holds it against what is left: each of the things that are counted has at least `least`
    /// bytes. `most` is the limit of the host.
    bool takeCount(std::uint32_t& count, std::size_t least, std::size_t most = UINT32_MAX)
    {
        if (!takeWord(count))
            return false;
        if (count > most)
            return tooMany();
        return std::uint64_t{count} * least <= static_cast<std::uint64_t>(left()) || endOfData();
    }

    /// The data end before the value does. Where a record has announced a shorter end than the packet's, the packet
    /// contradicts itself.
    bool endOfData() { return fail(buffer, Itc_Ndr_End_Of_Data, isInPart ? Error : Warning); }
    bool noMemory() { return fail(buffer, Itc_Ndr_Buffer_Alloc_Failed, Error); }
    /// A number in the packet is above its limit: a count, an alternative, the depth of records.
    bool tooMany() { return fail(buffer, Itc_Ndr_Buff_Sz_More_Than_Max, Error); }

    /// Lets `take`, which may be the host's, take from the buffer itself. \return whether that went well.
    template <class Take> bool throughBuffer(const Take& take)
    {
        const HostLevel level(depth);
        if (HostLevel::isTooDeep())
            return tooMany();
        commit();
        take(buffer);
        place = buffer.*(&Fields::readPos);
        if (isBroken(buffer)) {
            if (isInPart && buffer.code == Itc_Ndr_End_Of_Data)
                buffer.severity = Error; // as endOfData() says it
            return false;
        }
        rememberCut();
        return left() >= 0 || endOfData();
    }

    /// Takes the Warning about a cut text out of the status, where it would stop takes of the library.
    void rememberCut()
    {
        if (tellsCut(buffer)) {
            wasCut = true;
            clear(buffer);
        }
    }

    /// A number through the library's own take, which knows every format. REQUIRES: the number is there.
    template <class Number> void takeForeign(const char* at, Number& number)
    {
        buffer.*(&Fields::readPos) = const_cast<char*>(at);
        buffer >> number;
    }

    void commit() { buffer.*(&Fields::readPos) = const_cast<char*>(place); }

    /// Reads from a part of the packet, as long as this object lives.
    class Part {
    public:
        Part(PacketReader& reader, std::size_t length) : r(reader), outerEnd(reader.end), wasInPart(reader.isInPart)
        {
            r.end = r.place + length;
            r.isInPart = true;
        }
        ~Part()
        {
            r.end = outerEnd;
            r.isInPart = wasInPart;
        }
        Part(const Part&) = delete;
        Part& operator=(const Part&) = delete;

        bool isAtEnd() const { return r.place == r.end; }
        void skipRest() { r.place = r.end; }

    private:
        PacketReader& r;
        const char* outerEnd;
        bool wasInPart;
    };

    const char* place;  ///< Where the next byte is.
    unsigned int depth; ///< How many records lie around the value.
    bool wasCut;        ///< A text was longer than its place. It was cut.

private:
    // The buffer's fields are protected. A deriving class may name them, and the names then work with every buffer. No
    // object of this class is ever made.
    struct Fields : itcNDRReceive {
        using itcNDRReceive::bufferLast;
        using itcNDRReceive::dataLast;
        using itcNDRReceive::dataStart;
        using itcNDRReceive::peerEndian;
        using itcNDRReceive::peerFloat;
        using itcNDRReceive::readPos;
    };

    // Behind the last byte. Data in a caller's buffer (init()) may be announced beyond the end of that buffer. Without
    // a packet there are no bytes.
    static const char* endOf(const itcNDRReceive& b)
    {
        const char* const last = b.*(&Fields::dataLast);
        if (last == b.*(&Fields::dataStart))
            return b.*(&Fields::readPos);
        return std::min<const char*>(last, b.*(&Fields::bufferLast)) + 1;
    }

    itcNDRReceive& buffer;
    bool swapped;
    bool foreign;
    const char* end;
    bool isInPart;
};

} // namespace kiv
