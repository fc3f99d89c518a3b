/// \file
/// The descriptor-owning base of every connection.
#pragma once

#include <kiv/foundation/OS.h>
#include <kiv/foundation/export.h>
#include <kiv/foundation/itcStatus.h>

#include <cstdint>
#include <string>

class ICBKivReady;
class itcInetAddress;

/// The base of every connection: owns one socket descriptor and moves bytes through it. It serves as it is for a
/// descriptor that the host made, for example one end of a socket pair.
///
/// A connection never links itself to the dispatcher; the host does, and unlinks it before it closes or deletes it.
///
/// \par Ownership  Closes `td` in the destructor, also a descriptor that was handed in. Such a one was never counted,
///                 yet closing it lowers the count: call incConnCount() first where the limit matters.
/// \par Threads    One thread at a time per object. Only the count of open descriptors is shared; it is atomic.
/// \par Errors     A plain result; the reason lies in the object's own itcStatus. A successful transfer clears it,
///                 SetOption() never does. Failures are traced under `DBG_KIV`. Nothing throws.
/// \par Signals    Writing to a stream whose peer has closed raises SIGPIPE, which ends a process that does not ignore
///                 it: `signal(SIGPIPE, SIG_IGN)`, first thing.
class KIV_EXPORT itcConnection : public itcStatus {
public:
    /// How the descriptor blocks, and what Read() makes of a short count.
    enum ConnOptions : int {
        ItcBlocking = 0,      ///< The descriptor blocks; Read() returns what one receive gives.
        ItcNonBlocking = 1,   ///< It does not block; a TCP connect completes later.
        ItcStrictBlocking = 2 ///< Read() returns only with all that was asked for. Leaves the descriptor's mode alone.
    };

    /// The role of a connection: information for the host, nothing depends on it.
    enum ConnType : int {
        ItcTypeUnspecified = 0, ///< Also a stream that OpenConnection() has connected.
        ItcTypeConnection = 1,  ///< An accepted stream, or a connected datagram socket.
        ItcTypeEndpoint = 2     ///< CreateEndpoint() has succeeded.
    };

    /// What has become of the socket; see #connState. The value 2 is not in use.
    enum ConnState : int {
        ItcStateClosed = 0,
        ItcStateConnected = 1,
        ItcStateBound = 3,
        ItcStateListening = 4,
        ItcStateConnectPending = 5,
        ItcStateShutdown = 6
    };

    itcConnection(); ///< No descriptor.
    /// No descriptor; the option is stored, there is no socket to apply it to.
    explicit itcConnection(ConnOptions opt);
    /// Takes over `fd`, connected if it is not negative, in ItcBlocking whatever mode the descriptor is in. It is not
    /// counted, yet closing it lowers the count: call incConnCount() first where the limit matters.
    itcConnection(int fd, ConnType type);
    /// Takes over `fd` and applies the option with this class's own SetOption(); when that fails the option is
    /// ItcBlocking, and for a negative `fd` the status is (`Itc_Tp_Descriptor_Not_Yet_Set`, Error). Not counted either.
    itcConnection(int fd, ConnOptions opt);
    itcConnection(const itcConnection&) = delete;
    itcConnection& operator=(const itcConnection&) = delete;

    // Hosts derive from this class: the order of these operations is binary interface.

    virtual ~itcConnection(); ///< Closes the descriptor, if there is one. One that cannot be closed is lost here.
    virtual int ReadDescriptor() const;
    virtual int WriteDescriptor() const;
    virtual int ExceptDescriptor() const;

    /// The number of bytes waiting in the socket.
    /// \return -1 with `Itc_Tp_Descriptor_Not_Yet_Set` or `Itc_Tp_Ioctl_Call_Failed`, Error; else the status is clear.
    virtual int Pending();

    /// Prepares a read where a transport needs that: a datagram connection receives its next datagram. \return 0.
    virtual int InitRead();

    /// Receives up to `len` bytes, in one system call unless that is interrupted.
    ///
    /// A socket that has nothing is asked again for half as much, down to one byte, before "would block" is reported.
    /// With ItcStrictBlocking it receives until all `len` bytes are there.
    /// \return the number of bytes, with a clear status; 0 when the peer has closed (or `len` is 0), which only
    ///         ItcStrictBlocking marks with (`Itc_Tp_Unexpected_Disconnection`, Warning), and only before the first
    ///         byte. -1 with (`Itc_Tp_Would_Block`, Warning), unlike Write(), which gives 0 then; or with
    ///         `Itc_Tp_Descriptor_Not_Yet_Set` or `Itc_Tp_Read_Call_Failed`, Error. A negative `len` fails as a call
    ///         with EINVAL does; with ItcStrictBlocking it counts as done at once and is returned, nothing being read.
    /// \warning With ItcStrictBlocking a peer that closes after the first byte leaves this call receiving 0 for ever.
    ///          Towards peers that are not trusted use a non-blocking mode and the resumable buffers.
    virtual int Read(void* buf, int len);

    /// Sends up to `len` bytes, in one system call unless that is interrupted or the socket is full.
    ///
    /// A full socket is offered half as much, down to one byte, before "would block" is reported: it may take less than
    /// it was offered at first.
    /// \return the number of bytes sent, with a clear status: the caller sends the rest. 0 with (`Itc_Tp_Would_Block`,
    ///         Warning), unlike Read(), which gives -1 then. -1 with `Itc_Tp_Descriptor_Not_Yet_Set` or
    ///         `Itc_Tp_Write_Call_Failed`, Error. A negative `len` fails as a call with EINVAL does.
    /// \warning Raises SIGPIPE when the peer has closed: ignore that signal.
    virtual int Write(const void* buf, int len);

    /// Switches the descriptor's mode and stores the option. ItcStrictBlocking, and any value that is none of the
    /// three, is only stored: strict reads from a descriptor that is still non-blocking fail when it has nothing.
    /// \return false with (`Itc_Tp_Descriptor_Not_Yet_Set`, Error), or, the status left as it was, when the system
    ///         refuses; the option then stays what it was. Success does not clear the status.
    virtual bool SetOption(ConnOptions opt);

    /// Accepts one connection, where the transport can. \return 0: this one cannot.
    virtual int AcceptConnection(itcConnection** out, ICBKivReady* cb, void* clientData);

    /// Closes the descriptor and lowers the count, also for a descriptor that was handed in and never counted; without
    /// a descriptor it only clears the status.
    /// \return false with (`Itc_Tp_Close_Call_Failed`, Error); the descriptor and the count are kept then.
    virtual bool Close();

    /// Ends one or both directions of a stream. \return false with (`Itc_Tp_Shutdown_Call_Failed`, Error).
    virtual bool Shutdown(OS_shutdown_mode how);

    /// The address of the peer, where the transport has one. \return 0, `addr` untouched: this one has none.
    virtual int GetPeername(itcInetAddress& addr);
    /// The local address, where the transport has one. \return 0, `addr` untouched: this one has none.
    virtual int GetSockname(itcInetAddress& addr);
    virtual int GetPeerNameResolutionErr() const; ///< The pending system error number.
    virtual int GetSockNameResolutionErr() const; ///< The pending system error number.

    /// The peer's host name, else its numeric address, without the port; empty when it has no address. Waits for the
    /// resolver. Sets the status as the address form does, so not for objects that are defined const.
    virtual std::string GetPeername() const;
    /// The local host name, else the numeric address, without the port; empty when there is no address. Waits for the
    /// resolver. Sets the status as the address form does, so not for objects that are defined const.
    virtual std::string GetSockname() const;

    /// \name Internal buffers
    /// For connections of a host that hold received or unsent bytes themselves; these hold none.
    /// \{
    virtual int flush();               ///< \return 0
    virtual int flush(unsigned int n); ///< \return `n`
    virtual void reset();
    virtual int empty(); ///< \return 0
    virtual int items(); ///< \return 0
    /// The number of received bytes held inside the connection; while it is positive the dispatcher does not wait and
    /// reports the connection readable. \return 0
    virtual int bytes();
    /// \}

    /// \name The connection limit
    /// Operations that make a descriptor ask hasMaxConnCount() first, accepting asks afterwards, and fail with
    /// `Itc_Tp_Max_Connections_Reached`. Asking and counting are two steps, so threads that race may overshoot by their
    /// number. Any thread.
    /// \{
    static int getConnectionCount();
    static void incConnCount();
    static void decConnCount();
    static bool hasMaxConnCount(); ///< False while #maxConns is below 1: no limit then.

    static int currentConns; ///< Descriptors counted as open; changed only by the atomic operations above.
    static int maxConns;     ///< The descriptors that the process may have less 16, 1024 at most. Set at load time.
    /// \}

protected:
    // The dispatcher looks at the state of a pending connect.
    friend class itcDispatcher;

    int td;                  ///< The socket descriptor; -1 when there is none.
    ConnOptions connOptions; ///< See SetOption().
    ConnType connType;       ///< See ConnType.

    /// A ConnState.
    ///
    /// | from               | to             | by                                                                |
    /// |--------------------|----------------|-------------------------------------------------------------------|
    /// | (a descriptor)     | Connected      | the constructors that take one                                    |
    /// | (a new socket)     | Bound          | constructors from an address                                      |
    /// | all but Connected  | Bound          | CreateEndpoint() of datagrams                                     |
    /// | all but Connected  | Listening      | CreateEndpoint() of streams                                       |
    /// | Closed, Bound      | Connected      | a TCP connect in ItcBlocking                                      |
    /// | Closed, Bound      | ConnectPending | a TCP connect in any other mode in force; it stays so             |
    /// | any                | Connected      | OpenConnection() of datagrams                                     |
    /// | any                | Shutdown       | Shutdown()                                                        |
    /// | any                | Closed         | Close(), first thing, also when it then fails                     |
    ///
    /// A local stream that connects keeps its state.
    int connState;

    uint64_t readByteCount;  ///< Bytes that successful reads have returned. Never reset.
    uint64_t writeByteCount; ///< Bytes that successful writes have sent. Never reset.
    uint64_t readCallCount;  ///< Successful reads. Never reset.
    uint64_t writeCallCount; ///< Successful writes. Never reset.

    /// Internal: the steps that the transports of the library share.
    class KIV_HIDDEN Steps;

private:
    KIV_HIDDEN int readOnce(void* buf, int len);
    KIV_HIDDEN int readAll(void* buf, int len);
};
