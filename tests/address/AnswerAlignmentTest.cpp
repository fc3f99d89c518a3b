// Answers of a host's own resolver. Their addresses may lie anywhere in memory, also unaligned.
#include "ExpectEndpoint.h"
#include "HookRecorder.h"
#include "OsFaults.h"
#include "SocketAddresses.h"

#include <kiv/address/itcUnixAddress.h>

#include <gmock/gmock.h>

#include <sys/un.h>

#include <cstdlib>
#include <cstring>

namespace {

/// An answer whose address lies behind a multiple of 16. The parameter is the distance in bytes.
class AnswerAlignment : public testing::TestWithParam<size_t> {
protected:
    // The answer is one block of the heap. The C library's freeaddrinfo() can free this block.
    template <class Address> static void resolverAnswers(const Address& address, socklen_t length)
    {
        OsFaults::getaddrinfo().instead = [=](const char*, const char*, const addrinfo*, addrinfo** result) {
            constexpr size_t alignedSize = (sizeof(addrinfo) + 15) / 16 * 16;
            char* const block = static_cast<char*>(std::aligned_alloc(16, alignedSize + 16 + 128));
            char* const place = block + alignedSize + GetParam();
            std::memcpy(place, &address, length);
            addrinfo entry = {};
            entry.ai_addr = reinterpret_cast<sockaddr*>(place);
            entry.ai_addrlen = length;
            std::memcpy(block, &entry, sizeof entry);
            *result = reinterpret_cast<addrinfo*>(block);
            return 0;
        };
    }

    const HookRecorder hooks; // the traces read the address, too
};
INSTANTIATE_TEST_SUITE_P(Offsets, AnswerAlignment, testing::Range<size_t>(0, 16));

TEST_P(AnswerAlignment, DoesNotMatterToInternetAddresses)
{
    for (const char* const text : {"200.129.255.128", "2001:db8::80fe"}) {
        const sockaddr_storage found = socketAddress(text, 5000);
        resolverAnswers(found, lengthOf(found));
        expectEndpoint(itcInetAddress("host.example", 81), text, 5000);
    }
}

TEST_P(AnswerAlignment, DoesNotMatterToLocalAddresses)
{
    sockaddr_un found = {};
    found.sun_family = AF_UNIX;
    std::strcpy(found.sun_path, "/run/some.socket");
    resolverAnswers(found, sizeof found);
    const itcUnixAddress address("/run/other.socket");
    EXPECT_THAT(address.status, HasClearStatus());
    EXPECT_STREQ(address.pathname(), "/run/some.socket");
}

} // namespace
