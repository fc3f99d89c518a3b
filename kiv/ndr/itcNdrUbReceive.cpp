// A resumable receiver outside of its transfer: made, wrapped, reset.
//
// The transfer is in itcNdrUbReceiveTransfer.cpp, the guarded takes are in itcNdrUbReceiveTakes.cpp. Only the transfer,
// the resets and what installs a whole packet change the state.
#include <kiv/ndr/itcNdrUbReceive.h>

#include <kiv/foundation/detail/SetStatus.h>

using namespace kiv;

itcNdrUbReceive::itcNdrUbReceive(unsigned int startTag) : tag(startTag) { zeroTransfer(); }

itcNdrUbReceive::itcNdrUbReceive(unsigned int startTag, unsigned int size)
    : itcNDRReceive(static_cast<int>(size)), tag(startTag)
{
    zeroTransfer();
    clearStatus(*this);
}

itcNdrUbReceive::itcNdrUbReceive(unsigned int startTag, const char* data, unsigned int len)
    : itcNDRReceive(data, len), tag(startTag)
{
    beComplete(len);
    clearStatus(*this);
}

itcNdrUbReceive::~itcNdrUbReceive()
{
    // A debug build that uses a dead object meets a null pointer here instead of freed memory.
    magicPos = lengthPos = dataPos = nullptr;
}

void itcNdrUbReceive::zeroTransfer()
{
    std::memset(magicBuf, 0, sizeof magicBuf);
    magicPos = nullptr;
    magicRemaining = 0;
    lengthBuf = 0;
    lengthPos = reinterpret_cast<char*>(&lengthBuf);
    lengthRemaining = 0;
    dataPos = nullptr;
    dataRemaining = 0;
    rxState = Idle;
    bytesReceived = 0;
}

void itcNdrUbReceive::beComplete(unsigned int length)
{
    zeroTransfer();
    lengthBuf = length;
    dataPos = raw_data();
    rxState = Complete;
    bytesReceived = length;
}

void itcNdrUbReceive::init(char* buf, unsigned int size)
{
    itcNDRReceive::init(buf, size);
    beComplete(size);
}

bool itcNdrUbReceive::mayReset(bool alsoFailed)
{
    clearStatus(*this);
    if (rxState == Idle || rxState == Complete || (alsoFailed && rxState == Failed))
        return true;
    setStatus(*this, Itc_Ndr_Ub_Wrong_Transmission_State, Error);
    return false;
}

void itcNdrUbReceive::reset()
{
    if (!mayReset(false))
        return;
    itcNDRReceive::reset();
    becomeIdle();
}

void itcNdrUbReceive::reset_transmission_state()
{
    if (mayReset(true))
        becomeIdle();
}

void itcNdrUbReceive::becomeIdle()
{
    lengthBuf = 0;
    lengthPos = reinterpret_cast<char*>(&lengthBuf);
    lengthRemaining = 0;
    dataPos = nullptr;
    dataRemaining = 0;
    rxState = Idle;
}
