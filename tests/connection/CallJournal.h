/// \file
/// Writes down the library's system calls around sockets in the order in which they happen.
#pragma once

#include "OsFaults.h"

#include <kiv/connection/itcInetSockStream.h>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

/// While the journal exists, every call is written down in the form "socket(2, 1, 0)". The call then goes to the
/// system, except for one that is made to fail. For bind and connect the journal shows the length of the address. For
/// setsockopt the journal shows the level, the option and the ints of the value.
class CallJournal {
public:
    /// \param failingCall the number of the call that fails, counted from 1. 0: no call fails.
    /// \param withError   the error number of the failure.
    explicit CallJournal(int failingCall = 0, int withError = 0) : failing(failingCall), error(withError) { install(); }
    ~CallJournal()
    {
        OsFaults::socket().instead = nullptr;
        OsFaults::setsockopt().instead = nullptr;
        OsFaults::bind().instead = nullptr;
        OsFaults::listen().instead = nullptr;
        OsFaults::connect().instead = nullptr;
        OsFaults::closesocket().instead = nullptr;
        OsFaults::setNonBlocking().instead = nullptr;
        OsFaults::signal().instead = nullptr;
        OsFaults::setitimer().instead = nullptr;
    }
    CallJournal(const CallJournal&) = delete;
    CallJournal& operator=(const CallJournal&) = delete;

    const std::vector<std::string>& calls() const { return lines; }

    /// What a connect does. At first, the system's connect().
    std::function<int(int fd, const sockaddr* address, socklen_t length)> connect = ::connect;

private:
    void install()
    {
        OsFaults::socket().instead = [this](int family, int type, int protocol) {
            return passes("socket", {family, type, protocol}) ? ::socket(family, type, protocol) : -1;
        };
        OsFaults::setsockopt().instead = [this](int fd, int level, int option, const void* value, socklen_t length) {
            std::vector<int> numbers(2 + length / sizeof(int));
            numbers[0] = level;
            numbers[1] = option;
            std::memcpy(&numbers[2], value, length);
            return passes("setsockopt", numbers) ? ::setsockopt(fd, level, option, value, length) : -1;
        };
        OsFaults::bind().instead = [this](int fd, const sockaddr* address, socklen_t length) {
            return passes("bind", {static_cast<int>(length)}) ? ::bind(fd, address, length) : -1;
        };
        OsFaults::listen().instead = [this](int fd, int backlog) {
            return passes("listen", {backlog}) ? ::listen(fd, backlog) : -1;
        };
        OsFaults::connect().instead = [this](int fd, const sockaddr* address, socklen_t length) {
            return passes("connect", {static_cast<int>(length)}) ? connect(fd, address, length) : -1;
        };
        OsFaults::closesocket().instead = [this](int fd) { return passes("close", {}) ? ::close(fd) : -1; };
        OsFaults::setNonBlocking().instead = [this](int fd) {
            return passes("setNonBlocking", {}) && ::fcntl(fd, F_SETFL, O_NONBLOCK) == 0 ? 1 : 0;
        };
        OsFaults::signal().instead = [this](int signal, OS_signalHandler handler) -> OS_signalHandler {
            const bool ours = handler == itcInetSockStream::alrmSigHdl;
            if (!passes(ours ? "signal alrmSigHdl" : "signal", {signal}))
                return SIG_ERR;
            struct sigaction action = {};
            struct sigaction previous = {};
            action.sa_handler = handler;
            ::sigaction(signal, &action, &previous);
            return previous.sa_handler;
        };
        OsFaults::setitimer().instead = [this](int which, const itimerval* value, itimerval* previous) {
            const std::vector<int> numbers = {
                which, static_cast<int>(value->it_interval.tv_sec), static_cast<int>(value->it_interval.tv_usec),
                static_cast<int>(value->it_value.tv_sec), static_cast<int>(value->it_value.tv_usec)};
            return passes(previous != nullptr ? "setitimer" : "setitimer back", numbers)
                       ? ::setitimer(static_cast<__itimer_which_t>(which), value, previous)
                       : -1;
        };
    }

    bool passes(const std::string& name, const std::vector<int>& numbers)
    {
        std::string line = name + "(";
        for (std::size_t i = 0; i < numbers.size(); ++i)
            line += (i > 0 ? ", " : "") + std::to_string(numbers[i]);
        lines.push_back(line + ")");
        if (static_cast<int>(lines.size()) != failing)
            return true;
        errno = error;
        return false;
    }

    const int failing;
    const int error;
    std::vector<std::string> lines;
};
