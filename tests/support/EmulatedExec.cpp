// Tests that need a process of their own start this program anew. Where it runs under an emulator the system can not do
// that, so the emulator is started instead. This execv() stands before the C library's, also for GoogleTest.
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
