// The status as text.
// The names of the codes come from the list that makes the numbers, so names and numbers always agree.
// A status may hold anything: hosts write the fields, too. Every value outside the tables gets a text.
// Memory may be short when a failure is reported. Then the text is empty, and nothing is thrown.
#include <kiv/foundation/itcStatus.h>

#include <kiv/foundation/OS.h>

#include <iterator>
#include <locale>
#include <new>
#include <sstream>

namespace {

#define KIV_AS_TEXT(name) #name,
constexpr const char* codeNames[] = {KIV_STATUS_CODES(KIV_AS_TEXT)};
#undef KIV_AS_TEXT

constexpr const char* severityNames[] = {"Success", "Warning", "Error", "SystemError", "FatalError"};

static_assert(std::size(codeNames) == 75, "the numbers of the codes are known outside: none may come or go");
static_assert(Itc_Ndr_Magic_Error == 14 && Itc_Dp_No_Connection_Linked == 18 && Itc_Ndr_Ub_Extend_Buffer_Failed == 26 &&
                  Itc_Tp_Max_Connections_Reached == 74,
              "the last code of each area marks its end");

constexpr std::size_t errorTextSize = 1024;

} // namespace

std::string itcStatus::STATUS_text() const
try {
    std::ostringstream text;
    text.imbue(std::locale::classic());
    if (severity >= Success && severity <= FatalError)
        text << severityNames[severity];
    text << ": ";
    if (static_cast<unsigned int>(code) < std::size(codeNames))
        text << codeNames[code];
    else
        text << "code = " << code;
    if (errorNumber != 0)
        text << ", " << STATUS_errorno_text();
    if (!text) // a stream that finds no memory does not throw: it only sets its fail bit
        return {};
    return text.str();
} catch (const std::bad_alloc&) {
    return {};
}

std::string itcStatus::STATUS_errorno_text() const
try {
    char buffer[errorTextSize];
    const char* const text = OS_getStrError(errorNumber, buffer, sizeof buffer);
    return text != nullptr ? text : ""; // a program may define its own OS_getStrError(), which may return null
} catch (const std::bad_alloc&) {
    return {};
}
