/// \file
/// Includes every public header of the companion: what stands on the library and gives hosts a safe and short way.
#pragma once

#include <kiv/kiv.h>
#include <kiv/records/itcArrays.h>
#include <kiv/records/itcAsXNDR.h>
#include <kiv/records/itcBounded.h>
#include <kiv/records/itcBytes.h>
#include <kiv/records/itcDescribe.h>
#include <kiv/records/itcField.h>
#include <kiv/records/itcFields.h>
#include <kiv/records/itcPrinted.h>
#include <kiv/records/itcSizeOnWire.h>
#include <kiv/records/itcText.h>
#include <kiv/records/itcValues.h>
#include <kiv/session/itcAcceptor.h>
#include <kiv/session/itcCheckedDispatcher.h>
#include <kiv/session/itcClosed.h>
#include <kiv/session/itcConnector.h>
#include <kiv/session/itcDatagrams.h>
#include <kiv/session/itcLink.h>
#include <kiv/session/itcPost.h>
#include <kiv/session/itcRunUntilSignal.h>
#include <kiv/session/itcSession.h>
#include <kiv/session/itcSignals.h>
#include <kiv/session/itcTimer.h>
