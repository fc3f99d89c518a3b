/// \file
/// What the tests of the resumable buffers share: buffers that show their fields, and a connection with a script.
#pragma once

#include "NdrProbe.h"
#include "StatusMatchers.h"

#include <kiv/connection/itcConnection.h>
#include <kiv/foundation/detail/SetStatus.h>
#include <kiv/ndr/itcNdrUbReceive.h>
#include <kiv/ndr/itcNdrUbSend.h>

#include <algorithm>
#include <deque>
#include <string>
#include <vector>

using kiv::clearStatus;
using kiv::setStatus;

class OpenUbSend : public itcNdrUbSend {
public:
    using itcNDRSend::frameStart;
    using itcNDRSend::storage;
    using itcNDRSend::writePos;
    using itcNdrUbSend::bytesSent;
    using itcNdrUbSend::itcNdrUbSend;
    using itcNdrUbSend::sendPos;
    using itcNdrUbSend::sendRemaining;
    using itcNdrUbSend::tag;
    using itcNdrUbSend::txState;

    std::string data() { return {raw_data(), raw_length()}; }
};

class OpenUbReceive : public itcNdrUbReceive {
public:
    using itcNDRReceive::bufferLast;
    using itcNDRReceive::dataLast;
    using itcNDRReceive::dataStart;
    using itcNDRReceive::readPos;
    using itcNDRReceive::storage;
    using itcNDRReceive::transactionEnd;
    using itcNdrUbReceive::bytesReceived;
    using itcNdrUbReceive::dataPos;
    using itcNdrUbReceive::dataRemaining;
    using itcNdrUbReceive::itcNdrUbReceive;
    using itcNdrUbReceive::lengthBuf;
    using itcNdrUbReceive::lengthPos;
    using itcNdrUbReceive::lengthRemaining;
    using itcNdrUbReceive::magicBuf;
    using itcNdrUbReceive::magicPos;
    using itcNdrUbReceive::magicRemaining;
    using itcNdrUbReceive::rxState;
    using itcNdrUbReceive::tag;
};

/// A connection whose answers a script holds. Calls behind the end of the script would block.
class ScriptedConnection : public itcConnection {
public:
    static constexpr int brokenError = 104;

    ScriptedConnection& takes(unsigned int count) { return add({Step::transfer, count, {}}); }
    ScriptedConnection& takesTheRest() { return add({Step::transfer, ~0U, {}}); }
    ScriptedConnection& gives(const std::string& bytes) { return add({Step::transfer, 0, bytes}); }
    ScriptedConnection& wouldBlock() { return add({Step::block, 0, {}}); }
    ScriptedConnection& closes() { return add({Step::closing, 0, {}}); }
    ScriptedConnection& breaks() { return add({Step::fail, 0, {}}); }

    int InitRead() override
    {
        ++initReads;
        return initReadResult;
    }

    int Read(void* buf, int len) override
    {
        readsAsked.push_back(len);
        if (script.empty() || script.front().kind != Step::transfer)
            return special(-1);
        std::string& waiting = script.front().bytes;
        const auto n = std::min(waiting.size(), static_cast<size_t>(len));
        std::memcpy(buf, waiting.data(), n);
        waiting.erase(0, n);
        if (waiting.empty())
            script.pop_front();
        clearStatus(*this);
        return static_cast<int>(n);
    }

    int Write(const void* buf, int len) override
    {
        if (script.empty() || script.front().kind != Step::transfer)
            return special(0);
        const unsigned int n = std::min(script.front().count, static_cast<unsigned int>(len));
        script.pop_front();
        written.append(static_cast<const char*>(buf), n);
        clearStatus(*this);
        return static_cast<int>(n);
    }

    std::string written;
    std::vector<int> readsAsked;
    int initReads = 0;
    int initReadResult = 0;

private:
    struct Step {
        enum Kind { transfer, block, closing, fail } kind;
        unsigned int count;
        std::string bytes;
    };

    ScriptedConnection& add(Step step)
    {
        script.push_back(std::move(step));
        return *this;
    }

    int special(int blockedResult)
    {
        const Step::Kind kind = script.empty() ? Step::block : script.front().kind;
        if (!script.empty())
            script.pop_front();
        switch (kind) {
        case Step::closing:
            clearStatus(*this);
            return 0;
        case Step::fail:
            setStatus(*this, Itc_Tp_Read_Call_Failed, Error, brokenError);
            return -1;
        default:
            setStatus(*this, Itc_Tp_Would_Block, Warning, 11);
            return blockedResult;
        }
    }

    std::deque<Step> script;
};
