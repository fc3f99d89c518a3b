// Some tests need a process of their own: GoogleTest starts the test program again. If the program runs under an
// emulator, the system cannot start the program directly. This execv() starts the emulator with the program. It
// replaces the C library's execv(), also for GoogleTest.
#include <unistd.h>

#include <vector>

extern "C" int execv(const char* path, char* const arguments[])
{
    std::vector<const char*> command = {KIV_TEST_EMULATOR, path};
    for (char* const* argument = arguments + 1; *argument != nullptr; ++argument)
        command.push_back(*argument);
    command.push_back(nullptr);
    return ::execvp(command[0], const_cast<char* const*>(command.data()));
}
