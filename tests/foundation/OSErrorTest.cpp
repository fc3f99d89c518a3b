// The last error number, and the texts of error numbers in buffers of every size.
#include <kiv/foundation/OS.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ostream>
#include <string>
#include <thread>

namespace {

const std::string systemText = std::strerror(EAGAIN); // "Resource temporarily unavailable"

// Asks for the text of EAGAIN (11). The layer is told that the buffer has `size` bytes.
struct Asked {
    explicit Asked(size_t size)
    {
        std::fill(std::begin(buffer), std::end(buffer), '#');
        result = OS_getStrError(EAGAIN, buffer, size);
    }

    char buffer[1100];
    const char* result;
};

std::string textOf(int errorNumber)
{
    char buffer[1024];
    return OS_getStrError(errorNumber, buffer, sizeof buffer);
}

TEST(OSLastError, IsErrno)
{
    errno = EDOM;
    EXPECT_EQ(OS_getLastError(), EDOM);
    errno = 0;
    EXPECT_EQ(OS_getLastError(), 0);
}

TEST(OSLastError, IsTheCallingThreadsOwn)
{
    errno = EDOM;
    int elsewhere = -1;
    std::thread([&] {
        errno = ERANGE;
        elsewhere = OS_getLastError();
    }).join();

    EXPECT_EQ(elsewhere, ERANGE);
    EXPECT_EQ(OS_getLastError(), EDOM);
}

TEST(OSErrorText, IsTheNumberInBracketsAndTheSystemsText)
{
    const Asked asked(1024);

    EXPECT_EQ(asked.result, asked.buffer);
    EXPECT_EQ(asked.result, "[11] " + systemText);
}

TEST(OSErrorText, ExistsForEveryNumber)
{
    EXPECT_EQ(textOf(0), std::string("[0] ") + std::strerror(0));
    EXPECT_EQ(textOf(-2), std::string("[-2] ") + std::strerror(-2));
    EXPECT_EQ(textOf(99999), std::string("[99999] ") + std::strerror(99999));
    EXPECT_EQ(textOf(INT_MIN), std::string("[-2147483648] ") + std::strerror(INT_MIN));
}

TEST(OSErrorText, IsCutToTheSize)
{
    const Asked asked(8);

    EXPECT_EQ(asked.result, asked.buffer);
    EXPECT_EQ(asked.result, "[11] " + systemText.substr(0, 2));
    EXPECT_EQ(asked.buffer[8], '#');
}

TEST(OSErrorText, KeepsTheBareNumberWhereNothingElseFits) { EXPECT_STREQ(Asked(6).result, "[11] "); }

TEST(OSErrorText, FitsExactly)
{
    const Asked asked(5 + systemText.size() + 1);

    EXPECT_EQ(asked.result, "[11] " + systemText);
}

TEST(OSErrorText, TerminatesTheBuffersLastByte)
{
    const Asked asked(1024);

    EXPECT_EQ(asked.buffer[1023], '\0');
    EXPECT_EQ(asked.buffer[1022], '#');
    EXPECT_EQ(asked.buffer[1024], '#');
}

struct Room {
    size_t size;
    const char* left; // the expected content of the buffer
    friend std::ostream& operator<<(std::ostream& out, const Room& parameter) { return out << parameter.size; }
};

class OSErrorTextWithoutRoom : public testing::TestWithParam<Room> {};

TEST_P(OSErrorTextWithoutRoom, IsAnEmptyTextElsewhere)
{
    const size_t size = GetParam().size;
    const Asked asked(size);

    EXPECT_STREQ(asked.result, "");
    EXPECT_NE(asked.result, asked.buffer);
    EXPECT_EQ(asked.result, Asked(size).result) << "one static text";
}

TEST_P(OSErrorTextWithoutRoom, LeavesTheBufferAsFarAsItWasWritten)
{
    const auto [size, left] = GetParam();
    const Asked asked(size);

    EXPECT_STREQ(asked.buffer, left);
    EXPECT_EQ(asked.buffer[size], '#');
}

INSTANTIATE_TEST_SUITE_P(, OSErrorTextWithoutRoom,
                         testing::Values(Room{1, ""}, Room{3, "[1"}, Room{4, "[11"}, Room{5, "[11]"}));

TEST(OSErrorText, OfNoRoomAtAllTouchesNothing)
{
    const Asked asked(0);

    EXPECT_STREQ(asked.result, "");
    EXPECT_EQ(asked.buffer[0], '#');
}

TEST(OSStrerror, IsNullWhateverItIsGiven)
{
    char buffer[64] = "untouched";

    EXPECT_EQ(OS_strerror(), nullptr);
    EXPECT_EQ(OS_strerror(EAGAIN), nullptr);
    EXPECT_EQ(OS_strerror(EAGAIN, buffer, sizeof buffer), nullptr);
    EXPECT_STREQ(buffer, "untouched");
}

} // namespace
