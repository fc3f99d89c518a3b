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
///  Idle --> ReadingMagic --4--> ReadingLength --4--> Transferring --all--> Complete
///               |  peer closed before a byte |            | peer closed
///               +-------> Disconnected <-----+            +--> Failed <-- read error, wrong magic, no memory
///  Back to Idle: reset() from Idle and Complete; reset_transmission_state() from Failed too. Disconnected is final.
/// \endcode
/// Values may be taken in Complete only.
///
/// \par Threads  One thread at a time per object, typically from the dispatcher's inputReady().
/// \par Errors   A would-block of the connection is no error.
class KIV_EXPORT itcNdrUbReceive : public itcNDRReceive {
public:
    explicit itcNdrUbReceive(unsigned int tag); ///< No storage yet. The tag is kept for the host and never read.
    itcNdrUbReceive(unsigned int tag, unsigned int size); ///< With storage for `size` bytes.
    /// A copy of NDR data that came by other means: Complete at once, so its values can be taken.
    itcNdrUbReceive(unsigned int tag, const char* data, unsigned int len);
    ~itcNdrUbReceive() override;

    /// Wraps the caller's buffer as itcNDRReceive::init() does, and is Complete at once; the status is that of init().
    void init(char* buf, unsigned int size);

    /// Ready for the next frame, from Idle and Complete: itcNDRReceive::reset() and back to Idle. A
    /// caller's buffer is not rewound.
    /// In any other state, Failed included, nothing is changed: (`Itc_Ndr_Ub_Wrong_Transmission_State`, Error). Unlike
    /// a sender, a failed receiver comes back by reset_transmission_state() only.
    void reset() override;
    /// Ready for the next frame, from Idle, Complete and Failed, the buffer being left alone.
    /// In any other state nothing is changed: (`Itc_Ndr_Ub_Wrong_Transmission_State`, Error).
    void reset_transmission_state();

    /// \name Guarded takes
    /// Each does in Complete what the same take of itcNDRReceive does. In any other state nothing is taken:
    /// (`Itc_Ndr_Ub_Wrong_Transmission_State`, Warning). All clear the status first, but for skip().
    /// \{
    itcNdrUbReceive& extract(char* dst, unsigned int& len);
    itcNdrUbReceive& extract(char*& dst, int cap, int& len);
    itcNdrUbReceive& get_opaque(void*& dst, int cap, int& len);
    itcNdrUbReceive& skip(int n);
    /// \}

protected:
    char magicBuf[4]; ///< The magic as received.
    char* magicPos;   ///< Where its next byte goes.
    unsigned int magicRemaining;
    unsigned int lengthBuf; ///< The length as received, then in host order.
    char* lengthPos;        ///< Where its next byte goes.
    unsigned int lengthRemaining;
    char* dataPos; ///< Where the next byte of the data goes.
    unsigned int dataRemaining;
    int rxState;                ///< A UbTransmissionState.
    unsigned int bytesReceived; ///< Bytes received by the latest call.
    unsigned int tag;           ///< The first argument of the constructor.

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
/// Each clears the status and, in Complete, does what the same take of itcNDRReceive does. In any other state nothing
/// is taken: (`Itc_Ndr_Ub_Wrong_Transmission_State`, Warning).
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
KIV_EXPORT itcNdrUbReceive& operator>>(itcNdrUbReceive& b, char* v);
KIV_EXPORT itcNdrUbReceive& operator>>(itcNdrUbReceive& b, itcBinData& v);
KIV_EXPORT itcNdrUbReceive& operator>>(itcNdrUbReceive& b, itcXNDR& v);
KIV_EXPORT itcNdrUbReceive& operator>>(itcNdrUbReceive& b, itcMsgHdr::itcMsgType& v);
/// \}

/// Reads as much of the frame as the connection has. Call it again when the dispatcher reports the connection readable,
/// until the state is Complete: it gives 0 then.
///
/// Each call first asks the connection to InitRead(), also in the states in which nothing is read any more.
/// \return the number of bytes known to be still expected; 0 in Complete, Failed and Disconnected. A would-block is
///         no failure; but the first call leaves Idle all the same, and neither reset is allowed until the frame ends.
///         Otherwise, each Error: `Itc_Ndr_Ub_Packet_Read_Failed` with the connection's error number;
///         `Itc_Ndr_Magic_Error`; `Itc_Ndr_Ub_Extend_Buffer_Failed`; `Itc_Ndr_Ub_Unknown_Receive_State`, all in Failed;
///         `Itc_Ndr_Ub_Disconnection`, in Disconnected before the data and in Failed inside it. In Failed the status
///         stays through further calls, unless InitRead() fails anew.
KIV_EXPORT unsigned int operator>>(itcConnection& c, itcNdrUbReceive& r);

/// Reads a frame from a stream, waiting for all of it. Failures as above; the end of the stream is a disconnection. The
/// bytes of the data are not counted in `bytesReceived` here.
/// \return the stream.
KIV_EXPORT std::istream& operator>>(std::istream& is, itcNdrUbReceive& r);
