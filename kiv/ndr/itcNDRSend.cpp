#include <kiv/ndr/itcNDRSend.h>

#include <kiv/connection/itcConnection.h>
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

constexpr uint64_t largestAllocation = std::numeric_limits<uint32_t>::max();

} // namespace

/// Bytes to be put that may lie in the buffer itself: growing moves them.
class itcNDRSend::OwnBytes {
public:
    OwnBytes(const itcNDRSend& b, const void* data) : data(static_cast<const char*>(data))
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

itcNDRSend::itcNDRSend()
    : transactionOffset(0), frameStart(nullptr), writePos(nullptr), lastUsable(nullptr), storage(nullptr)
{}

itcNDRSend::itcNDRSend(int size) : itcNDRSend()
{
    if (size >= 1)
        itcNDRSend::create_buffer(static_cast<unsigned int>(size));
}

itcNDRSend::~itcNDRSend()
{
    release(storage);
}

void itcNDRSend::reset()
{
    if (storage == nullptr || frameStart == nullptr)
        return;
    writePos = frameStart + headerSize + labelSize;
    transactionOffset = 0;
    if (free_buffer_size() > keptBufferSize) {
        release(storage);
        storage = frameStart = writePos = lastUsable = nullptr;
    }
    clearStatus(*this);
}

char* itcNDRSend::raw_data()
{
    return frameStart != nullptr ? frameStart + headerSize : nullptr;
}

unsigned int itcNDRSend::raw_length() const
{
    return raw_length_inline();
}

unsigned int itcNDRSend::free_buffer_size() const
{
    return free_buffer_size_inline();
}

void itcNDRSend::create_buffer(unsigned int size)
{
    clearStatus(*this);
    const unsigned int allocated = std::max(size, minBufferSize);
    char* const fresh = static_cast<char*>(OS_malloc(allocated));
    if (fresh == nullptr) {
        setStatus(*this, Itc_Ndr_Buffer_Alloc_Failed, Error);
        return;
    }
    storage = fresh;
    lastUsable = fresh + allocated - 2;
    frameStart = alignedStart(fresh + headerSize) - headerSize;
    beginPacket();
}

void itcNDRSend::extend_buffer(unsigned int pages)
{
    clearStatus(*this);
    // A deriving class may count its content otherwise. What is really there is the bound.
    const uint64_t length = std::min(raw_length(), raw_length_inline());
    const uint64_t used = length != 0 ? length + headerSize : 0;
    const uint64_t newSize = used + std::max(pages * pageSize, used / 2);
    constexpr unsigned int spare = 8; // for what the alignment of the data skips
    if (newSize == 0 || newSize + spare > largestAllocation) {
        failAllocation(*this);
        return;
    }
    char* const fresh = static_cast<char*>(OS_malloc(newSize + spare));
    if (fresh == nullptr) {
        setStatus(*this, Itc_Ndr_Buffer_Alloc_Failed, Error);
        return;
    }
    const char* const oldFrame = frameStart;
    lastUsable = fresh + newSize + spare - 2;
    frameStart = alignedStart(fresh + headerSize) - headerSize;
    if (used != 0) {
        // Header area, label and values: their offsets, and so the gaps between them, stay.
        std::memcpy(frameStart, oldFrame, used);
        writePos = frameStart + used;
    } else {
        beginPacket();
    }
    release(storage);
    storage = fresh;
}

void itcNDRSend::init(char* buf, unsigned int size)
{
    clearStatus(*this);
    if (buf == nullptr) {
        setStatus(*this, Itc_Ndr_No_Buffer_Provided, Error);
        return;
    }
    if (size < minBufferSize) {
        setStatus(*this, Itc_Ndr_Buffer_Size_Too_Small, Error);
        return;
    }
    if (size > keptBufferSize)
        return;
    release(storage);
    storage = nullptr;
    lastUsable = buf + size - 2;
    frameStart = alignedStart(buf);
    transactionOffset = 0;
    beginPacket();
}

// An empty packet: the label, which says how this process keeps its numbers.
void itcNDRSend::beginPacket()
{
    char* const label = frameStart + headerSize;
    label[0] = static_cast<char>(static_cast<unsigned int>(ndr_char) | static_cast<unsigned int>(ndr_endian) << 4);
    label[1] = static_cast<char>(ndr_float);
    writePos = label + labelSize;
}

// The growth that was asked for leaves no room for gap, length word and label just below each multiple of a page: a
// second, sufficient one follows then. (The same pages once more would not help, the new size counts from the content.)
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
}

// A length word and as many bytes. Unlike an int of the host's own, the length is put into a buffer in Error too: where
// the bytes go it goes with them.
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

itcConnection& operator<<(itcConnection& c, itcNDRSend& b)
{
    const unsigned int length = b.raw_length();
    const uint64_t frameLength = uint64_t{length} + framePrefixSize;
    int sent = -1;
    if (b.frameStart != nullptr && frameLength <= static_cast<uint64_t>(std::numeric_limits<int>::max())) {
        char* const frame = b.frameStart + itcNDRSend::headerSize - framePrefixSize;
        const uint32_t networkLength = OS_htonl(length);
        std::memcpy(frame, frameMagic, sizeof frameMagic);
        std::memcpy(frame + sizeof frameMagic, &networkLength, sizeof networkLength);
        sent = c.Write(frame, static_cast<int>(frameLength));
    }
    if (sent >= 0 && static_cast<uint64_t>(sent) == frameLength) {
        clearStatus(b);
    } else {
        b.transactionOffset = 0;
        setStatus(b, Itc_Ndr_Packet_Write_Failed, Error);
    }
    return c;
}
