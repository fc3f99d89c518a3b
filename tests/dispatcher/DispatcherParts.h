/// \file
/// What the dispatcher's tests are made of: a dispatcher that shows its fields, a handler that writes down its calls,
/// a select() with scripted answers, and a clock that the tests move.
#pragma once

#include "OsFaults.h"
#include "StreamPair.h"

#include <kiv/connection/itcConnection.h>
#include <kiv/dispatcher/itcDispatcher.h>
#include <kiv/dispatcher/itcIOHandler.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

inline void PrintTo(const timeval& t, std::ostream* out) { *out << "{" << t.tv_sec << ", " << t.tv_usec << "}"; }

inline timeval tv(int64_t sec, int64_t usec)
{
    timeval t = {};
    t.tv_sec = sec;
    t.tv_usec = usec;
    return t;
}

/// Both fields of a timeval. Tests compare them without the library's operators.
using Fields = std::pair<int64_t, int64_t>;
inline Fields fields(const timeval& t) { return {t.tv_sec, t.tv_usec}; }

constexpr itcDispatcherMask everyKind = ReadMask | WriteMask | ExceptMask;

/// A dispatcher that shows its protected fields.
class OpenDispatcher : public itcDispatcher {
public:
    using itcDispatcher::_instance;
    using itcDispatcher::capacity;
    using itcDispatcher::connections;
    using itcDispatcher::dispatchCount;
    using itcDispatcher::exceptData;
    using itcDispatcher::exceptHandlers;
    using itcDispatcher::exceptMask;
    using itcDispatcher::nfds;
    using itcDispatcher::readData;
    using itcDispatcher::readHandlers;
    using itcDispatcher::readMask;
    using itcDispatcher::readyExcept;
    using itcDispatcher::readyRead;
    using itcDispatcher::readyWrite;
    using itcDispatcher::sleepMicros;
    using itcDispatcher::timers;
    using itcDispatcher::writeData;
    using itcDispatcher::writeHandlers;
    using itcDispatcher::writeMask;
};

/// What holds between any two calls on a dispatcher, except that a host may write the fields itself.
inline void expectSound(const OpenDispatcher& dispatcher)
{
    EXPECT_GE(dispatcher.nfds, 0);
    EXPECT_LE(dispatcher.nfds, dispatcher.capacity);
    for (int fd = dispatcher.nfds; fd < dispatcher.capacity; ++fd) {
        EXPECT_EQ(dispatcher.readHandlers[fd], nullptr) << fd;
        EXPECT_EQ(dispatcher.writeHandlers[fd], nullptr) << fd;
        EXPECT_EQ(dispatcher.exceptHandlers[fd], nullptr) << fd;
    }
}

/// One kind of interest, for tests that hold for all three.
struct Kind {
    const char* name; ///< What a Handler writes down.
    itcDispatcherMask mask;
    FdMask* OpenDispatcher::*set;
    itcIOHandler** OpenDispatcher::*handlers;
    char** OpenDispatcher::*data;
    std::vector<int>* OpenDispatcher::*ready;
};

inline const Kind kinds[] = {
    {"in", ReadMask, &OpenDispatcher::readMask, &OpenDispatcher::readHandlers, &OpenDispatcher::readData,
     &OpenDispatcher::readyRead},
    {"out", WriteMask, &OpenDispatcher::writeMask, &OpenDispatcher::writeHandlers, &OpenDispatcher::writeData,
     &OpenDispatcher::readyWrite},
    {"except", ExceptMask, &OpenDispatcher::exceptMask, &OpenDispatcher::exceptHandlers, &OpenDispatcher::exceptData,
     &OpenDispatcher::readyExcept},
};

inline void PrintTo(const Kind& kind, std::ostream* out) { *out << kind.name; }

using Calls = std::vector<std::string>;

/// Writes down its calls: "in", "out", "except", "timer". A handler with a name writes the name in front: "A in".
class Handler : public itcIOHandler {
public:
    Handler() : log(&calls) {}
    Handler(const char* name, Calls& sharedLog) : prefix(std::string(name) + " "), log(&sharedLog) {}

    using Action = std::function<int()>;
    Action onInput, onOutput, onException; ///< What a call does. Without an action the answer is 0.
    std::function<void()> onTimer;

    Calls calls;
    itcConnection* conn = nullptr; ///< The connection of the last call.
    char* data = nullptr;          ///< The client data of the last call.
    Fields now;                    ///< The time of the last expiry.

    void onEvery(const Action& action) { onInput = onOutput = onException = action; }

    int inputReady(itcConnection* c, char* d) override { return called("in", c, d, onInput); }
    int outputReady(itcConnection* c, char* d) override { return called("out", c, d, onOutput); }
    int exceptionRaised(itcConnection* c, char* d) override { return called("except", c, d, onException); }
    void timerExpired(long sec, long usec) override
    {
        log->push_back(prefix + "timer");
        now = {sec, usec};
        if (const auto action = onTimer)
            action();
    }

private:
    int called(const char* what, itcConnection* c, char* d, const Action& action)
    {
        log->push_back(prefix + what);
        conn = c;
        data = d;
        const Action keptWhileItRuns = action;
        return keptWhileItRuns ? keptWhileItRuns() : 0;
    }

    std::string prefix;
    Calls* log;
};

/// Replaces select(). Each call takes the next scripted answer. Without an answer the time is up and nothing is ready.
/// `asked` keeps the arguments of all calls.
class FakeSelect {
public:
    struct Asked {
        int nfds;
        FdMask read, write, except;
        bool limited;
        timeval timeout; ///< Valid if `limited`.
    };

    FakeSelect()
    {
        OsFaults::select().instead = [this](int nfds, fd_set* r, fd_set* w, fd_set* e, timeval* timeout) {
            return answer(nfds, r, w, e, timeout);
        };
    }
    ~FakeSelect() { OsFaults::select().instead = nullptr; }
    FakeSelect(const FakeSelect&) = delete;
    FakeSelect& operator=(const FakeSelect&) = delete;

    /// Adds an answer: these descriptors are ready.
    void ready(std::vector<int> read, std::vector<int> write = {}, std::vector<int> except = {})
    {
        answers.push_back({std::move(read), std::move(write), std::move(except), 0});
    }
    void readyFor(itcDispatcherMask kind, const std::vector<int>& fds)
    {
        const std::vector<int> none;
        ready(kind == ReadMask ? fds : none, kind == WriteMask ? fds : none, kind == ExceptMask ? fds : none);
    }
    void fails(int error) { answers.push_back({{}, {}, {}, error}); }

    std::vector<Asked> asked;
    std::function<void()> meanwhile; ///< Runs inside every call.
    std::optional<timeval> left;     ///< The rest of its time-out that every limited call leaves.

private:
    struct Answer {
        std::vector<int> read, write, except;
        int error;
    };

    static FdMask& maskOf(fd_set* set) { return *reinterpret_cast<FdMask*>(set); }
    static FdMask copyOf(fd_set* set) { return set != nullptr ? maskOf(set) : FdMask(); }

    static int show(fd_set* set, const std::vector<int>& fds)
    {
        if (set != nullptr)
            maskOf(set).zero();
        for (const int fd : fds)
            maskOf(set).setBit(fd);
        return static_cast<int>(fds.size());
    }

    int answer(int nfds, fd_set* r, fd_set* w, fd_set* e, timeval* timeout)
    {
        const bool limited = timeout != nullptr;
        asked.push_back({nfds, copyOf(r), copyOf(w), copyOf(e), limited, limited ? *timeout : timeval{}});
        if (meanwhile)
            meanwhile();
        if (limited && left)
            *timeout = *left;
        if (answers.empty()) {
            if (limited && !left)
                *timeout = timeval{};
            return show(r, {}) + show(w, {}) + show(e, {});
        }
        const Answer next = answers.front();
        answers.pop_front();
        if (next.error != 0) {
            errno = next.error;
            return -1; // Linux does not change the sets of a failed call, either
        }
        return show(r, next.read) + show(w, next.write) + show(e, next.except);
    }

    std::deque<Answer> answers;
};

/// Replaces the system's uptime. The dispatcher's clock moves only with advance().
class FakeClock {
public:
    FakeClock()
    {
        OsFaults::getuptime().instead = [this](timeval* t) {
            *t = uptime;
            return 0;
        };
    }
    ~FakeClock() { OsFaults::getuptime().instead = nullptr; }
    FakeClock(const FakeClock&) = delete;
    FakeClock& operator=(const FakeClock&) = delete;

    void advance(int64_t sec, int64_t usec)
    {
        uptime.tv_sec += sec + (uptime.tv_usec + usec) / 1000000;
        uptime.tv_usec = (uptime.tv_usec + usec) % 1000000;
    }

private:
    timeval uptime = tv(100, 0);
};

/// A connection that reports `held` received bytes. The test chooses the three descriptors.
class BufferedConnection : public OpenedConnection {
public:
    BufferedConnection() = default;
    BufferedConnection(int reading, int writing, int excepting) : read(reading), write(writing), except(excepting) {}

    int ReadDescriptor() const override { return read; }
    int WriteDescriptor() const override { return write; }
    int ExceptDescriptor() const override { return except; }
    int bytes() override
    {
        ++timesAsked;
        return held;
    }

    int held = 0;
    int timesAsked = 0;

private:
    int read = -1, write = -1, except = -1;
};

/// The fixture with a scripted select(). The descriptors are only numbers.
class DispatcherTest : public testing::Test {
protected:
    int cycle() { return dispatcher.dispatch(5.0); }
    void attach(int fd, itcDispatcherMask wanted, itcIOHandler* h)
    {
        for (const Kind& kind : kinds) {
            if (wanted & kind.mask)
                dispatcher.attach(fd, nullptr, nullptr, kind.mask, h);
        }
    }

    FakeSelect select;
    OpenDispatcher dispatcher;
    Handler handler;
};
