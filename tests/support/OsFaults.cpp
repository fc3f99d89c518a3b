// The functions that replace the library's OS_ functions in the test program. The dynamic linker finds the program's
// functions first. Each of them finds the library's function with dlsym().
#include "OsFaults.h"

#include <csignal>
#include <dlfcn.h>
#include <string_view>

namespace {

// Returns the library's own function of this name: the next definition behind that of the test program. dlsym() may
// change `errno`, which a test may have set for OS_getLastError(). Therefore `errno` is kept.
template <class Function> Function* libraryFunction(const char* name)
{
    const int kept = errno;
    auto* const function = reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
    errno = kept;
    return function;
}

// The call that failAnyCall() makes to fail.
struct {
    std::mutex mutex;
    int callsLeft = 0; // up to the failing call, which is counted too; 0 when no call is to fail
    int error = 0;
    const char* failed = "";
} anyCall;

} // namespace

// Static objects may still call these functions in their destructors. Therefore the scripts are never destroyed.
#define KIV_DEFINE_CALL(result, name, failure, parameters, arguments)                                                  \
    OsCall<result parameters>& OsFaults::name()                                                                        \
    {                                                                                                                  \
        static auto& script = *new OsCall<result parameters>(failure, #name);                                          \
        return script;                                                                                                 \
    }                                                                                                                  \
    result OS_##name parameters                                                                                        \
    {                                                                                                                  \
        static const auto real = libraryFunction<result parameters>("OS_" #name);                                      \
        return OsFaults::name().call arguments;                                                                        \
    }
KIV_OS_FAULTS(KIV_DEFINE_CALL)
#undef KIV_DEFINE_CALL

void OsFaults::failAnyCall(int nth, int error)
{
    std::lock_guard lock(anyCall.mutex);
    anyCall.callsLeft = nth;
    anyCall.error = error;
    anyCall.failed = "";
}

std::string OsFaults::failedCall()
{
    std::lock_guard lock(anyCall.mutex);
    return anyCall.failed;
}

bool OsFaults::isCallToFail(const char* name)
{
    if (std::string_view(name) == "getLastError") // cannot fail
        return false;
    std::lock_guard lock(anyCall.mutex);
    if (anyCall.callsLeft == 0 || --anyCall.callsLeft > 0)
        return false;
    anyCall.failed = name;
    errno = anyCall.error;
    return true;
}

void OsFaults::clearAll()
{
    failAnyCall(0, 0);
#define KIV_CLEAR_SCRIPT(result, name, failure, parameters, arguments) name().clear();
    KIV_OS_FAULTS(KIV_CLEAR_SCRIPT)
#undef KIV_CLEAR_SCRIPT
}
