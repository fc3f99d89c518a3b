#include "Acknowledgement.h"

#include <kiv/kiv.h>

itcNDRSend& operator<<(itcNDRSend& buffer, const Acknowledgement& acknowledgement)
{
    return buffer << acknowledgement.sequence << acknowledgement.sentMicros;
}

itcNDRReceive& operator>>(itcNDRReceive& buffer, Acknowledgement& acknowledgement)
{
    return buffer >> acknowledgement.sequence >> acknowledgement.sentMicros;
}
