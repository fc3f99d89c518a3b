// A packet that ends anywhere. The buffer ends where the packet ends. The address checker reports every read behind the
// end.
#include "Everything.h"
#include "StatusMatchers.h"

namespace {

class Truncation : public testing::TestWithParam<Sender> {};

TEST_P(Truncation, LeavesNothingOfTheValue)
{
    const std::string whole = packetOfEverything(GetParam());
    for (std::size_t cut = 3; cut < whole.size(); ++cut) {
        SCOPED_TRACE(cut);
        ExactReceive b(whole.substr(0, cut));
        Everything value = sampleOf(GetParam());
        b >> value;
        ASSERT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
        ASSERT_EQ(value, emptied());
        ASSERT_EQ(b.position(), 2);
        expectSound(b);
    }
}

TEST_P(Truncation, BehindTheLastByteIsNone)
{
    ExactReceive b(packetOfEverything(GetParam()));
    Everything value;
    b >> value;
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(value, sampleOf(GetParam()));
    EXPECT_EQ(b.pending_length(), 0u);
}

// Takes one field after the other, each with its own operator, and without a test in between.
TEST_P(Truncation, BetweenTheFieldsGivesTheFieldsInFrontOfIt)
{
    const std::string whole = packetOfEverything(GetParam());
    const Branch expected = sampleBranch(GetParam());
    for (std::size_t cut = 3; cut <= whole.size(); ++cut) {
        SCOPED_TRACE(cut);
        ExactReceive b(whole.substr(0, cut));
        Everything value;
        auto fields = value.itcFields();
        std::apply(
            [&](auto&... field) {
                const auto take = [&](auto& each) {
                    if constexpr (std::is_same_v<std::remove_reference_t<decltype(each)>, char[6]>)
                        b >> itcText(each);
                    else
                        b >> each;
                };
                (take(field), ...);
            },
            fields);
        expectSound(b);
        ASSERT_EQ(b.severity, cut == whole.size() ? Success : Warning);
        if (!value.branches.empty()) {
            ASSERT_EQ(cut, whole.size());
            ASSERT_EQ(value.branches.front(), expected);
        }
    }
}

TEST_P(Truncation, OfAViewGivesAnEmptyView)
{
    Wire w(GetParam());
    w.put("a text");
    for (std::size_t cut = 3; cut < w.data.size(); ++cut) {
        ExactReceive b(w.data.substr(0, cut));
        std::string_view view = "full";
        b >> view;
        ASSERT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
        ASSERT_EQ(view, "");
        ASSERT_EQ(b.position(), 2);
    }
}

TEST_P(Truncation, OfALimitedValueGivesAnEmptyValue)
{
    Wire w(GetParam());
    w.put(std::vector<std::string>{"one", "two"});
    for (std::size_t cut = 3; cut < w.data.size(); ++cut) {
        ExactReceive b(w.data.substr(0, cut));
        std::vector<std::string> texts = {"full"};
        b >> itcBounded(texts, 2);
        ASSERT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Warning));
        ASSERT_TRUE(texts.empty());
        ASSERT_EQ(b.position(), 2);
    }
}

// The receive buffer of the library has room behind the packet, with bytes of an earlier packet in it.
TEST_P(Truncation, InALargerBufferReadsNothingOfAnEarlierPacket)
{
    const std::string whole = packetOfEverything(GetParam());
    for (std::size_t cut = 3; cut < whole.size(); ++cut) {
        SCOPED_TRACE(cut);
        OpenReceive b(whole);
        b.dataLast = b.dataStart + cut - 1;
        Everything value = sampleOf(GetParam());
        b >> value;
        ASSERT_GT(b.severity, Success);
        ASSERT_EQ(value, emptied());
    }
}

INSTANTIATE_TEST_SUITE_P(Senders, Truncation,
                         testing::Values(thisMachine, otherOrder, vaxOfThisOrder, vaxOfOtherOrder));

} // namespace
