#include <kiv/ndr/itcXNDR.h>

itcXNDR::~itcXNDR() = default;
