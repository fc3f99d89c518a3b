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

/// Holds one received packet: `connection >> buffer` reads a frame, then values are taken out with `>>`, in the order
/// in which they were put. Byte order and floating-point format are converted where the packet's label demands it.
///
/// \code
/// | label 2    | values taken ... | values to come ...        | free ...      |
/// ^dataStart (8-aligned)          ^readPos         dataLast^         bufferLast^
/// \endcode
///
/// \par Ownership  Owns its storage, unless init() gave it the caller's.
/// \par Threads    One thread at a time per object.
/// \par Errors     Taking beyond the data gives zero and (`Itc_Ndr_End_Of_Data`, Warning). `>>` never clears the
///                 status, so after the framed read it need be tested only once more, after the last take. An object
///                 that holds no packet is at the end of its data. Nothing throws, and no packet makes it read outside
///                 its buffers.
class KIV_EXPORT itcNDRReceive : public itcNDR {
public:
    itcNDRReceive(); ///< No storage: the framed read makes some.
    /// With storage for `size` bytes, none for a size below 1. Test the status.
    explicit itcNDRReceive(int size);
    /// A copy of NDR data that came by other means, label first. Without data, or with 2 bytes or fewer, it stays empty
    /// with a clear status.
    itcNDRReceive(const char* data, unsigned int len);
    itcNDRReceive(const itcNDRReceive&) = delete;
    itcNDRReceive& operator=(const itcNDRReceive&) = delete;

    // Hosts derive from this class: the order of these operations is binary interface.

    ~itcNDRReceive() override; ///< Frees the storage if it is owned.

    /// Back to the first value of the same packet, and clears the status. Does nothing without storage of its own: so
    /// a caller's buffer is wrapped anew with init(). Storage of more than 1 MiB is given back, and the packet with it.
    virtual void reset();
    /// The first byte of the NDR data: the label.
    virtual char* raw_data();
    /// The number of bytes of NDR data, label included.
    virtual unsigned int raw_length() const;
    /// Makes new storage of `pages` times 4096 bytes; the content is gone, since this side grows only before it reads
    /// a packet. Clears the status.
    ///
    /// On failure (`Itc_Ndr_Buffer_Alloc_Failed`, Error), and there is no storage any more until the next success here,
    /// in create_buffer() or in init(). More pages than the longest readable frame needs (2 GiB) always fail.
    virtual void extend_buffer(unsigned int pages);
    /// The capacity for NDR data: not what is unused of it.
    virtual unsigned int free_buffer_size() const;
    /// Makes new storage of `size` bytes, at least 32, with no packet in it, and clears the status.
    ///
    /// On failure (`Itc_Ndr_Buffer_Alloc_Failed`, Error) and everything stays as it was.
    /// \warning Storage that the object has already is not freed: call it on an object without storage only.
    virtual void create_buffer(unsigned int size);

    /// Wraps the caller's buffer, which holds NDR data from its first multiple of 8 on; storage of its own is freed.
    /// Clears the status.
    ///
    /// raw_length() counts `size` bytes from that multiple on, even where the buffer ends before; takes stop at the
    /// buffer's end all the same.
    /// Failures: `Itc_Ndr_No_Buffer_Provided` for null, `Itc_Ndr_Buffer_Size_Too_Small` below 3 bytes or where not even
    /// the label is left; Error.
    void init(char* buf, unsigned int size);

    unsigned int free_buffer_size_inline() const ///< free_buffer_size(), not virtual.
    {
        return bufferLast == nullptr || dataStart == nullptr || bufferLast < dataStart
                   ? 0
                   : static_cast<unsigned int>(bufferLast - dataStart) + 1;
    }

    /// The number of bytes not yet read, except that a single one is reported as 0, as if the packet had ended. Hosts
    /// that end packets with single bytes test the status instead.
    unsigned int pending_length() const;

    /// Copies `len` raw bytes. With a null `dst` it only reports in `len` how many are left: to the end of
    /// the latest transaction of this packet, as its sender has announced it, 0 once that is passed; else to the end of
    /// the data. Clears the status.
    /// \return this buffer; `Itc_Ndr_End_Of_Data`, Warning, nothing copied; `Itc_Ndr_No_Buffer_Provided`, Error.
    itcNDRReceive& extract(char* dst, unsigned int& len);

    /// Takes a block that was put with its length, unaligned (itcNDRSend::insert()). Clears the status.
    ///
    /// When the announced length is greater than `cap`, the array is replaced, also when the bytes then turn out to be
    /// missing. After every call the array has the larger of `cap` and `len` bytes: pass that as `cap` the next time.
    /// \param dst an array of `cap` bytes. The new array comes from array new and has exactly `len` bytes. The old one is
    ///            deleted if `cap` is positive. The caller deletes the new one.
    /// \param len receives the announced length; 0 when it is negative or when there is no memory for the array.
    /// \return this buffer, with a clear status or one of:
    ///         (`Itc_Ndr_End_Of_Data`, Warning): the length is negative, or fewer bytes are there.
    ///         (`Itc_Ndr_No_Buffer_Provided`, Error): there is no packet, or `dst` is null and was not replaced.
    ///         (`Itc_Ndr_Buffer_Alloc_Failed`, Error): there is no memory for the array; `dst` is kept.
    itcNDRReceive& extract(char*& dst, int cap, int& len);
    /// Takes a block that was put with its length, aligned (itcNDRSend::put_opaque()). As the extract() above, except
    /// that a null `dst` is always replaced.
    itcNDRReceive& get_opaque(void*& dst, int cap, int& len);

    /// Moves on by `n` bytes, or back if that is negative. Does not clear the status.
    /// \return this buffer; (`Itc_Ndr_End_Of_Data`, Warning), not moved, where that leaves the data on either side.
    itcNDRReceive& skip(int n);

    /// Opens a transaction: reads where its content ends. There is one at a time.
    itcNDRReceive& start_transaction();
    /// Closes the transaction: whatever has been read of it, reading goes on behind it, or at the end of the data if
    /// its end is announced beyond.
    ///
    /// \return the severity. If nothing had failed, but too little or too much has been read, 2 with a status of
    ///         (-1, Error): a code of its own, outside the table. (`Itc_Ndr_No_Buffer_Provided`, Error) without
    ///         storage.
    int end_transaction();

    /// Internal to the operators below, which hosts use.
    template <class Byte> KIV_INLINE itcNDRReceive& takeByte(Byte& value);
    /// Internal to the operators below, which hosts use.
    template <class Value> KIV_INLINE itcNDRReceive& takeAligned(Value& value);

protected:
    unsigned int transactionEnd; ///< Offset from dataStart to the end of the latest transaction; 0 without one.
    int peerEndian;              ///< From the label; 2 until a packet is present.
    int peerChar;                ///< From the label; 2 until a packet is present.
    int peerFloat;               ///< From the label; 4 until a packet is present.
    char* dataStart;             ///< Null without storage.
    char* readPos;
    char* dataLast; ///< The last byte of the data; equal to dataStart while there is none.
    char* bufferLast;
    char* storage; ///< What the destructor frees: null without storage or with the caller's.

private:
    friend class itcMsgHdr;
    friend class itcNdrUbReceive;
    friend KIV_EXPORT itcNDRReceive& operator>>(itcNDRReceive& b, char* dst);
    friend KIV_EXPORT itcNDRReceive& operator>>(itcNDRReceive& b, itcBinData& data);
    friend KIV_EXPORT itcConnection& operator>>(itcConnection& c, itcNDRReceive& b);

    enum class Replace { whenTooSmall, alsoWhenNull };

    // The data of a wrapped buffer may be announced beyond the buffer's end.
    KIV_INLINE const char* lastReadable() const { return std::min(dataLast, bufferLast); }
    // What is left to read from a place on, less one; negative at the end.
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
    KIV_INLINE static std::uint16_t reversed(std::uint16_t word);
    KIV_INLINE static std::uint32_t reversed(std::uint32_t word);
    KIV_INLINE static std::uint64_t reversed(std::uint64_t word);

    KIV_HIDDEN int64_t left() const { return hasPacket() ? int64_t{room(readPos)} + 1 : 0; }
    KIV_HIDDEN void forgetPeer();
    KIV_HIDDEN void installPacket(unsigned int length);
    KIV_HIDDEN void dropStorage();
    KIV_HIDDEN void moveTo(unsigned int offset);
    KIV_HIDDEN void takeText(char* dst, uint64_t capacity, unsigned int& length);
    KIV_HIDDEN void takeText(char* dst, unsigned int capacity);
    KIV_HIDDEN bool replaceArray(char*& dst, int cap, int len);
    KIV_HIDDEN void takeBlock(char*& dst, int cap, int& len, Replace replace, unsigned int alignment);
};

/// \name Takes
/// Each skips the gap before its value and returns the buffer. Where the data does not hold the value, it becomes zero
/// with (`Itc_Ndr_End_Of_Data`, Warning); the gap stays skipped. None clears the status.
/// \{
KIV_EXPORT inline itcNDRReceive& operator>>(itcNDRReceive& b, bool& v); ///< Any byte but zero is true.
KIV_EXPORT inline itcNDRReceive& operator>>(itcNDRReceive& b, char& v);
KIV_EXPORT inline itcNDRReceive& operator>>(itcNDRReceive& b, signed char& v);
KIV_EXPORT inline itcNDRReceive& operator>>(itcNDRReceive& b, unsigned char& v);
KIV_EXPORT inline itcNDRReceive& operator>>(itcNDRReceive& b, short& v);
KIV_EXPORT inline itcNDRReceive& operator>>(itcNDRReceive& b, unsigned short& v);
KIV_EXPORT inline itcNDRReceive& operator>>(itcNDRReceive& b, int& v);
KIV_EXPORT inline itcNDRReceive& operator>>(itcNDRReceive& b, unsigned int& v);
KIV_EXPORT inline itcNDRReceive& operator>>(itcNDRReceive& b, float& v);
KIV_EXPORT inline itcNDRReceive& operator>>(itcNDRReceive& b, double& v);
KIV_EXPORT inline itcNDRReceive& operator>>(itcNDRReceive& b, long long& v);
KIV_EXPORT inline itcNDRReceive& operator>>(itcNDRReceive& b, unsigned long long& v);
/// Takes a text. It becomes empty if it is not all there, and also while the status is anything but clear, be it from
/// an earlier take: test the status before texts. A null `dst` leaves (`Itc_Ndr_No_Buffer_Provided`, Error).
/// \warning `dst` must have room for what the peer may send, and is terminated only if the packet's own text is. Where
///          the peer is not trusted, use extract().
KIV_EXPORT itcNDRReceive& operator>>(itcNDRReceive& b, char* dst);
/// Takes a block into the record's own area; see itcBinData. It is left as it is while the status is anything but
/// clear. A null area leaves (`Itc_Ndr_No_Buffer_Provided`, Error).
KIV_EXPORT itcNDRReceive& operator>>(itcNDRReceive& b, itcBinData& data);
/// Whatever the record takes.
KIV_EXPORT itcNDRReceive& operator>>(itcNDRReceive& b, itcXNDR& record);
/// \}

/// Reads one frame: magic, length and data with one Read() each, so over a connection that may deliver less than was
/// asked for it needs ItcStrictBlocking; where the peer is not trusted, use the resumable itcNdrUbReceive.
///
/// On success the status is clear and the first value is next. Otherwise, each Error:
/// - `Itc_Ndr_Conn_Read_Failed`: the connection failed, its own status says how;
/// - `Itc_Ndr_Disconnection`: the peer has closed, or announced a frame of length 0;
/// - `Itc_Ndr_Packet_Length_Read_Failed`: magic or length came in part only;
/// - `Itc_Ndr_Magic_Error`: this is no frame;
/// - `Itc_Ndr_Buffer_Alloc_Failed`: no memory for a frame of the announced length, or none could ever be read;
/// - `Itc_Ndr_Packet_Read_Not_All_Data`: only the beginning of the data came; it can be taken.
///
/// The announced length has no bound but 2 GiB: whoever can connect can make this side ask for that much memory.
/// \return the connection.
KIV_EXPORT itcConnection& operator>>(itcConnection& c, itcNDRReceive& b);

// Inline as the puts are, and exported as they are.

template <class Byte> itcNDRReceive& itcNDRReceive::takeByte(Byte& value)
{
    static_assert(sizeof(Byte) == 1);
    // The last byte may be no byte at all, but the empty place of a buffer without a packet.
    if (KIV_UNLIKELY(room(readPos) <= 0) && (room(readPos) < 0 || !hasPacket())) {
        value = Byte{};
        endOfData();
        return *this;
    }
    value = static_cast<Byte>(*readPos++);
    return *this;
}

// The value is kept as a word of its size until it is in the right form: a floating-point register might change it. The
// position is kept in a local, as it is in the puts.
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

inline std::uint16_t itcNDRReceive::reversed(std::uint16_t word)
{
    return __builtin_bswap16(word);
}

inline std::uint32_t itcNDRReceive::reversed(std::uint32_t word)
{
    return __builtin_bswap32(word);
}

inline std::uint64_t itcNDRReceive::reversed(std::uint64_t word)
{
    return __builtin_bswap64(word);
}

// Only the two formats that are known are converted; whatever else a peer announces is taken as it is.
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

inline itcNDRReceive& operator>>(itcNDRReceive& b, bool& v)
{
    return b.takeByte(v);
}

inline itcNDRReceive& operator>>(itcNDRReceive& b, char& v)
{
    return b.takeByte(v);
}

inline itcNDRReceive& operator>>(itcNDRReceive& b, signed char& v)
{
    return b.takeByte(v);
}

inline itcNDRReceive& operator>>(itcNDRReceive& b, unsigned char& v)
{
    return b.takeByte(v);
}

inline itcNDRReceive& operator>>(itcNDRReceive& b, short& v)
{
    return b.takeAligned(v);
}

inline itcNDRReceive& operator>>(itcNDRReceive& b, unsigned short& v)
{
    return b.takeAligned(v);
}

inline itcNDRReceive& operator>>(itcNDRReceive& b, int& v)
{
    return b.takeAligned(v);
}

inline itcNDRReceive& operator>>(itcNDRReceive& b, unsigned int& v)
{
    return b.takeAligned(v);
}

inline itcNDRReceive& operator>>(itcNDRReceive& b, float& v)
{
    return b.takeAligned(v);
}

inline itcNDRReceive& operator>>(itcNDRReceive& b, double& v)
{
    return b.takeAligned(v);
}

inline itcNDRReceive& operator>>(itcNDRReceive& b, long long& v)
{
    return b.takeAligned(v);
}

inline itcNDRReceive& operator>>(itcNDRReceive& b, unsigned long long& v)
{
    return b.takeAligned(v);
}
