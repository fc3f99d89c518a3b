/// \file
/// The buffer from which a packet is read.
#pragma once

#include <kiv/foundation/OS.h>
#include <kiv/foundation/export.h>
#include <kiv/ndr/itcBinData.h>
#include <kiv/ndr/itcNDR.h>
#include <kiv/ndr/itcXNDR.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

class itcConnection;

/// Holds one received packet. `connection >> buffer` reads a frame. Values are then taken with `>>`, in the order in
/// which the sender put them. Byte order and floating-point format are converted where the packet's label demands that.
///
/// \code
/// | label 2    | values taken ... | values to come ...        | free ...      |
/// ^dataStart (8-aligned)          ^readPos         dataLast^         bufferLast^
/// \endcode
///
/// \par Invariant
/// Without storage all pointers are null. With storage, between any two calls:
/// dataStart <= dataLast, dataStart <= bufferLast + 1, and dataStart <= readPos <= dataLast + 8. A take
/// that finds too little leaves the gap before its value skipped: readPos may then stand up to 7 bytes
/// behind the end. dataLast <= bufferLast, except in a wrapped buffer; see init(). Without a packet
/// dataLast equals dataStart.
/// \par Ownership
/// The buffer owns its storage. Storage that init() was given stays the caller's.
/// \par Threads
/// One thread at a time per object.
/// \par Errors
/// Nothing throws, and no packet makes this object read outside its buffers. A take beyond the data
/// gives zero and (`Itc_Ndr_End_Of_Data`, Warning). `>>` never clears the status. Two tests are
/// therefore enough: one after the framed read, one after the last take. A buffer without a packet is
/// at the end of its data.
class KIV_EXPORT itcNDRReceive : public itcNDR {
public:
    itcNDRReceive(); ///< No storage. The framed read makes storage.
    /// Makes storage for `size` bytes, or none for a size below 1. Test the status: there may be no memory.
    explicit itcNDRReceive(int size);
    /// Holds a copy of NDR data that came by other means. The first two bytes are the label. With null `data`, or with
    /// 2 bytes or fewer, the object stays empty and its status clear.
    itcNDRReceive(const char* data, unsigned int len);
    itcNDRReceive(const itcNDRReceive&) = delete;
    itcNDRReceive& operator=(const itcNDRReceive&) = delete;

    // Hosts derive from this class: the order of these operations is binary interface.

    ~itcNDRReceive() override; ///< Frees the storage that the buffer owns.

    /// Goes back to the first value of the packet, forgets the transaction, and clears the status.
    ///
    /// Storage of more than 1 MiB is given back, and the packet with it. Without storage of its own the buffer is left
    /// as it is: a caller's buffer is read again after another init().
    virtual void reset();
    /// \return the first byte of the NDR data, which is the label; null without storage.
    virtual char* raw_data();
    /// \return the number of bytes of NDR data, label included; 0 without a packet.
    virtual unsigned int raw_length() const;
    /// Makes new storage of `pages` times 4096 bytes and clears the status. The content is gone: this side grows only
    /// before it reads a packet.
    ///
    /// On failure the status is (`Itc_Ndr_Buffer_Alloc_Failed`, Error), and there is no storage until this operation,
    /// create_buffer() or init() succeeds. More pages than the longest readable frame needs (2 GiB) always fail.
    /// Hosts override this operation to refuse what is too long: set that status, and return.
    virtual void extend_buffer(unsigned int pages);
    /// \return the capacity for NDR data, used or not.
    virtual unsigned int free_buffer_size() const;
    /// Makes new storage without a packet and clears the status.
    ///
    /// On failure the status is (`Itc_Ndr_Buffer_Alloc_Failed`, Error) and nothing else changes.
    /// \param size the size in bytes; at least 32 bytes are made.
    /// \warning Storage that the buffer has already is not freed. Call this operation only without storage.
    virtual void create_buffer(unsigned int size);

    /// Wraps the caller's buffer. The NDR data begins at the first multiple of 8 in `buf`. Storage of its own is freed.
    /// Clears the status.
    ///
    /// raw_length() counts `size` bytes from that multiple on, also where the buffer ends before: hosts compare the
    /// result with the number that they passed. Takes stop at the buffer's end all the same.
    ///
    /// Results, in the status:
    /// - clear: `buf` is in use.
    /// - (`Itc_Ndr_No_Buffer_Provided`, Error): `buf` is null.
    /// - (`Itc_Ndr_Buffer_Size_Too_Small`, Error): `size` is below 3, or the label does not fit behind the multiple of
    ///   8.
    void init(char* buf, unsigned int size);

    /// free_buffer_size() of this class, not virtual.
    unsigned int free_buffer_size_inline() const
    {
        return bufferLast == nullptr || dataStart == nullptr || bufferLast < dataStart
                   ? 0
                   : static_cast<unsigned int>(bufferLast - dataStart) + 1;
    }

    /// The number of bytes that are not yet read. A single byte is reported as 0, like the end of the data: loops of
    /// hosts end on 0. A host whose packets end with single bytes tests the status instead.
    unsigned int pending_length() const;

    /// Copies raw bytes. Clears the status.
    ///
    /// With a null `dst`, `len` receives the number of bytes left: up to the end of the latest transaction if the read
    /// position is not behind its end, otherwise up to the end of the data. Storage without a packet gives 1. The end
    /// of a transaction is what the sender has announced.
    /// \return this buffer, with a clear status or one of:
    ///         (`Itc_Ndr_End_Of_Data`, Warning): fewer than `len` bytes are there; nothing is copied.
    ///         (`Itc_Ndr_No_Buffer_Provided`, Error): there is no storage.
    itcNDRReceive& extract(char* dst, unsigned int& len);

    /// Takes a block that itcNDRSend::insert() has put with its length. Clears the status.
    ///
    /// When the announced length is greater than `cap`, the array is replaced, also when the bytes then turn out to be
    /// missing. After every call the array has the larger of `cap` and `len` bytes: pass that number as `cap` the next
    /// time. Without storage `len` is not written: set `len` to 0 before the call.
    /// \param dst an array of `cap` bytes. A new array comes from array new and has exactly `len` bytes. The old array
    ///            is deleted if `cap` is positive. The caller deletes the new array.
    /// \param cap the number of bytes in the array `dst`; 0 with a null `dst`.
    /// \param len receives the announced length; 0 when the length is negative, or when there is no memory for the
    ///            array.
    /// \return this buffer, with a clear status or one of:
    ///         (`Itc_Ndr_End_Of_Data`, Warning): the length is negative, or fewer bytes are there.
    ///         (`Itc_Ndr_No_Buffer_Provided`, Error): there is no packet, or `dst` is null and was not replaced.
    ///         (`Itc_Ndr_Buffer_Alloc_Failed`, Error): there is no memory for the array; `dst` is kept.
    itcNDRReceive& extract(char*& dst, int cap, int& len);
    /// Takes a block that itcNDRSend::put_opaque() has put with a gap and with its length. Clears the status.
    ///
    /// Works like extract() of a block, with two differences. The read position moves to a multiple of 8 before the
    /// bytes. A null `dst` is always replaced, and the new array has exactly `len` bytes, also when `cap` is larger:
    /// pass 0 as `cap` with a null `dst`.
    itcNDRReceive& get_opaque(void*& dst, int cap, int& len);

    /// Moves the read position by `n` bytes; a negative `n` moves back. Does not clear the status.
    /// \return this buffer. The target may lie between the first byte of the label and the place directly behind the
    ///         last byte. For any other target the position is kept, and the status is (`Itc_Ndr_End_Of_Data`,
    ///         Warning).
    itcNDRReceive& skip(int n);

    /// Opens a transaction: reads the count of its bytes. The status is not cleared. A second start replaces the first.
    /// \return this buffer. (`Itc_Ndr_End_Of_Data`, Warning): the count is not there, and the transaction ends at the
    ///         present position.
    itcNDRReceive& start_transaction();
    /// Closes the transaction. Reading goes on behind the transaction, whatever has been read of it, or at the end of
    /// the data if the announced end lies beyond.
    ///
    /// \return 0: the content was read exactly to its end.
    ///         The severity, the status unchanged: something had failed before.
    ///         2, with code -1 (outside ItcStatusCode) and Error: the content was read without failure, but not exactly
    ///         to its end, or no transaction was started: the position then goes to the first byte of the label. A code
    ///         of its own lets hosts tell a newer sender from a broken packet.
    ///         2, with (`Itc_Ndr_No_Buffer_Provided`, Error): there is no storage.
    int end_transaction();

    /// Internal to the operators below, which hosts use.
    template <class Byte> KIV_INLINE itcNDRReceive& takeByte(Byte& value);
    /// Internal to the operators below, which hosts use.
    template <class Value> KIV_INLINE itcNDRReceive& takeAligned(Value& value);

protected:
    unsigned int transactionEnd; ///< Offset from dataStart to the end of the latest transaction; 0 without one.
    int peerEndian;              ///< Byte order, from the label; 2 until a packet is present.
    int peerChar;                ///< Character set, from the label; 2 until a packet is present.
    int peerFloat;               ///< Floating-point format, from the label; 4 until a packet is present.
    char* dataStart;             ///< The first byte of the NDR data. Null without storage.
    char* readPos;               ///< The next byte to be read.
    char* dataLast;              ///< The last byte of the data. Equal to dataStart without a packet.
    char* bufferLast;            ///< The last byte of the storage.
    char* storage;               ///< What the destructor frees. Null without storage, and with a caller's buffer.

private:
    friend class itcMsgHdr;
    friend class itcNdrUbReceive;
#ifndef KIV_BOUNDED_ONLY
    friend KIV_EXPORT itcNDRReceive& operator>>(itcNDRReceive& b, char* dst);
    friend KIV_EXPORT itcNDRReceive& operator>>(itcNDRReceive& b, itcBinData& data);
#endif
    friend KIV_EXPORT itcConnection& operator>>(itcConnection& c, itcNDRReceive& b);

    enum class Replace { whenTooSmall, alsoWhenNull };

    // The data of a wrapped buffer may be announced beyond the buffer's end.
    KIV_INLINE const char* lastReadable() const { return std::min(dataLast, bufferLast); }
    // The bytes left from `place` on, less one. Negative at the end.
    KIV_INLINE std::ptrdiff_t room(const char* place) const { return lastReadable() - place; }
    KIV_INLINE void endOfData()
    {
        errorNumber = OS_getLastError();
        code = Itc_Ndr_End_Of_Data;
        severity = Warning;
    }
    KIV_INLINE bool hasPacket() const { return dataLast != dataStart; }
    KIV_INLINE std::uint32_t converted(std::uint32_t word) const;
    KIV_INLINE std::uint64_t converted(std::uint64_t word) const;
    KIV_INLINE static std::uint16_t reversed(std::uint16_t word) { return __builtin_bswap16(word); }
    KIV_INLINE static std::uint32_t reversed(std::uint32_t word) { return __builtin_bswap32(word); }
    KIV_INLINE static std::uint64_t reversed(std::uint64_t word) { return __builtin_bswap64(word); }

    KIV_HIDDEN int64_t left() const { return hasPacket() ? int64_t{room(readPos)} + 1 : 0; }
    KIV_HIDDEN bool isSound() const;
    KIV_HIDDEN void forgetPeer();
    KIV_HIDDEN void useStorage(char* fresh, std::uint64_t size);
    KIV_HIDDEN void dropStorage();
    KIV_HIDDEN void installPacket(unsigned int length);
    KIV_HIDDEN bool makeRoomFor(unsigned int length);
    KIV_HIDDEN void moveTo(unsigned int offset);
    KIV_HIDDEN unsigned int takeText(char* dst, uint64_t capacity);
    KIV_HIDDEN void takeBoundedText(char* dst, unsigned int capacity);
    KIV_HIDDEN bool replaceArray(char*& dst, int cap, int len);
    KIV_HIDDEN void takeBlock(char*& dst, int cap, int& len, Replace replace, unsigned int alignment);
};

// Only the two known formats are converted. Whatever else a peer announces is taken as it is.
inline std::uint32_t itcNDRReceive::converted(std::uint32_t word) const
{
    if (ndr_float == 1 && peerFloat == 0)
        Itc_itof(&word);
    else if (ndr_float == 0 && peerFloat == 1)
        Itc_ftoi(&word);
    return word;
}

inline std::uint64_t itcNDRReceive::converted(std::uint64_t word) const
{
    if (ndr_float == 1 && peerFloat == 0)
        Itc_itod(&word);
    else if (ndr_float == 0 && peerFloat == 1)
        Itc_dtoi(&word);
    return word;
}

// Without a packet dataLast equals dataStart, so "one byte left" must not be believed.
template <class Byte> itcNDRReceive& itcNDRReceive::takeByte(Byte& value)
{
    static_assert(sizeof(Byte) == 1);
    if (KIV_UNLIKELY(room(readPos) <= 0) && (room(readPos) < 0 || !hasPacket())) {
        value = Byte{};
        endOfData();
        return *this;
    }
    value = static_cast<Byte>(*readPos++);
    return *this;
}

// The value stays an integer word until its bytes are in the right order and format: a floating-point register might
// change bytes that are no number yet. `place` is a local copy of readPos, as in the puts.
template <class Value> itcNDRReceive& itcNDRReceive::takeAligned(Value& value)
{
    using Word = std::conditional_t<sizeof(Value) == 2, std::uint16_t,
                                    std::conditional_t<sizeof(Value) == 4, std::uint32_t, std::uint64_t>>;
    static_assert(sizeof(Word) == sizeof(Value));
    const char* place = readPos;
    place += -reinterpret_cast<std::uintptr_t>(place) & (sizeof(Value) - 1);
    if (KIV_UNLIKELY(room(place) < static_cast<std::ptrdiff_t>(sizeof(Value)) - 1)) {
        readPos = const_cast<char*>(place); // the gap stays skipped
        value = Value{};
        endOfData();
        return *this;
    }
    Word word;
    std::memcpy(&word, place, sizeof word);
    readPos = const_cast<char*>(place) + sizeof word;
    if (KIV_UNLIKELY(peerEndian != ndr_endian))
        word = reversed(word);
    if constexpr (std::is_floating_point_v<Value>) {
        if (KIV_UNLIKELY(peerFloat != ndr_float))
            word = converted(word);
    }
    std::memcpy(&value, &word, sizeof value);
    return *this;
}

/// \name Takes
/// Each skips the gap before its value and returns the buffer. None clears the status. Where the data does not hold the
/// value, the value becomes zero and the status (`Itc_Ndr_End_Of_Data`, Warning). The gap stays skipped then.
///
/// They are inline for speed. The library exports each as a symbol too, for hosts that link to it by name.
/// \{
KIV_EXPORT inline itcNDRReceive& operator>>(itcNDRReceive& b, bool& v) { return b.takeByte(v); } ///< Not 0 is true.
KIV_EXPORT inline itcNDRReceive& operator>>(itcNDRReceive& b, char& v) { return b.takeByte(v); }
KIV_EXPORT inline itcNDRReceive& operator>>(itcNDRReceive& b, signed char& v) { return b.takeByte(v); }
KIV_EXPORT inline itcNDRReceive& operator>>(itcNDRReceive& b, unsigned char& v) { return b.takeByte(v); }
KIV_EXPORT inline itcNDRReceive& operator>>(itcNDRReceive& b, short& v) { return b.takeAligned(v); }
KIV_EXPORT inline itcNDRReceive& operator>>(itcNDRReceive& b, unsigned short& v) { return b.takeAligned(v); }
KIV_EXPORT inline itcNDRReceive& operator>>(itcNDRReceive& b, int& v) { return b.takeAligned(v); }
KIV_EXPORT inline itcNDRReceive& operator>>(itcNDRReceive& b, unsigned int& v) { return b.takeAligned(v); }
KIV_EXPORT inline itcNDRReceive& operator>>(itcNDRReceive& b, float& v) { return b.takeAligned(v); }
KIV_EXPORT inline itcNDRReceive& operator>>(itcNDRReceive& b, double& v) { return b.takeAligned(v); }
KIV_EXPORT inline itcNDRReceive& operator>>(itcNDRReceive& b, long long& v) { return b.takeAligned(v); }
KIV_EXPORT inline itcNDRReceive& operator>>(itcNDRReceive& b, unsigned long long& v) { return b.takeAligned(v); }
#ifdef KIV_BOUNDED_ONLY
// The host has asked for this refusal, in all of its files. kiv/records/ has the bounded forms; extract() is bounded, too.
itcNDRReceive& operator>>(itcNDRReceive& b, char* dst) = delete;        // unbounded: write buffer >> itcText(text)
itcNDRReceive& operator>>(itcNDRReceive& b, itcBinData& data) = delete; // unbounded: write buffer >> itcBytes(...)
#else
/// Takes a text into `dst`. The text becomes empty when not all of its bytes are there, and when the severity was
/// Warning or worse before, also from an earlier take: test the status before texts. A text of length 0, which no
/// sender of this library makes, leaves `dst` as it was. A null `dst`: (`Itc_Ndr_No_Buffer_Provided`, Error).
/// \warning `dst` must have room for what the peer may send: no size is checked. The text ends with a zero only if the
///          packet's own text does. Where the peer is not trusted, use extract(), or itcText of the companion. A host that
///          defines KIV_BOUNDED_ONLY cannot compile this take.
KIV_EXPORT itcNDRReceive& operator>>(itcNDRReceive& b, char* dst);
/// Takes a length, and as many bytes into `data.data`. `data.length` is neither read nor changed.
///
/// The area is left alone in three cases. The status is then:
/// - unchanged, if the severity was Warning or worse before the take; the length is skipped all the same;
/// - (`Itc_Ndr_End_Of_Data`, Warning), if the announced bytes are not all there;
/// - (`Itc_Ndr_No_Buffer_Provided`, Error), if `data.data` is null and the announced length is above 0.
/// \warning The area must have room for what the peer may send: no size is checked. Where the peer is not trusted, use
///          itcNDRReceive::extract(), or itcBytes of the companion. A host that defines KIV_BOUNDED_ONLY cannot compile
///          this take.
KIV_EXPORT itcNDRReceive& operator>>(itcNDRReceive& b, itcBinData& data);
#endif
/// Calls `record.to_internal(b)`. \return `b`, whatever the record returns.
KIV_EXPORT itcNDRReceive& operator>>(itcNDRReceive& b, itcXNDR& record);
/// \}

/// Reads one frame. Magic, length and data are read with one Read() each. A connection that may deliver less than was
/// asked for must therefore be in ItcStrictBlocking. Where the peer is not trusted, read with the resumable
/// itcNdrUbReceive.
///
/// The announced length has no bound but 2 GiB: whoever can connect can make this side ask for that much memory.
/// Override extend_buffer() to refuse.
/// \return the connection. Results, in the status of the buffer:
///         clear: the packet is there, and its first value is next.
///         (`Itc_Ndr_Conn_Read_Failed`, Error): the connection failed; its own status says why.
///         (`Itc_Ndr_Disconnection`, Error): the peer has closed, or has announced a frame of length 0.
///         (`Itc_Ndr_Packet_Length_Read_Failed`, Error): magic or length came only in part.
///         (`Itc_Ndr_Magic_Error`, Error): the bytes are no frame.
///         (`Itc_Ndr_Buffer_Alloc_Failed`, Error): there is no memory for a frame of the announced length.
///         (`Itc_Ndr_Packet_Read_Not_All_Data`, Error): only the beginning of the data came. The values in it can
///         be taken.
/// \warning From a datagram connection call InitRead() first, once for each datagram. Without InitRead() every read
///          gives
///          (`Itc_Ndr_Disconnection`, Error), and a dispatcher loop spins.
KIV_EXPORT itcConnection& operator>>(itcConnection& c, itcNDRReceive& b);
