// Many numbers in one step: the bytes and the status of putting and taking them one by one.
#include "ValueProbe.h"

namespace {

const auto endOfData = HasStatus(Itc_Ndr_End_Of_Data, Warning);
const auto noArray = HasStatus(Itc_Ndr_No_Buffer_Provided, Error);

enum class Colour : std::uint8_t { red = 1, blue = 2 };
enum class Answer : bool { no, yes };
enum class Code : std::int16_t { one = 0x0102 };

template <class Number> class NumberArray : public testing::Test {
protected:
    static constexpr size_t count = 5;

    NumberArray()
    {
        unsigned char next = 0;
        for (Number& number : numbers) {
            number = static_cast<Number>(next);
            next += 37;
        }
    }

    std::string oneByOne(const char* before) const
    {
        OpenSend b;
        b.insert(before, static_cast<int>(std::strlen(before)), false);
        for (const Number& number : numbers)
            b << number;
        return b.data();
    }

    // Takes one by one and in one step, and expects the same of both.
    void expectTheSame(const std::string& data)
    {
        OpenReceive one(data), bulk(data);
        Number expected[count] = {}, taken[count];
        for (size_t i = 0; i < count; ++i)
            taken[i] = static_cast<Number>(9);
        for (Number& number : expected)
            one >> number;
        const bool allThere = itcTakeArray(bulk, taken, count);
        EXPECT_EQ(bytesOf(taken), bytesOf(expected));
        EXPECT_EQ(bulk.position(), one.position());
        EXPECT_EQ(bulk.code, one.code);
        EXPECT_EQ(bulk.severity, one.severity);
        EXPECT_EQ(allThere, one.severity == Success);
        expectSound(bulk);
    }

    Number numbers[count];
};
using ArrayNumbers = testing::Types<bool, char, signed char, unsigned char, short, unsigned short, int, unsigned int,
                                    float, double, long long, unsigned long long, std::int64_t, std::size_t, std::byte,
                                    Colour, Answer, Code, std::chrono::nanoseconds, std::chrono::duration<float>>;
TYPED_TEST_SUITE(NumberArray, ArrayNumbers);

TYPED_TEST(NumberArray, IsPutAsOneByOne)
{
    for (const char* before : {"", "p", "pp", "ppp", "pppp", "ppppp", "pppppp", "ppppppp"}) {
        OpenSend b(128);
        std::memset(b.writePos, 0xEE, 100);
        b.insert(before, static_cast<int>(std::strlen(before)), false);
        EXPECT_TRUE(itcPutArray(b, this->numbers, this->count));
        EXPECT_THAT(b, HasClearStatus());
        EXPECT_EQ(b.data(), this->oneByOne(before));
    }
}

TYPED_TEST(NumberArray, IsTakenAsOneByOne) { this->expectTheSame(this->oneByOne("") + "behind"); }

TYPED_TEST(NumberArray, IsTakenAsOneByOneFromEveryShortPacket)
{
    const std::string data = this->oneByOne("");
    for (size_t size = 0; size < data.size(); ++size)
        this->expectTheSame(data.substr(0, size));
}

TYPED_TEST(NumberArray, IsTakenAsOneByOneFromAPeerOfTheOtherByteOrder)
{
    const std::string values = this->oneByOne("").substr(2);
    this->expectTheSame(packet(values, 0x00));
    this->expectTheSame(packet(values.substr(0, values.size() - 1), 0x00));
}

TYPED_TEST(NumberArray, IsTakenAsOneByOneFromAPeerOfTheOtherFloatFormat)
{
    const std::string values = this->oneByOne("").substr(2);
    this->expectTheSame(packet(values, 0x10, 1));
    this->expectTheSame(packet(values, 0x00, 1));
}

TYPED_TEST(NumberArray, OfNoNumbersChangesNothing)
{
    OpenSend b;
    b << 'c';
    const std::string before = b.data();
    EXPECT_TRUE(itcPutArray(b, this->numbers, 0));
    EXPECT_TRUE(itcPutArray(b, static_cast<const TypeParam*>(nullptr), 0));
    EXPECT_EQ(b.data(), before);

    OpenReceive r(b.data());
    EXPECT_TRUE(itcTakeArray(r, this->numbers, 0));
    EXPECT_TRUE(itcTakeArray(r, static_cast<TypeParam*>(nullptr), 0));
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_EQ(r.position(), 2);
}

TYPED_TEST(NumberArray, ThatIsNullFails)
{
    OpenSend b;
    b << 'c';
    EXPECT_FALSE(itcPutArray(b, static_cast<const TypeParam*>(nullptr), 1));
    EXPECT_THAT(b, noArray);
    EXPECT_EQ(b.values(), "c");

    OpenReceive r(b.data() + std::string(16, '\0'));
    EXPECT_FALSE(itcTakeArray(r, static_cast<TypeParam*>(nullptr), 1));
    EXPECT_THAT(r, noArray);
    EXPECT_EQ(r.position(), 2);
}

TYPED_TEST(NumberArray, IsNotPutIntoABufferInError)
{
    OpenSend b(100);
    leaveError(b);
    EXPECT_FALSE(itcPutArray(b, this->numbers, this->count));
    EXPECT_THAT(b, HasStatus(Itc_Tp_New_Path_Error, Error, 4711));
    EXPECT_EQ(b.values(), "");
}

TYPED_TEST(NumberArray, IsPutWholeOrNotAtAll)
{
    OpenSend b(100);
    b << 'c';
    b.leaveFree(sizeof(TypeParam) * 5 - 1);
    OsFaults::malloc().instead = [](size_t) -> void* { return nullptr; };
    EXPECT_FALSE(itcPutArray(b, this->numbers, this->count));
    OsFaults::malloc().clear();
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error));
    EXPECT_EQ(b.values(), "c");
}

TYPED_TEST(NumberArray, IsTakenWhateverTheSeverity)
{
    OpenReceive r(this->oneByOne(""));
    leaveError(r);
    TypeParam taken[5] = {};
    EXPECT_TRUE(itcTakeArray(r, taken, 5));
    EXPECT_THAT(r, HasStatus(Itc_Tp_New_Path_Error, Error, 4711));
    EXPECT_EQ(bytesOf(taken), bytesOf(this->numbers));
}

TEST(BoolArray, TakesEveryOtherByteAsTrue)
{
    OpenReceive r(packet(bytes({0, 1, 0x80})));
    bool values[3] = {true, false, false};
    EXPECT_TRUE(itcTakeArray(r, values, 3));
    EXPECT_EQ(bytesOf(values), bytes({0, 1, 1}));
}

TEST(HugeArray, IsNotPutWhenItsBytesCannotBeCounted)
{
    OpenSend b;
    b << 'c';
    const double number = 1;
    EXPECT_FALSE(itcPutArray(b, &number, std::numeric_limits<size_t>::max() / 8));
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error));
    EXPECT_EQ(b.values(), "c");
}

} // namespace
