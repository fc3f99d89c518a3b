// The operators on the resumable buffers: the same bytes, the status cleared first, and refusal outside the one state
// that allows puts or takes.
#include "ValueProbe.h"

namespace {

using namespace std::literals;

enum class Colour : std::uint8_t { red = 1, blue = 2 };

struct Sample {
    std::int64_t at = 0;
    std::string place;
    std::vector<float> raw;
    KIV_FIELDS(at, place, raw)
};

struct Versioned {
    int number = 0;
    std::string text;
    KIV_VERSIONED(number, text)
};

// One value of each kind.
template <class Value> Value sample();
template <> std::int64_t sample() { return -5; }
template <> std::byte sample() { return std::byte{7}; }
template <> Colour sample() { return Colour::blue; }
template <> std::string sample() { return "text"; }
template <> std::filesystem::path sample() { return "/a/b"; }
template <> std::array<int, 2> sample() { return {1, 2}; }
template <> std::vector<double> sample() { return {1.5, 2.5}; }
template <> std::vector<bool> sample() { return {true, false}; }
template <> std::list<std::string> sample() { return {"a", "b"}; }
template <> std::set<int> sample() { return {1, 2}; }
template <> std::map<std::string, int> sample() { return {{"a", 1}}; }
template <> std::optional<int> sample() { return 7; }
template <> std::pair<char, double> sample() { return {'c', 2.5}; }
template <> std::variant<int, std::string> sample() { return "v"; }
template <> std::chrono::nanoseconds sample() { return std::chrono::nanoseconds(9); }
template <> std::chrono::system_clock::time_point sample()
{
    return std::chrono::system_clock::time_point(std::chrono::system_clock::duration(8));
}
template <> Sample sample() { return {1, "cellar", {1.5f}}; }
template <> Versioned sample() { return {1, "new"}; }

template <class Value> class ResumableValue : public testing::Test {
protected:
    // The state of a sender. Only calls that lead to this state are used.
    static void bringTo(OpenUbSend& b, int state)
    {
        ScriptedConnection c;
        if (state == Transferring)
            c.takes(3) << b;
        else if (state == Complete)
            c.takesTheRest() << b;
        else if (state == Failed)
            c.breaks() << b;
        ASSERT_EQ(b.txState, state);
    }
};
using OneOfEachKind = testing::Types<std::int64_t, std::byte, Colour, std::string, std::filesystem::path,
                                     std::array<int, 2>, std::vector<double>, std::vector<bool>, std::list<std::string>,
                                     std::set<int>, std::map<std::string, int>, std::optional<int>,
                                     std::pair<char, double>, std::variant<int, std::string>, std::chrono::nanoseconds,
                                     std::chrono::system_clock::time_point, Sample, Versioned>;
TYPED_TEST_SUITE(ResumableValue, OneOfEachKind);

TYPED_TEST(ResumableValue, HasTheBytesOfThePlainBuffer)
{
    OpenUbSend b(1);
    b << 'c' << sample<TypeParam>();
    EXPECT_EQ(b.data().substr(2), bytesOfPuts('c', sample<TypeParam>()));
}

TYPED_TEST(ResumableValue, IsTakenFromACompletePacket)
{
    const std::string data = packet(bytesOfPuts(sample<TypeParam>()));
    OpenUbReceive r(1, data.data(), static_cast<unsigned int>(data.size()));
    TypeParam value{};
    r >> value;
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_EQ(value, sample<TypeParam>());
}

TYPED_TEST(ResumableValue, ClearsTheStatusBeforeAPut)
{
    OpenUbSend b(1, 100);
    leaveError(b);
    b << sample<TypeParam>();
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(b.data().substr(2), bytesOfPuts(sample<TypeParam>()));
}

TYPED_TEST(ResumableValue, ClearsTheStatusBeforeATake)
{
    const std::string data = packet(bytesOfPuts(sample<TypeParam>()));
    OpenUbReceive r(1, data.data(), static_cast<unsigned int>(data.size()));
    leaveError(r);
    TypeParam value{};
    r >> value;
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_EQ(value, sample<TypeParam>());
}

TYPED_TEST(ResumableValue, IsNotPutWhileAFrameIsInTransitOrDone)
{
    for (const int state : {Transferring, Complete, Failed}) {
        OpenUbSend b(1);
        b << 42;
        this->bringTo(b, state);
        const std::string before = b.data();
        b << sample<TypeParam>();
        EXPECT_THAT(b, HasStatus(Itc_Ndr_Ub_Wrong_Transmission_State, Warning)) << state;
        EXPECT_EQ(b.data(), before) << state;
    }
}

TYPED_TEST(ResumableValue, IsNotTakenWithoutACompletePacketAndTheTargetStays)
{
    const std::string data = packet(bytesOfPuts(TypeParam{}));
    for (const int state : {Idle, ReadingMagic, ReadingLength, Transferring, Failed, Disconnected}) {
        OpenUbReceive r(1, data.data(), static_cast<unsigned int>(data.size()));
        r.rxState = state;
        TypeParam value = sample<TypeParam>();
        r >> value;
        EXPECT_THAT(r, HasStatus(Itc_Ndr_Ub_Wrong_Transmission_State, Warning)) << state;
        EXPECT_EQ(value, sample<TypeParam>()) << state;
    }
}

TEST(ResumableArea, ABlockIsNotTakenInTheWrongStateAndItsLengthStays)
{
    OpenUbReceive r(1);
    char area[4] = "abc";
    unsigned int length = 77;
    r >> itcBytes(area, sizeof area, length);
    EXPECT_THAT(r, HasStatus(Itc_Ndr_Ub_Wrong_Transmission_State, Warning));
    EXPECT_EQ(length, 77U);
    EXPECT_STREQ(area, "abc");
}

TEST(ResumableArea, ATextIsNotTakenInTheWrongStateAndStays)
{
    OpenUbReceive r(1);
    char text[8] = "old";
    r >> itcText(text);
    EXPECT_THAT(r, HasStatus(Itc_Ndr_Ub_Wrong_Transmission_State, Warning));
    EXPECT_STREQ(text, "old");
}

TEST(ResumableArea, ALimitedTextIsNotTakenInTheWrongStateAndStays)
{
    OpenUbReceive r(1);
    std::string text = "old";
    r >> itcBounded(text, 80);
    EXPECT_THAT(r, HasStatus(Itc_Ndr_Ub_Wrong_Transmission_State, Warning));
    EXPECT_EQ(text, "old");
}

TEST(ResumableArea, AreasAreTakenFromACompletePacket)
{
    const std::string data = packet(bytesOfPuts("text", itcBytes("xy", 2), "limited"));
    OpenUbReceive r(1, data.data(), static_cast<unsigned int>(data.size()));
    char text[3], area[2];
    unsigned int length = 0;
    std::string limited;
    r >> itcText(text);
    EXPECT_THAT(r, HasStatus(Itc_Ndr_Buffer_Size_Too_Small, Warning));
    r >> itcBytes(area, sizeof area, length);
    EXPECT_THAT(r, HasClearStatus());
    r >> itcBounded(limited, 7);
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_STREQ(text, "te");
    EXPECT_EQ(length, 2U);
    EXPECT_EQ(limited, "limited");
}

TEST(ResumableArray, IsPutAndTaken)
{
    const int numbers[] = {1, 2, 3};
    OpenUbSend b(1);
    EXPECT_TRUE(itcPutArray(b, numbers, 3));
    EXPECT_EQ(b.data().substr(2), bytesOfPuts(1, 2, 3));
    const std::string data = b.data();
    OpenUbReceive r(1, data.data(), static_cast<unsigned int>(data.size()));
    int back[3] = {};
    EXPECT_TRUE(itcTakeArray(r, back, 3));
    EXPECT_EQ(back[2], 3);
}

TEST(ResumableArray, IsRefusedInTheWrongState)
{
    OpenUbSend b(1);
    b << 42;
    ScriptedConnection c;
    c.takes(3) << b;
    const int numbers[] = {1, 2, 3};
    EXPECT_FALSE(itcPutArray(b, numbers, 3));
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Ub_Wrong_Transmission_State, Warning));

    OpenUbReceive r(1);
    int back[3] = {7, 8, 9};
    EXPECT_FALSE(itcTakeArray(r, back, 3));
    EXPECT_THAT(r, HasStatus(Itc_Ndr_Ub_Wrong_Transmission_State, Warning));
    EXPECT_EQ(back[0], 7);
    EXPECT_EQ(back[2], 9);
}

TEST(ResumableChain, ShowsHowTheLastTakeEnded)
{
    const std::string data = packet(bytesOfPuts(0xFFFFFFFFu, "ok"));
    OpenUbReceive r(1, data.data(), static_cast<unsigned int>(data.size()));
    std::vector<int> lost;
    r >> lost;
    EXPECT_THAT(r, HasStatus(Itc_Ndr_End_Of_Data, Warning));
    unsigned int count = 0;
    std::string text;
    r >> count >> text;
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_EQ(text, "ok");
}

} // namespace
