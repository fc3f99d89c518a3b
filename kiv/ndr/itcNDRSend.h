/// \file
/// The buffer in which a packet is built.
#pragma once

#include <kiv/foundation/OS.h>
#include <kiv/foundation/export.h>
#include <kiv/ndr/itcBinData.h>
#include <kiv/ndr/itcNDR.h>
#include <kiv/ndr/itcXNDR.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

class itcConnection;

/// Builds one packet: values are streamed in with `<<`, and `connection << buffer` sends them as one frame.
///
/// \code
/// | unused 4    | magic 4   | length 4 | label 2    | values ...   | free ...     |
/// ^frameStart   ^the frame             ^raw_data()                 ^writePos      ^lastUsable
/// \endcode
/// Once there is storage: frameStart + 14 <= writePos <= lastUsable + 1. The room in front of the data is why a packet
/// leaves in one Write() without being copied. Gaps before aligned values are zero.
///
/// \par Ownership  Owns its storage, unless init() gave it the caller's.
/// \par Threads    One thread at a time per object.
/// \par Errors     A put that grows the buffer clears the status, every other leaves it alone. Growth fails only for
///                 want of memory; a host that counts on surviving that tests the status after each put, or makes room
///                 for the whole packet when it constructs the buffer. A buffer in Error refuses values of 2, 4 and 8
///                 bytes but still takes single bytes, strings and binary data. Nothing throws.
class KIV_EXPORT itcNDRSend : public itcNDR {
public:
    itcNDRSend(); ///< No storage: the first put makes some.
    /// With storage for about `size` bytes, none for a size below 1. Test the status.
    explicit itcNDRSend(int size);
    itcNDRSend(const itcNDRSend&) = delete;
    itcNDRSend& operator=(const itcNDRSend&) = delete;

    // Hosts derive from this class: the order of these operations is binary interface.

    ~itcNDRSend() override; ///< Frees the storage if it is owned.

    /// Forgets the values and clears the status, ready for the next packet. Does nothing without storage of its own: so
    /// a caller's buffer is set up anew with init(). Storage of more than 1 MiB is given back; the next put makes new.
    virtual void reset();
    /// The first byte of the NDR data: the label.
    virtual char* raw_data();
    /// The number of bytes of NDR data, label included; 0 without storage.
    virtual unsigned int raw_length() const;
    /// Makes the storage larger by `pages` times 4096 bytes, or by half of what is in it if that is more, and clears
    /// the status. All growth goes through here.
    ///
    /// On failure (`Itc_Ndr_Buffer_Alloc_Failed`, Error) and everything stays as it was; so ends also a size that 32
    /// bits cannot tell, and a growth by 0 pages of an empty buffer.
    virtual void extend_buffer(unsigned int pages);
    /// The number of bytes that may still be put.
    virtual unsigned int free_buffer_size() const;
    /// Makes new storage of `size` bytes, at least 32, with an empty packet in it, and clears the status.
    ///
    /// On failure (`Itc_Ndr_Buffer_Alloc_Failed`, Error) everything stays as it was.
    /// \warning Storage that the object has already is not freed: call it on an object without storage only.
    virtual void create_buffer(unsigned int size);

    /// Uses the caller's buffer, which must outlive its use here; storage of its own is freed. Clears the status.
    ///
    /// The packet begins at the first multiple of 8 in `buf`. Its data then lies 12 bytes behind such a multiple, so
    /// values of 8 bytes come to offsets that are 4 modulo 8. When a put outgrows the buffer, storage of its own takes
    /// its place, and from there on they come to multiples of 8. Keep such values out of a caller's buffer.
    ///
    /// Failures: `Itc_Ndr_No_Buffer_Provided` for null, `Itc_Ndr_Buffer_Size_Too_Small` below 32 bytes; Error. More
    /// than 1 MiB is ignored without a word: the status is clear and the object unchanged.
    void init(char* buf, unsigned int size);

    unsigned int raw_length_inline() const ///< raw_length(), not virtual.
    {
        return writePos == nullptr || frameStart == nullptr
                   ? 0
                   : static_cast<unsigned int>(writePos - frameStart) - headerSize;
    }
    unsigned int free_buffer_size_inline() const ///< free_buffer_size(), not virtual.
    {
        return lastUsable == nullptr || writePos == nullptr || lastUsable < writePos
                   ? 0
                   : static_cast<unsigned int>(lastUsable - writePos) + 1;
    }

    /// Puts a block of raw bytes; `data` may lie in this very buffer.
    ///
    /// Without bytes, or without data, nothing happens. Growing clears the status, like every growth.
    /// \param align8     pads to a multiple of 8 first.
    /// \param withLength puts `len` as an int before that, as every int: not into a buffer in Error.
    /// \return this buffer; (`Itc_Ndr_Buff_Sz_More_Than_Max`, Error) for a negative `len`,
    ///         (`Itc_Ndr_Buffer_Alloc_Failed`, Error) without memory; nothing, or only the length, is put then.
    itcNDRSend& put_opaque(const void* data, int len, bool align8, bool withLength);
    /// Puts a block of raw bytes unaligned; itcNDRReceive::extract() takes it.
    itcNDRSend& insert(const char* data, int len, bool withLength);

    /// Opens a transaction: a count of bytes, patched by end_transaction(), that lets the reader skip what it does not
    /// know. There is one at a time: a second one replaces the first, whose count is then never patched. In a buffer
    /// in Error none is opened.
    itcNDRSend& start_transaction();
    /// Closes the transaction. If anything failed in it, the transaction vanishes from the packet, count included.
    /// \return the severity; (`Itc_Ndr_No_Buffer_Provided`, Error) if none was opened in this packet.
    int end_transaction();

    /// Internal to the operators below, which hosts use.
    template <class Byte> KIV_INLINE itcNDRSend& putByte(Byte value);
    /// Internal to the operators below, which hosts use.
    template <class Value> KIV_INLINE itcNDRSend& putAligned(Value value);

protected:
    unsigned int transactionOffset; ///< From frameStart to behind the latest transaction's count; 0 without one.
    char* frameStart;               ///< Null without storage.
    char* writePos;
    char* lastUsable; ///< One byte before the last one of the storage.
    char* storage;    ///< What the destructor frees: null without storage or with the caller's.

private:
    static constexpr unsigned int headerSize = 12;

    friend KIV_EXPORT itcNDRSend& operator<<(itcNDRSend& b, const char* text);
    friend KIV_EXPORT itcNDRSend& operator<<(itcNDRSend& b, const itcBinData& data);
    friend KIV_EXPORT itcConnection& operator<<(itcConnection& c, itcNDRSend& b);

    class OwnBytes;

    KIV_INLINE itcNDRSend& noRoom();
    KIV_HIDDEN void beginPacket();
    KIV_HIDDEN bool grow(unsigned int pages, unsigned int alignment, uint64_t bytes);
    KIV_HIDDEN void putBytes(unsigned int alignment, const void* bytes, size_t length);
    KIV_HIDDEN void putCounted(const char* data, size_t length);
};

/// \name Puts
/// They grow the buffer when it is full, which clears the status, and return the buffer.
/// Failure: (`Itc_Ndr_Buffer_Alloc_Failed`, Error), nothing put.
/// \{
KIV_EXPORT inline itcNDRSend& operator<<(itcNDRSend& b, bool v);
KIV_EXPORT inline itcNDRSend& operator<<(itcNDRSend& b, char v);
KIV_EXPORT inline itcNDRSend& operator<<(itcNDRSend& b, signed char v);
KIV_EXPORT inline itcNDRSend& operator<<(itcNDRSend& b, unsigned char v);
KIV_EXPORT inline itcNDRSend& operator<<(itcNDRSend& b, short v);
KIV_EXPORT inline itcNDRSend& operator<<(itcNDRSend& b, unsigned short v);
KIV_EXPORT inline itcNDRSend& operator<<(itcNDRSend& b, int v);
KIV_EXPORT inline itcNDRSend& operator<<(itcNDRSend& b, unsigned int v);
KIV_EXPORT inline itcNDRSend& operator<<(itcNDRSend& b, float v);
KIV_EXPORT inline itcNDRSend& operator<<(itcNDRSend& b, double v);
KIV_EXPORT inline itcNDRSend& operator<<(itcNDRSend& b, long long v);
KIV_EXPORT inline itcNDRSend& operator<<(itcNDRSend& b, unsigned long long v);
/// A zero-terminated text: its length with the zero, then the bytes with the zero. A null text is not put and leaves
/// (`Itc_Ndr_No_Buffer_Provided`, Error).
KIV_EXPORT itcNDRSend& operator<<(itcNDRSend& b, const char* text);
/// The length, then the bytes. Bytes that are announced but null are not put and leave
/// (`Itc_Ndr_No_Buffer_Provided`, Error).
KIV_EXPORT itcNDRSend& operator<<(itcNDRSend& b, const itcBinData& data);
/// Whatever the record puts.
KIV_EXPORT itcNDRSend& operator<<(itcNDRSend& b, const itcXNDR& record);
/// \}

/// Sends the packet as one frame, in one Write().
///
/// On success the buffer's status is clear. A failed, short or would-block write leaves (`Itc_Ndr_Packet_Write_Failed`,
/// Error), and so does a buffer without storage; the connection's own status says why. The packet stays in the buffer
/// either way: call reset() before building the next. What a non-blocking connection may take in pieces is sent with
/// the resumable itcNdrUbSend.
/// \return the connection.
KIV_EXPORT itcConnection& operator<<(itcConnection& c, itcNDRSend& b);

// Room for twice a value's size is made before it is put: it may need that but for one byte, padding included. The
// position is kept in a local, since a store through it could change the field for all that the compiler knows.
template <class Value> itcNDRSend& itcNDRSend::putAligned(Value value)
{
    constexpr std::ptrdiff_t room = 2 * sizeof(Value);
    char* place = writePos;
    if (KIV_UNLIKELY(lastUsable - place + 1 < room)) {
        extend_buffer(1);
        place = writePos;
        // A deriving class may grow by little: what the value and its gap need is enough.
        const auto needed = (-reinterpret_cast<std::uintptr_t>(place) & (sizeof(Value) - 1)) + sizeof(Value);
        if (lastUsable - place + 1 < static_cast<std::ptrdiff_t>(needed))
            return noRoom();
    }
    if (KIV_UNLIKELY(severity == Error))
        return *this;
    const auto gap = -reinterpret_cast<std::uintptr_t>(place) & (sizeof(Value) - 1);
    if (gap != 0) {
        std::memset(place, 0, sizeof(Value)); // what it writes behind the gap is the value's own place
        place += gap;
    }
    std::memcpy(place, &value, sizeof(Value));
    writePos = place + sizeof(Value);
    return *this;
}

template <class Byte> itcNDRSend& itcNDRSend::putByte(Byte value)
{
    static_assert(sizeof(Byte) == 1);
    char* place = writePos;
    if (KIV_UNLIKELY(place == nullptr || lastUsable < place)) {
        extend_buffer(1);
        place = writePos;
        if (severity == Error || place == nullptr || lastUsable < place)
            return noRoom();
    }
    *place = static_cast<char>(value);
    writePos = place + 1;
    return *this;
}

// The growth has failed and said so, or a deriving class has not grown and said nothing.
inline itcNDRSend& itcNDRSend::noRoom()
{
    if (severity != Error) {
        errorNumber = OS_getLastError();
        code = Itc_Ndr_Buffer_Alloc_Failed;
        severity = Error;
    }
    return *this;
}

// The bodies are inline for speed; the library exports each all the same, for hosts that link to it by name.
inline itcNDRSend& operator<<(itcNDRSend& b, bool v)
{
    return b.putByte(v);
}

inline itcNDRSend& operator<<(itcNDRSend& b, char v)
{
    return b.putByte(v);
}

inline itcNDRSend& operator<<(itcNDRSend& b, signed char v)
{
    return b.putByte(v);
}

inline itcNDRSend& operator<<(itcNDRSend& b, unsigned char v)
{
    return b.putByte(v);
}

inline itcNDRSend& operator<<(itcNDRSend& b, short v)
{
    return b.putAligned(v);
}

inline itcNDRSend& operator<<(itcNDRSend& b, unsigned short v)
{
    return b.putAligned(v);
}

inline itcNDRSend& operator<<(itcNDRSend& b, int v)
{
    return b.putAligned(v);
}

inline itcNDRSend& operator<<(itcNDRSend& b, unsigned int v)
{
    return b.putAligned(v);
}

inline itcNDRSend& operator<<(itcNDRSend& b, float v)
{
    return b.putAligned(v);
}

inline itcNDRSend& operator<<(itcNDRSend& b, double v)
{
    return b.putAligned(v);
}

inline itcNDRSend& operator<<(itcNDRSend& b, long long v)
{
    return b.putAligned(v);
}

inline itcNDRSend& operator<<(itcNDRSend& b, unsigned long long v)
{
    return b.putAligned(v);
}
