// Memory runs out at each allocation in turn. The session answers with a status or with a reason. No exception comes
// out, and nothing leaks.
#include "../records/Allocations.h"
#include "Conversation.h"

#include <functional>
#include <memory>
#include <new>
#include <utility>

namespace {

/// A session that is made, receives, answers and is destroyed. Its functions need no memory.
class AShortLife : public Loop {
protected:
    itcDispatcher plain; // the one that tells misuse needs memory of its own
    /// \return false if an exception came out.
    bool live()
    {
        SocketEnds sockets = connectLocally();
        const Peer peer(std::move(sockets.far));
        peer.send(frameOf(1));
        auto stream = connectionOver(sockets.near);
        bool isSilent = true;
        hasAnswered = hasEnded = hasRefused = false;
        begin();
        try {
            itcSession session(std::move(stream), plain);
            session.onPacket([&](itcNDRReceive& packet) {
                int number = 0;
                if (session.take(packet, number)) {
                    hasAnswered = session.send(number + 1);
                    hasRefused = !hasAnswered && session.status().severity != Success;
                }
            });
            session.onClosed([&](const itcClosed&) { hasEnded = true; });
            for (int cycle = 0; cycle < 5; ++cycle)
                plain.dispatch(0.0);
            if (!session.isOpen())
                hasEnded = true;
        } catch (const std::bad_alloc&) {
            isSilent = false;
        }
        end();
        return isSilent;
    }
    /// Memory begins and ends to fail.
    std::function<void()> begin = [] {};
    std::function<void()> end = [] {};

    bool hasAnswered = false;
    bool hasEnded = false;
    bool hasRefused = false;
};

/// The harness remembers each call of the system. It gets room for them now: its own memory must not fail.
void makeRoomForHistory()
{
    OsFaults::select().reserve(1000);
    OsFaults::send().reserve(1000);
    OsFaults::recv().reserve(1000);
    OsFaults::malloc().reserve(1000);
    OsFaults::getpeername().reserve(1000);
    OsFaults::setNonBlocking().reserve(1000);
    OsFaults::closesocket().reserve(1000);
    OsFaults::getuptime().reserve(1000);
    OsFaults::gettimeofday().reserve(1000);
    OsFaults::ioctl().reserve(1000);
    OsFaults::getnameinfo().reserve(1000);
}

} // namespace

TEST_F(AShortLife, AnswersWithMemory)
{
    EXPECT_TRUE(live());
    EXPECT_TRUE(hasAnswered);
    EXPECT_FALSE(hasEnded);
}

TEST_F(AShortLife, BearsThatTheStorageOfPacketsFailsAtEachCall)
{
    int failures = 0;
    for (int nth = 1; !hasAnswered; ++nth) {
        SCOPED_TRACE(nth);
        begin = [nth] { OsFaults::malloc().failCall(nth, ENOMEM); };
        end = [] { OsFaults::malloc().clear(); };
        ASSERT_TRUE(live());
        ASSERT_TRUE(hasAnswered || hasEnded || hasRefused);
        ++failures;
    }
    EXPECT_GT(failures, 1);
}

TEST_F(AShortLife, ThrowsNothingWhenMemoryRunsOutAtEachAllocation)
{
    makeRoomForHistory();
    std::size_t failures = 0;
    for (std::size_t nth = 1; !hasAnswered; ++nth) {
        SCOPED_TRACE(nth);
        std::unique_ptr<Allocations> allocations;
        begin = [&] {
            allocations = std::make_unique<Allocations>();
            allocations->failFrom(nth);
        };
        end = [&] { allocations->stop(); };
        ASSERT_TRUE(live());
        ++failures;
        ASSERT_LT(nth, 1000u);
    }
    EXPECT_GT(failures, 5u);
}
