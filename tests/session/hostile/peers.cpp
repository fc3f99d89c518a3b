// Attacks the server in every way that a stranger can, while one good client asks it for answers.
//
// usage: hostile_peers SECONDS LARGEST_GAP_MS LARGEST_GROWTH_KIB SERVER [ARGUMENT...]
//
// Each way of attack comes from an address of its own, 127.0.1.N: the server's lines then tell which reason each way was
// given. The program fails if a reason is wrong, if a session is missing, if the good client waits for an answer longer
// than it may, if the memory of the server has grown by more than it may, if descriptors are left, or if the idle server
// uses more than 5 % of a processor.
#include <kiv/session/itcClosed.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

int serverPort = 0;
Clock::time_point endOfAttack;
bool hasFailed = false;

void fail(const std::string& what)
{
    std::printf("FAILED: %s\n", what.c_str());
    hasFailed = true;
}

bool goesOn() { return Clock::now() < endOfAttack; }

// ---- Frames

std::string frame(const std::string& data, std::uint32_t announced)
{
    const std::uint32_t length = htonl(announced);
    std::string bytes = {'Q', 'V', 'R', '\0'}; // the magic
    bytes.append(reinterpret_cast<const char*>(&length), sizeof length);
    return bytes + data;
}

std::string frame(const std::string& data) { return frame(data, static_cast<std::uint32_t>(data.size())); }

// The label of this machine, a gap, and an int.
std::string question()
{
    const std::uint16_t one = 1;
    const bool isLittle = *reinterpret_cast<const unsigned char*>(&one) == 1;
    std::string data(isLittle ? "\x10\x00\x00\x00" : "\x00\x00\x00\x00", 4);
    const int number = 42;
    data.append(reinterpret_cast<const char*>(&number), sizeof number);
    return frame(data);
}

constexpr std::size_t answerSize = 8 + 4 + 4 + 4 + 2001; // head, label and gap, number, text
const std::string heartbeat = frame(std::string("\x10\x00", 2));

// ---- A peer

class Peer {
public:
    explicit Peer(int way, int receiveBuffer = 0)
    {
        fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const int on = 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
        setsockopt(fd, IPPROTO_IP, IP_BIND_ADDRESS_NO_PORT, &on, sizeof on);
        if (receiveBuffer != 0)
            setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
        const timeval patience = {20, 0};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        sockaddr_in own = {};
        own.sin_family = AF_INET;
        own.sin_addr.s_addr = htonl(0x7F000100U + static_cast<unsigned>(way));
        if (bind(fd, reinterpret_cast<sockaddr*>(&own), sizeof own) != 0)
            fail("a peer cannot have its address");
        sockaddr_in server = {};
        server.sin_family = AF_INET;
        server.sin_port = htons(static_cast<std::uint16_t>(serverPort));
        server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (connect(fd, reinterpret_cast<sockaddr*>(&server), sizeof server) != 0)
            fail("a peer cannot connect: " + std::string(std::strerror(errno)));
    }
    Peer(Peer&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;
    Peer& operator=(Peer&&) = delete;
    ~Peer() { close(fd); }

    bool sends(const std::string& bytes) const
    {
        return send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
    }
    bool sendsNow(const std::string& bytes) const
    {
        return send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT) >= 0;
    }
    // Waits until the server has closed.
    void seesTheEnd() const
    {
        char rest[4096];
        while (recv(fd, rest, sizeof rest, 0) > 0) {
        }
    }
    bool receives(std::size_t count) const
    {
        std::string bytes(count, '\0');
        return recv(fd, bytes.data(), count, MSG_WAITALL) == static_cast<ssize_t>(count);
    }
    void willReset() const
    {
        const linger now = {1, 0};
        setsockopt(fd, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    }

private:
    int fd;
};

// ---- The ways of attack. Each returns the number of connections that it has made.

int saysNothing(int way)
{
    const Peer peer(way);
    peer.seesTheEnd();
    return 1;
}

int sendsBytesSlowly(int way)
{
    const Peer peer(way);
    for (const char byte : question()) {
        if (!peer.sends(std::string(1, byte)))
            break;
        std::this_thread::sleep_for(300ms);
    }
    peer.seesTheEnd();
    return 1;
}

int sendsHalfAHeader(int way)
{
    const Peer peer(way);
    peer.sends(question().substr(0, 5));
    peer.seesTheEnd();
    return 1;
}

int announcesTooMuch(int way)
{
    int made = 0;
    for (const std::uint32_t length : {0x80000000U, 0x7FFFFFFFU, 0xFFFFFFFFU, 1024U * 1024U + 1}) {
        const Peer peer(way);
        peer.sends(frame("", length));
        peer.seesTheEnd();
        ++made;
    }
    return made;
}

int speaksAnotherProtocol(int way)
{
    const Peer peer(way);
    peer.sends("GET / HTTP/1.1\r\n\r\n");
    peer.seesTheEnd();
    return 1;
}

int neverReads(int way)
{
    const Peer peer(way, 2048);
    while (peer.sendsNow(question())) {
    }
    std::this_thread::sleep_for(3s);
    peer.seesTheEnd();
    return 1;
}

int resets(int way)
{
    const Peer peer(way);
    peer.sends(question() + question().substr(0, 3));
    peer.receives(answerSize); // the server has accepted: a reset before that is seen by the system alone
    peer.willReset();
    return 1;
}

int closesInsideAPacket(int way)
{
    const std::string whole = question();
    for (std::size_t offset = 1; offset < whole.size(); ++offset) {
        const Peer peer(way);
        peer.sends(whole.substr(0, offset));
    }
    return static_cast<int>(whole.size()) - 1;
}

int scansThePort(int way)
{
    for (int i = 0; i < 100; ++i)
        const Peer peer(way);
    return 100;
}

int connectManyTimes(int way, int count)
{
    std::vector<Peer> peers;
    peers.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        peers.emplace_back(way);
    return count;
}

int storms(int way) { return connectManyTimes(way, 300); }

int floodsWithHeartbeats(int way)
{
    const Peer peer(way);
    std::string many;
    for (int i = 0; i < 100; ++i)
        many += heartbeat;
    const auto end = Clock::now() + 500ms;
    while (Clock::now() < end && peer.sends(many)) {
    }
    return 1;
}

struct Way {
    const char* name;
    int (*attack)(int);
    std::set<int> reasons; ///< The reasons that are right.
};

const std::vector<Way> ways = {
    {"says nothing", saysNothing, {itcClosed::silent}},
    {"sends bytes slowly", sendsBytesSlowly, {itcClosed::tooSlow}},
    {"sends half a header", sendsHalfAHeader, {itcClosed::tooSlow}},
    {"announces too much", announcesTooMuch, {itcClosed::tooLong}},
    {"speaks another protocol", speaksAnotherProtocol, {itcClosed::notOurProtocol}},
    {"never reads", neverReads, {itcClosed::stuck}},
    {"resets", resets, {itcClosed::systemError}},
    {"closes inside a packet", closesInsideAPacket, {itcClosed::peerLeftInsidePacket}},
    {"scans the port", scansThePort, {itcClosed::peerLeft}},
    {"storms", storms, {itcClosed::peerLeft}},
    {"floods with heartbeats",
     floodsWithHeartbeats,
     {itcClosed::peerLeft, itcClosed::peerLeftInsidePacket, itcClosed::systemError}},
};

// ---- The good client

struct Figures {
    int answers = 0;
    double largestGapMs = 0;
};

void askForAnswers(Figures& figures)
{
    const Peer peer(0);
    const std::string ask = question();
    while (goesOn()) {
        const auto begin = Clock::now();
        if (!peer.sends(ask) || !peer.receives(answerSize)) {
            fail("the good client has lost its connection");
            return;
        }
        const std::chrono::duration<double, std::milli> gap = Clock::now() - begin;
        figures.largestGapMs = std::max(figures.largestGapMs, gap.count());
        figures.answers += 1;
        std::this_thread::sleep_for(2ms);
    }
}

// ---- The server

class Server {
public:
    explicit Server(char** command)
    {
        int ends[2] = {-1, -1};
        if (pipe(ends) != 0)
            std::exit(2);
        pid = fork();
        if (pid == 0) {
            dup2(ends[1], STDOUT_FILENO);
            close(ends[0]);
            close(ends[1]);
            execvp(command[0], command);
            _exit(127);
        }
        close(ends[1]);
        reader = std::thread([this, from = ends[0]] { read(from); });
    }
    ~Server()
    {
        kill(pid, SIGTERM);
        waitpid(pid, nullptr, 0);
        reader.join();
    }
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    /// The next line that begins with `word`.
    std::string line(const std::string& word)
    {
        const auto end = Clock::now() + 60s;
        for (std::size_t seen = 0; Clock::now() < end; std::this_thread::sleep_for(1ms)) {
            const std::lock_guard lock(mutex);
            for (; seen < lines.size(); ++seen) {
                if (lines[seen].rfind(word, 0) == 0 && seen >= firstNew) {
                    firstNew = seen + 1;
                    return lines[seen];
                }
            }
        }
        fail("the server does not say: " + word);
        return {};
    }
    std::vector<std::string> allLines()
    {
        const std::lock_guard lock(mutex);
        return lines;
    }
    struct Report {
        int sessions = -1;
        int descriptors = -1;
    };
    Report report()
    {
        Report result;
        kill(pid, SIGHUP);
        std::sscanf(line("now").c_str(), "now %d sessions %d", &result.sessions, &result.descriptors);
        return result;
    }
    long residentKib() const
    {
        std::ifstream status("/proc/" + std::to_string(pid) + "/status");
        for (std::string text; std::getline(status, text);) {
            if (text.rfind("VmRSS:", 0) == 0)
                return std::atol(text.c_str() + 6);
        }
        return 0;
    }
    double cpuSeconds() const
    {
        std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
        std::string text;
        std::getline(stat, text);
        std::istringstream fields(text.substr(text.rfind(')') + 1));
        std::string skipped;
        for (int i = 0; i < 11; ++i)
            fields >> skipped;
        double user = 0;
        double system = 0;
        fields >> user >> system;
        return (user + system) / static_cast<double>(sysconf(_SC_CLK_TCK));
    }

private:
    void read(int from)
    {
        std::string buffered;
        char piece[4096];
        for (ssize_t n = 0; (n = ::read(from, piece, sizeof piece)) > 0;) {
            buffered.append(piece, static_cast<std::size_t>(n));
            const std::lock_guard lock(mutex);
            for (std::size_t end = 0; (end = buffered.find('\n')) != std::string::npos; buffered.erase(0, end + 1))
                lines.push_back(buffered.substr(0, end));
        }
        close(from);
    }

    pid_t pid = -1;
    std::thread reader;
    std::mutex mutex;
    std::vector<std::string> lines;
    std::size_t firstNew = 0;
};

// ---- What is compared

int sessionsEnded(const std::vector<std::string>& lines)
{
    return static_cast<int>(std::count_if(lines.begin(), lines.end(),
                                          [](const std::string& text) { return text.rfind("127.0.1.", 0) == 0; }));
}

void compareReasons(const std::vector<std::string>& lines, const std::vector<int>& made)
{
    for (std::size_t way = 0; way < ways.size(); ++way) {
        const std::string address = "127.0.1." + std::to_string(way + 1) + ":";
        std::map<std::string, int> reasons;
        int ended = 0;
        for (const std::string& text : lines) {
            if (text.rfind(address, 0) != 0)
                continue;
            ended += 1;
            reasons[text.substr(text.find(' ') + 1)] += 1;
        }
        if (ended != made[way])
            fail(std::string(ways[way].name) + ": " + std::to_string(made[way]) + " connections, " +
                 std::to_string(ended) + " ended");
        for (const auto& [reason, count] : reasons) {
            std::printf("  %-24s %5d  %s\n", ways[way].name, count, reason.c_str());
            if (ways[way].reasons.count(std::atoi(reason.c_str())) == 0)
                fail("that is a wrong reason");
        }
    }
}

void attackUntilTheEnd(std::size_t way, int& made)
{
    do {
        made += ways[way].attack(static_cast<int>(way) + 1);
    } while (goesOn() && !hasFailed);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 5)
        return 2;
    const double seconds = std::atof(argv[1]);
    const double largestGapMs = std::atof(argv[2]);
    const long largestGrowthKib = std::atol(argv[3]);
    rlimit files = {};
    getrlimit(RLIMIT_NOFILE, &files);
    files.rlim_cur = files.rlim_max;
    Server server(argv + 4);
    setrlimit(RLIMIT_NOFILE, &files);

    std::sscanf(server.line("listening").c_str(), "listening %d", &serverPort);
    if (serverPort == 0)
        return 1;
    const Server::Report before = server.report();
    endOfAttack = Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));

    // A storm of 1,000 before the memory is measured: what 1,000 sessions need once is kept by the allocator.
    std::vector<int> made(ways.size());
    Figures figures;
    std::thread good([&] { askForAnswers(figures); });
    const auto stormBegan = Clock::now();
    made[9] += connectManyTimes(10, 1000);
    while (sessionsEnded(server.allLines()) < 1000 && Clock::now() < stormBegan + 30s)
        std::this_thread::sleep_for(1ms);
    const std::chrono::duration<double> storm = Clock::now() - stormBegan;
    const long memoryBefore = server.residentKib();
    std::vector<std::thread> attackers;
    for (std::size_t way = 0; way < ways.size(); ++way)
        attackers.emplace_back([way, &made] { attackUntilTheEnd(way, made[way]); });
    for (std::thread& attacker : attackers)
        attacker.join();
    good.join();

    int expected = 1;
    for (const int count : made)
        expected += count;
    const auto patience = Clock::now() + 30s;
    while (sessionsEnded(server.allLines()) < expected && Clock::now() < patience)
        std::this_thread::sleep_for(10ms);
    const long memoryAfter = server.residentKib();
    const double cpuBefore = server.cpuSeconds();
    std::this_thread::sleep_for(1s);
    const double idleCpu = server.cpuSeconds() - cpuBefore;
    const Server::Report after = server.report();

    compareReasons(server.allLines(), made);
    std::printf("good client: %d answers, largest gap %.1f ms\n", figures.answers, figures.largestGapMs);
    std::printf("server: memory %ld KiB, then %ld KiB; idle processor %.1f %%; descriptors %d, then %d; sessions %d\n",
                memoryBefore, memoryAfter, idleCpu * 100, before.descriptors, after.descriptors, after.sessions);
    std::printf("1,000 connects at once: accepted, and closed again, within %.2f s\n", storm.count());
    if (figures.largestGapMs > largestGapMs)
        fail("the good client has waited too long");
    if (memoryAfter - memoryBefore > largestGrowthKib)
        fail("the memory of the server has grown");
    if (idleCpu > 0.05)
        fail("the idle server uses the processor");
    if (after.sessions != 0 || after.descriptors != before.descriptors)
        fail("the server has sessions or descriptors left");
    return hasFailed ? 1 : 0;
}
