// The base class does the work; this class reads its protected fields for two questions: has a message begun, and did
// the peer close between two messages. The magic is the first part of a message, so "no byte of the magic has come"
// means "between two messages".
#include "MessageReader.h"

namespace {

constexpr unsigned int mostPages = 1; // 4096 bytes: the messages have less than 200

}

MessageReader::MessageReader() : itcNdrUbReceive(0) {}

bool MessageReader::read(itcConnection& connection)
{
    if (rxState == Complete)
        reset();
    connection >> *this;
    return rxState == Complete;
}

bool MessageReader::hasPeerLeft() const { return rxState == Disconnected && magicRemaining == sizeof magicBuf; }

bool MessageReader::isInsideMessage() const
{
    const bool magicHasBegun = rxState == ReadingMagic && magicRemaining < sizeof magicBuf;
    return magicHasBegun || rxState == ReadingLength || rxState == Transferring;
}

// The base class calls this when the announced length has come, before it reads any data. So a large announced length
// costs no memory.
void MessageReader::extend_buffer(unsigned int pages)
{
    if (pages <= mostPages)
        itcNdrUbReceive::extend_buffer(pages);
    else
        static_cast<itcStatus&>(*this) = itcStatus{Itc_Ndr_Buffer_Alloc_Failed, Error, 0};
}
