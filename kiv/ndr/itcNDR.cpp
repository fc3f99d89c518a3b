// The format codes of this process. Hosts may change them before the first packet is built.
#include <kiv/ndr/itcNDR.h>

itcNDR::~itcNDR() = default;

int itcNDR::ndr_endian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? 1 : 0;
int itcNDR::ndr_float = 0;
int itcNDR::ndr_char = 0;
