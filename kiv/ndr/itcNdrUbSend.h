/// \file
/// The send buffer whose packet leaves piece by piece.
#pragma once

#include <kiv/ndr/UbTransmissionState.h>
#include <kiv/ndr/itcNDRSend.h>

#include <iosfwd>

/// An itcNDRSend whose frame is written in as many calls as a non-blocking connection needs.
///
/// \code
///  Idle --first call--> Transferring --all sent--> Complete
///    |                       |
///    | no storage            | write error, content moved or shrank
///    +-------> Failed <------+
///
///  Back to Idle, from Idle, Complete and Failed:  reset()                      for new content
///                                                 reset_transmission_state()   for the same content
/// \endcode
/// The content is built in Idle only, transactions included. While a frame is in transit puts are refused. The base
/// class can still change the content. Values put through the base class go behind the frame and are not sent with it.
/// Storage that moved or was given back, and content that shrank, end the transfer: the next call fails as a failed
/// write does.
///
/// \par Threads
/// One thread at a time per object, typically the dispatching thread in outputReady().
/// \par Errors
/// Nothing throws. Every operation of this class clears the status first: a chain of puts shows only how the last one
/// ended. Put a record (itcXNDR), or put through a reference to the base class, and test once. A would-block of the
/// connection is no error: the call returns what is still unsent.
/// \par Pitfall
/// A reference to the base class turns the resumable write into the plain one: `connection << buffer` chooses the
/// operator by the declared type of `buffer`.
class KIV_EXPORT itcNdrUbSend : public itcNDRSend {
public:
    explicit itcNdrUbSend(unsigned int tag);           ///< No storage yet. The tag is kept for the host and never read.
    itcNdrUbSend(unsigned int tag, unsigned int size); ///< Makes storage for about `size` bytes.
    ~itcNdrUbSend() override;

    /// Forgets the content, ready for the next packet: itcNDRSend::reset(), then the state Idle. In a caller's buffer
    /// the content stays: call init() again.
    ///
    /// While a frame is in transit the status becomes (`Itc_Ndr_Ub_Wrong_Transmission_State`, Error) and nothing is
    /// changed.
    void reset() override;
    /// Goes back to Idle with the content as it is: the packet can be sent again, or extended.
    ///
    /// While a frame is in transit the status becomes (`Itc_Ndr_Ub_Wrong_Transmission_State`, Error) and nothing is
    /// changed.
    void reset_transmission_state();

    /// itcNDRSend::put_opaque() in Idle. In any other state nothing is put, and the status becomes
    /// (`Itc_Ndr_Ub_Wrong_Transmission_State`, Warning).
    itcNdrUbSend& put_opaque(const void* data, int len, bool align8, bool withLength);
    /// itcNDRSend::insert() in Idle. In any other state nothing is put, and the status becomes
    /// (`Itc_Ndr_Ub_Wrong_Transmission_State`, Warning).
    itcNdrUbSend& insert(const char* data, int len, bool withLength);

protected:
    char* sendPos;              ///< The next byte of the frame to be sent. Null while no frame is in transit.
    unsigned int sendRemaining; ///< Bytes of the frame that are not yet sent.
    int txState;                ///< A UbTransmissionState.
    unsigned int bytesSent;     ///< Bytes sent by the latest call.
    unsigned int tag;           ///< The first argument of the constructor.

private:
    friend struct GuardedPuts;
    friend KIV_EXPORT unsigned int operator<<(itcConnection& c, itcNdrUbSend& s);
    friend KIV_EXPORT std::ostream& operator<<(std::ostream& os, itcNdrUbSend& s);

    KIV_HIDDEN bool mayPut();
    KIV_HIDDEN bool mayReset();
    KIV_HIDDEN void becomeIdle();
    KIV_HIDDEN bool beginTransfer(int writeError);
    KIV_HIDDEN bool isStillInPlace();
    KIV_HIDDEN void advance(unsigned int sent);
    KIV_HIDDEN void fail(ItcStatusCode failure, int error);
};

/// \name Guarded puts
/// Each clears the status. In Idle each then does what the put of itcNDRSend does. In any other state nothing is put,
/// and the status becomes (`Itc_Ndr_Ub_Wrong_Transmission_State`, Warning).
/// \{
KIV_EXPORT itcNdrUbSend& operator<<(itcNdrUbSend& b, bool v);
KIV_EXPORT itcNdrUbSend& operator<<(itcNdrUbSend& b, char v);
KIV_EXPORT itcNdrUbSend& operator<<(itcNdrUbSend& b, signed char v);
KIV_EXPORT itcNdrUbSend& operator<<(itcNdrUbSend& b, unsigned char v);
KIV_EXPORT itcNdrUbSend& operator<<(itcNdrUbSend& b, short v);
KIV_EXPORT itcNdrUbSend& operator<<(itcNdrUbSend& b, unsigned short v);
KIV_EXPORT itcNdrUbSend& operator<<(itcNdrUbSend& b, int v);
KIV_EXPORT itcNdrUbSend& operator<<(itcNdrUbSend& b, unsigned int v);
KIV_EXPORT itcNdrUbSend& operator<<(itcNdrUbSend& b, float v);
KIV_EXPORT itcNdrUbSend& operator<<(itcNdrUbSend& b, double v);
KIV_EXPORT itcNdrUbSend& operator<<(itcNdrUbSend& b, long long v);
KIV_EXPORT itcNdrUbSend& operator<<(itcNdrUbSend& b, unsigned long long v);
KIV_EXPORT itcNdrUbSend& operator<<(itcNdrUbSend& b, const char* v);
KIV_EXPORT itcNdrUbSend& operator<<(itcNdrUbSend& b, const itcBinData& v);
KIV_EXPORT itcNdrUbSend& operator<<(itcNdrUbSend& b, const itcXNDR& v);
/// \}

/// Writes as much of the frame as the connection takes. Call it again when the dispatcher reports the connection
/// writable, until nothing is left.
///
/// Test the status first, then the result:
/// \code
/// const unsigned int unsent = connection << packet;
/// if (packet.severity == Error)
///     return -1;          // the connection is over: unlink it, close it
/// if (unsent == 0)
///     packet.reset();     // all is sent: build the next packet
/// \endcode
/// The first call leaves Idle, also when nothing was sent. No reset is allowed until the frame ends.
///
/// \return the number of bytes of the frame that are still unsent; 0 when all is sent. Results, in the status:
///         clear: the frame is sent, or the rest follows.
///         (`Itc_Ndr_Ub_Packet_Write_Failed`, Error), Failed: the connection failed; its error number is copied.
///         (`Itc_Ndr_Ub_Packet_Write_Failed`, Error), Failed: the buffer has no storage; the result is 8, the head of a
///         frame.
///         (`Itc_Ndr_Ub_Packet_Write_Failed`, Error), Failed: the content moved or shrank.
///         (`Itc_Ndr_Ub_Unknown_Send_State`, Error), Failed: the state is none of a sender's.
/// \warning Only the call that fails reports the Error. In Failed every later call gives 0 with a clear status, as in
///          Complete.
KIV_EXPORT unsigned int operator<<(itcConnection& c, itcNdrUbSend& s);

/// Writes the frame to a standard stream, in one step. The failures are those of the write to a connection, with the
/// system's error number.
/// \return the stream.
KIV_EXPORT std::ostream& operator<<(std::ostream& os, itcNdrUbSend& s);
