/// \file
/// How many completion receivers the dispatcher knows.
#pragma once

/// Looks without creating a dispatcher.
int registeredReceivers();
