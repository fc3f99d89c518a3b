// Takes with a limit: texts into arrays of characters, blocks into areas, and limits for texts and containers.
#include "ValueProbe.h"

namespace {

using namespace std::literals;

const auto tooMany = HasStatus(Itc_Ndr_Buff_Sz_More_Than_Max, Error);
const auto endOfData = HasStatus(Itc_Ndr_End_Of_Data, Warning);
const auto wasCut = HasStatus(Itc_Ndr_Buffer_Size_Too_Small, Warning);

// ---- itcText

class BoundedText : public testing::Test {
protected:
    BoundedText() { std::memset(text, 'z', sizeof text); }

    char text[8];
};

TEST_F(BoundedText, ShorterThanTheArrayIsTakenWhole)
{
    OpenReceive r(packet(bytesOfPuts("abc")));
    r >> itcText(text);
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_STREQ(text, "abc");
}

TEST_F(BoundedText, ThatJustFitsIsTakenWhole)
{
    OpenReceive r(packet(bytesOfPuts("abcdefg")));
    r >> itcText(text);
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_STREQ(text, "abcdefg");
}

TEST_F(BoundedText, ThatIsOneTooLongIsCutAndEnded)
{
    OpenReceive r(packet(bytesOfPuts("abcdefgh")));
    r >> itcText(text);
    EXPECT_THAT(r, wasCut);
    EXPECT_STREQ(text, "abcdefg");
}

TEST_F(BoundedText, ThatWasCutIsLeftBehindWhole)
{
    OpenReceive r(packet(bytesOfPuts("a text that is much longer than the array", 42)));
    int behind = 0;
    r >> itcText(text) >> behind;
    EXPECT_THAT(r, wasCut);
    EXPECT_EQ(behind, 42);
}

TEST_F(BoundedText, ThatWasCutStopsNoTakeOfTheCompanion)
{
    OpenReceive r(packet(bytesOfPuts("much longer than the array", "whole", 2u, 1, 2)));
    std::string whole;
    std::vector<int> numbers;
    r >> itcText(text) >> whole >> numbers;
    EXPECT_THAT(r, wasCut);
    EXPECT_EQ(whole, "whole");
    EXPECT_EQ(numbers, (std::vector<int>{1, 2}));
}

TEST_F(BoundedText, FailsWhenALaterValueIsMissing)
{
    OpenReceive r(packet(bytesOfPuts("much longer than the array")));
    std::string missing = "old";
    r >> itcText(text) >> missing;
    EXPECT_THAT(r, endOfData);
    EXPECT_EQ(missing, "");
}

TEST_F(BoundedText, WithoutAZeroIsEnded)
{
    OpenReceive r(packet("\0\0"s + word(3) + "abc"));
    r >> itcText(text);
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_STREQ(text, "abc");
}

TEST_F(BoundedText, WithoutAZeroThatFillsTheArrayIsCut)
{
    OpenReceive r(packet("\0\0"s + word(8) + "abcdefgh"));
    r >> itcText(text);
    EXPECT_THAT(r, wasCut);
    EXPECT_STREQ(text, "abcdefg");
}

TEST_F(BoundedText, OfLengthZeroIsEmpty)
{
    OpenReceive r(packet("\0\0"s + word(0)));
    r >> itcText(text);
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_STREQ(text, "");
}

TEST_F(BoundedText, PaddedWithZerosIsNotCut)
{
    OpenReceive r(packet("\0\0"s + word(20) + "abcdefg" + std::string(13, '\0')));
    r >> itcText(text);
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_STREQ(text, "abcdefg");
}

TEST_F(BoundedText, ThatIsNotThereEmptiesTheArray)
{
    OpenReceive r(packet("\0\0"s + word(9) + "abcdefg\0"s));
    r >> itcText(text);
    EXPECT_THAT(r, endOfData);
    EXPECT_EQ(std::string(text, sizeof text), std::string(sizeof text, '\0'));
    EXPECT_EQ(r.position(), 2);
}

TEST_F(BoundedText, InAnArrayOfOneCharacterIsCutToNothing)
{
    OpenReceive r(packet(bytesOfPuts("a")));
    r >> itcText(text, 1);
    EXPECT_THAT(r, wasCut);
    EXPECT_EQ(text[0], '\0');
    EXPECT_EQ(text[1], 'z');
}

TEST_F(BoundedText, EmptyFitsIntoOneCharacter)
{
    OpenReceive r(packet(bytesOfPuts("")));
    r >> itcText(text, 1);
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_EQ(text[0], '\0');
}

TEST_F(BoundedText, IntoANullArrayFails)
{
    OpenReceive r(packet(bytesOfPuts("abc")));
    r >> itcText(nullptr, 8);
    EXPECT_THAT(r, HasStatus(Itc_Ndr_No_Buffer_Provided, Error));
    EXPECT_EQ(r.position(), 2);
}

TEST_F(BoundedText, IntoAnArrayOfSizeZeroFailsAndWritesNothing)
{
    OpenReceive r(packet(bytesOfPuts("abc")));
    r >> itcText(text, 0);
    EXPECT_THAT(r, HasStatus(Itc_Ndr_No_Buffer_Provided, Error));
    EXPECT_EQ(text[0], 'z');
}

// ---- itcBytes

class BoundedBytes : public testing::Test {
protected:
    char area[4] = {'z', 'z', 'z', 'z'};
    unsigned int length = 77;
};

TEST_F(BoundedBytes, ThatJustFitAreTaken)
{
    OpenReceive r(packet(bytesOfPuts(itcBytes("a\0bc", 4))));
    r >> itcBytes(area, sizeof area, length);
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_EQ(length, 4U);
    EXPECT_EQ(std::string(area, 4), "a\0bc"s);
}

TEST_F(BoundedBytes, ShorterThanTheAreaLeaveTheRestAlone)
{
    OpenReceive r(packet(bytesOfPuts(itcBytes("a", 1))));
    r >> itcBytes(area, sizeof area, length);
    EXPECT_EQ(length, 1U);
    EXPECT_EQ(std::string(area, 4), "azzz");
}

TEST_F(BoundedBytes, ThatAreOneTooManyAreRefused)
{
    OpenReceive r(packet(bytesOfPuts(itcBytes("abcde", 5))));
    r >> itcBytes(area, sizeof area, length);
    EXPECT_THAT(r, tooMany);
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(std::string(area, 4), "zzzz");
    EXPECT_EQ(r.position(), 2);
}

TEST_F(BoundedBytes, ThatAreNotAllThereAreNotTaken)
{
    OpenReceive r(packet("\0\0"s + word(4) + "abc"));
    r >> itcBytes(area, sizeof area, length);
    EXPECT_THAT(r, endOfData);
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(std::string(area, 4), "zzzz");
    EXPECT_EQ(r.position(), 2);
}

TEST_F(BoundedBytes, IntoANullAreaAreRefused)
{
    OpenReceive r(packet(bytesOfPuts(itcBytes("a", 1))));
    r >> itcBytes(nullptr, 4, length);
    EXPECT_THAT(r, HasStatus(Itc_Ndr_No_Buffer_Provided, Error));
    EXPECT_EQ(length, 0U);
}

TEST_F(BoundedBytes, WithoutBytesGoIntoANullAreaOfSizeZero)
{
    OpenReceive r(packet(bytesOfPuts(itcBytes("", 0))));
    r >> itcBytes(nullptr, 0, length);
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_EQ(length, 0U);
}

TEST_F(BoundedBytes, AreReadByTheLibraryAndByAVector)
{
    OpenReceive r(packet(bytesOfPuts(itcBytes("abc", 3), itcBytes("de", 2))));
    itcBinData data;
    data.data = area;
    std::vector<std::byte> vector;
    r >> data >> vector;
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_EQ(std::string(area, 3), "abc");
    EXPECT_EQ(vector, (std::vector<std::byte>{std::byte{'d'}, std::byte{'e'}}));
}

// ---- itcBounded

template <class Value> Value three();
template <> std::string three() { return "abc"; }
template <> std::filesystem::path three() { return "abc"; }
template <> std::vector<int> three() { return {1, 2, 3}; }
template <> std::vector<bool> three() { return {true, false, true}; }
template <> std::vector<std::string> three() { return {"a", "b", "c"}; }
template <> std::deque<int> three() { return {1, 2, 3}; }
template <> std::list<std::string> three() { return {"a", "b", "c"}; }
template <> std::set<int> three() { return {1, 2, 3}; }
template <> std::multiset<int> three() { return {1, 1, 1}; }
template <> std::unordered_set<int> three() { return {1, 2, 3}; }
template <> std::map<int, int> three() { return {{1, 1}, {2, 2}, {3, 3}}; }
template <> std::unordered_map<int, std::string> three() { return {{1, "a"}, {2, "b"}, {3, "c"}}; }

template <class Value> class BoundedValue : public testing::Test {};
using WithACount =
    testing::Types<std::string, std::filesystem::path, std::vector<int>, std::vector<bool>, std::vector<std::string>,
                   std::deque<int>, std::list<std::string>, std::set<int>, std::multiset<int>, std::unordered_set<int>,
                   std::map<int, int>, std::unordered_map<int, std::string>>;
TYPED_TEST_SUITE(BoundedValue, WithACount);

TYPED_TEST(BoundedValue, AtTheLimitIsTaken)
{
    OpenReceive r(packet(bytesOfPuts(three<TypeParam>())));
    TypeParam value;
    r >> itcBounded(value, 3);
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_EQ(value, three<TypeParam>());
}

TYPED_TEST(BoundedValue, AboveTheLimitIsRefusedAndTheTargetEmpty)
{
    OpenReceive r(packet(bytesOfPuts(three<TypeParam>())));
    TypeParam value = three<TypeParam>();
    r >> itcBounded(value, 2);
    EXPECT_THAT(r, tooMany);
    EXPECT_TRUE(value.empty());
    EXPECT_EQ(r.position(), 2);
}

TYPED_TEST(BoundedValue, EmptyIsTakenWithALimitOfZero)
{
    OpenReceive r(packet(bytesOfPuts(TypeParam())));
    TypeParam value = three<TypeParam>();
    r >> itcBounded(value, 0);
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_TRUE(value.empty());
}

TYPED_TEST(BoundedValue, IsRefusedWithALimitOfZero)
{
    OpenReceive r(packet(bytesOfPuts(three<TypeParam>())));
    TypeParam value = three<TypeParam>();
    r >> itcBounded(value, 0);
    EXPECT_THAT(r, tooMany);
    EXPECT_TRUE(value.empty());
}

TYPED_TEST(BoundedValue, WithALimitAboveWhatIsLeftIsStillHeldAgainstThePacket)
{
    OpenReceive r(packet("\0\0"s + word(0x7FFFFFFF) + "abcdefgh"));
    TypeParam value = three<TypeParam>();
    r >> itcBounded(value, std::numeric_limits<size_t>::max());
    EXPECT_THAT(r, endOfData);
    EXPECT_TRUE(value.empty());
}

TEST(BoundedView, AtTheLimitIsTaken)
{
    OpenReceive r(packet(bytesOfPuts("abc")));
    std::string_view view;
    r >> itcBounded(view, 3);
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_EQ(view, "abc");
}

TEST(BoundedView, AboveTheLimitIsRefused)
{
    OpenReceive r(packet(bytesOfPuts("abc")));
    std::string_view view = "old";
    r >> itcBounded(view, 2);
    EXPECT_THAT(r, tooMany);
    EXPECT_EQ(view, "");
}

TEST(BoundedView, OfATextWithoutAZeroCountsAllItsBytes)
{
    OpenReceive r(packet("\0\0"s + word(3) + "abc"));
    std::string_view view;
    r >> itcBounded(view, 2);
    EXPECT_THAT(r, tooMany);
}

// ---- Counts that the packet cannot hold

template <class Value> class AnnouncedCount : public testing::Test {};
using Counted =
    testing::Types<std::string, std::string_view, std::filesystem::path, std::vector<char>, std::vector<short>,
                   std::vector<int>, std::vector<double>, std::vector<bool>, std::vector<std::string>,
                   std::vector<std::pair<double, double>>, std::deque<double>, std::list<int>, std::set<double>,
                   std::map<double, double>, std::unordered_map<int, std::string>>;
TYPED_TEST_SUITE(AnnouncedCount, Counted);

TYPED_TEST(AnnouncedCount, IsRefusedBeforeMemoryIsAskedFor)
{
    // Some of these counts, times the size of an element, are small numbers again in 32 bits.
    for (const unsigned int count :
         {0x10000000U, 0x20000000U, 0x20000001U, 0x40000000U, 0x7FFFFFFFU, 0x80000000U, 0x80000001U, 0xFFFFFFFFU}) {
        OpenReceive r(packet("\0\0"s + word(count) + std::string(24, '\1')));
        TypeParam value{};
        r >> value;
        EXPECT_THAT(r, endOfData) << count;
        EXPECT_TRUE(value.empty()) << count;
        EXPECT_EQ(r.position(), 2) << count;
    }
}

} // namespace
