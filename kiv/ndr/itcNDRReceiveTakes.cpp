// Taking what is longer than a number: texts, blocks, records, transactions.
//
// A length off the wire is held against what is left of the data before anything is copied. Positions that come off the
// wire are kept inside the data.
#include <kiv/ndr/itcNDRReceive.h>

#include <kiv/foundation/detail/Invariant.h>
#include <kiv/foundation/detail/SetStatus.h>
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

} // namespace

// One would expect 1 when a single byte is left. The comparison is strict, and the answer is 0. The pointers of an
// empty buffer are those of a packet with one byte left: loops of hosts end on 0 in both cases.
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

// Copies up to a terminating zero and fills the rest of what the packet holds with zeros. What does not fit into
// `capacity` is left out, but reading goes on behind the whole text.
// \return the length of the text; 0 if the text cannot be taken.
unsigned int itcNDRReceive::takeText(char* dst, uint64_t capacity)
{
    unsigned int length = 0;
    *this >> length;
    if (severity <= Success && left() < int64_t{length})
        endOfData();
    if (severity > Success) {
        dst[0] = '\0';
        return 0;
    }
    if (const auto copied = static_cast<size_t>(std::min<uint64_t>(length, capacity)))
        std::strncpy(dst, readPos, copied);
    readPos += length;
    KIV_INVARIANT(isSound());
    return length;
}

// A peer's text may come without a zero. The zero then goes behind its last byte: whatever the field held before must
// not be taken for a part of the text.
void itcNDRReceive::takeBoundedText(char* dst, unsigned int capacity)
{
    const unsigned int taken = std::min(takeText(dst, capacity), capacity);
    if (std::memchr(dst, '\0', taken) == nullptr)
        dst[std::min(taken, capacity - 1)] = '\0';
}

itcNDRReceive& operator>>(itcNDRReceive& b, char* dst)
{
    if (dst == nullptr)
        setStatus(b, Itc_Ndr_No_Buffer_Provided, Error);
    else
        b.takeText(dst, std::numeric_limits<uint64_t>::max());
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
