/// \file
/// Internal: one kind of interest as the dispatcher's tables keep it.
#pragma once

#include <kiv/dispatcher/itcDispatcher.h>

/// The set and the two tables of one kind; all null for what is no single kind.
struct itcDispatcher::Interest {
    FdMask* mask;
    itcIOHandler** handlers;
    char** data;
};
