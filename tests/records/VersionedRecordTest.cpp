// Versioned records: what readers and writers of different versions make of one another.
#include "ValueProbe.h"

namespace {

using namespace std::literals;

const auto endsInside = HasStatus(Itc_Ndr_End_Of_Data, Error);

// Three versions of one record.
struct V1 {
    int number = 1;
    KIV_VERSIONED(number)
};

struct V2 {
    int number = 1;
    std::string text = "default";
    KIV_VERSIONED(number, text)
};

struct V3 {
    int number = 1;
    std::string text = "default";
    std::vector<double> values = {1.5};
    char name[8] = "none";
    KIV_VERSIONED(number, text, values, name)
};

template <class T> T taken(const std::string& values, T target = T())
{
    OpenReceive r(packet(values));
    r >> target;
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_EQ(static_cast<unsigned int>(r.position()), r.raw_length());
    return target;
}

TEST(VersionedRecord, IsTheNumberOfItsBytesAndItsFields)
{
    expectTravelsAs(V1{7}, 4u, 7);
    EXPECT_EQ(bytesOfPuts(V2{7, "ab"}), "\0\0"s + word(11) + word(7) + word(3) + "ab\0"s);
}

TEST(VersionedRecord, CountsTheGapsBetweenItsFields)
{
    OpenSend b;
    b << 'c' << V3{7, "ab", {2.5}, "x"} << 'd';
    const std::string fields =
        word(7) + word(3) + "ab\0\0"s + word(1) + bytesOf(2.5) + word(2) + "x\0"s; // the count is at offset 4
    EXPECT_EQ(b.values(), "c\0"s + word(static_cast<unsigned int>(fields.size())) + fields + "d");
}

TEST(VersionedRecord, OfALaterVersionIsTakenByAnOldReader)
{
    EXPECT_EQ(taken<V1>(bytesOfPuts(V3{7, "ab", {1}, "x"})), V1{7});
    EXPECT_EQ(taken<V2>(bytesOfPuts(V3{7, "ab", {1}, "x"})), (V2{7, "ab"}));
}

TEST(VersionedRecord, OfALaterVersionLeavesWhatFollowsReadable)
{
    OpenReceive r(packet(bytesOfPuts(V3{7, "ab", {1}, "x"}, 'c', 42)));
    V1 record;
    char c = 0;
    int behind = 0;
    r >> record >> c >> behind;
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_EQ(c, 'c');
    EXPECT_EQ(behind, 42);
}

TEST(VersionedRecord, OfAnEarlierVersionGetsDefaults)
{
    EXPECT_EQ(taken<V3>(bytesOfPuts(V1{7})), (V3{7, "default", {1.5}, "none"}));
    EXPECT_EQ(taken<V3>(bytesOfPuts(V2{7, "ab"})), (V3{7, "ab", {1.5}, "none"}));
}

TEST(VersionedRecord, OfAnEarlierVersionGetsDefaultsAlsoWhenTheTargetIsUsedAgain)
{
    const V3 old{9, "old", {9, 9}, "old"};
    EXPECT_EQ(taken<V3>(bytesOfPuts(V1{7}), old), (V3{7, "default", {1.5}, "none"}));
}

TEST(VersionedRecord, WithoutAnyContentGetsAllDefaults)
{
    EXPECT_EQ(taken<V3>(bytesOfPuts(0u), V3{9, "old", {}, "old"}), V3());
}

struct NoDefault {
    explicit NoDefault(int first) : number(first) {}
    int number;
    int later = 5;
    KIV_VERSIONED(number, later)
};

TEST(VersionedRecord, WithoutADefaultConstructorKeepsTheFieldThatIsNotThere)
{
    OpenReceive r(packet(bytesOfPuts(V1{7})));
    NoDefault record(1);
    record.later = 6;
    r >> record;
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_EQ(record.number, 7);
    EXPECT_EQ(record.later, 6);
}

TEST(VersionedRecord, FromTheFutureWithTenThousandFurtherBytesIsTaken)
{
    OpenReceive r(packet("\0\0"s + word(10004) + word(7) + std::string(10000, '\xEE') + "c"));
    V1 record;
    char behind = 0;
    r >> record >> behind;
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_EQ(record.number, 7);
    EXPECT_EQ(behind, 'c');
}

struct Empty {
    std::tuple<> nothing;
    KIV_VERSIONED(nothing)
};

TEST(VersionedRecord, OfFieldsWithoutBytesIsACountOfZero)
{
    expectTravelsAs(Empty(), 0u);
    EXPECT_EQ(taken<Empty>(bytesOfPuts(V3())), Empty());
}

// ---- The library's transactions have the same form

TEST(VersionedRecord, IsReadByTheLibrarysTransaction)
{
    OpenReceive r(packet(bytesOfPuts('c', V2{7, "ab"}, 42)));
    char c = 0, text[8] = "";
    int number = 0, behind = 0;
    r >> c;
    r.start_transaction();
    r >> number >> text;
    EXPECT_EQ(r.end_transaction(), 0);
    r >> behind;
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_EQ(number, 7);
    EXPECT_STREQ(text, "ab");
    EXPECT_EQ(behind, 42);
}

TEST(VersionedRecord, IsSkippedByTheLibrarysTransaction)
{
    OpenReceive r(packet(bytesOfPuts(V3{7, "ab", {1, 2, 3}, "x"}, 42)));
    int behind = 0;
    r.start_transaction();
    r.end_transaction();
    r >> behind;
    EXPECT_EQ(behind, 42);
}

TEST(VersionedRecord, IsWrittenByTheLibrarysTransaction)
{
    OpenSend b;
    b << 'c';
    b.start_transaction();
    b << 7 << "ab";
    b.end_transaction();
    EXPECT_EQ(b.values(), bytesOfPuts('c', V2{7, "ab"}));
}

TEST(VersionedRecord, MayBeAValueInATransactionOfTheLibrary)
{
    OpenSend b;
    b.start_transaction();
    b << 1 << V2{7, "ab"} << 2;
    EXPECT_EQ(b.end_transaction(), 0);

    OpenReceive r(b.data());
    int first = 0, last = 0;
    V2 record;
    r.start_transaction();
    r >> first >> record >> last;
    EXPECT_EQ(r.end_transaction(), 0);
    EXPECT_EQ(record, (V2{7, "ab"}));
    EXPECT_EQ(last, 2);
}

// ---- In one another, in containers

template <class Inner> struct Middle {
    char c = 'm';
    Inner inner;
    int behind = 2;
    KIV_VERSIONED(c, inner, behind)
};

template <class Inner> struct Outer {
    int number = 3;
    Middle<Inner> middle;
    std::string behind = "outer";
    KIV_VERSIONED(number, middle, behind)
};

TEST(VersionedRecord, ThreeDeepTravels)
{
    const Outer<V2> value{1, {'c', {7, "ab"}, 4}, "end"};
    EXPECT_EQ(taken<Outer<V2>>(bytesOfPuts(value)), value);
}

TEST(VersionedRecord, ThreeDeepOfALaterVersionIsSkippedInside)
{
    const Outer<V3> later{1, {'c', {7, "ab", {1, 2}, "x"}, 4}, "end"};
    EXPECT_EQ(taken<Outer<V1>>(bytesOfPuts(later)), (Outer<V1>{1, {'c', {7}, 4}, "end"}));
}

TEST(VersionedRecord, ThreeDeepOfAnEarlierVersionGetsDefaultsInside)
{
    const Outer<V1> earlier{1, {'c', {7}, 4}, "end"};
    EXPECT_EQ(taken<Outer<V3>>(bytesOfPuts(earlier)), (Outer<V3>{1, {'c', {7, "default", {1.5}, "none"}, 4}, "end"}));
}

TEST(VersionedRecord, InAVectorIsCountedEach)
{
    const std::vector<V3> later{{7, "ab", {1}, "x"}, {8, "", {}, ""}};
    EXPECT_EQ(taken<std::vector<V1>>(bytesOfPuts(later)), (std::vector<V1>{{7}, {8}}));
    const std::vector<V1> earlier{{7}, {8}};
    EXPECT_EQ(taken<std::vector<V3>>(bytesOfPuts(earlier), {{9, "old", {9}, "old"}}),
              (std::vector<V3>{{7, "default", {1.5}, "none"}, {8, "default", {1.5}, "none"}}));
}

TEST(VersionedRecord, InAnOptionalOfAnEarlierVersionGetsDefaults)
{
    EXPECT_EQ(taken<std::optional<V2>>(bytesOfPuts(std::optional<V1>(V1{7})), V2{9, "old"}), (V2{7, "default"}));
}

TEST(VersionedRecord, InAMapOfALaterVersionIsSkipped)
{
    const std::map<int, V3> later{{1, {7, "ab", {1}, "x"}}, {2, {8, "", {}, ""}}};
    EXPECT_EQ((taken<std::map<int, V1>>(bytesOfPuts(later))), (std::map<int, V1>{{1, {7}}, {2, {8}}}));
}

TEST(VersionedRecord, InAVariantOfAnEarlierVersionGetsDefaults)
{
    EXPECT_EQ((taken<std::variant<V2, int>>(bytesOfPuts(0u, V1{7}), V2{9, "old"})),
              (std::variant<V2, int>(V2{7, "default"})));
}

// ---- Broken records

template <class T> void expectTake(const std::string& values, T target, const testing::Matcher<const OpenReceive&>& m)
{
    OpenReceive r(packet(values));
    r >> target;
    EXPECT_THAT(r, m);
    EXPECT_EQ(r.position(), 2);
}

TEST(VersionedRecord, ThatEndsInsideOfANumberIsAnError)
{
    for (unsigned int length = 1; length < 4; ++length)
        expectTake("\0\0"s + word(length) + word(7) + std::string(8, 'x'), V1{9}, endsInside);
}

TEST(VersionedRecord, ThatEndsInsideOfATextIsAnError)
{
    const std::string fields = word(7) + word(3) + "ab\0"s;
    for (unsigned int length = 5; length < fields.size(); ++length)
        expectTake("\0\0"s + word(length) + fields + std::string(8, 'x'), V2{9, "old"}, endsInside);
}

TEST(VersionedRecord, ThatEndsInsideOfAnInnerRecordIsAnError)
{
    // The inner record announces more bytes than the outer has.
    expectTake("\0\0"s + word(8) + "c\0\0\0"s + word(4) + word(7) + std::string(8, 'x'), Middle<V1>(), endsInside);
}

TEST(VersionedRecord, ThatEndsInsideEmptiesTheTarget)
{
    OpenReceive r(packet("\0\0"s + word(6) + word(7) + std::string(8, 'x')));
    V3 record{9, "old", {9}, "old"};
    r >> record;
    EXPECT_THAT(r, endsInside);
    EXPECT_EQ(record, (V3{0, "", {}, ""}));
}

TEST(VersionedRecord, ThatIsLongerThanThePacketIsNotThere)
{
    for (const unsigned int length : {5u, 0x7FFFFFFFu, 0xFFFFFFFFu})
        expectTake("\0\0"s + word(length) + word(7), V1{9}, HasStatus(Itc_Ndr_End_Of_Data, Warning));
}

struct WithHeader {
    itcMsgHdr header;
    KIV_VERSIONED(header)
};

TEST(VersionedRecord, ThatEndsInsideOfAFieldThatTakesItselfIsAnError)
{
    const std::string fields = bytesOfPuts(itcMsgHdr()).substr(2);
    for (const auto& behind : {std::string(64, 'x'), ""s}) {
        const std::string cut = fields.substr(0, fields.size() - 4);
        expectTake("\0\0"s + word(static_cast<unsigned int>(cut.size())) + cut + behind, WithHeader(), endsInside);
    }
}

struct WithArrays {
    int number = 1;
    char names[2][4] = {"ab", "cd"};
    KIV_VERSIONED(number, names)
};

} // namespace

TEST(VersionedRecord, OfAnEarlierVersionGetsDefaultsInArraysOfTexts)
{
    OpenReceive r(packet(bytesOfPuts(V1{7})));
    WithArrays record{9, {"x", "y"}};
    r >> record;
    EXPECT_THAT(r, HasClearStatus());
    EXPECT_STREQ(record.names[0], "ab");
    EXPECT_STREQ(record.names[1], "cd");
}
