// How a TCP stream connects: at once and asynchronously in ItcNonBlocking mode, blocking in every other mode.
//
// A blocking connect may have a limit. The limit is an alarm: SIGALRM interrupts the connect, and the flag that the
// signal handler sets tells the alarm from other signals. Signal, timer and flag belong to the whole process.
//
// After a failed connect the socket is closed. The status records the error number of the connect, which the trace
// shows too. After a time-out the
// status records the number that is pending behind the close: the connect's own number would be EINTR, as after any
// signal.
#include <kiv/connection/itcInetSockStream.h>

#include <kiv/address/itcInetAddress.h>
#include <kiv/connection/detail/ConnectAlarm.h>
#include <kiv/connection/detail/ConnectionSteps.h>

#include <cerrno>
#include <optional>

using namespace kiv;

int itcInetSockStream::intrFlag = 0;

namespace {

constexpr StepTexts nonBlockingTexts = {
    "itcInetSockStream::OpenConn() [ItcNonBlocking] max connections reached",
    "itcInetSockStream::OpenConn() [ItcNonBlocking] OS_socket() call failed. td = ",
};

constexpr StepTexts blockingTexts = {
    "itcInetSockStream::OpenConn() max connections reached",
    "itcInetSockStream::OpenConn() OS_socket() call failed. td = ",
};

// The flag is written by a signal handler, which may run at any moment.
void setIntrFlag(int value) { __atomic_store_n(&itcInetSockStream::intrFlag, value, __ATOMIC_RELAXED); }

int getIntrFlag() { return __atomic_load_n(&itcInetSockStream::intrFlag, __ATOMIC_RELAXED); }

} // namespace

void itcInetSockStream::alrmSigHdl(int) { setIntrFlag(1); }

void itcInetSockStream::setConnTimeout(unsigned int ms)
{
    connTimeout = ms;
    setIntrFlag(0);
}

int itcInetSockStream::OpenConnection(itcInetAddress& remote, ICBKivReady* cb, void* clientData)
{
    return tell(cb, OpenConnNormal(remote), clientData);
}

// One would expect that a stream in ItcStrictBlocking is Connected, since its connect has completed. Its state is
// ConnectPending: only ItcBlocking counts as blocking here. The dispatcher therefore looks for an error once, at the
// first write readiness, and finds none.
int itcInetSockStream::OpenConnNormal(itcInetAddress& remote)
{
    const int result = OpenConn(remote);
    if (result == 1) {
        Steps steps(*this, blockingTexts);
        if (connOptions == ItcBlocking)
            steps.becomeConnected();
        else
            steps.becomeConnectPending();
    }
    return result;
}

int itcInetSockStream::OpenConn(itcInetAddress& remote)
{
    if (!Steps(*this, blockingTexts).mayConnect())
        return 0;
    return connOptions == ItcNonBlocking ? openNonBlocking(remote) : openBlocking(remote);
}

int itcInetSockStream::openNonBlocking(itcInetAddress& remote)
{
    Steps steps(*this, nonBlockingTexts);
    if (!steps.makeSocket(remote.address.ss_family, SOCK_STREAM))
        return 0;
    connOptions = ItcBlocking; // until the descriptor really is in the mode that was asked for
    SetOption(ItcNonBlocking);
    steps.takeIPv4PeersToo(remote.address);

    const int c = steps.connect(remote.address);
    if (c >= 0)
        return 1;
    const int error = OS_getLastError();
    if (error == EAGAIN || error == EINPROGRESS)
        return 1;
    Close();
    traceFailure([&](std::ostream& out) {
        out << "itcInetSockStream::OpenConn() [ItcNonBlocking] OS_connect() call failed. cres = " << c
            << " errorNumber = " << error;
    });
    setStatus(*this, Itc_Tp_Connect_Call_Failed, Error, error);
    return 0;
}

int itcInetSockStream::openBlocking(itcInetAddress& remote)
{
    Steps steps(*this, blockingTexts);
    for (;;) {
        if (!steps.makeSocket(remote.address.ss_family, SOCK_STREAM))
            return 0;
        const int c = connectWithinTime(remote);
        if (c >= 0)
            return 1;
        const int error = OS_getLastError();
        if (error == EINTR && getIntrFlag() == 0)
            continue; // another signal: the same socket once more, with the full time
        if (error == EINTR) {
            failByTimeout(c);
            return 0;
        }
        if (error == EAGAIN) {
            setStatus(*this, Itc_Tp_Would_Block, Warning);
            return -1;
        }
        Close();
        traceFailure([&](std::ostream& out) {
            out << "itcInetSockStream::OpenConn() OS_connect() call failed. cres = " << c << " errno = " << error;
        });
        setStatus(*this, Itc_Tp_Connect_Call_Failed, Error, error);
        return 0;
    }
}

// The host's own timer and signal handler are back before the caller reads the error number.
int itcInetSockStream::connectWithinTime(itcInetAddress& remote)
{
    std::optional<ConnectAlarm> alarm;
    if (connTimeout != 0) {
        setIntrFlag(0);
        alarm.emplace(connTimeout, alrmSigHdl);
    }
    return Steps(*this, blockingTexts).connect(remote.address);
}

// The trace comes before the close here, because the flag that the trace shows is cleared before the close. The other
// failures of a connect are traced behind the close. Readers of logs know both orders.
void itcInetSockStream::failByTimeout(int c)
{
    traceFailure([&](std::ostream& out) {
        out << "itcInetSockStream::OpenConn() OS_connect() call failed. cres = " << c
            << " errno = EINTR intrFlag = " << getIntrFlag();
    });
    setIntrFlag(0);
    Close();
    setStatus(*this, Itc_Tp_Connect_Call_Failed, Error);
}
