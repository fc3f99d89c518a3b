/// \file
/// The receive buffer whose packet arrives piece by piece.
#pragma once

#include <kiv/ndr/UbTransmissionState.h>
#include <kiv/ndr/itcMsgHdr.h>
#include <kiv/ndr/itcNDRReceive.h>

#include <iosfwd>

/// An itcNDRReceive whose frame is read in as many calls as a non-blocking connection needs.
///
/// \code
///  Idle --> ReadingMagic --4 bytes--> ReadingLength --4 bytes--> Transferring --all bytes--> Complete
///               |                          |                         |
///               |   peer closed before a   |                         | peer closed, read error,
///               |   byte of this call      |                         | storage replaced
///               +------> Disconnected <----+                         |
///               |                          |                         v
///               +--- read error, ----------+--- no memory, --------> Failed
///                    wrong magic                read error
///
///  Back to Idle:  reset()                      from Idle and Complete
///                 reset_transmission_state()   from Idle, Complete and Failed
///  InitRead() of the connection fails, except by would-block: to Failed, from every state.
///  init() and the constructor from data: to Complete.
///  No reset leaves Disconnected: take a fresh buffer for a fresh connection.
/// \endcode
/// Values may be taken in Complete only.
///
/// \par Threads
/// One thread at a time per object, typically the dispatching thread in inputReady().
/// \par Errors
/// Nothing throws. A would-block of the connection is no error: the call returns what is still expected.
/// \par Pitfall
/// A reference to the base class turns the resumable read into the plain one: `connection >> buffer` chooses the
/// operator by the declared type of `buffer`.
class KIV_EXPORT itcNdrUbReceive : public itcNDRReceive {
public:
    explicit itcNdrUbReceive(unsigned int tag); ///< No storage yet. The tag is kept for the host and never read.
    /// Makes storage for `size` bytes. The status is clear, also when there is no memory: the first read then makes
    /// storage.
    itcNdrUbReceive(unsigned int tag, unsigned int size);
    /// Holds a copy of NDR data that came by other means. The state is Complete at once, and the status is clear. With
    /// null data, with 2 bytes or fewer, and without memory there is no packet: raw_length() is 0 then.
    itcNdrUbReceive(unsigned int tag, const char* data, unsigned int len);
    ~itcNdrUbReceive() override;

    /// Wraps the caller's buffer as itcNDRReceive::init() does. The state is Complete at once, also when the buffer was
    /// refused: test the status, which is that of itcNDRReceive::init().
    void init(char* buf, unsigned int size);

    /// Makes the receiver ready for the next frame: itcNDRReceive::reset(), then the state Idle. Allowed in Idle and
    /// Complete. A caller's buffer is not rewound.
    ///
    /// In any other state the status becomes (`Itc_Ndr_Ub_Wrong_Transmission_State`, Error) and nothing is changed.
    /// Failed is refused too, unlike in a sender: the buffer holds a part of a packet, and the stream is out of step.
    /// Close the connection.
    void reset() override;
    /// Makes the receiver ready for the next frame and leaves the buffer alone. Allowed in Idle, Complete and Failed.
    ///
    /// In any other state the status becomes (`Itc_Ndr_Ub_Wrong_Transmission_State`, Error) and nothing is changed.
    void reset_transmission_state();

    /// \name Guarded takes
    /// In Complete each does what the operation of itcNDRReceive with the same name does. In any other state nothing is
    /// taken, and the status becomes (`Itc_Ndr_Ub_Wrong_Transmission_State`, Warning). All clear the status first,
    /// except skip().
    /// \{
    itcNdrUbReceive& extract(char* dst, unsigned int& len);     ///< Takes bytes into the caller's area.
    itcNdrUbReceive& extract(char*& dst, int cap, int& len);    ///< Takes an unaligned block, in a new array if needed.
    itcNdrUbReceive& get_opaque(void*& dst, int cap, int& len); ///< Takes an aligned block, in a new array if needed.
    itcNdrUbReceive& skip(int n);                               ///< Moves the read position.
    /// \}

protected:
    char magicBuf[4];             ///< The magic as received.
    char* magicPos;               ///< Where the next byte of the magic goes.
    unsigned int magicRemaining;  ///< Bytes of the magic that are still to be read.
    unsigned int lengthBuf;       ///< The length as received, then in host order.
    char* lengthPos;              ///< Where the next byte of the length goes.
    unsigned int lengthRemaining; ///< Bytes of the length that are still to be read.
    char* dataPos;                ///< Where the next byte of the data goes.
    unsigned int dataRemaining;   ///< Bytes of the data that are still to be read.
    int rxState;                  ///< A UbTransmissionState.
    unsigned int bytesReceived;   ///< Bytes received by the latest call.
    unsigned int tag;             ///< The first argument of the constructor.

private:
    friend struct GuardedTakes;
    friend KIV_EXPORT unsigned int operator>>(itcConnection& c, itcNdrUbReceive& r);
    friend KIV_EXPORT std::istream& operator>>(std::istream& is, itcNdrUbReceive& r);

    class ConnectionSource;
    class StreamSource;
    struct Piece;

    KIV_HIDDEN void zeroTransfer();
    KIV_HIDDEN void becomeIdle();
    KIV_HIDDEN void beComplete(unsigned int length);
    KIV_HIDDEN bool mayTake();
    KIV_HIDDEN bool isComplete();
    KIV_HIDDEN bool mayReset(bool alsoFailed);
    KIV_HIDDEN void fail(ItcStatusCode failure, int error);

    template <class Source> KIV_HIDDEN unsigned int receive(Source& source);
    template <class Source> KIV_HIDDEN bool readMagic(Source& source);
    template <class Source> KIV_HIDDEN bool readLength(Source& source);
    template <class Source> KIV_HIDDEN void readData(Source& source);
    template <class Source> KIV_HIDDEN bool readOn(Source& source, char*& position, unsigned int& remaining);
    KIV_HIDDEN void beginFrame();
    KIV_HIDDEN bool makeRoom();
    KIV_HIDDEN bool isStillInPlace() const;
};

/// \name Guarded takes
/// Each clears the status. In Complete each then does what the take of itcNDRReceive does. In any other state nothing
/// is taken, and the status becomes (`Itc_Ndr_Ub_Wrong_Transmission_State`, Warning).
/// \{
KIV_EXPORT itcNdrUbReceive& operator>>(itcNdrUbReceive& b, bool& v);
KIV_EXPORT itcNdrUbReceive& operator>>(itcNdrUbReceive& b, char& v);
KIV_EXPORT itcNdrUbReceive& operator>>(itcNdrUbReceive& b, signed char& v);
KIV_EXPORT itcNdrUbReceive& operator>>(itcNdrUbReceive& b, unsigned char& v);
KIV_EXPORT itcNdrUbReceive& operator>>(itcNdrUbReceive& b, short& v);
KIV_EXPORT itcNdrUbReceive& operator>>(itcNdrUbReceive& b, unsigned short& v);
KIV_EXPORT itcNdrUbReceive& operator>>(itcNdrUbReceive& b, int& v);
KIV_EXPORT itcNdrUbReceive& operator>>(itcNdrUbReceive& b, unsigned int& v);
KIV_EXPORT itcNdrUbReceive& operator>>(itcNdrUbReceive& b, float& v);
KIV_EXPORT itcNdrUbReceive& operator>>(itcNdrUbReceive& b, double& v);
KIV_EXPORT itcNdrUbReceive& operator>>(itcNdrUbReceive& b, long long& v);
KIV_EXPORT itcNdrUbReceive& operator>>(itcNdrUbReceive& b, unsigned long long& v);
#ifdef KIV_BOUNDED_ONLY
itcNdrUbReceive& operator>>(itcNdrUbReceive& b, char* v) = delete;       // unbounded: write buffer >> itcText(text)
itcNdrUbReceive& operator>>(itcNdrUbReceive& b, itcBinData& v) = delete; // unbounded: write buffer >> itcBytes(...)
#else
KIV_EXPORT itcNdrUbReceive& operator>>(itcNdrUbReceive& b, char* v);
KIV_EXPORT itcNdrUbReceive& operator>>(itcNdrUbReceive& b, itcBinData& v);
#endif
KIV_EXPORT itcNdrUbReceive& operator>>(itcNdrUbReceive& b, itcXNDR& v);
KIV_EXPORT itcNdrUbReceive& operator>>(itcNdrUbReceive& b, itcMsgHdr::itcMsgType& v);
/// \}

/// Reads as much of the frame as the connection has. Call it again when the dispatcher reports the connection readable.
///
/// Test the status first, then the state of the transfer by the result:
/// \code
/// const unsigned int expected = connection >> packet;
/// if (packet.severity == Error)
///     return -1;          // the connection is over: unlink it, close it
/// if (expected != 0)
///     return 0;           // the dispatcher calls again
/// // Complete: take the values, then packet.reset()
/// \endcode
/// Each call first calls InitRead() of the connection, also in states in which nothing is read any more.
///
/// The first call leaves Idle, also when nothing has arrived (except for an empty datagram). No reset is allowed until
/// the frame ends.
///
/// \return the number of bytes that are known to be still expected. 0: the frame is complete, with these exceptions:
///         - The call that fails gives the number that was outstanding. Later calls in Failed and Disconnected give 0.
///         - If InitRead() fails, the number counts only bytes of the data, in every state.
///
///         Results, in the status:
///         clear: the frame is complete, or more is expected.
///         (`Itc_Ndr_Ub_Packet_Read_Failed`, Error), Failed: the connection failed; its error number is copied.
///         (`Itc_Ndr_Magic_Error`, Error), Failed: the bytes are no frame.
///         (`Itc_Ndr_Ub_Extend_Buffer_Failed`, Error), Failed: there is no memory for the announced length.
///         (`Itc_Ndr_Ub_Disconnection`, Error), Disconnected: the peer has closed before the data.
///         (`Itc_Ndr_Ub_Disconnection`, Error), Failed: the peer has closed inside the data, and a packet is lost; or a
///         frame of length 0 came.
///         (`Itc_Ndr_Ub_Unknown_Receive_State`, Error), Failed: the state is none of the enumeration.
/// \warning In Disconnected every further call gives 0 with a clear status, and neither reset is allowed. A loop that
///          looks only for 0 would take a false packet for ever. Take a fresh buffer for a fresh connection. In Failed
///          the status stays through further calls.
/// \warning An empty datagram leaves the state as it was, Idle too, with a clear status. While no data is expected the
///          result is 0, although no packet is complete. The next take then says
///          (`Itc_Ndr_Ub_Wrong_Transmission_State`, Warning).
KIV_EXPORT unsigned int operator>>(itcConnection& c, itcNdrUbReceive& r);

/// Reads a frame from a standard stream, and waits for all of it. The failures are those of the read from a connection.
/// The end of the stream is a disconnection. From a stream `bytesReceived` counts only the bytes of magic and length.
/// \return the stream.
KIV_EXPORT std::istream& operator>>(std::istream& is, itcNdrUbReceive& r);
