// Moving bytes: Read() and Write().
//
// One system call moves the bytes, unless a signal interrupts the call or the socket is full or empty. A call that a
// signal interrupted is made again. Nothing is allocated, and a trace is composed only while the host wants traces.
#include <kiv/connection/itcConnection.h>

#include <kiv/connection/detail/ConnectionSteps.h>

#include <cerrno>

using namespace kiv;

namespace {

// A negative length must not reach the system, which would take the number for a huge one.
// \return -1, with EINVAL pending.
ssize_t refuseLength()
{
    errno = EINVAL;
    return -1;
}

} // namespace

int itcConnection::Read(void* buf, int len)
{
    if (KIV_UNLIKELY(td < 0))
        return failWithoutDescriptor(*this, "itcConnection::Read() wrong socket descriptor", -1);
    return connOptions == ItcStrictBlocking ? readAll(buf, len) : readOnce(buf, len);
}

// A receive takes what is there, however much was asked for. "Would block" therefore means that the socket is empty.
// The request is halved all the same, as in Write(), before would-block is reported: hosts that count the calls of
// OS_recv() know both loops. Would-block is -1 here but 0 in Write(), because 0 means here that the peer has closed.
int itcConnection::readOnce(void* buf, int len)
{
    for (;;) {
        const ssize_t n = KIV_LIKELY(len >= 0) ? OS_recv(td, buf, static_cast<size_t>(len)) : refuseLength();
        if (KIV_LIKELY(n != -1)) {
            clearStatus(*this);
            readCallCount += 1;
            readByteCount += static_cast<uint64_t>(n);
            return static_cast<int>(n);
        }
        const int error = OS_getLastError();
        if (error == EINTR)
            continue;
        if (error == EAGAIN) {
            if (len > 1) {
                len /= 2;
                continue;
            }
            setStatus(*this, Itc_Tp_Would_Block, Warning);
            return -1;
        }
        traceFailure([&](std::ostream& out) {
            out << "itcConnection::Read() read/recv call failed. td: " << td << " errno = " << error;
        });
        setStatus(*this, Itc_Tp_Read_Call_Failed, Error);
        return -1;
    }
}

// Receives until all `len` bytes are there. Only an end before the first byte counts as a disconnection. After the
// first byte the caller has a part of a message, and a result must not be mistaken for a clean end. A later end is
// therefore an ordinary count of 0, and the loop receives again, for ever: whoever does not trust the peer must not
// read in this mode.
int itcConnection::readAll(void* buf, int len)
{
    char* p = static_cast<char*>(buf);
    int left = len;
    while (left > 0) {
        const ssize_t n = OS_recv(td, p, static_cast<size_t>(left));
        if (n == 0 && p == buf) {
            setStatus(*this, Itc_Tp_Unexpected_Disconnection, Warning);
            return 0;
        }
        if (KIV_UNLIKELY(n == -1)) {
            const int error = OS_getLastError();
            if (error == EINTR)
                continue;
            traceFailure([&](std::ostream& out) {
                out << "itcConnection::Read() read/recv (ItcStrictBlocking) call failed. td: " << td
                    << " errno = " << error;
            });
            setStatus(*this, Itc_Tp_Read_Call_Failed, Error);
            return -1;
        }
        left -= static_cast<int>(n);
        p += n;
    }
    clearStatus(*this);
    readCallCount += 1;
    readByteCount += static_cast<uint64_t>(len);
    return len;
}

// A socket buffer too full for the whole piece may still take a smaller piece. "Would block" therefore halves the
// request and asks again at once. Only a single byte that is refused is reported as would-block.
int itcConnection::Write(const void* buf, int len)
{
    if (KIV_UNLIKELY(td < 0))
        return failWithoutDescriptor(*this, "itcConnection::Write() wrong socket descriptor", -1);
    for (;;) {
        const ssize_t n = KIV_LIKELY(len >= 0) ? OS_send(td, buf, static_cast<size_t>(len), 0) : refuseLength();
        if (KIV_LIKELY(n != -1)) {
            clearStatus(*this);
            writeCallCount += 1;
            writeByteCount += static_cast<uint64_t>(n);
            return static_cast<int>(n);
        }
        const int error = OS_getLastError();
        traceFailure([&](std::ostream& out) {
            out << "itcConnection::Write() OS_send returned td: " << td << " nbw: " << n << " errno = " << error;
        });
        if (error == EINTR)
            continue;
        if (error == EAGAIN) {
            if (len > 1) {
                len >>= 1;
                continue;
            }
            setStatus(*this, Itc_Tp_Would_Block, Warning);
            return 0;
        }
        traceFailure([&](std::ostream& out) {
            out << "itcConnection::Write() OS_send failed. td: " << td << " errno = " << error;
        });
        setStatus(*this, Itc_Tp_Write_Call_Failed, Error);
        return -1;
    }
}
