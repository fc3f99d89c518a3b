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
///                            `--write error------> Failed
///  Back to Idle, from Idle, Complete and Failed: reset() for new content, reset_transmission_state() for the same.
/// \endcode
/// The content is frozen while a frame is in transit: it is built in Idle only, transactions included. The base class
/// can still change the content. Values put through the base class go behind the frame and are not sent with it.
/// Storage that moved or was given back, and content that shrank, end the transfer: the next call fails as a failed
/// write does.
///
/// \par Threads  One thread at a time per object, typically from the dispatcher's outputReady().
/// \par Errors   Every operation of this class clears the status first. A would-block of the connection is no error.
class KIV_EXPORT itcNdrUbSend : public itcNDRSend {
public:
    explicit itcNdrUbSend(unsigned int tag);           ///< No storage yet. The tag is kept for the host and never read.
    itcNdrUbSend(unsigned int tag, unsigned int size); ///< With storage for about `size` bytes.
    ~itcNdrUbSend() override;

    /// Forgets the content, ready for the next packet: itcNDRSend::reset() and back to Idle. In a
    /// caller's buffer the content stays: call init() again.
    /// While a frame is in transit nothing is changed: (`Itc_Ndr_Ub_Wrong_Transmission_State`, Error).
    void reset() override;
    /// Back to Idle with the content as it is, to send it again or to extend it.
    /// While a frame is in transit nothing is changed: (`Itc_Ndr_Ub_Wrong_Transmission_State`, Error).
    void reset_transmission_state();

    /// itcNDRSend::put_opaque() in Idle; else (`Itc_Ndr_Ub_Wrong_Transmission_State`, Warning), nothing put.
    itcNdrUbSend& put_opaque(const void* data, int len, bool align8, bool withLength);
    /// itcNDRSend::insert() in Idle; else (`Itc_Ndr_Ub_Wrong_Transmission_State`, Warning), nothing put.
    itcNdrUbSend& insert(const char* data, int len, bool withLength);

protected:
    char* sendPos;              ///< The next byte of the frame to be sent; null while none is in transit.
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
/// Each clears the status and, in Idle, does what the same put of itcNDRSend does. In any other state nothing is put:
/// (`Itc_Ndr_Ub_Wrong_Transmission_State`, Warning).
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
/// writable, until it gives 0.
///
/// \return the number of bytes of the frame that are still unsent; 0 also in Complete and Failed, where nothing is
///         sent. A would-block is no failure; but the first call leaves Idle all the same, and neither reset is allowed
///         until the frame ends. Otherwise, in Failed: (`Itc_Ndr_Ub_Packet_Write_Failed`, Error) with
///         the connection's error number, also for a buffer without storage or one that has changed under way; or
///         (`Itc_Ndr_Ub_Unknown_Send_State`, Error).
KIV_EXPORT unsigned int operator<<(itcConnection& c, itcNdrUbSend& s);

/// Writes the frame to a stream, in one step. Failures as above, with the system's error number.
/// \return the stream.
KIV_EXPORT std::ostream& operator<<(std::ostream& os, itcNdrUbSend& s);
