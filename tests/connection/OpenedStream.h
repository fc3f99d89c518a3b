/// \file
/// Connections that show their protected fields, and connections that notice which of their operations are called.
#pragma once

#include <kiv/connection/itcInetSockDgram.h>
#include <kiv/connection/itcInetSockStream.h>
#include <kiv/connection/itcUnixSockStream.h>

#include <vector>

/// A connection that shows the protected fields of every connection.
template <class Base> class Opened : public Base {
public:
    using Base::Base;
    using Base::connOptions;
    using Base::connState;
    using Base::connType;
    using Base::readByteCount;
    using Base::readCallCount;
    using Base::td;
    using Base::writeByteCount;
    using Base::writeCallCount;
};

class OpenedStream : public Opened<itcInetSockStream> {
public:
    using itcInetSockStream::connTimeout;
    using Opened::Opened;
};

class OpenedDatagram : public Opened<itcInetSockDgram> {
public:
    using itcInetSockDgram::buflen;
    using itcInetSockDgram::peerAddress;
    using itcInetSockDgram::recvBuffer;
    using Opened::Opened;
};

class OpenedUnixStream : public Opened<itcUnixSockStream> {
public:
    using itcUnixSockStream::boundPath;
    using Opened::Opened;
};

/// Counts how often a connection was closed through the virtual table.
struct CountsCloses {
    virtual ~CountsCloses() = default;
    int closes = 0;
};

/// A connection that notices when it is closed through the virtual table.
template <class Base> class WithOwnClose : public Base, public CountsCloses {
public:
    using Base::Base;

    bool Close() override
    {
        ++closes;
        return Base::Close();
    }
};

/// A stream that notices which of its steps are called through the virtual table.
class StreamWithOwnSteps : public WithOwnClose<OpenedStream> {
public:
    using WithOwnClose::WithOwnClose;

    bool SetOption(ConnOptions opt) override
    {
        optionsSet.push_back(opt);
        return OpenedStream::SetOption(opt);
    }

    std::vector<ConnOptions> optionsSet;
};
