// A listener in a process that may open no more descriptors.
#include "DescriptorLimit.h"
#include "Transports.h"

#include <kiv/dispatcher/itcIOHandler.h>

namespace {

/// While NoMoreDescriptors exists, socket() and accept() of the library cannot open a descriptor. Only these calls run
/// under the lower limit, since sanitizers open descriptors of their own.
class NoMoreDescriptors {
public:
    NoMoreDescriptors()
    {
        OsFaults::socket().instead = [](int family, int type, int protocol) {
            return underTheLimit([=] { return ::socket(family, type, protocol); });
        };
        OsFaults::accept().instead = [](int fd, sockaddr* address, socklen_t* length) {
            return underTheLimit([=] { return ::accept(fd, address, length); });
        };
    }
    ~NoMoreDescriptors()
    {
        OsFaults::socket().instead = nullptr;
        OsFaults::accept().instead = nullptr;
    }
    NoMoreDescriptors(const NoMoreDescriptors&) = delete;
    NoMoreDescriptors& operator=(const NoMoreDescriptors&) = delete;

private:
    template <class Call> static int underTheLimit(Call call)
    {
        const DescriptorLimit limit;
        return call();
    }
};

/// Accepts when the dispatcher calls. After a failed accept, stops listening for a while. Every host should do this,
/// too.
class Accepting : public itcIOHandler {
public:
    Accepting(itcConnection& endpoint, bool again) : listener(endpoint), comesBack(again) { link(); }

    int inputReady(itcConnection*, char*) override
    {
        ++attempts;
        itcConnection* newcomer = nullptr;
        if (listener.AcceptConnection(&newcomer, nullptr, nullptr) == 1) {
            accepted.reset(newcomer);
        } else if (comesBack) {
            dispatcher.unlink(&listener, ReadMask);
            dispatcher.startTimer(0, 1000, this);
        }
        return 0;
    }
    void timerExpired(long, long) override
    {
        ++returns;
        link();
    }

    std::unique_ptr<itcConnection> accepted;
    int attempts = 0;
    int returns = 0;

private:
    void link() { dispatcher.link(&listener, nullptr, ReadMask, this); }

    itcDispatcher& dispatcher = *itcDispatcher::instance();
    itcConnection& listener;
    const bool comesBack;
};

class OutOfDescriptors : public TransportTest {};
INSTANTIATE_TEST_SUITE_P(, OutOfDescriptors, testing::ValuesIn(transportKinds), transportName);

TEST_P(OutOfDescriptors, AListenerStaysReadable)
{
    const auto client = connect();
    Accepting server(*listener, false);
    {
        const NoMoreDescriptors none;
        for (int attempt = 1; attempt <= 3; ++attempt) {
            EXPECT_NE(dispatcher.dispatch(10.0), 0);
            EXPECT_EQ(server.attempts, attempt);
            EXPECT_THAT(*listener, HasStatus(Itc_Tp_Accept_Call_Failed, Error, EMFILE));
        }
    }
    EXPECT_NE(dispatcher.dispatch(10.0), 0);
    EXPECT_NE(server.accepted, nullptr);
    EXPECT_THAT(*listener, HasClearStatus());
}

TEST_P(OutOfDescriptors, AListenerMayBeUnlinkedAndComeBackByTimer)
{
    const auto client = connect();
    Accepting server(*listener, true);
    {
        const NoMoreDescriptors none;
        while (server.returns < 2)
            dispatcher.dispatch(10.0);
        EXPECT_EQ(server.attempts, 2) << "one for each time that it was linked";
        EXPECT_EQ(server.accepted, nullptr);
    }
    dispatchUntil([&] { return server.accepted != nullptr; });
    EXPECT_EQ(client->Write("hello", 5), 5);
    char area[6] = {};
    EXPECT_EQ(server.accepted->Read(area, 5), 5);
    EXPECT_STREQ(area, "hello");
}

TEST_P(OutOfDescriptors, NeitherEndIsMade)
{
    const int counted = itcConnection::getConnectionCount();
    const auto client = transport->makeStream();
    const auto server = transport->makeStream();
    {
        const NoMoreDescriptors none;
        EXPECT_EQ(transport->connect(*client), 0);
        EXPECT_FALSE(transport->listen(*server));
    }
    EXPECT_THAT(*client, HasStatus(Itc_Tp_Socket_Call_Failed, Error, EMFILE));
    EXPECT_THAT(*server, HasStatus(Itc_Tp_Socket_Call_Failed, Error, EMFILE));
    EXPECT_EQ(itcConnection::getConnectionCount(), counted);
    EXPECT_EQ(transport->connect(*client), 1) << "later";
}

} // namespace
