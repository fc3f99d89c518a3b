// Error numbers and their texts.
// The number stands in front of the text. A text that is cut therefore still names the error.
// If not even the number fits, the result is an empty text: half a number would name another error.
#include <kiv/foundation/OS.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

int OS_getLastError() { return errno; }

const char* OS_getStrError(int errorNumber, char* buffer, size_t size)
{
    const int written = std::snprintf(buffer, size, "[%d] ", errorNumber);
    if (written < 1 || static_cast<size_t>(written) >= size)
        return "";

    // strerror_r() gives the texts of strerror(), and several threads may call strerror_r() at the same time.
    char scratch[128];
    const char* text = ::strerror_r(errorNumber, scratch, sizeof scratch);
    std::strncat(buffer, text, size - 1 - static_cast<size_t>(written));
    buffer[size - 1] = '\0';
    return buffer;
}

char* OS_strerror(...) { return nullptr; }
