// The home of the virtual table of records.
#include <kiv/ndr/itcXNDR.h>

itcXNDR::~itcXNDR() = default;
