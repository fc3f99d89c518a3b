/// \file
/// The base class of what the dispatcher calls.
#pragma once

#include <kiv/foundation/export.h>

class itcConnection;

/// The handler of descriptors and timers. A host derives from this class, overrides the calls that it needs, and links
/// the handler to the itcDispatcher.
///
/// The result of inputReady(), outputReady() and exceptionRaised() decides what happens next:
/// - Negative: the dispatcher detaches the descriptor from all three interests. The default calls return -1. Reason: an
///   event that a handler does not care for would come again in every cycle.
/// - Zero: nothing more happens.
/// - Positive: the handler asks to be called again. The next cycle does not wait. It reports the descriptor ready for
///   the same kind of interest, whatever select() says.
///
/// A handler may unlink, close or delete its own connection, or another connection, inside a call. It may delete itself
/// when no registration and no timer of it remains after the call.
///
/// \warning Unlink a connection before it is deleted. The dispatcher keeps only a pointer: without the unlink the
///          pointer is dead, and the next wait uses it. A negative result unlinks the descriptor of the call, too.
/// \warning Descriptor numbers are reused. A handler that closes a connection and opens another one in the same call
///          often gets the same number. If the new connection is linked in the same cycle:
///          - The new connection can get a call that was meant for the old one, although no data has come. With
///            ItcNonBlocking a Read() then reports Itc_Tp_Would_Block. In a blocking mode it would hang.
///          - The new connection can get outputReady() although its connect is still under way. A Write() then reports
///            Itc_Tp_Would_Block.
///          - The new connection can get the call for which the old handler has asked with a positive result.
///          - A negative result of the call that has closed the old connection detaches the new one. Return 0.
/// \warning A request to be called again is lost when the next wait fails, for example by a signal. A handler that
///          relies on the call starts a timer beside the request: timers fire after a failed wait, too.
///
/// \par Ownership
/// The dispatcher owns neither handlers nor connections nor client data.
/// \par Threads
/// All calls come on the dispatching thread.
class KIV_EXPORT itcIOHandler {
public:
    // Hosts derive from this class: the order of these operations is binary interface.

    virtual ~itcIOHandler(); ///< Does not unlink: unlink the handler and stop its timers before.

    /// The descriptor is readable, or the connection holds received bytes (itcConnection::bytes()). Readable means:
    /// data has arrived, the peer has closed, a listener has a connection to accept, or an error is waiting.
    ///
    /// Without a handler for exceptions and for writing, this call also tells that the descriptor is bad (see
    /// itcDispatcher::checkConnections()). The result is then ignored, since the descriptor is detached in any case.
    /// \warning A connect that has failed also makes its descriptor readable. inputReady() comes before the other
    ///          calls. Its Read() takes the error from the socket, and the dispatcher then calls outputReady() as if
    ///          the connect had succeeded. Link a pending connect for WriteMask and ExceptMask only; add ReadMask when
    ///          it is connected.
    /// \param conn       the connection that was linked last for this descriptor; null if there is none.
    /// \param clientData what was given for this kind of interest; unchanged.
    /// \return negative (the default returns -1): the descriptor is detached.
    ///         0: nothing more happens.
    ///         positive: the next cycle calls this operation again, without waiting.
    virtual int inputReady(itcConnection* conn, char* clientData);

    /// The descriptor is writable. For a pending connect: the connect has succeeded.
    ///
    /// Without an exception handler a connect that has failed also calls outputReady(). The dispatcher does not read
    /// SO_ERROR then, and the first transfer fails. Without an exception handler this call also tells that the
    /// descriptor is bad (see itcDispatcher::checkConnections()). The result is then ignored.
    /// \param conn       the connection that was linked last for this descriptor; null if there is none.
    /// \param clientData what was given for this kind of interest; unchanged.
    /// \return negative (the default returns -1): the descriptor is detached.
    ///         0: nothing more happens.
    ///         positive: the next cycle calls this operation again, without waiting.
    virtual int outputReady(itcConnection* conn, char* clientData);

    /// An exceptional condition: urgent data has arrived, a pending connect has failed, or the descriptor is bad.
    ///
    /// - Pending connect: the connection's state is ConnectPending, and the descriptor was writable with an error in
    ///   its socket. The state stays ConnectPending after a successful connect, too: a later error that makes the
    ///   descriptor writable also comes here.
    /// - Bad descriptor: the status of `conn` is (Itc_Dp_Select_Call_Failed_EBADF, Error). The result is ignored, since
    ///   the descriptor is detached in any case.
    ///
    /// \warning The reason of a failed connect cannot be learned here. The dispatcher has read SO_ERROR, and reading
    ///          clears the error in the socket. A host that needs the reason links the pending connect for WriteMask
    ///          only, and asks with OS_getsockopt(fd, SOL_SOCKET, SO_ERROR) in outputReady(): 0 means connected.
    /// \param conn       the connection that was linked last for this descriptor; null if there is none.
    /// \param clientData what was given for this kind of interest; unchanged.
    /// \return negative (the default returns -1): the descriptor is detached.
    ///         0: nothing more happens.
    ///         positive: the next cycle calls this operation again, without waiting.
    virtual int exceptionRaised(itcConnection* conn, char* clientData);

    /// A timer of this handler has expired. Timers fire once; start the timer again here where it is to repeat.
    ///
    /// The two arguments are the clock of the dispatcher (itcDispatcher::currentTime()) as read when this expiry began.
    /// They are not the time at which the timer was due. The default does nothing.
    /// \warning A timer that is started here for a time before `sec`, `usec` fires in the same cycle. A handler that
    ///          always does this never lets the cycle end. A delay of 0 or more is safe: the timer fires in a later
    ///          cycle (unless the wall clock is set back during the cycle).
    /// \param sec  seconds of the clock.
    /// \param usec microseconds of the clock, 0 to 999999.
    virtual void timerExpired(long sec, long usec);
};
