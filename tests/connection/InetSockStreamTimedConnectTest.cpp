// Connects of TCP streams with a time limit. An alarm (SIGALRM) ends the attempt. Afterwards the host has its own alarm
// handler and timer again.
#include "LoopbackTest.h"
#include "ReadyRecorder.h"

#include <csignal>
#include <utility>

namespace {

using testing::ElementsAre;

void hostsHandler(int) {}

OS_signalHandler alarmHandler()
{
    struct sigaction action = {};
    ::sigaction(SIGALRM, nullptr, &action);
    return action.sa_handler;
}

/// The host's own handler and timer for SIGALRM. The timer ends in a thousand seconds. A timed connect must restore
/// both.
class HostsAlarm {
public:
    HostsAlarm() : previous(std::signal(SIGALRM, hostsHandler))
    {
        const itimerval thousand = {{7, 0}, {1000, 0}};
        ::setitimer(ITIMER_REAL, &thousand, nullptr);
    }
    ~HostsAlarm()
    {
        const itimerval never = {};
        ::setitimer(ITIMER_REAL, &never, nullptr);
        std::signal(SIGALRM, previous);
    }

    void expectBack() const
    {
        EXPECT_EQ(alarmHandler(), hostsHandler);
        itimerval now = {};
        ::getitimer(ITIMER_REAL, &now);
        EXPECT_EQ(now.it_interval.tv_sec, 7);
        EXPECT_GT(now.it_value.tv_sec, 500);
    }

private:
    const OS_signalHandler previous;
};

/// A connect that blocks until the alarm has come. An alarm that came before the connect ends the connect, too.
int blockUntilAlarm(int, const sockaddr*, socklen_t)
{
    while (__atomic_load_n(&itcInetSockStream::intrFlag, __ATOMIC_RELAXED) == 0)
        ::poll(nullptr, 0, 5);
    errno = EINTR;
    return -1;
}

int interrupted(int, const sockaddr*, socklen_t)
{
    errno = EINTR;
    return -1;
}

int refused(int, const sockaddr*, socklen_t)
{
    errno = ECONNREFUSED;
    return -1;
}

class InetSockStreamTimedConnect : public LoopbackTest {
protected:
    ~InetSockStreamTimedConnect() override { itcInetSockStream::intrFlag = 0; }

    const BareSocket listener = listeningSocket(GetParam().host);
    itcInetAddress remote = addressOf(listener);
    StreamWithOwnSteps stream;
};
INSTANTIATE_TEST_SUITE_P(Loopback, InetSockStreamTimedConnect, testing::ValuesIn(loopbacks), loopbackName);

TEST_P(InetSockStreamTimedConnect, GivesUpOnASilentAddress)
{
    const SilentListener silent(GetParam().host);
    itcInetAddress address(silent.address());
    const HookRecorder hooks;
    ReadyRecorder ready;
    const int counted = itcConnection::getConnectionCount();
    int mark = 0;
    // On a busy machine the alarm may come before the connect and be lost. Therefore the alarm is repeated.
    OsFaults::setitimer().instead = [](int which, const itimerval* value, itimerval* previous) {
        const itimerval repeated = {value->it_value, value->it_value};
        return ::setitimer(static_cast<__itimer_which_t>(which), previous != nullptr ? &repeated : value, previous);
    };
    stream.setConnTimeout(100);

    EXPECT_EQ(stream.OpenConnection(address, &ready, &mark), 0);
    expectGivenUp(stream, counted);
    EXPECT_EQ(itcInetSockStream::intrFlag, 0);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Connect_Call_Failed, Error));
    EXPECT_THAT(hooks.texts(), ElementsAre("itcInetSockStream::OpenConn() OS_connect() call failed. cres = -1 errno = "
                                           "EINTR intrFlag = 1"));
    EXPECT_THAT(ready.calls, ElementsAre(ReadyRecorder::Call(0, &mark)));
}

TEST_P(InetSockStreamTimedConnect, ConnectsWithinItsTime)
{
    stream.setConnTimeout(60000);
    leaveMark(stream);
    EXPECT_EQ(stream.OpenConnection(remote, nullptr, nullptr), 1);
    EXPECT_EQ(stream.connState, itcConnection::ItcStateConnected);
    EXPECT_THAT(stream, StillHasMark());
}

TEST_P(InetSockStreamTimedConnect, ArmsAOneShotTimerAndTakesItBack)
{
    CallJournal journal;
    stream.setConnTimeout(1500);
    stream.OpenConnection(remote, nullptr, nullptr);
    EXPECT_EQ(journal.calls(), steps({socketCall(), "signal alrmSigHdl(14)", "setitimer(0, 0, 0, 1, 500000)",
                                      connectCall(), "setitimer back(0, 0, 0, 0, 0)", "signal(14)"}));
}

TEST_P(InetSockStreamTimedConnect, SplitsTheTimeIntoSecondsAndMicroseconds)
{
    for (const auto& [ms, expected] :
         {std::pair(1u, "setitimer(0, 0, 0, 0, 1000)"), std::pair(999u, "setitimer(0, 0, 0, 0, 999000)"),
          std::pair(2000u, "setitimer(0, 0, 0, 2, 0)"),
          std::pair(4294967295u, "setitimer(0, 0, 0, 4294967, 295000)")}) {
        CallJournal journal;
        journal.connect = refused;
        stream.setConnTimeout(ms);
        stream.OpenConnection(remote, nullptr, nullptr);
        EXPECT_THAT(journal.calls(), testing::Contains(expected));
    }
}

TEST_P(InetSockStreamTimedConnect, LeavesTheAlarmAloneWithoutATime)
{
    stream.setConnTimeout(1500);
    stream.setConnTimeout(0);
    stream.OpenConnection(remote, nullptr, nullptr);
    EXPECT_EQ(OsFaults::signal().calls(), 0);
    EXPECT_EQ(OsFaults::setitimer().calls(), 0);
}

TEST_P(InetSockStreamTimedConnect, LeavesTheAlarmAloneInNonBlockingMode)
{
    OpenedStream other(itcConnection::ItcNonBlocking);
    other.setConnTimeout(1500);
    other.OpenConnection(remote, nullptr, nullptr);
    EXPECT_EQ(OsFaults::signal().calls(), 0);
    EXPECT_EQ(OsFaults::setitimer().calls(), 0);
}

TEST_P(InetSockStreamTimedConnect, CoversStrictBlockingStreamsToo)
{
    OpenedStream other(itcConnection::ItcStrictBlocking);
    other.setConnTimeout(60000);
    other.OpenConnection(remote, nullptr, nullptr);
    EXPECT_EQ(OsFaults::setitimer().calls(), 2);
}

TEST_P(InetSockStreamTimedConnect, GivesTheHostsAlarmBackAfterASuccess)
{
    const HostsAlarm alarm;
    stream.setConnTimeout(60000);
    EXPECT_EQ(stream.OpenConnection(remote, nullptr, nullptr), 1);
    alarm.expectBack();
}

TEST_P(InetSockStreamTimedConnect, GivesTheHostsAlarmBackAfterARefusal)
{
    const HostsAlarm alarm;
    OsFaults::connect().instead = refused;
    stream.setConnTimeout(60000);
    EXPECT_EQ(stream.OpenConnection(remote, nullptr, nullptr), 0);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Connect_Call_Failed, Error, ECONNREFUSED));
    alarm.expectBack();
}

TEST_P(InetSockStreamTimedConnect, GivesTheHostsAlarmBackAfterATimeOut)
{
    const HostsAlarm alarm;
    OsFaults::connect().instead = blockUntilAlarm;
    stream.setConnTimeout(20);
    EXPECT_EQ(stream.OpenConnection(remote, nullptr, nullptr), 0);
    alarm.expectBack();
}

TEST_P(InetSockStreamTimedConnect, GivesTheHostsAlarmBackWhenItWouldBlock)
{
    const HostsAlarm alarm;
    OsFaults::connect().failNext(1, EAGAIN);
    stream.setConnTimeout(60000);
    EXPECT_EQ(stream.OpenConnection(remote, nullptr, nullptr), -1);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Would_Block, Warning, EAGAIN));
    alarm.expectBack();
}

TEST_P(InetSockStreamTimedConnect, RunsUnderItsOwnHandler)
{
    const HostsAlarm alarm;
    OsFaults::connect().instead = [](int, const sockaddr*, socklen_t) {
        EXPECT_EQ(alarmHandler(), itcInetSockStream::alrmSigHdl);
        return 0;
    };
    stream.setConnTimeout(60000);
    stream.OpenConnection(remote, nullptr, nullptr);
}

TEST_P(InetSockStreamTimedConnect, LosesAnAlarmThatComesBeforeTheConnect)
{
    OsFaults::connect().instead = [](int fd, const sockaddr* address, socklen_t length) {
        std::raise(SIGALRM);
        return ::connect(fd, address, length);
    };
    stream.setConnTimeout(60000);
    EXPECT_EQ(stream.OpenConnection(remote, nullptr, nullptr), 1);
    EXPECT_EQ(itcInetSockStream::intrFlag, 1) << "nobody has reported it";
}

TEST_P(InetSockStreamTimedConnect, RecordsTheErrorNumberFromAfterTheClose)
{
    OsFaults::connect().instead = blockUntilAlarm;
    OsFaults::closesocket().instead = closeLeavingEXDEV;
    stream.setConnTimeout(20);
    stream.OpenConnection(remote, nullptr, nullptr);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Connect_Call_Failed, Error, EXDEV));
}

TEST_P(InetSockStreamTimedConnect, ReadsTheErrorNumberAfterTheHostsAlarmIsBack)
{
    OsFaults::connect().failNext(1, ECONNREFUSED);
    OsFaults::signal().instead = [](int number, OS_signalHandler handler) {
        const OS_signalHandler previous = std::signal(number, handler);
        errno = EXDEV;
        return previous;
    };
    stream.setConnTimeout(60000);
    EXPECT_EQ(stream.OpenConnection(remote, nullptr, nullptr), 0);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Connect_Call_Failed, Error, EXDEV));
}

TEST_P(InetSockStreamTimedConnect, ArmsTheFullTimeAgainAfterAnotherSignal)
{
    CallJournal journal;
    journal.connect = [signals = 2](int fd, const sockaddr* address, socklen_t length) mutable {
        return signals-- > 0 ? interrupted(fd, address, length) : ::connect(fd, address, length);
    };
    stream.setConnTimeout(60000);
    EXPECT_EQ(stream.OpenConnection(remote, nullptr, nullptr), 1);

    const Calls round = {"signal alrmSigHdl(14)", "setitimer(0, 0, 0, 60, 0)", connectCall(),
                         "setitimer back(0, 0, 0, 0, 0)", "signal(14)"};
    Calls expected = {socketCall()};
    for (int i = 0; i < 3; ++i)
        expected.insert(expected.end(), round.begin(), round.end());
    EXPECT_EQ(journal.calls(), expected);
}

TEST_P(InetSockStreamTimedConnect, ForgetsAnOldAlarmBeforeEachAttempt)
{
    stream.setConnTimeout(60000);
    itcInetSockStream::intrFlag = 1;
    OsFaults::connect().failNext(1, EINTR);
    EXPECT_EQ(stream.OpenConnection(remote, nullptr, nullptr), 1);
    EXPECT_EQ(OsFaults::connect().calls(), 2);
    EXPECT_EQ(itcInetSockStream::intrFlag, 0);
}

TEST_P(InetSockStreamTimedConnect, TakesAFlagThatWasLeftForATimeOutWhereNoTimeIsSet)
{
    // Only a timed attempt clears the flag before the connect.
    itcInetSockStream::intrFlag = 1;
    OsFaults::connect().failNext(1, EINTR);
    EXPECT_EQ(stream.OpenConnection(remote, nullptr, nullptr), 0);
    EXPECT_THAT(stream, HasStatus(Itc_Tp_Connect_Call_Failed, Error));
    EXPECT_EQ(itcInetSockStream::intrFlag, 0);
}

TEST_P(InetSockStreamTimedConnect, MayBeTriedAgainAfterATimeOut)
{
    OsFaults::connect().instead = blockUntilAlarm;
    stream.setConnTimeout(20);
    ASSERT_EQ(stream.OpenConnection(remote, nullptr, nullptr), 0);
    OsFaults::connect().instead = nullptr;
    stream.setConnTimeout(60000);
    EXPECT_EQ(stream.OpenConnection(remote, nullptr, nullptr), 1);
}

// Without the library's handler an alarm would end the process. Therefore no timer is set.
TEST_P(InetSockStreamTimedConnect, HasNoLimitWhereItsHandlerCannotBeInstalled)
{
    OsFaults::signal().failNext(1, EINVAL);
    stream.setConnTimeout(60000);
    EXPECT_EQ(stream.OpenConnection(remote, nullptr, nullptr), 1);
    EXPECT_EQ(OsFaults::setitimer().calls(), 0);
    EXPECT_EQ(OsFaults::signal().calls(), 1);
}

TEST(InetSockStreamTimeout, IsStoredAndForgetsAnOldAlarm)
{
    OpenedStream stream;
    itcInetSockStream::intrFlag = 1;
    stream.setConnTimeout(1500);
    EXPECT_EQ(stream.connTimeout, 1500u);
    EXPECT_EQ(itcInetSockStream::intrFlag, 0);
}

TEST(InetSockStreamTimeout, IsFlaggedByTheHandler)
{
    itcInetSockStream::intrFlag = 0;
    itcInetSockStream::alrmSigHdl(SIGALRM);
    EXPECT_EQ(itcInetSockStream::intrFlag, 1);
    itcInetSockStream::intrFlag = 0;
}

} // namespace
