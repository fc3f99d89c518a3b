#include "MessageReader.h"

namespace {

constexpr unsigned int mostPages = 1; // 4096 bytes: ours have less than 200

}

MessageReader::MessageReader() : itcNdrUbReceive(0) {}

bool MessageReader::read(itcConnection& connection)
{
    if (rxState == Complete)
        reset();
    connection >> *this;
    return rxState == Complete;
}

bool MessageReader::hasPeerLeft() const
{
    return rxState == Disconnected && magicRemaining == sizeof magicBuf;
}

bool MessageReader::isInsideMessage() const
{
    const bool magicHasBegun = rxState == ReadingMagic && magicRemaining < sizeof magicBuf;
    return magicHasBegun || rxState == ReadingLength || rxState == Transferring;
}

// Asked for as soon as a length has come, before any of the data.
void MessageReader::extend_buffer(unsigned int pages)
{
    if (pages <= mostPages)
        itcNdrUbReceive::extend_buffer(pages);
    else
        static_cast<itcStatus&>(*this) = itcStatus{Itc_Ndr_Buffer_Alloc_Failed, Error, 0};
}
