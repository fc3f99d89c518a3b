/// \file
/// The number of completion receivers that are registered.
#pragma once

/// Does not create a dispatcher.
int registeredReceivers();
