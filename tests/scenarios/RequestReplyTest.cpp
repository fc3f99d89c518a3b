// A server that accepts connections, takes typed values and answers. The dispatcher calls every step.
#include "Peer.h"
#include "Transports.h"

#include <vector>

namespace {

/// Answers each request on each connection: doubles the number and puts the text into brackets.
class Server : public itcIOHandler {
public:
    explicit Server(itcConnection& endpoint) : listener(endpoint)
    {
        dispatcher.link(&listener, nullptr, ReadMask, this);
    }
    ~Server() override { dispatcher.unlink(&listener, ReadMask); }

    int inputReady(itcConnection*, char*) override
    {
        itcConnection* accepted = nullptr;
        if (listener.AcceptConnection(&accepted, nullptr, nullptr) != 1)
            return -1;
        guests.push_back(std::make_unique<Peer>(std::unique_ptr<itcConnection>(accepted)));
        Peer& guest = *guests.back();
        guest.onPacket = [&guest] { answer(guest); };
        guest.receive();
        return 0;
    }

private:
    static void answer(Peer& guest)
    {
        int number = 0;
        char text[64] = "";
        guest.incoming >> number >> text;
        guest.outgoing.reset();
        guest.outgoing << 2 * number << ("[" + std::string(text) + "]").c_str();
        guest.send();
        guest.incoming.reset();
        guest.receive();
    }

    itcDispatcher& dispatcher = *itcDispatcher::instance();
    itcConnection& listener;
    std::vector<std::unique_ptr<Peer>> guests;
};

class RequestReply : public TransportTest {
protected:
    static void ask(Peer& client, int number, const char* text)
    {
        client.outgoing.reset();
        client.incoming.reset();
        client.outgoing << number << text;
        client.send();
        client.receive();
    }

    static void expectAnswer(Peer& client, int number, const char* text)
    {
        int answered = 0;
        char answer[64] = "";
        client.incoming >> answered >> answer;
        EXPECT_THAT(client.incoming, HasClearStatus());
        EXPECT_EQ(answered, number);
        EXPECT_STREQ(answer, text);
    }
};
INSTANTIATE_TEST_SUITE_P(, RequestReply, testing::ValuesIn(transportKinds), transportName);

TEST_P(RequestReply, AnswersOneRequest)
{
    const Server server(*listener);
    Peer client(connect());
    ask(client, 21, "hello");
    dispatchUntil([&] { return client.isOver(); });
    expectAnswer(client, 42, "[hello]");
}

TEST_P(RequestReply, AnswersManyRequestsOnOneConnection)
{
    const Server server(*listener);
    Peer client(connect());
    for (int i = 0; i < 50; ++i) {
        ask(client, i, "again");
        dispatchUntil([&] { return client.isOver(); });
        expectAnswer(client, 2 * i, "[again]");
    }
}

TEST_P(RequestReply, AnswersManyClientsAtOnce)
{
    const Server server(*listener);
    std::vector<std::unique_ptr<Peer>> clients;
    for (int i = 0; i < 5; ++i) { // as many as may wait to be accepted
        clients.push_back(std::make_unique<Peer>(connect()));
        ask(*clients.back(), i, "all of us");
    }
    for (const auto& client : clients)
        dispatchUntil([&] { return client->isOver(); });
    for (int i = 0; i < 5; ++i)
        expectAnswer(*clients[static_cast<size_t>(i)], 2 * i, "[all of us]");
}

TEST_P(RequestReply, KeepsEveryTypeOfValue)
{
    Peer client(connect());
    Peer server(accept());
    client.outgoing << true << 'c' << static_cast<signed char>(-3) << static_cast<unsigned char>(250)
                    << static_cast<short>(-30000) << static_cast<unsigned short>(60000) << -2000000000 << 4000000000U
                    << 1.5F << -0.1 << -9000000000000000000LL << 18000000000000000000ULL << "text";
    client.send();
    server.receive();
    dispatchUntil([&] { return server.isOver(); });

    bool b = false;
    char c = 0;
    signed char sc = 0;
    unsigned char uc = 0;
    short s = 0;
    unsigned short us = 0;
    int i = 0;
    unsigned int u = 0;
    float f = 0;
    double d = 0;
    long long ll = 0;
    unsigned long long ull = 0;
    char text[16] = "";
    server.incoming >> b >> c >> sc >> uc >> s >> us >> i >> u >> f >> d >> ll >> ull >> text;
    EXPECT_THAT(server.incoming, HasClearStatus());
    EXPECT_EQ(b, true);
    EXPECT_EQ(c, 'c');
    EXPECT_EQ(sc, -3);
    EXPECT_EQ(uc, 250);
    EXPECT_EQ(s, -30000);
    EXPECT_EQ(us, 60000);
    EXPECT_EQ(i, -2000000000);
    EXPECT_EQ(u, 4000000000U);
    EXPECT_EQ(f, 1.5F);
    EXPECT_EQ(d, -0.1);
    EXPECT_EQ(ll, -9000000000000000000LL);
    EXPECT_EQ(ull, 18000000000000000000ULL);
    EXPECT_STREQ(text, "text");
}

} // namespace
