// A value is put whole or not at all, and taken whole or not at all: what the packet and the target hold after a
// failure.
#include "ValueProbe.h"

namespace {

using namespace std::literals;

const auto endOfData = HasStatus(Itc_Ndr_End_Of_Data, Warning);
const auto noMemory = HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error);

enum class Colour : std::uint8_t { red = 1 };
enum class Large : std::int32_t { one = 1 };

struct Record {
    std::string text;
    char name[4] = "";
    std::vector<double> numbers;
    std::optional<int> optional;
    std::array<int, 2> array{};
    KIV_FIELDS(text, name, numbers, optional, array)
};

struct Versioned {
    std::string text;
    std::vector<double> numbers;
    KIV_VERSIONED(text, numbers)
};

// One value of each kind. None is empty.
template <class Value> Value sample();
template <> std::string sample() { return "a text of some length"; }
template <> std::filesystem::path sample() { return "/a/b"; }
template <> std::array<int, 2> sample() { return {1, 2}; }
template <> std::array<std::string, 2> sample() { return {"a", "b"}; }
template <> std::array<double, 100> sample() { return {1, 2}; }
template <> std::vector<double> sample() { return {1.5, 2.5}; }
template <> std::vector<bool> sample() { return {true, false}; }
template <> std::vector<std::string> sample() { return {"a", "b"}; }
template <> std::vector<Versioned> sample() { return {{"a", {1}}}; }
template <> std::deque<int> sample() { return {1, 2}; }
template <> std::list<std::string> sample() { return {"a", "b"}; }
template <> std::set<int> sample() { return {1, 2}; }
template <> std::map<std::string, int> sample() { return {{"a", 1}}; }
template <> std::unordered_map<int, std::string> sample() { return {{1, "a"}}; }
template <> std::optional<int> sample() { return 7; }
template <> std::optional<std::string> sample() { return "o"; }
template <> std::pair<char, double> sample() { return {'c', 2.5}; }
template <> std::tuple<std::string, int> sample() { return {"t", 1}; }
template <> std::variant<int, std::string> sample() { return "v"; }
template <> Record sample() { return {"r", "n", {1}, 2, {3, 4}}; }
template <> Versioned sample() { return {"new", {1, 2}}; }

// What the target holds after a take that failed. A value that was made without arguments is empty.
template <class Value> class WholeValue : public testing::Test {};
using Whole = testing::Types<std::string, std::filesystem::path, std::array<int, 2>, std::array<std::string, 2>,
                             std::array<double, 100>, std::vector<double>, std::vector<bool>, std::vector<std::string>,
                             std::vector<Versioned>, std::deque<int>, std::list<std::string>, std::set<int>,
                             std::map<std::string, int>, std::unordered_map<int, std::string>, std::optional<int>,
                             std::optional<std::string>, std::pair<char, double>, std::tuple<std::string, int>,
                             std::variant<int, std::string>, Record, Versioned>;
TYPED_TEST_SUITE(WholeValue, Whole);

// ---- Puts

/// A buffer that refuses to grow.
class RefusingSend : public OpenSend {
public:
    using OpenSend::OpenSend;

    void extend_buffer(unsigned int) override
    {
        code = Itc_Ndr_Buffer_Alloc_Failed;
        severity = Error;
    }
};

/// A buffer that neither grows nor says so.
class SilentSend : public OpenSend {
public:
    using OpenSend::OpenSend;

    void extend_buffer(unsigned int) override {}
};

TYPED_TEST(WholeValue, IsNotPutAtAllWhenThereIsNoRoomForAllOfIt)
{
    const auto size = static_cast<unsigned int>(bytesOfPuts('c', sample<TypeParam>()).size());
    for (unsigned int room = 0; room + 1 < size; ++room) {
        RefusingSend b(2000);
        b << 'c';
        b.leaveFree(room);
        b << sample<TypeParam>();
        EXPECT_THAT(b, noMemory) << room;
        EXPECT_EQ(b.values(), "c") << room;
        expectSound(b);
    }
}

TYPED_TEST(WholeValue, IsNotPutAtAllIntoABufferThatGrowsByNothing)
{
    SilentSend b(2000);
    b << 'c';
    b.leaveFree(2);
    b << sample<TypeParam>();
    EXPECT_THAT(b, noMemory);
    EXPECT_EQ(b.values(), "c");
}

TYPED_TEST(WholeValue, IsNotPutWithoutStorage)
{
    RefusingSend b;
    b << sample<TypeParam>();
    EXPECT_THAT(b, noMemory);
    EXPECT_EQ(b.raw_length(), 0U);
}

TYPED_TEST(WholeValue, IsNotPutIntoABufferInError)
{
    for (const unsigned int room : {0U, 500U}) {
        OpenSend b(2000);
        b << 'c';
        b.leaveFree(room);
        leaveError(b);
        b << sample<TypeParam>();
        EXPECT_THAT(b, HasStatus(Itc_Tp_New_Path_Error, Error, 4711));
        EXPECT_EQ(b.values(), "c");
    }
}

TYPED_TEST(WholeValue, IsPutIntoABufferWithAWarning)
{
    OpenSend b(2000);
    b.code = Itc_Ndr_End_Of_Data;
    b.severity = Warning;
    b << sample<TypeParam>();
    EXPECT_EQ(b.values(), bytesOfPuts(sample<TypeParam>()));
    EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
}

TYPED_TEST(WholeValue, MakesTheBufferGrow)
{
    OpenSend b;
    for (int i = 0; i < 1000; ++i)
        b << sample<TypeParam>();
    OpenReceive r(b.data());
    for (int i = 0; i < 1000; ++i) {
        TypeParam value{};
        r >> value;
        ASSERT_EQ(value, sample<TypeParam>());
    }
    EXPECT_THAT(r, HasClearStatus());
}

template <class Value> class SingleNumber : public testing::Test {};
using SingleNumbers = testing::Types<std::int64_t, std::byte, Colour, Large, std::chrono::nanoseconds,
                                     std::chrono::duration<std::uint8_t>>;
TYPED_TEST_SUITE(SingleNumber, SingleNumbers);

// The library puts single bytes into a buffer in Error, and no larger numbers.
TYPED_TEST(SingleNumber, IsPutIntoABufferInErrorLikeANumberOfTheLibrary)
{
    OpenSend b(100);
    b << 'c';
    leaveError(b);
    b << TypeParam(1);
    EXPECT_THAT(b, HasStatus(Itc_Tp_New_Path_Error, Error, 4711));
    EXPECT_EQ(b.values(), sizeof(TypeParam) == 1 ? "c\x01" : "c");
}

TYPED_TEST(SingleNumber, IsNotPutWithoutRoom)
{
    RefusingSend b(100);
    b << 'c';
    b.leaveFree(0);
    b << TypeParam(1);
    EXPECT_THAT(b, noMemory);
    EXPECT_EQ(b.values(), "c");
}

TYPED_TEST(SingleNumber, IsTakenWhateverTheSeverity)
{
    OpenReceive r(packet(bytesOfPuts(TypeParam(1))));
    leaveError(r);
    auto value = TypeParam(2);
    r >> value;
    EXPECT_THAT(r, HasStatus(Itc_Tp_New_Path_Error, Error, 4711));
    EXPECT_EQ(value, TypeParam(1));
}

TYPED_TEST(SingleNumber, ThatIsNotThereBecomesZero)
{
    OpenReceive r(packet(""));
    auto value = TypeParam(2);
    r >> value;
    EXPECT_THAT(r, endOfData);
    EXPECT_EQ(value, TypeParam(0));
}

TEST(WholePut, GoesOnBehindAPutThatFailed)
{
    RefusingSend b(2000);
    b << 'c';
    b.leaveFree(7);
    b << "too long for the room"s;
    EXPECT_THAT(b, noMemory);
    clearStatus(b);
    b << "b"s;
    EXPECT_THAT(b, noMemory); // seven bytes at most go in front of the text
    clearStatus(b);
    b << 'd';
    EXPECT_EQ(b.values(), "cd");
}

// A value that fails in its second half, by itself.
struct Failing : itcXNDR {
    itcNDRReceive& to_internal(itcNDRReceive& b) override { return b; }
    itcNDRSend& to_external(itcNDRSend& b) const override
    {
        b << 1;
        leaveError(b);
        return b;
    }
};

struct WithFailing {
    int number = 0;
    Failing failing;
    KIV_FIELDS(number, failing)
};

TEST(WholePut, TakesOutWhatAFieldThatFailedHasPut)
{
    OpenSend b;
    b << 'c' << WithFailing();
    EXPECT_THAT(b, HasStatus(Itc_Tp_New_Path_Error, Error));
    EXPECT_EQ(b.values(), "c");
}

// ---- Takes

TYPED_TEST(WholeValue, IsNotTakenAtAllWhenAnyByteIsMissing)
{
    const std::string values = bytesOfPuts('c', sample<TypeParam>());
    for (size_t size = 1; size < values.size(); ++size) {
        OpenReceive r(packet(values.substr(0, size)));
        char c = 0;
        TypeParam value = sample<TypeParam>();
        r >> c >> value;
        EXPECT_THAT(r, endOfData) << size;
        EXPECT_EQ(value, TypeParam{}) << size;
        EXPECT_EQ(r.position(), 3) << size;
        expectSound(r);
    }
}

TYPED_TEST(WholeValue, IsNotTakenWithoutAPacket)
{
    OpenReceive r;
    TypeParam value = sample<TypeParam>();
    r >> value;
    EXPECT_THAT(r, endOfData);
    EXPECT_EQ(value, TypeParam{});
}

TYPED_TEST(WholeValue, IsNotTakenOfStorageWithoutAPacket)
{
    OpenReceive r(100);
    TypeParam value = sample<TypeParam>();
    r >> value;
    EXPECT_THAT(r, endOfData);
    EXPECT_EQ(value, TypeParam{});
    expectSound(r);
}

TYPED_TEST(WholeValue, IsNotTakenBehindAnEarlierWarning)
{
    OpenReceive r(packet(bytesOfPuts(sample<TypeParam>())));
    r.code = Itc_Ndr_End_Of_Data;
    r.severity = Warning;
    TypeParam value = sample<TypeParam>();
    r >> value;
    EXPECT_THAT(r, endOfData);
    EXPECT_EQ(value, TypeParam{});
    EXPECT_EQ(r.position(), 2);
}

TYPED_TEST(WholeValue, IsNotTakenBehindAnEarlierError)
{
    OpenReceive r(packet(bytesOfPuts(sample<TypeParam>())));
    leaveError(r);
    TypeParam value = sample<TypeParam>();
    r >> value;
    EXPECT_THAT(r, HasStatus(Itc_Tp_New_Path_Error, Error, 4711));
    EXPECT_EQ(value, TypeParam{});
    EXPECT_EQ(r.position(), 2);
}

TYPED_TEST(WholeValue, IsTakenBehindATextThatWasCut)
{
    OpenReceive r(packet(bytesOfPuts("abcdef", sample<TypeParam>())));
    char text[4];
    TypeParam value{};
    r >> itcText(text) >> value;
    EXPECT_THAT(r, HasStatus(Itc_Ndr_Buffer_Size_Too_Small, Warning));
    EXPECT_EQ(value, sample<TypeParam>());
}

TEST(WholeTake, AViewBecomesEmpty)
{
    OpenReceive r(packet("\0\0"s + word(9) + "abc"));
    std::string_view view = "old";
    r >> view;
    EXPECT_THAT(r, endOfData);
    EXPECT_EQ(view, "");
    EXPECT_EQ(r.position(), 2);
}

TEST(WholeTake, OneTestBehindTheLastTakeIsEnough)
{
    OpenReceive r(packet(bytesOfPuts("abc", 9u)));
    std::string first, third = "old";
    std::vector<int> second{1};
    r >> first >> second >> third;
    EXPECT_THAT(r, endOfData);
    EXPECT_EQ(first, "abc");
    EXPECT_TRUE(second.empty());
    EXPECT_EQ(third, "");
}

TEST(WholeTake, AVariantWithoutThatAlternativeIsRefused)
{
    for (const unsigned int index : {2U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        OpenReceive r(packet(bytesOfPuts(index, 1, 2)));
        std::variant<int, std::string> value = "old";
        r >> value;
        EXPECT_THAT(r, HasStatus(Itc_Ndr_Buff_Sz_More_Than_Max, Error));
        EXPECT_EQ(value, (std::variant<int, std::string>(0)));
        EXPECT_EQ(r.position(), 2);
    }
}

struct MayThrow {
    MayThrow() noexcept(false) {}
    std::string text;
    KIV_FIELDS(text)
};

TEST(WholeTake, AVariantWhoseFirstAlternativeMayThrowIsEmptyInside)
{
    OpenReceive r(packet(bytesOfPuts(7u, "12345678")));
    std::variant<MayThrow, std::string> value = "old";
    r >> value;
    EXPECT_THAT(r, HasStatus(Itc_Ndr_Buff_Sz_More_Than_Max, Error));
    ASSERT_EQ(value.index(), 1U);
    EXPECT_EQ(std::get<1>(value), "");
}

/// Memory for a vector, which is never there.
template <class T> struct NoMemory {
    using value_type = T;
    NoMemory() = default;
    template <class Other> NoMemory(const NoMemory<Other>&) {}
    T* allocate(size_t) { throw std::bad_alloc(); }
    void deallocate(T*, size_t) {}
    bool operator==(const NoMemory&) const { return true; }
    bool operator!=(const NoMemory&) const { return false; }
};

TEST(WholeTake, WithoutMemoryIsAStatus)
{
    OpenReceive r(packet(bytesOfPuts(2u, 1, 2)));
    std::vector<int, NoMemory<int>> values;
    r >> values;
    EXPECT_THAT(r, noMemory);
    EXPECT_TRUE(values.empty());
    EXPECT_EQ(r.position(), 2);
}

TEST(WholePut, WithoutMemoryIsAStatus)
{
    OsFaults::malloc().instead = [](size_t) -> void* { return nullptr; };
    OpenSend b;
    b << "abc"s;
    OsFaults::malloc().clear();
    EXPECT_THAT(b, noMemory);
    EXPECT_EQ(b.raw_length(), 0U);
}

} // namespace
