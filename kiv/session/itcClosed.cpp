// The texts of the reasons, by their numbers. A number behind the list has no text of its own.
#include <kiv/session/itcClosed.h>

#include <cstddef>
#include <iterator>
#include <new>

#include <netdb.h>

namespace {

constexpr const char* texts[] = {
    "closed by this side",
    "the peer has closed the connection",
    "the peer has closed the connection inside a packet",
    "the bytes of the peer are no packet",
    "the peer has announced a packet that is longer than allowed",
    "a packet does not hold what was expected",
    "the peer was silent for too long",
    "the peer has not finished a packet in time",
    "the peer does not take what is sent",
    "the limit of connections is reached",
    "the name is not known",
    "the connection has failed",
    "the queue of packets to send is full",
};

} // namespace

std::string itcClosed::text() const
try {
    const auto number = static_cast<std::size_t>(reason);
    std::string result = number < std::size(texts) ? texts[number] : "the connection has ended";
    if (reason == unknownName)
        return result + ": " + gai_strerror(errorNumber);
    if (errorNumber != 0)
        return result + ": " + itcStatus{0, 0, errorNumber}.STATUS_errorno_text();
    if (reason == badPacket)
        return result + ": " + status.STATUS_text();
    return result;
} catch (const std::bad_alloc&) {
    return {};
}
