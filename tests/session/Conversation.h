/// \file
/// A session and its peer. The fixture remembers what the session tells its host.
#pragma once

#include "Loop.h"
#include "OsFaults.h"
#include "Peer.h"
#include "StatusMatchers.h"

#include <kiv/session/itcSession.h>

#include <gmock/gmock.h>

#include <chrono>
#include <memory>
#include <vector>

/// Lets the library's sockets take only a certain number of bytes.
class Throttle {
public:
    explicit Throttle(std::size_t bytes = 0) : left(bytes)
    {
        OsFaults::send().instead = [this](int fd, const void* bytesToSend, size_t count, int flags) -> ssize_t {
            if (left == 0) {
                errno = EAGAIN;
                return -1;
            }
            const ssize_t sent = ::send(fd, bytesToSend, std::min(count, left), flags | MSG_NOSIGNAL);
            left -= sent > 0 ? static_cast<std::size_t>(sent) : 0;
            return sent;
        };
    }
    ~Throttle() { OsFaults::send().instead = nullptr; }
    Throttle(const Throttle&) = delete;
    Throttle& operator=(const Throttle&) = delete;

    void allow(std::size_t bytes) { left += bytes; }

private:
    std::size_t left;
};

/// The session takes an int from each packet.
class Conversation : public Loop {
protected:
    explicit Conversation(const StreamKind& kind = localStream)
    {
        SocketEnds sockets = kind.connect();
        peer = Peer(std::move(sockets.far));
        descriptor = sockets.near;
        owned = std::make_unique<itcSession>(connectionOver(sockets.near), dispatcher);
        remember(*owned);
    }

    void remember(itcSession& one)
    {
        one.onPacket([this, &one](itcNDRReceive& packet) {
            int number = 0;
            if (one.take(packet, number))
                numbers.push_back(number);
        });
        one.onClosed([this](const itcClosed& why) { ends.push_back(why); });
    }

    itcSession& session() { return *owned; }
    [[nodiscard]] bool runUntilTheEnd()
    {
        return runUntil([this] { return !ends.empty(); });
    }
    /// Runs cycles until the peer has received so many packets with values.
    [[nodiscard]] bool runUntilPeerHas(std::size_t count)
    {
        return runUntil([this, count] { return peer.numbers().size() >= count; });
    }
    void expectEnd(itcClosed::Reason reason, int error = 0)
    {
        ASSERT_TRUE(runUntilTheEnd());
        runCycles();
        ASSERT_EQ(ends.size(), 1u);
        EXPECT_EQ(ends[0].reason, reason) << ends[0].text();
        EXPECT_EQ(ends[0].errorNumber, error) << ends[0].text();
        EXPECT_FALSE(owned->isOpen());
        EXPECT_EQ(owned->connection(), nullptr);
        EXPECT_FALSE(::isOpen(descriptor));
    }

    Peer peer;
    int descriptor = -1; ///< The session's socket.
    std::unique_ptr<itcSession> owned;
    std::vector<int> numbers;
    std::vector<itcClosed> ends;
};

/// The same over every kind of stream.
class ConversationOverEachStream : public Conversation, public testing::WithParamInterface<StreamKind> {
protected:
    ConversationOverEachStream() : Conversation(GetParam()) {}
};

inline std::string streamName(const testing::TestParamInfo<StreamKind>& info) { return info.param.name; }
