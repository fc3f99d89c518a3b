// The hooks of the host, and the flags that are registered through them.
// At first the check hook and the registration hook are the two built-in functions below. The library therefore calls
// both hooks without a test for null. The print hook is null at first. The library calls the print hook only after a
// yes of the check hook, and the built-in check hook answers no to every flag. A library without hooks is silent.
#include <kiv/foundation/KivDebug.h>

namespace {

bool everyFlagIsOff(short) { return false; }

short nothingIsRegistered(const char*, const char*, const char*, const char*) { return -1; }

// Reads the registration hook from the global before each call: a hook may install another hook.
short registerInCommunication(const char* name, const char* description)
{
    return KivDebug::pRegisterDbgFlag("Core", "Communication", name, description);
}

} // namespace

namespace KivDebug {

PrintHook pKivDebugPrint = nullptr;
CheckHook pKivDebugCheck = everyFlagIsOff;
RegisterHook pRegisterDbgFlag = nothingIsRegistered;
ErrorHook pKivErrorPrint = nullptr;

short DBG_KIV = -1;
short DBG_NFR = -1;
short DBG_SSL = -1;

void initKivDebugPrint(PrintHook print, CheckHook check, RegisterHook registerFlag)
{
    pKivDebugPrint = print;
    pKivDebugCheck = check;
    pRegisterDbgFlag = registerFlag;

    DBG_KIV = registerInCommunication("KIV", "debugs of KIV communication layer");
    DBG_NFR = registerInCommunication("NFR", "performance information for KIV and Tobrin Framework");
    DBG_SSL = registerInCommunication("SSL", "debug information from OpenSSL");
}

void initKivErrorPrint(ErrorHook errorPrint) { pKivErrorPrint = errorPrint; }

} // namespace KivDebug
