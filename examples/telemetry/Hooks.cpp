// The smallest useful hooks: two switches, three flags, one stream. The switches are set before the hooks are
// installed, and never change after that.
#include "Hooks.h"

#include <kiv/kiv.h>

#include <cstdio>

namespace {

bool traceIsOn = false;
bool reportIsOn = false;

// The library asks before it composes a text. A trace that is off therefore costs hardly anything.
bool isOn(short flag) { return (traceIsOn && flag == KivDebug::DBG_KIV) || (reportIsOn && flag == KivDebug::DBG_NFR); }

void print(short /*flag*/, const char* text) { std::fprintf(stderr, "%s\n", text); }

// A host that has its own flags registers the library's flags beside them. Here any three numbers are enough.
short registerFlag(const char* /*component*/, const char* /*group*/, const char* /*name*/, const char* /*description*/)
{
    static short registered = 0;
    return ++registered;
}

void printError(KivError::ErrPrio priority, KivError::ErrType type, KivError::KivErrorCode code, const char* text1,
                const char* text2, const char* text3)
{
    const auto orNothing = [](const char* text) { return text != nullptr ? text : ""; };
    std::fprintf(stderr, "error %d (priority %d, type %d): %s %s %s\n", code, priority, type, orNothing(text1),
                 orNothing(text2), orNothing(text3));
}

} // namespace

void installHooks(bool trace, bool report)
{
    traceIsOn = trace;
    reportIsOn = report;
    KivDebug::initKivDebugPrint(print, isOn, registerFlag);
    KivDebug::initKivErrorPrint(printError);
}
