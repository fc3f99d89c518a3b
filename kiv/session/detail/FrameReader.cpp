// The base class does the work. It asks how much room there is, and asks for more when the announced length has come:
// at these two places the limit is held. The announced length is then in `lengthBuf`.
#include <kiv/session/detail/FrameReader.h>

#include <kiv/connection/itcConnection.h>

#include <algorithm>
#include <cerrno>

namespace kiv {

FrameReader::FrameReader() : itcNdrUbReceive(0) {}

FrameReader::Outcome FrameReader::read(itcConnection& connection)
{
    if (rxState == Complete)
        reset();
    connection >> *this;
    if (severity == Error)
        return Outcome::failed;
    return rxState == Complete ? Outcome::complete : Outcome::incomplete;
}

bool FrameReader::isInsideFrame() const
{
    const bool magicHasBegun = rxState == ReadingMagic && magicRemaining < sizeof magicBuf;
    return magicHasBegun || rxState == ReadingLength || rxState == Transferring;
}

itcClosed FrameReader::failure() const
{
    // The number in the status is that of a failed call. Where no call has failed it is left from an earlier one.
    const auto because = [this](itcClosed::Reason reason, int error = 0) {
        return itcClosed{reason, error, {code, severity, error}};
    };
    switch (code) {
    case Itc_Ndr_Magic_Error:
        return because(itcClosed::notOurProtocol);
    case Itc_Ndr_Ub_Extend_Buffer_Failed:
        return isTooLong() ? because(itcClosed::tooLong) : because(itcClosed::systemError, ENOMEM);
    case Itc_Ndr_Ub_Disconnection:
        // A read of no bytes looks like a peer that has closed: a frame that announces nothing ends here, too.
        if (rxState == Failed && lengthBuf == 0)
            return because(itcClosed::notOurProtocol);
        return because(rxState == Disconnected && magicRemaining == sizeof magicBuf ? itcClosed::peerLeft
                                                                                    : itcClosed::peerLeftInsidePacket);
    default:
        return because(itcClosed::systemError, errorNumber);
    }
}

unsigned int FrameReader::free_buffer_size() const { return std::min(free_buffer_size_inline(), longest); }

void FrameReader::extend_buffer(unsigned int pages)
{
    if (isTooLong())
        static_cast<itcStatus&>(*this) = {Itc_Ndr_Buffer_Alloc_Failed, Error, 0};
    else
        itcNdrUbReceive::extend_buffer(pages);
}

} // namespace kiv
