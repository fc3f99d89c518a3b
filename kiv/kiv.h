/// \file
/// Everything that the library offers.
#pragma once

#include <kiv/address/itcAddress.h>
#include <kiv/address/itcInetAddress.h>
#include <kiv/connection/itcConnection.h>
#include <kiv/connection/itcInetSockStream.h>
#include <kiv/connection/itcLocalConnection.h>
#include <kiv/connection/itcNetConnection.h>
#include <kiv/dispatcher/FdMask.h>
#include <kiv/dispatcher/ICBKivReady.h>
#include <kiv/dispatcher/TimerQueue.h>
#include <kiv/dispatcher/Timeval.h>
#include <kiv/dispatcher/itcAsyncFuncReady.h>
#include <kiv/dispatcher/itcDispatcher.h>
#include <kiv/dispatcher/itcIOHandler.h>
#include <kiv/foundation/ItcStatusCode.h>
#include <kiv/foundation/KivDebug.h>
#include <kiv/foundation/OS.h>
#include <kiv/foundation/itcStatus.h>
#include <kiv/ndr/itcBinData.h>
#include <kiv/ndr/itcMsgHdr.h>
#include <kiv/ndr/itcNDR.h>
#include <kiv/ndr/itcNDRReceive.h>
#include <kiv/ndr/itcNDRSend.h>
#include <kiv/ndr/itcXNDR.h>
