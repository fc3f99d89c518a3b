#include <kiv/ndr/itcNDRReceive.h>

#include <kiv/connection/itcConnection.h>
#include <kiv/foundation/detail/SetStatus.h>
#include <kiv/ndr/detail/Frame.h>
#include <kiv/ndr/detail/Storage.h>

#include <limits>
#include <new>
#include <tuple>

using namespace kiv;

namespace {

// The inline takes of the header as symbols of the library.
template <class Value> using Take = itcNDRReceive& (*)(itcNDRReceive&, Value&);
template <class... Values> constexpr auto takesOf = std::make_tuple(static_cast<Take<Values>>(operator>>)...);
[[gnu::used]] const auto exportedTakes = takesOf<bool, char, signed char, unsigned char, short, unsigned short, int,
                                                 unsigned int, float, double, long long, unsigned long long>;

// A frame is read with one Read(), whose count is an int.
constexpr unsigned int longestFrame = std::numeric_limits<int>::max();

// One of the two words in front of the data. \return false with the status set.
bool readWord(itcConnection& c, itcNDRReceive& b, void* word)
{
    constexpr unsigned int size = 4;
    const int n = c.Read(word, size);
    if (n == -1)
        setStatus(b, Itc_Ndr_Conn_Read_Failed, Error);
    else if (n == 0)
        setStatus(b, Itc_Ndr_Disconnection, Error);
    else if (static_cast<unsigned int>(n) < size)
        setStatus(b, Itc_Ndr_Packet_Length_Read_Failed, Error);
    else
        return true;
    return false;
}

} // namespace

itcNDRReceive::itcNDRReceive()
    : transactionEnd(0), dataStart(nullptr), readPos(nullptr), dataLast(nullptr), bufferLast(nullptr), storage(nullptr)
{
    forgetPeer();
}

itcNDRReceive::itcNDRReceive(int size) : itcNDRReceive()
{
    if (size >= 1)
        itcNDRReceive::create_buffer(static_cast<unsigned int>(size));
}

itcNDRReceive::itcNDRReceive(const char* data, unsigned int len) : itcNDRReceive()
{
    if (data == nullptr || len <= labelSize)
        return;
    itcNDRReceive::create_buffer(len);
    if (severity == Error)
        return;
    if (free_buffer_size_inline() < len) { // an allocator of the host's that aligns less than ours
        failAllocation(*this);
        return;
    }
    std::memcpy(dataStart, data, len);
    installPacket(len);
}

itcNDRReceive::~itcNDRReceive()
{
    release(storage);
}

void itcNDRReceive::reset()
{
    if (storage == nullptr || dataStart == nullptr)
        return;
    readPos = dataStart + labelSize;
    transactionEnd = 0;
    if (free_buffer_size() > keptBufferSize)
        dropStorage();
    clearStatus(*this);
}

char* itcNDRReceive::raw_data()
{
    return dataStart;
}

unsigned int itcNDRReceive::raw_length() const
{
    return hasPacket() ? static_cast<unsigned int>(dataLast - dataStart) + 1 : 0;
}

unsigned int itcNDRReceive::free_buffer_size() const
{
    return free_buffer_size_inline();
}

void itcNDRReceive::create_buffer(unsigned int size)
{
    clearStatus(*this);
    const unsigned int allocated = std::max(size, minBufferSize);
    char* const fresh = static_cast<char*>(OS_malloc(allocated));
    if (fresh == nullptr) {
        setStatus(*this, Itc_Ndr_Buffer_Alloc_Failed, Error);
        return;
    }
    storage = fresh;
    bufferLast = fresh + allocated - 1;
    dataStart = readPos = dataLast = alignedStart(fresh);
    forgetPeer();
}

void itcNDRReceive::extend_buffer(unsigned int pages)
{
    clearStatus(*this);
    dropStorage();
    constexpr unsigned int spare = 8; // for what the alignment of the data skips
    if (pages > pagesBeyond(longestFrame)) {
        failAllocation(*this);
        return;
    }
    const uint64_t allocated = pages * pageSize + spare;
    char* const fresh =
        allocated > std::numeric_limits<size_t>::max() ? nullptr : static_cast<char*>(OS_malloc(allocated));
    if (fresh == nullptr) {
        setStatus(*this, Itc_Ndr_Buffer_Alloc_Failed, Error);
        return;
    }
    storage = fresh;
    bufferLast = fresh + allocated - 1;
    dataStart = readPos = dataLast = alignedStart(fresh);
}

void itcNDRReceive::init(char* buf, unsigned int size)
{
    clearStatus(*this);
    if (buf == nullptr) {
        setStatus(*this, Itc_Ndr_No_Buffer_Provided, Error);
        return;
    }
    if (size <= labelSize || size < gapTo(8, buf) + labelSize) {
        setStatus(*this, Itc_Ndr_Buffer_Size_Too_Small, Error);
        return;
    }
    release(storage);
    storage = nullptr;
    bufferLast = buf + size - 1;
    dataStart = alignedStart(buf);
    installPacket(size);
}

void itcNDRReceive::forgetPeer()
{
    // Codes that no peer has; whatever is read before a packet is there is at the end of the data anyway.
    peerEndian = 2;
    peerChar = 2;
    peerFloat = 4;
}

// A frame of less than two bytes has no label: nothing of it can be taken.
void itcNDRReceive::installPacket(unsigned int length)
{
    if (length < labelSize) {
        readPos = dataLast = dataStart;
        forgetPeer();
        return;
    }
    dataLast = dataStart + length - 1;
    readPos = dataStart + labelSize;
    const auto label0 = static_cast<unsigned char>(dataStart[0]);
    peerEndian = label0 >> 4;
    peerChar = label0 & 15;
    peerFloat = static_cast<unsigned char>(dataStart[1]);
}

void itcNDRReceive::dropStorage()
{
    release(storage);
    dataStart = readPos = dataLast = bufferLast = storage = nullptr;
}

unsigned int itcNDRReceive::pending_length() const
{
    if (dataLast == nullptr || readPos == nullptr || dataLast <= readPos)
        return 0;
    return static_cast<unsigned int>(dataLast - readPos) + 1;
}

itcNDRReceive& itcNDRReceive::extract(char* dst, unsigned int& len)
{
    clearStatus(*this);
    if (readPos == nullptr || dataLast == nullptr || dataStart == nullptr) {
        setStatus(*this, Itc_Ndr_No_Buffer_Provided, Error);
    } else if (dst == nullptr) {
        const int64_t leftOfTransaction = transactionEnd - int64_t{readPos - dataStart};
        const bool isInside = transactionEnd != 0 && leftOfTransaction >= 0;
        const int64_t rest = isInside ? leftOfTransaction : int64_t{dataLast - readPos} + 1;
        len = static_cast<unsigned int>(std::max<int64_t>(rest, 0));
    } else if (left() >= int64_t{len}) {
        std::memcpy(dst, readPos, len);
        readPos += len;
    } else {
        endOfData();
    }
    return *this;
}

itcNDRReceive& itcNDRReceive::extract(char*& dst, int cap, int& len)
{
    takeBlock(dst, cap, len, Replace::whenTooSmall, 1);
    return *this;
}

itcNDRReceive& itcNDRReceive::get_opaque(void*& dst, int cap, int& len)
{
    char* bytes = static_cast<char*>(dst);
    takeBlock(bytes, cap, len, Replace::alsoWhenNull, 8);
    dst = bytes;
    return *this;
}

// The array is replaced before the bytes are known to be there. A caller knows the size of its array by one rule only:
// it is the larger of `cap` and `len`, also after a failure. An array that were kept because bytes are missing would be
// smaller than `len` says, and the caller's next block would overflow it.
void itcNDRReceive::takeBlock(char*& dst, int cap, int& len, Replace replace, unsigned int alignment)
{
    if (readPos == nullptr || dataLast == nullptr) {
        setStatus(*this, Itc_Ndr_No_Buffer_Provided, Error);
        return;
    }
    clearStatus(*this);
    *this >> len;
    if (severity > Success || len == 0)
        return;
    if (len < 0) { // no block has such a length: it comes from a broken peer
        len = 0;
        endOfData();
        return;
    }
    const bool isTooSmall = len > cap || (dst == nullptr && replace == Replace::alsoWhenNull);
    if (isTooSmall && !replaceArray(dst, cap, len)) {
        len = 0;
        return;
    }
    readPos += gapTo(alignment, readPos);
    if (left() < len) {
        endOfData();
    } else if (dst == nullptr) {
        setStatus(*this, Itc_Ndr_No_Buffer_Provided, Error);
    } else {
        std::memcpy(dst, readPos, static_cast<size_t>(len));
        readPos += len;
    }
}

// \return false without memory, with the status set and the array kept.
bool itcNDRReceive::replaceArray(char*& dst, int cap, int len)
{
    char* const fresh = new (std::nothrow) char[static_cast<size_t>(len)];
    if (fresh == nullptr) {
        failAllocation(*this);
        return false;
    }
    if (cap > 0)
        delete[] dst;
    dst = fresh;
    return true;
}

itcNDRReceive& itcNDRReceive::skip(int n)
{
    if (left() >= n && int64_t{readPos - dataStart} + n >= 0)
        readPos += n;
    else
        endOfData();
    return *this;
}

itcNDRReceive& itcNDRReceive::start_transaction()
{
    *this >> transactionEnd;
    const auto offset = static_cast<unsigned int>(readPos - dataStart);
    if (__builtin_add_overflow(transactionEnd, offset, &transactionEnd))
        transactionEnd = std::numeric_limits<unsigned int>::max();
    return *this;
}

int itcNDRReceive::end_transaction()
{
    if (dataStart == nullptr || readPos == nullptr) {
        if (severity <= Success)
            setStatus(*this, Itc_Ndr_No_Buffer_Provided, Error);
        return severity;
    }
    if (severity > Success) {
        moveTo(transactionEnd);
        return severity;
    }
    if (int64_t{readPos - dataStart} == int64_t{transactionEnd})
        return Success;
    moveTo(transactionEnd);
    // No code of the table says that a transaction was read too little or too far.
    setStatus(*this, static_cast<ItcStatusCode>(-1), Error);
    return Error;
}

// The offset may come off the wire.
void itcNDRReceive::moveTo(unsigned int offset)
{
    const std::ptrdiff_t end = lastReadable() + 1 - dataStart;
    readPos = dataStart + std::min<int64_t>(offset, end);
}

// Copies up to a terminating zero and fills the rest of what the packet holds with zeros; what does not fit is left
// out, but reading goes on behind the whole text. `length` is that of the text, 0 if it cannot be taken.
void itcNDRReceive::takeText(char* dst, uint64_t capacity, unsigned int& length)
{
    *this >> length;
    if (severity <= Success && left() < int64_t{length})
        endOfData();
    if (severity > Success) {
        length = 0;
        dst[0] = '\0';
        return;
    }
    std::strncpy(dst, readPos, std::min<uint64_t>(length, capacity));
    readPos += length;
}

// A peer's text may come without a zero. The zero then goes behind its last byte: whatever the field held before must
// not be taken for a part of the text.
void itcNDRReceive::takeText(char* dst, unsigned int capacity)
{
    unsigned int length = 0;
    takeText(dst, capacity, length);
    const unsigned int taken = std::min(length, capacity);
    if (std::memchr(dst, '\0', taken) == nullptr)
        dst[std::min(taken, capacity - 1)] = '\0';
}

itcNDRReceive& operator>>(itcNDRReceive& b, char* dst)
{
    unsigned int length = 0;
    if (dst == nullptr)
        setStatus(b, Itc_Ndr_No_Buffer_Provided, Error);
    else
        b.takeText(dst, std::numeric_limits<uint64_t>::max(), length);
    return b;
}

itcNDRReceive& operator>>(itcNDRReceive& b, itcBinData& data)
{
    unsigned int length = 0;
    b >> length;
    if (b.severity > Success)
        return b;
    if (b.left() < int64_t{length}) {
        b.endOfData();
    } else if (length != 0) {
        if (data.data == nullptr) {
            setStatus(b, Itc_Ndr_No_Buffer_Provided, Error);
            return b;
        }
        std::memcpy(data.data, b.readPos, length);
        b.readPos += length;
    }
    return b;
}

itcNDRReceive& operator>>(itcNDRReceive& b, itcXNDR& record)
{
    record.to_internal(b);
    return b;
}

itcConnection& operator>>(itcConnection& c, itcNDRReceive& b)
{
    char magic[sizeof frameMagic] = {};
    if (!readWord(c, b, magic))
        return c;
    if (std::memcmp(magic, frameMagic, sizeof magic) != 0) {
        setStatus(b, Itc_Ndr_Magic_Error, Error);
        return c;
    }
    uint32_t length = 0;
    if (!readWord(c, b, &length))
        return c;
    length = OS_ntohl(length);

    if (length > longestFrame || length > b.free_buffer_size()) {
        b.extend_buffer(pagesBeyond(length));
        if (b.severity == Error)
            return c;
    }
    // A deriving class that grows or tells its size in its own way may have promised too much.
    if (length > longestFrame || length > b.free_buffer_size_inline()) {
        failAllocation(b);
        return c;
    }

    const int n = c.Read(b.dataStart, static_cast<int>(length));
    if (n < 0) {
        setStatus(b, Itc_Ndr_Conn_Read_Failed, Error);
    } else if (n == 0) {
        setStatus(b, Itc_Ndr_Disconnection, Error);
    } else if (static_cast<unsigned int>(n) >= length) {
        b.installPacket(length);
        b.transactionEnd = 0;
        clearStatus(b);
    } else {
        b.installPacket(static_cast<unsigned int>(n));
        setStatus(b, Itc_Ndr_Packet_Read_Not_All_Data, Error);
    }
    return c;
}
