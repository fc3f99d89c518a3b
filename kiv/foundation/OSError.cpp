// Error numbers and their texts.
#include <kiv/foundation/OS.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

int OS_getLastError()
{
    return errno;
}

const char* OS_getStrError(int errorNumber, char* buffer, size_t size)
{
    const int written = std::snprintf(buffer, size, "[%d] ", errorNumber);
    if (written < 1 || static_cast<size_t>(written) >= size)
        return "";

    // The variant of strerror() that several threads may call at once; its texts are the same.
    char scratch[128];
    const char* text = ::strerror_r(errorNumber, scratch, sizeof scratch);
    std::strncat(buffer, text, size - 1 - static_cast<size_t>(written));
    buffer[size - 1] = '\0';
    return buffer;
}

char* OS_strerror(...)
{
    return nullptr;
}
