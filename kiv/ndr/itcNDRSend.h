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

/// Builds one packet. Values are put with `<<`. `connection << buffer` sends the packet as one frame.
///
/// \code
/// | unused 4    | magic 4   | length 4 | label 2    | values ...   | free ...     |
/// ^frameStart   ^the frame             ^raw_data()                 ^writePos      ^lastUsable
/// \endcode
/// The room in front of the data is why a packet leaves in one Write() without a copy. Gaps before aligned values are
/// zero.
///
/// \par Invariant
/// Without storage all pointers are null. With storage, between any two calls:
/// frameStart + 14 <= writePos <= lastUsable + 1, and raw_data() is a multiple of 8. In a caller's
/// buffer raw_data() is 4 modulo 8 instead; see init().
/// \par Ownership
/// The buffer owns its storage. Storage that init() was given stays the caller's.
/// \par Threads
/// One thread at a time per object.
/// \par Errors
/// Nothing throws. A put that makes the buffer grow clears the status. Every other put leaves the
/// status alone. A growth fails only when there is no memory.
/// A later growth may succeed and clear the status of an earlier failure. A host that must survive
/// running out of memory tests the status after every put, or makes room for the whole packet in the
/// constructor. A buffer in Error refuses values of 2, 4 and 8 bytes. Single bytes, texts and binary
/// data are still put: they look at the severity only after a growth of their own. Hosts and peers
/// know packets that were built in this way.
class KIV_EXPORT itcNDRSend : public itcNDR {
public:
    itcNDRSend(); ///< No storage. The first put makes storage.
    /// Makes storage for about `size` bytes, or none for a size below 1. Test the status: there may be no memory.
    explicit itcNDRSend(int size);
    itcNDRSend(const itcNDRSend&) = delete;
    itcNDRSend& operator=(const itcNDRSend&) = delete;

    // Hosts derive from this class: the order of these operations is binary interface.

    ~itcNDRSend() override; ///< Frees the storage that the buffer owns.

    /// Forgets the values and clears the status: the buffer is ready for the next packet.
    ///
    /// Storage of more than 1 MiB is given back, and the next put makes new storage. Without storage of its own the
    /// buffer is left as it is: after a caller's buffer call init() again.
    virtual void reset();
    /// \return the first byte of the NDR data, which is the label; null without storage.
    virtual char* raw_data();
    /// \return the number of bytes of NDR data, label included; 0 without storage.
    virtual unsigned int raw_length() const;
    /// Makes new storage, moves the content there, and clears the status. Every put that needs room calls this
    /// operation.
    ///
    /// The new size is computed from the content, not from the size of the old storage. Behind the content comes room
    /// for `pages` times 4096 bytes, or for half of the content if that is more. Storage that had more room shrinks.
    ///
    /// The content keeps its offsets. What raw_length() counts is kept: at most what is really there, and at least the
    /// label. If raw_length() is 0, an empty packet begins.
    ///
    /// On failure the status is (`Itc_Ndr_Buffer_Alloc_Failed`, Error) and nothing else changes. Failures: no memory; a
    /// new size above 2^32 - 1; 0 pages for an empty buffer.
    /// \param pages the growth in units of 4096 bytes.
    virtual void extend_buffer(unsigned int pages);
    /// \return the number of bytes that may still be put.
    virtual unsigned int free_buffer_size() const;
    /// Makes new storage with an empty packet and clears the status.
    ///
    /// On failure the status is (`Itc_Ndr_Buffer_Alloc_Failed`, Error) and nothing else changes.
    /// \param size the size in bytes; at least 32 bytes are made.
    /// \warning Storage that the buffer has already is not freed. Call this operation only without storage.
    virtual void create_buffer(unsigned int size);

    /// Builds the packet in the caller's buffer. Storage of its own is freed. Clears the status.
    ///
    /// The caller's buffer must live as long as this object uses it. The header area begins at the first multiple of 8
    /// in `buf`, and the data begins 12 bytes behind. Values of 8 bytes are therefore aligned to 4 modulo 8, seen from
    /// the start of the data. If the packet outgrows the caller's buffer, it moves to storage of its own, and later
    /// values of 8 bytes are aligned to multiples of 8. A reader always counts from the start of the data, and looks
    /// for values of 8 bytes at multiples of 8. Do not put values of 8 bytes into a caller's buffer.
    ///
    /// Results, in the status:
    /// - clear: `buf` is in use.
    /// - clear, and the object unchanged: `size` is above 1 MiB. No code tells this case.
    /// - (`Itc_Ndr_No_Buffer_Provided`, Error): `buf` is null.
    /// - (`Itc_Ndr_Buffer_Size_Too_Small`, Error): `size` is below 32.
    void init(char* buf, unsigned int size);

    /// raw_length() of this class, not virtual.
    unsigned int raw_length_inline() const
    {
        return writePos == nullptr || frameStart == nullptr
                   ? 0
                   : static_cast<unsigned int>(writePos - frameStart) - headerSize;
    }
    /// free_buffer_size() of this class, not virtual.
    unsigned int free_buffer_size_inline() const
    {
        return lastUsable == nullptr || writePos == nullptr || lastUsable < writePos
                   ? 0
                   : static_cast<unsigned int>(lastUsable - writePos) + 1;
    }

    /// Puts a block of raw bytes. With no bytes, or with null `data`, nothing happens.
    ///
    /// \param data      the bytes. They may lie in this very buffer.
    /// \param len       the number of bytes.
    /// \param align8    true: zero bytes up to a multiple of 8 go in front of the block.
    /// \param withLength true: `len` is put as an int in front of the gap. For a buffer in Error:
    ///                   - With room for the int, the int is refused. The block is put without its length.
    ///                   - Without room for the int, the buffer grows first, which clears the status. Both are put.
    /// \return this buffer. Failures, in the status:
    ///         (`Itc_Ndr_Buff_Sz_More_Than_Max`, Error): `len` is negative; nothing is put.
    ///         (`Itc_Ndr_Buffer_Alloc_Failed`, Error): there is no memory. When the length found no memory, nothing is
    ///         put. When the block found no memory, only the length is put.
    itcNDRSend& put_opaque(const void* data, int len, bool align8, bool withLength);
    /// put_opaque() without a gap. itcNDRReceive::extract() takes the block.
    itcNDRSend& insert(const char* data, int len, bool withLength);

    /// Opens a transaction: a count of bytes, which end_transaction() fills in. The count lets a reader skip what
    /// the reader does not know.
    ///
    /// Only one transaction is open at a time. A second start replaces the first, whose count then stays 0xFFFFFFFF. A
    /// buffer in Error opens no transaction.
    /// \return this buffer.
    itcNDRSend& start_transaction();
    /// Closes the transaction. If anything has failed in it, the transaction is taken out of the packet, count
    /// included.
    ///
    /// Closing a transaction a second time counts what has been put since. Closing a transaction a second time that was
    /// taken out writes nothing. Do not close it a second time once values were put: the count would overwrite one of
    /// them.
    /// \return the severity: 0, or what has failed in the transaction.
    ///         2, with (`Itc_Ndr_No_Buffer_Provided`, Error): no transaction was opened in this packet.
    int end_transaction();

    /// Internal to the operators below, which hosts use.
    template <class Byte> KIV_INLINE itcNDRSend& putByte(Byte value);
    /// Internal to the operators below, which hosts use.
    template <class Value> KIV_INLINE itcNDRSend& putAligned(Value value);

protected:
    unsigned int transactionOffset; ///< From frameStart to behind the latest transaction's count; 0 without one.
    char* frameStart;               ///< Start of the header area. Null without storage.
    char* writePos;                 ///< Where the next byte is put.
    char* lastUsable;               ///< The last byte that may be written: one byte before the end of the storage.
    char* storage;                  ///< What the destructor frees. Null without storage, and with a caller's buffer.

private:
    static constexpr unsigned int headerSize = 12;

    friend KIV_EXPORT itcNDRSend& operator<<(itcNDRSend& b, const char* text);
    friend KIV_EXPORT itcNDRSend& operator<<(itcNDRSend& b, const itcBinData& data);
    friend KIV_EXPORT itcConnection& operator<<(itcConnection& c, itcNDRSend& b);

    class OwnBytes;

    KIV_INLINE itcNDRSend& noRoom();
    KIV_HIDDEN bool isSound() const;
    KIV_HIDDEN void beginPacket();
    KIV_HIDDEN void forgetStorage();
    KIV_HIDDEN bool grow(unsigned int pages, unsigned int alignment, uint64_t bytes);
    KIV_HIDDEN void putBytes(unsigned int alignment, const void* bytes, size_t length);
    KIV_HIDDEN void putCounted(const char* data, size_t length);
};

// A value of N bytes needs up to N - 1 bytes of padding, so 2N bytes are ensured first. After a growth the gap and the
// value are enough: a deriving class may grow by little. `place` is a local copy of writePos: a store through char* may
// alias the field, and the compiler would read the field again after each store.
template <class Value> itcNDRSend& itcNDRSend::putAligned(Value value)
{
    constexpr std::ptrdiff_t ensured = 2 * sizeof(Value);
    const auto gapBefore = [](const char* place) {
        return static_cast<std::ptrdiff_t>(-reinterpret_cast<std::uintptr_t>(place) & (sizeof(Value) - 1));
    };
    char* place = writePos;
    if (KIV_UNLIKELY(lastUsable - place + 1 < ensured)) {
        extend_buffer(1);
        place = writePos;
        if (lastUsable - place + 1 < gapBefore(place) + static_cast<std::ptrdiff_t>(sizeof(Value)))
            return noRoom();
    }
    if (KIV_UNLIKELY(severity == Error))
        return *this;
    if (const std::ptrdiff_t gap = gapBefore(place)) {
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

/// \name Puts
/// Each returns the buffer. A put that needs room makes the buffer grow, which clears the status.
/// Failure: (`Itc_Ndr_Buffer_Alloc_Failed`, Error), and nothing is put.
///
/// They are inline for speed. The library exports each as a symbol too, for hosts that link to it by name.
/// \{
KIV_EXPORT inline itcNDRSend& operator<<(itcNDRSend& b, bool v) { return b.putByte(v); }
KIV_EXPORT inline itcNDRSend& operator<<(itcNDRSend& b, char v) { return b.putByte(v); }
KIV_EXPORT inline itcNDRSend& operator<<(itcNDRSend& b, signed char v) { return b.putByte(v); }
KIV_EXPORT inline itcNDRSend& operator<<(itcNDRSend& b, unsigned char v) { return b.putByte(v); }
KIV_EXPORT inline itcNDRSend& operator<<(itcNDRSend& b, short v) { return b.putAligned(v); }
KIV_EXPORT inline itcNDRSend& operator<<(itcNDRSend& b, unsigned short v) { return b.putAligned(v); }
KIV_EXPORT inline itcNDRSend& operator<<(itcNDRSend& b, int v) { return b.putAligned(v); }
KIV_EXPORT inline itcNDRSend& operator<<(itcNDRSend& b, unsigned int v) { return b.putAligned(v); }
KIV_EXPORT inline itcNDRSend& operator<<(itcNDRSend& b, float v) { return b.putAligned(v); }
KIV_EXPORT inline itcNDRSend& operator<<(itcNDRSend& b, double v) { return b.putAligned(v); }
KIV_EXPORT inline itcNDRSend& operator<<(itcNDRSend& b, long long v) { return b.putAligned(v); }
KIV_EXPORT inline itcNDRSend& operator<<(itcNDRSend& b, unsigned long long v) { return b.putAligned(v); }
/// Puts a zero-terminated text: its length with the zero as an `unsigned int`, then the bytes with the zero. A null
/// text is not put: (`Itc_Ndr_No_Buffer_Provided`, Error).
KIV_EXPORT itcNDRSend& operator<<(itcNDRSend& b, const char* text);
/// Puts the length as an `unsigned int`, then the bytes. Null bytes of a length above 0 are not put:
/// (`Itc_Ndr_No_Buffer_Provided`, Error).
KIV_EXPORT itcNDRSend& operator<<(itcNDRSend& b, const itcBinData& data);
/// Calls `record.to_external(b)`. \return `b`, whatever the record returns.
KIV_EXPORT itcNDRSend& operator<<(itcNDRSend& b, const itcXNDR& record);
/// \}

/// Sends the packet as one frame, in one Write().
///
/// The packet stays in the buffer: call reset() before the next packet is built. Over a non-blocking connection send
/// with the resumable itcNdrUbSend.
/// \return the connection. Results, in the status of the buffer:
///         clear: the whole frame is sent.
///         (`Itc_Ndr_Packet_Write_Failed`, Error): the write failed, would block, or sent only a part; or the buffer
///         has no storage. The connection's own status says why. A part of the frame may be on the wire: close the
///         connection.
/// \warning A signal that is handled cuts the Write() of a frame that is larger than the free socket buffer, also with
///          SA_RESTART. Half a frame stays on the wire, and the connection's status is clear. Block signals during the
///          write, or send with itcNdrUbSend.
KIV_EXPORT itcConnection& operator<<(itcConnection& c, itcNDRSend& b);
