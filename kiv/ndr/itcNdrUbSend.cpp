// A resumable sender outside of its transfer: made, reset.
//
// The transfer is in itcNdrUbSendTransfer.cpp, the guarded puts are in itcNdrUbSendPuts.cpp. Only the transfer and the
// resets change the state.
#include <kiv/ndr/itcNdrUbSend.h>

#include <kiv/foundation/detail/SetStatus.h>

using namespace kiv;

itcNdrUbSend::itcNdrUbSend(unsigned int startTag)
    : sendPos(nullptr), sendRemaining(0), txState(Idle), bytesSent(0), tag(startTag)
{}

itcNdrUbSend::itcNdrUbSend(unsigned int startTag, unsigned int size)
    : itcNDRSend(static_cast<int>(size)), sendPos(nullptr), sendRemaining(0), txState(Idle), bytesSent(0), tag(startTag)
{
    clearStatus(*this);
}

itcNdrUbSend::~itcNdrUbSend()
{
    sendPos = nullptr; // a debug build that uses a dead object meets a null pointer instead of freed memory
}

bool itcNdrUbSend::mayReset()
{
    clearStatus(*this);
    if (txState == Idle || txState == Complete || txState == Failed)
        return true;
    setStatus(*this, Itc_Ndr_Ub_Wrong_Transmission_State, Error);
    return false;
}

void itcNdrUbSend::reset()
{
    if (!mayReset())
        return;
    itcNDRSend::reset();
    becomeIdle();
}

void itcNdrUbSend::reset_transmission_state()
{
    if (mayReset())
        becomeIdle();
}

void itcNdrUbSend::becomeIdle()
{
    sendPos = nullptr;
    sendRemaining = 0;
    txState = Idle;
}
