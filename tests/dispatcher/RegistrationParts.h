/// \file
/// Looks into the tables of a dispatcher.
#pragma once

#include "DispatcherParts.h"

#include <tuple>

class Registration : public testing::Test {
protected:
    // The registration of a descriptor for one kind of interest: whether the bit is set, the handler, the client data.
    using Entry = std::tuple<bool, itcIOHandler*, char*>;
    Entry entry(const Kind& kind, int fd)
    {
        return {(dispatcher.*kind.set)->isSet(fd), (dispatcher.*kind.handlers)[fd], (dispatcher.*kind.data)[fd]};
    }
    static Entry nothing() { return {false, nullptr, nullptr}; }

    void expectNothingRegistered()
    {
        EXPECT_EQ(dispatcher.nfds, 0);
        for (int fd = 0; fd < 1024; ++fd) {
            ASSERT_EQ(dispatcher.connections[fd], nullptr) << fd;
            for (const Kind& kind : kinds)
                ASSERT_EQ(entry(kind, fd), nothing()) << fd << " " << kind.name;
        }
    }

    OpenDispatcher dispatcher;
    OpenedConnection conn, other;
    Handler h1, h2;
    char data1 = 'x', data2 = 'y';
};
