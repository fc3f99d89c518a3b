// A host of the installed library. The host sends and receives a packet, and replaces an OS_ function of the library.
#include <kiv/kiv.h>

#include <sys/socket.h>
#include <unistd.h>

#include <iostream>

namespace {

int sendCalls = 0;

} // namespace

ssize_t OS_send(int fd, const void* buffer, size_t length, int flags)
{
    ++sendCalls;
    return ::send(fd, buffer, length, flags);
}

int main()
{
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, ends) != 0)
        return 1;
    itcConnection near(ends[0], itcConnection::ItcStrictBlocking);
    itcConnection far(ends[1], itcConnection::ItcStrictBlocking);

    itcNDRSend out;
    out << 42 << "forty-two";
    near << out;

    itcNDRReceive in;
    far >> in;
    int number = 0;
    char text[16] = "";
    in >> number >> text;

    std::cout << text << " = " << number << ", " << in.STATUS_text() << ", own OS_send called " << sendCalls
              << " time(s)\n";
    return number == 42 && sendCalls == 1 && in.severity == Success ? 0 : 1;
}
