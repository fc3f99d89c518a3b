/// \file
/// The base of every connection: it owns a descriptor.
#pragma once

#include <kiv/foundation/OS.h>
#include <kiv/foundation/export.h>
#include <kiv/foundation/itcStatus.h>

#include <cstdint>
#include <string>

class ICBKivReady;
class itcInetAddress;

/// The base of every connection. A connection owns one socket descriptor and moves bytes through it. This class serves
/// as it is for a descriptor that the host made, for example one end of a socket pair.
///
/// A connection never links itself to the dispatcher. The host links a connection, and unlinks it before the connection
/// is closed or deleted.
///
/// \par Ownership
/// The destructor closes #td, also when the descriptor was handed in. Handing a descriptor in does not raise
/// the count of open descriptors. Closing the descriptor lowers the count. Where the connection limit matters, call
/// incConnCount() first.
/// \par Threads
/// One thread at a time per object. Only the count of open descriptors is shared between threads; it is atomic.
/// \par Errors
/// Nothing throws. Each operation gives a plain result, and leaves the reason in the status of the object. A successful
/// transfer clears the status. SetOption() never clears it. Failures are traced under `DBG_KIV`.
/// \par Signals
/// Writing to a stream whose peer has closed raises SIGPIPE. SIGPIPE ends a process that does not ignore it. Call
/// `signal(SIGPIPE, SIG_IGN)` first thing in every host.
class KIV_EXPORT itcConnection : public itcStatus {
public:
    /// How the descriptor blocks, and what Read() does when less arrives than was asked for.
    enum ConnOptions : int {
        ItcBlocking = 0,      ///< The descriptor blocks. Read() returns what one receive gives.
        ItcNonBlocking = 1,   ///< The descriptor does not block. A TCP connect completes later.
        ItcStrictBlocking = 2 ///< Read() returns only with all bytes. The descriptor's mode is not changed.
    };

    /// The role of a connection. It is information for the host: no operation depends on the role.
    enum ConnType : int {
        ItcTypeUnspecified = 0, ///< No role. A stream that OpenConnection() has connected keeps this value.
        ItcTypeConnection = 1,  ///< An accepted stream, or a connected datagram socket.
        ItcTypeEndpoint = 2     ///< CreateEndpoint() has succeeded.
    };

    /// The states of a connection; see #connState. The value 2 is not in use.
    enum ConnState : int {
        ItcStateClosed = 0,         ///< Not in use.
        ItcStateConnected = 1,      ///< Connected to a peer.
        ItcStateBound = 3,          ///< Bound to a local address.
        ItcStateListening = 4,      ///< Peers can be accepted.
        ItcStateConnectPending = 5, ///< A connect is under way, or was; see #connState.
        ItcStateShutdown = 6        ///< Shutdown() has ended one or both directions.
    };

    itcConnection(); ///< No descriptor. The state is Closed.
    /// No descriptor. The option is stored, and no system call is made: there is no socket yet.
    explicit itcConnection(ConnOptions opt);
    /// Takes ownership of `fd`. The state becomes Connected, or Closed if `fd` is negative. The option is recorded as
    /// ItcBlocking; the real mode of the descriptor is neither read nor changed. The descriptor is not counted.
    itcConnection(int fd, ConnType type);
    /// Takes ownership of `fd` and switches it with this class's own SetOption(). The state becomes Connected, or
    /// Closed if `fd` is negative. The descriptor is not counted.
    ///
    /// When the switch fails the option is ItcBlocking. The status is then:
    /// - (`Itc_Tp_Descriptor_Not_Yet_Set`, Error) for a negative `fd`;
    /// - clear when the system refused.
    itcConnection(int fd, ConnOptions opt);
    itcConnection(const itcConnection&) = delete;
    itcConnection& operator=(const itcConnection&) = delete;

    // Hosts derive from this class: the order of these operations is binary interface.

    virtual ~itcConnection();             ///< Closes the descriptor. A descriptor that cannot be closed is lost.
    virtual int ReadDescriptor() const;   ///< \return the descriptor to be linked for reading; -1 without one.
    virtual int WriteDescriptor() const;  ///< \return the descriptor to be linked for writing; -1 without one.
    virtual int ExceptDescriptor() const; ///< \return the descriptor to be linked for exceptions; -1 without one.

    /// Asks the system how many bytes wait in the socket. For a datagram socket this is the size of the next datagram.
    /// A datagram that InitRead() has received already is not counted.
    /// \return 0 or more: the number of bytes; the status is clear.
    ///         -1, (`Itc_Tp_Descriptor_Not_Yet_Set`, Error): there is no descriptor.
    ///         -1, (`Itc_Tp_Ioctl_Call_Failed`, Error): the system refused.
    virtual int Pending();

    /// Prepares a read. A datagram connection receives its next datagram here. Other connections need no preparation.
    /// \return 0 here. Overrides return a negative number when they fail.
    virtual int InitRead();

    /// Receives up to `len` bytes.
    ///
    /// One system call is made, unless a signal interrupts the call or the socket is empty. On an empty non-blocking
    /// socket the request is halved again and again, down to one byte, before "would block" is reported. In
    /// ItcStrictBlocking the call receives until all `len` bytes are there.
    /// \return 1 or more: the number of bytes received; the status is clear.
    ///         0, clear status: the peer has closed (not in ItcStrictBlocking), or `len` is 0.
    ///         0, (`Itc_Tp_Unexpected_Disconnection`, Warning): in ItcStrictBlocking the peer has closed before the
    ///         first byte.
    ///         -1, (`Itc_Tp_Would_Block`, Warning): nothing is there now. Write() gives 0 in this case; here 0 means
    ///         that the peer has closed.
    ///         -1, (`Itc_Tp_Descriptor_Not_Yet_Set`, Error): there is no descriptor.
    ///         -1, (`Itc_Tp_Read_Call_Failed`, Error): the system refused. A negative `len` fails with EINVAL.
    ///         `len`, clear status: in ItcStrictBlocking a negative `len` counts as done, and nothing is read.
    ///         #readByteCount is lowered by that length.
    /// ItcStrictBlocking never gives would-block: an empty non-blocking socket is a failed read there. The bytes that
    /// arrived before a failure are in `buf`, and their number is not told.
    /// \warning In ItcStrictBlocking Read() never returns if the peer closes after the first byte.
    ///          Towards peers that are not trusted use a non-blocking mode and the resumable buffers.
    virtual int Read(void* buf, int len);

    /// Sends up to `len` bytes.
    ///
    /// One system call is made, unless a signal interrupts the call or the socket is full. A full non-blocking socket
    /// is offered half as much again and again, down to one byte, before "would block" is reported. Fewer bytes than
    /// `len` may be sent: the caller sends the rest.
    /// \return 0 or more: the number of bytes sent; the status is clear.
    ///         0, (`Itc_Tp_Would_Block`, Warning): the socket is full. Read() gives -1 in this case.
    ///         -1, (`Itc_Tp_Descriptor_Not_Yet_Set`, Error): there is no descriptor.
    ///         -1, (`Itc_Tp_Write_Call_Failed`, Error): the system refused. A negative `len` fails with EINVAL.
    /// \warning Raises SIGPIPE when the peer has closed: ignore the signal.
    /// \warning Any handled signal, with SA_RESTART too, ends a blocking send that has begun: the result is then
    ///          smaller than `len`. Send the rest, or block the signals during the call.
    virtual int Write(const void* buf, int len);

    /// Switches the mode of the descriptor and stores the option.
    ///
    /// ItcStrictBlocking does not change the descriptor's mode. A non-blocking descriptor stays non-blocking, and a
    /// strict Read() then fails with EAGAIN when no data is there. Values outside the enumeration are stored, too.
    /// \return true: done; the status is not touched.
    ///         false, (`Itc_Tp_Descriptor_Not_Yet_Set`, Error): there is no descriptor.
    ///         false, status not touched: the system refused; the old option stays.
    virtual bool SetOption(ConnOptions opt);

    /// Accepts one connection, where the transport can.
    /// \return 0 here: this connection cannot accept, and nothing is done.
    virtual int AcceptConnection(itcConnection** out, ICBKivReady* cb, void* clientData);

    /// The state becomes Closed. Then the descriptor is closed, and the count of open descriptors is lowered.
    /// \return true: closed, or there was no descriptor; the status is clear.
    ///         false, (`Itc_Tp_Close_Call_Failed`, Error): the state is Closed all the same. The descriptor and the
    ///         count are kept, and Close() may be called again.
    virtual bool Close();

    /// Ends one or both directions of a stream. The state becomes Shutdown.
    /// \return true: done; the status is clear.
    ///         false, (`Itc_Tp_Shutdown_Call_Failed`, Error): there is no descriptor (EBADF), or the system refused;
    ///         the state is kept.
    virtual bool Shutdown(OS_shutdown_mode how);

    /// Asks for the address of the peer, where the transport has one.
    /// \return 0 here: this connection has no address, and `addr` is untouched.
    virtual int GetPeername(itcInetAddress& addr);
    /// Asks for the local address, where the transport has one.
    /// \return 0 here: this connection has no address, and `addr` is untouched.
    virtual int GetSockname(itcInetAddress& addr);
    virtual int GetPeerNameResolutionErr() const; ///< For derived classes that resolve names. \return `errno` here.
    virtual int GetSockNameResolutionErr() const; ///< For derived classes that resolve names. \return `errno` here.

    /// The peer's host name, or its numeric address when it has no name. The port is not part of the text. Waits for
    /// the resolver. Sets the status as the form with an address does: do not call it on an object that is defined
    /// const.
    /// \return the text; empty when there is no address.
    virtual std::string GetPeername() const;
    /// The local host name, or the numeric address when there is no name. The port is not part of the text. Waits for
    /// the resolver. Sets the status as the form with an address does: do not call it on an object that is defined
    /// const.
    /// \return the text; empty when there is no address.
    virtual std::string GetSockname() const;

    /// \name Internal buffers
    /// For connections of a host that hold received or unsent bytes themselves. The connections of this library hold no
    /// bytes.
    /// \{
    virtual int flush();               ///< Sends what is held. \return 0 here.
    virtual int flush(unsigned int n); ///< Sends up to `n` bytes of what is held. \return `n` here.
    virtual void reset();              ///< Forgets what is held.
    virtual int empty();               ///< Says whether nothing is held. \return 0 here.
    virtual int items();               ///< The number of items held. \return 0 here.
    /// The number of received bytes held inside the connection. While the number is positive the dispatcher does not
    /// wait, and reports the connection readable.
    /// \return 0 here.
    virtual int bytes();
    /// \}

    /// \name The connection limit
    /// An operation that opens a socket asks hasMaxConnCount() before. Accepting asks after the peer was accepted. At
    /// the limit the operation fails with (`Itc_Tp_Max_Connections_Reached`, Error). A listener is also closed.
    ///
    /// Asking and counting are two steps. Of several threads that ask at the same time, each may get a descriptor below
    /// the limit: the limit is then exceeded. Any thread may call these operations.
    /// \{
    static int getConnectionCount(); ///< \return the number of descriptors that are counted as open.
    static void incConnCount();      ///< Counts one descriptor more.
    static void decConnCount();      ///< Counts one descriptor less.
    static bool hasMaxConnCount();   ///< \return true at the limit; always false while #maxConns is below 1.

    static int currentConns; ///< Descriptors counted as open. Changed only by the atomic operations above.
    static int maxConns;     ///< The limit: the descriptors of the process less 16, 1024 at most. Set at load time.
    /// \}

protected:
    // The dispatcher looks at the state of a pending connect.
    friend class itcDispatcher;

    int td;                  ///< The socket descriptor (transport descriptor); -1 without one.
    ConnOptions connOptions; ///< The option that is in force; see SetOption().
    ConnType connType;       ///< The role; see ConnType.

    /// The state, a ConnState. Constructors choose the first state. Operations change it as follows:
    ///
    /// | from               | to             | by                                                           |
    /// |--------------------|----------------|--------------------------------------------------------------|
    /// | (a descriptor)     | Connected      | the constructors that take a descriptor                      |
    /// | (a new socket)     | Bound          | the constructors from an address                             |
    /// | all but Connected  | Bound          | CreateEndpoint() of datagrams                                |
    /// | all but Connected  | Listening      | CreateEndpoint() of streams                                  |
    /// | Closed, Bound      | Connected      | a TCP connect in ItcBlocking                                 |
    /// | Closed, Bound      | ConnectPending | a TCP connect with ItcNonBlocking or ItcStrictBlocking       |
    /// | any                | Connected      | OpenConnection() of datagrams                                |
    /// | any                | Shutdown       | Shutdown()                                                   |
    /// | any                | Closed         | Close(), first thing, also when the close then fails         |
    ///
    /// ConnectPending remains even after the connect has completed: only Shutdown() and Close() leave it. A local
    /// stream that connects keeps its state.
    int connState;

    uint64_t readByteCount;  ///< Sum of the results of successful reads. Never reset.
    uint64_t writeByteCount; ///< Bytes that successful writes have sent. Never reset.
    uint64_t readCallCount;  ///< Number of successful reads. Never reset.
    uint64_t writeCallCount; ///< Number of successful writes. Never reset.

    /// Internal: the steps that the transports of the library share.
    class KIV_HIDDEN Steps;

private:
    KIV_HIDDEN int readOnce(void* buf, int len);
    KIV_HIDDEN int readAll(void* buf, int len);
};
