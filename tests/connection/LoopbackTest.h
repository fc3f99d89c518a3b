/// \file
/// The fixture of the tests of Internet sockets: each runs over IPv4 and over IPv6.
#pragma once

#include "BareSocket.h"
#include "CallJournal.h"
#include "HookRecorder.h"
#include "OpenedStream.h"
#include "StatusMatchers.h"
#include "SurvivedFailures.h"

#include <kiv/address/itcInetAddress.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

struct Loopback {
    const char* name;
    const char* host;
    int family;
    int addressLength;
};

inline const Loopback loopbacks[] = {{"IPv4", "127.0.0.1", AF_INET, 16}, {"IPv6", "::1", AF_INET6, 28}};

inline std::string loopbackName(const testing::TestParamInfo<Loopback>& info) { return info.param.name; }

inline void PrintTo(const Loopback& loopback, std::ostream* out) { *out << loopback.host; }

class LoopbackTest : public testing::TestWithParam<Loopback> {
protected:
    using Calls = std::vector<std::string>;

    /// Returns an address of this host. Port 0 means any free port. No resolver is asked.
    static itcInetAddress local(int port = 0)
    {
        return itcInetAddress(socketAddress(GetParam().host, static_cast<uint16_t>(port)));
    }
    static itcInetAddress addressOf(const BareSocket& socket) { return itcInetAddress(::addressOf(socket.get())); }

    // The journal's lines for this family.
    static std::string socketCall(int type = SOCK_STREAM)
    {
        return "socket(" + std::to_string(GetParam().family) + ", " + std::to_string(type) + ", 0)";
    }
    static std::string reuseAddress() { return "setsockopt(1, 2, 1)"; }
    static std::string v6OnlyOff() { return GetParam().family == AF_INET6 ? "setsockopt(41, 26, 0)" : ""; }
    static std::string bindCall() { return "bind(" + std::to_string(GetParam().addressLength) + ")"; }
    static std::string connectCall() { return "connect(" + std::to_string(GetParam().addressLength) + ")"; }

    /// Returns the expected lines of the journal. Empty lines are steps that this family does not have; they are left
    /// out.
    static Calls steps(std::initializer_list<std::string> lines)
    {
        Calls calls;
        for (const std::string& line : lines) {
            if (!line.empty())
                calls.push_back(line);
        }
        return calls;
    }

    /// Expects a stream that has closed its socket after a failure. The close must go through the virtual table.
    static void expectGivenUp(const StreamWithOwnSteps& stream, int countedAfterwards)
    {
        EXPECT_EQ(stream.td, -1);
        EXPECT_EQ(stream.connState, itcConnection::ItcStateClosed);
        EXPECT_EQ(stream.closes, 1);
        EXPECT_EQ(itcConnection::getConnectionCount(), countedAfterwards);
    }
};
