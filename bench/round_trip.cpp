// How long does a typed request take to a server on loopback and back? How long do the same bytes take on bare sockets?
#include <kiv/kiv.h>

#include <benchmark/benchmark.h>

#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

namespace {

// Two ends of a TCP connection on loopback. TCP_NODELAY is set: small pieces are sent at once.
struct LoopbackPair {
    int client = -1;
    int server = -1;

    LoopbackPair()
    {
        itcInetAddress local("127.0.0.1", 0, IPPROTO_TCP);
        itcInetSockStream listener;
        listener.CreateEndpoint(local);
        itcInetAddress bound;
        listener.GetSockname(bound);
        client = ::socket(AF_INET, SOCK_STREAM, 0);
        if (::connect(client, reinterpret_cast<const sockaddr*>(&bound.address), sizeof(sockaddr_in)) != 0)
            std::abort();
        server = listener.doAccept(nullptr, nullptr);
        const int one = 1;
        ::setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        ::setsockopt(server, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    }
};

// The lower bound: a block with the size of our frame goes to the server and back.
void bareSockets(benchmark::State& state)
{
    constexpr size_t frameSize = 8 + 2 + 2 + 4 + 8 + 8;
    const LoopbackPair pair;
    std::thread echo([fd = pair.server] {
        char block[frameSize];
        while (::recv(fd, block, sizeof block, MSG_WAITALL) == static_cast<ssize_t>(sizeof block))
            ::send(fd, block, sizeof block, MSG_NOSIGNAL);
    });
    char block[frameSize] = {};
    for (auto _ : state) {
        ::send(pair.client, block, sizeof block, MSG_NOSIGNAL);
        ::recv(pair.client, block, sizeof block, MSG_WAITALL);
    }
    ::close(pair.client);
    echo.join();
    ::close(pair.server);
}

void typedRequest(benchmark::State& state)
{
    const LoopbackPair pair;
    std::thread echo([fd = pair.server] {
        itcConnection connection(fd, itcConnection::ItcStrictBlocking);
        itcNDRReceive request;
        itcNDRSend reply;
        for (;;) {
            connection >> request;
            if (request.severity != Success)
                return;
            int number = 0;
            double value = 0;
            long long time = 0;
            request >> number >> value >> time;
            reply.reset();
            reply << number << value << time;
            connection << reply;
        }
    });
    {
        itcConnection connection(pair.client, itcConnection::ItcStrictBlocking);
        itcNDRSend request;
        itcNDRReceive reply;
        int number = 0;
        for (auto _ : state) {
            request.reset();
            request << ++number << 2.5 << 3LL;
            connection << request;
            connection >> reply;
            int answered = 0;
            double value = 0;
            long long time = 0;
            reply >> answered >> value >> time;
            if (answered != number)
                state.SkipWithError("a wrong answer");
        }
    }
    echo.join();
}

} // namespace

BENCHMARK(bareSockets)->UseRealTime();
BENCHMARK(typedRequest)->UseRealTime();
