// Putting what is longer than a number: texts, blocks, records, transactions.
//
// A put first makes room for everything that it writes, then writes. What cannot grow therefore leaves no half item
// behind, except for a length word whose block finds no memory. The bytes to be put may lie in the buffer itself, which
// moves when it grows: such bytes are remembered by their offset.
#include <kiv/ndr/itcNDRSend.h>

#include <kiv/foundation/detail/Invariant.h>
#include <kiv/foundation/detail/SetStatus.h>
#include <kiv/ndr/detail/Frame.h>
#include <kiv/ndr/detail/Storage.h>

#include <algorithm>
#include <limits>
#include <tuple>

using namespace kiv;

namespace {

// The inline puts of the header as symbols of the library.
template <class Value> using Put = itcNDRSend& (*)(itcNDRSend&, Value);
template <class... Values> constexpr auto putsOf = std::make_tuple(static_cast<Put<Values>>(operator<<)...);
[[gnu::used]] const auto exportedPuts = putsOf<bool, char, signed char, unsigned char, short, unsigned short, int,
                                               unsigned int, float, double, long long, unsigned long long>;

} // namespace

/// Bytes to be put that may lie in the buffer itself.
class itcNDRSend::OwnBytes {
public:
    OwnBytes(const itcNDRSend& b, const void* bytes) : data(static_cast<const char*>(bytes))
    {
        const auto place = reinterpret_cast<std::uintptr_t>(data);
        const auto first = reinterpret_cast<std::uintptr_t>(b.frameStart);
        inside = b.frameStart != nullptr && place >= first && place <= reinterpret_cast<std::uintptr_t>(b.lastUsable);
        if (inside)
            offset = place - first;
    }

    const char* in(const itcNDRSend& b) const { return inside ? b.frameStart + offset : data; }

private:
    const char* data;
    bool inside;
    std::uintptr_t offset = 0;
};

// `pages` counts the bytes alone. Just below a multiple of 4096 the gap, the length word and the label do not fit any
// more. A second, larger growth is asked for then. Repeating the first growth would give the same size, because the
// size is computed from the content.
bool itcNDRSend::grow(unsigned int pages, unsigned int alignment, uint64_t bytes)
{
    constexpr unsigned int slack = 16;
    const auto fits = [&] {
        return writePos != nullptr && gapTo(alignment, writePos) + bytes <= free_buffer_size_inline();
    };
    for (const unsigned int asked : {pages, pagesBeyond(bytes + slack)}) {
        extend_buffer(asked);
        if (severity == Error)
            return false;
        if (fits())
            return true;
    }
    failAllocation(*this);
    return false;
}

// REQUIRES: there is room.
void itcNDRSend::putBytes(unsigned int alignment, const void* bytes, size_t length)
{
    const unsigned int gap = gapTo(alignment, writePos);
    std::memset(writePos, 0, gap);
    std::memmove(writePos + gap, bytes, length);
    writePos += gap + length;
    KIV_INVARIANT(isSound());
}

// Puts a length word and as many bytes. In Error an int is refused, but this length is not: the length is always
// written together with its bytes.
void itcNDRSend::putCounted(const char* data, size_t length)
{
    if (length > std::numeric_limits<uint32_t>::max()) {
        failAllocation(*this);
        return;
    }
    const OwnBytes bytes(*this, data);
    const auto count = static_cast<uint32_t>(length);
    if (uint64_t{count} + 8 > free_buffer_size_inline() &&
        !grow(pagesBeyond(count), sizeof count, sizeof count + uint64_t{count}))
        return;
    putBytes(sizeof count, &count, sizeof count);
    if (count != 0)
        putBytes(1, bytes.in(*this), count);
}

itcNDRSend& operator<<(itcNDRSend& b, const char* text)
{
    if (text == nullptr)
        setStatus(b, Itc_Ndr_No_Buffer_Provided, Error);
    else
        b.putCounted(text, std::strlen(text) + 1);
    return b;
}

itcNDRSend& operator<<(itcNDRSend& b, const itcBinData& data)
{
    if (data.data == nullptr && data.length != 0)
        setStatus(b, Itc_Ndr_No_Buffer_Provided, Error);
    else
        b.putCounted(data.data, data.length);
    return b;
}

itcNDRSend& operator<<(itcNDRSend& b, const itcXNDR& record)
{
    record.to_external(b);
    return b;
}

itcNDRSend& itcNDRSend::put_opaque(const void* data, int len, bool align8, bool withLength)
{
    if (len == 0 || data == nullptr)
        return *this;
    if (len < 0) {
        setStatus(*this, Itc_Ndr_Buff_Sz_More_Than_Max, Error);
        return *this;
    }
    const OwnBytes bytes(*this, data);
    const auto length = static_cast<size_t>(len);
    const unsigned int alignment = align8 ? 8 : 1;
    if (withLength) {
        constexpr unsigned int roomForLength = 2 * sizeof len;
        const bool mustGrow = free_buffer_size_inline() < roomForLength;
        *this << len;
        if (mustGrow && severity == Error)
            return *this; // a block must not follow a length that found no memory: the next growth may succeed
    }
    const uint64_t need = uint64_t{length} + (align8 ? 8 : 0) + 8;
    if (need > free_buffer_size_inline() && !grow(pagesBeyond(need), alignment, length))
        return *this;
    putBytes(alignment, bytes.in(*this), length);
    return *this;
}

itcNDRSend& itcNDRSend::insert(const char* data, int len, bool withLength)
{
    return put_opaque(data, len, false, withLength);
}

itcNDRSend& itcNDRSend::start_transaction()
{
    constexpr unsigned int placeholder = 0xFFFFFFFF;
    *this << placeholder;
    // In Error the placeholder has been refused, and what lies before writePos is somebody else's value.
    transactionOffset = severity == Error ? 0 : static_cast<unsigned int>(writePos - frameStart);
    return *this;
}

int itcNDRSend::end_transaction()
{
    constexpr unsigned int countSize = sizeof(uint32_t);
    constexpr unsigned int firstContent = headerSize + labelSize + countSize;
    if (frameStart == nullptr || writePos == nullptr || transactionOffset < firstContent) {
        if (severity <= Success)
            setStatus(*this, Itc_Ndr_No_Buffer_Provided, Error);
        return severity;
    }
    const auto end = static_cast<uint64_t>(writePos - frameStart);
    if (severity > Success) {
        writePos = frameStart + std::min<uint64_t>(end, transactionOffset - countSize);
        return severity;
    }
    if (transactionOffset > end) // the transaction was dropped, count included: there is no place to patch
        return severity;
    // Patched in place: a put there would ask for room that a transaction at the buffer's end does not have.
    const auto count = static_cast<uint32_t>(end - transactionOffset);
    std::memcpy(frameStart + transactionOffset - countSize, &count, countSize);
    return severity;
}
