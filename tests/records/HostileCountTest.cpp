// Counts and lengths that a hostile peer announces. No count is believed before the rest of the packet has been seen to
// be long enough. After a failure the target is empty, and the read position is where the value began.
#include "Allocations.h"
#include "StatusMatchers.h"
#include "Wire.h"

#include <kiv/companion.h>

#include <cstring>
#include <type_traits>

namespace {

struct Point {
    short x = 0;
    std::string name;
    KIV_FIELDS(x, name)

    void writeTo(Wire& w) const { w.all(x, name); }
};

struct Label {
    char text[8] = {};
    KIV_FIELDS(text)
};

template <class T> T numbered(int i)
{
    if constexpr (std::is_same_v<T, std::string>)
        return std::to_string(i);
    else if constexpr (std::is_same_v<T, Point>)
        return {static_cast<short>(i), std::to_string(i)};
    else
        return static_cast<T>(i);
}

/// A target that already holds something, and how the elements of a packet look.
template <class T> struct Counted {
    T target = T(3);

    void take(OpenReceive& b) { b >> target; }
    std::size_t size() const { return target.size(); }
    static void element(Wire& w, int i) { w.put(numbered<typename T::value_type>(i)); }
};

template <class T> struct CountedKeys {
    T target = {numbered<typename T::value_type>(7)};

    void take(OpenReceive& b) { b >> target; }
    std::size_t size() const { return target.size(); }
    static void element(Wire& w, int i) { w.put(numbered<typename T::value_type>(i)); }
};

template <class T> struct CountedEntries {
    T target = {{numbered<typename T::key_type>(7), numbered<typename T::mapped_type>(7)}};

    void take(OpenReceive& b) { b >> target; }
    std::size_t size() const { return target.size(); }
    static void element(Wire& w, int i)
    {
        w.all(numbered<typename T::key_type>(i), numbered<typename T::mapped_type>(i));
    }
};

struct CountedText {
    std::string target = "full";

    void take(OpenReceive& b) { b >> target; }
    std::size_t size() const { return target.size(); }
    static void element(Wire& w, int) { w.put('t'); }
};

struct CountedView : CountedText {
    std::string_view target = "full";

    void take(OpenReceive& b) { b >> target; }
    std::size_t size() const { return target.size(); }
};

struct CountedPath : CountedText {
    std::filesystem::path target = "full";

    void take(OpenReceive& b) { b >> target; }
    std::size_t size() const { return target.native().size(); }
};

struct CountedCharacters : CountedText {
    Label target;

    CountedCharacters() { std::strcpy(target.text, "full"); }
    void take(OpenReceive& b) { b >> target; }
    std::size_t size() const { return std::strlen(target.text); }
};

struct CountedArea : CountedCharacters {
    void take(OpenReceive& b) { b >> itcText(target.text); }
};

struct CountedBytes : CountedText {
    std::vector<char> area = std::vector<char>(64);
    unsigned int length = 5;

    void take(OpenReceive& b) { b >> itcBytes(area.data(), area.size(), length); }
    std::size_t size() const { return length; }
};

template <class Case> class HostileCount : public testing::Test {
protected:
    /// A packet with an int in front, a count, and so many elements.
    static std::string packetWith(std::uint32_t count, int elements, Sender sender = thisMachine)
    {
        Wire w(sender);
        w.put(4711);
        w.count(count);
        for (int i = 0; i < elements; ++i)
            Case::element(w, i);
        return w.data;
    }

    void takeFrom(ExactReceive& b)
    {
        int before = 0;
        b >> before;
        ASSERT_EQ(before, 4711);
        start = b.position();
        Allocations allocations;
        subject.take(b);
        allocations.stop();
        asked = allocations.count();
        largest = allocations.largest();
    }

    void expectRefused(const ExactReceive& b)
    {
        EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
        EXPECT_EQ(subject.size(), 0u);
        EXPECT_EQ(b.position(), start);
        expectSound(b);
    }

    Case subject;
    std::ptrdiff_t start = 0;
    std::size_t asked = 0;   // allocations of the take
    std::size_t largest = 0; // the largest of them
};

using CountedKinds =
    testing::Types<CountedText, CountedView, CountedPath, CountedCharacters, CountedArea, CountedBytes,
                   Counted<std::vector<char>>, Counted<std::vector<std::int32_t>>, Counted<std::vector<double>>,
                   Counted<std::vector<bool>>, Counted<std::vector<std::string>>, Counted<std::vector<Point>>,
                   Counted<std::deque<std::int64_t>>, Counted<std::deque<std::string>>, Counted<std::list<short>>,
                   CountedKeys<std::set<std::int32_t>>, CountedKeys<std::multiset<std::string>>,
                   CountedKeys<std::unordered_set<std::string>>, CountedKeys<std::unordered_multiset<std::int32_t>>,
                   CountedEntries<std::map<std::int32_t, std::string>>, CountedEntries<std::multimap<short, double>>,
                   CountedEntries<std::unordered_map<std::int32_t, Point>>,
                   CountedEntries<std::unordered_multimap<std::string, std::int32_t>>>;
TYPED_TEST_SUITE(HostileCount, CountedKinds);

TYPED_TEST(HostileCount, OfZeroGivesAnEmptyValue)
{
    ExactReceive b(this->packetWith(0, 0));
    this->takeFrom(b);
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(this->subject.size(), 0u);
    EXPECT_EQ(b.pending_length(), 0u);
}

TYPED_TEST(HostileCount, OfOneGivesOneElement)
{
    ExactReceive b(this->packetWith(1, 1));
    this->takeFrom(b);
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(this->subject.size(), 1u);
    EXPECT_EQ(b.pending_length(), 0u);
}

TYPED_TEST(HostileCount, OfOneWithoutTheElementIsTheEndOfTheData)
{
    ExactReceive b(this->packetWith(1, 0));
    this->takeFrom(b);
    this->expectRefused(b);
    EXPECT_EQ(this->asked, 0u);
}

TYPED_TEST(HostileCount, ThatNoPacketCanHoldAsksForNoMemory)
{
    for (const Sender sender : {thisMachine, otherOrder})
        for (const std::uint32_t count : {0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
            SCOPED_TRACE(count);
            this->subject = TypeParam();
            ExactReceive b(this->packetWith(count, 3, sender));
            this->takeFrom(b);
            if (std::is_same_v<TypeParam, CountedBytes>) { // the area is too small for that
                EXPECT_THAT(b, HasStatus(Itc_Ndr_Buff_Sz_More_Than_Max, Error));
                EXPECT_EQ(this->subject.size(), 0u);
                EXPECT_EQ(b.position(), this->start);
            } else {
                this->expectRefused(b);
            }
            EXPECT_EQ(this->asked, 0u);
        }
}

TYPED_TEST(HostileCount, ThatIsOneShortLeavesTheLastElementInThePacket)
{
    ExactReceive b(this->packetWith(4, 5));
    const std::ptrdiff_t end = static_cast<std::ptrdiff_t>(this->packetWith(4, 4).size());
    this->takeFrom(b);
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(this->subject.size(), 4u);
    EXPECT_EQ(b.position(), end);
}

TYPED_TEST(HostileCount, ThatIsOneLongIsTheEndOfTheData)
{
    const std::string data = this->packetWith(6, 5);
    ExactReceive b(data);
    this->takeFrom(b);
    this->expectRefused(b);
    EXPECT_LE(this->largest, 16 * data.size() + 512); // a deque has blocks of 512 bytes
}

// An element has at least `least` bytes. The largest count that the test of the count lets pass must not ask for much.
TYPED_TEST(HostileCount, AsksForNoMoreMemoryThanThePacketJustifies)
{
    std::string data = this->packetWith(0, 0) + std::string(1000, '\0');
    for (std::uint32_t count = 1; count < 1100; ++count) {
        std::memcpy(&data[8], &count, sizeof count);
        ExactReceive b(data);
        this->takeFrom(b);
        EXPECT_LE(this->largest, 16 * data.size() + 512) << count;
        if (b.severity > Success && !std::is_same_v<TypeParam, CountedBytes>) {
            this->expectRefused(b);
        }
    }
}

using Alternatives = std::variant<std::int32_t, std::string, double>;

Alternatives takeAlternative(std::uint32_t index, const StatusSeverity expected)
{
    Wire w;
    w.count(index);
    w.put(4.5);
    w.put(4.5);
    ExactReceive b(w.data);
    Alternatives value = "full";
    Allocations allocations;
    b >> value;
    allocations.stop();
    EXPECT_EQ(b.severity, expected);
    EXPECT_EQ(allocations.count(), 0u);
    if (expected > Success) {
        EXPECT_THAT(b, HasStatus(Itc_Ndr_Buff_Sz_More_Than_Max, Error));
        EXPECT_EQ(b.position(), 2);
    }
    return value;
}

TEST(HostileIndex, OfAnAlternativeGivesTheAlternative)
{
    EXPECT_EQ(takeAlternative(0, Success).index(), 0u);
    EXPECT_EQ(takeAlternative(1, Success), Alternatives("")); // the gap before the double is read as a length of 0
    EXPECT_EQ(takeAlternative(2, Success), Alternatives(4.5));
}

// The number of an alternative is no count: it tells nothing about the bytes behind it.
TEST(HostileIndex, MayBeLargerThanTheNumberOfBytesLeft)
{
    using Small = std::variant<std::int32_t, double, float, std::string, bool, std::monostate>;
    for (const Small& small : {Small(true), Small(std::monostate())}) {
        SCOPED_TRACE(small.index());
        Wire w;
        w.put(small);
        ExactReceive b(w.data);
        Small value = 4;
        b >> value;
        EXPECT_THAT(b, HasClearStatus());
        EXPECT_EQ(value, small);
        EXPECT_EQ(b.pending_length(), 0u);
    }
}

TEST(HostileIndex, WithoutAnAlternativeIsRefused)
{
    for (const std::uint32_t index : {3u, 4u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(index);
        EXPECT_EQ(takeAlternative(index, Error), Alternatives(0)); // emptied
    }
}

TEST(HostileIndex, ThatIsCutIsTheEndOfTheData)
{
    ExactReceive b(packet(std::string(5, '\0')));
    Alternatives value = 4.5;
    b >> value;
    EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
    EXPECT_EQ(value, Alternatives(0));
    EXPECT_EQ(b.position(), 2);
}

struct Growing {
    std::int32_t first = 1;
    std::int32_t second = 2;
    KIV_VERSIONED(first, second)
};

class HostileVersion : public testing::TestWithParam<std::uint32_t> {
protected:
    /// A count of bytes, 10 and 20, and 30 behind the record.
    static std::string packetWith(std::uint32_t length)
    {
        Wire w;
        w.count(length);
        w.all(10, 20, 30);
        return w.data;
    }
};

class HostileVersionBeyondThePacket : public HostileVersion {};

TEST_P(HostileVersionBeyondThePacket, IsTheEndOfTheData)
{
    ExactReceive b(packetWith(GetParam()));
    Growing value;
    Allocations allocations;
    b >> value;
    allocations.stop();
    EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
    EXPECT_EQ(value, (Growing{0, 0}));
    EXPECT_EQ(b.position(), 2);
    EXPECT_EQ(allocations.count(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Lengths, HostileVersionBeyondThePacket,
                         testing::Values(13u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu));

class HostileVersionInsideOfAField : public HostileVersion {};

TEST_P(HostileVersionInsideOfAField, IsAnError)
{
    ExactReceive b(packetWith(GetParam()));
    Growing value;
    b >> value;
    EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Error));
    EXPECT_EQ(value, (Growing{0, 0}));
    EXPECT_EQ(b.position(), 2);
}

// The packet ends with the record: nothing but the record's own count tells that the field is cut.
TEST_P(HostileVersionInsideOfAField, IsAnErrorAlsoWhereThePacketEnds)
{
    ExactReceive b(packetWith(GetParam()).substr(0, 8 + GetParam()));
    Growing value;
    b >> value;
    EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Error));
    EXPECT_EQ(value, (Growing{0, 0}));
    EXPECT_EQ(b.position(), 2);
}

INSTANTIATE_TEST_SUITE_P(Lengths, HostileVersionInsideOfAField, testing::Values(1u, 2u, 3u, 5u, 6u, 7u));

TEST_F(HostileVersion, OfZeroBytesGivesTheDefaults)
{
    ExactReceive b(packetWith(0));
    Growing value = {8, 9};
    b >> value;
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(value, (Growing{1, 2}));
    EXPECT_EQ(b.position(), 8);
}

TEST_F(HostileVersion, WithOneFieldLessGivesItsDefault)
{
    ExactReceive b(packetWith(4));
    Growing value = {8, 9};
    b >> value;
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(value, (Growing{10, 2}));
    EXPECT_EQ(b.position(), 12);
}

TEST_F(HostileVersion, WithAFewBytesMoreSkipsThem)
{
    for (std::uint32_t length = 8; length <= 12; ++length) {
        ExactReceive b(packetWith(length));
        Growing value;
        b >> value;
        EXPECT_THAT(b, HasClearStatus());
        EXPECT_EQ(value, (Growing{10, 20}));
        EXPECT_EQ(b.position(), static_cast<std::ptrdiff_t>(8 + length));
    }
}

TEST_F(HostileVersion, OfTheFutureWithTenThousandBytesIsSkipped)
{
    Wire w;
    w.count(8 + 10'000);
    w.all(10, 20);
    w.data.append(10'000, '\xFF');
    w.put(30);
    ExactReceive b(w.data);
    Growing value;
    int behind = 0;
    b >> value >> behind;
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(value, (Growing{10, 20}));
    EXPECT_EQ(behind, 30);
}

} // namespace
