/// \file
/// The fixture of the local stream tests: a folder of their own, and the sockets of strangers in it.
#pragma once

#include "BareSocket.h"
#include "CallJournal.h"
#include "ConnectionLimit.h"
#include "HookRecorder.h"
#include "OpenedStream.h"
#include "ReadyRecorder.h"
#include "StatusMatchers.h"
#include "TemporaryFolder.h"

#include <kiv/address/itcInetAddress.h>
#include <kiv/address/itcUnixAddress.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/un.h>

#include <cstring>
#include <fstream>
#include <memory>
#include <string>

class UnixStreamTest : public testing::Test {
protected:
    using UnixStreamWithOwnClose = WithOwnClose<OpenedUnixStream>;

    const TemporaryFolder folder;
    const std::string path = folder.path("socket");
    itcUnixAddress address{path.c_str()};

    static sockaddr_storage systemAddress(const std::string& path)
    {
        sockaddr_un local = {};
        local.sun_family = AF_UNIX;
        std::memcpy(local.sun_path, path.data(), path.size());
        sockaddr_storage storage = {};
        std::memcpy(&storage, &local, sizeof local);
        return storage;
    }

    static BareSocket bareSocket() { return BareSocket(mustWork(::socket(AF_UNIX, SOCK_STREAM, 0), "socket")); }

    /// Returns a bound socket. A path of 108 characters has no terminator in the address.
    static BareSocket bareBound(const std::string& path)
    {
        BareSocket socket = bareSocket();
        mustWork(::bind(socket.get(), asSocketAddress(systemAddress(path)), sizeof(sockaddr_un)), "bind");
        return socket;
    }
    static BareSocket bareListener(const std::string& path, int backlog = 5)
    {
        BareSocket socket = bareBound(path);
        mustWork(::listen(socket.get(), backlog), "listen");
        return socket;
    }
    static void bareConnect(const BareSocket& socket, const std::string& path)
    {
        mustWork(::connect(socket.get(), asSocketAddress(systemAddress(path)), sizeof(sockaddr_un)), "connect");
    }
    static BareSocket bareClient(const std::string& path)
    {
        BareSocket socket = bareSocket();
        bareConnect(socket, path);
        return socket;
    }

    /// Leaves a socket file without a listener, like a killed server.
    static void leaveStaleSocketFile(const std::string& path) { bareListener(path); }

    static void makeFile(const std::string& path) { std::ofstream(path) << "not a socket"; }

    static bool exists(const std::string& path)
    {
        struct stat file = {};
        return ::lstat(path.c_str(), &file) == 0;
    }
    static bool isSocketFile(const std::string& path)
    {
        struct stat file = {};
        return ::lstat(path.c_str(), &file) == 0 && S_ISSOCK(file.st_mode);
    }
    static mode_t modeOf(const std::string& path)
    {
        struct stat file = {};
        mustWork(::lstat(path.c_str(), &file), "lstat");
        return file.st_mode & 07777;
    }
};

/// The fixture for tests with a local stream that listens.
class ListeningUnixStreamTest : public UnixStreamTest {
protected:
    ListeningUnixStreamTest() { listener.CreateEndpoint(address); }

    /// Accepts. Returns the accepted connection, which the test owns.
    std::unique_ptr<itcConnection> accept()
    {
        itcConnection* accepted = nullptr;
        listener.AcceptConnection(&accepted, nullptr, nullptr);
        return std::unique_ptr<itcConnection>(accepted);
    }

    OpenedUnixStream listener;
};

/// Sets the process's umask. The destructor restores the earlier umask.
class Umask {
public:
    explicit Umask(mode_t mask) : previous(::umask(mask)) {}
    ~Umask() { ::umask(previous); }
    Umask(const Umask&) = delete;
    Umask& operator=(const Umask&) = delete;

private:
    const mode_t previous;
};
