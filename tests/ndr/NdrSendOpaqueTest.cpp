// Putting raw blocks in their four layouts: what is refused, and when the buffer grows.
#include "NdrProbe.h"
#include "StatusMatchers.h"

namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

struct Flags {
    bool align8, withLength;
};

void PrintTo(const Flags& flags, std::ostream* out)
{
    *out << (flags.align8 ? "aligned" : "unaligned") << (flags.withLength ? ", with length" : "");
}

class NdrSendOpaque : public testing::TestWithParam<Flags> {
protected:
    itcNDRSend& put(itcNDRSend& b, const void* data, int length) const
    {
        return b.put_opaque(data, length, GetParam().align8, GetParam().withLength);
    }
    std::string prefix(unsigned int length) const
    {
        const std::string count = GetParam().withLength ? "\0\0"s + word(length) : "";
        return count + (GetParam().align8 ? std::string(6 - count.size(), '\0') : "");
    }
    // The room that a put needs when a block of this length follows the label.
    unsigned int need(unsigned int length) const { return length + (GetParam().align8 ? 8 : 0) + 8; }
    unsigned int lengthWord() const { return GetParam().withLength ? 6 : 0; } // with the gap in front
};

TEST_P(NdrSendOpaque, OfNoBytesDoesNothing)
{
    OpenSend b(64);
    leaveMark(b);
    EXPECT_EQ(&put(b, "x", 0), &b);
    EXPECT_EQ(b.values(), "");
    EXPECT_THAT(b, StillHasMark());
}

TEST_P(NdrSendOpaque, OfNullDoesNothing)
{
    OpenSend b(64);
    leaveMark(b);
    EXPECT_EQ(&put(b, nullptr, 5), &b);
    EXPECT_EQ(&put(b, nullptr, -5), &b);
    EXPECT_EQ(b.values(), "");
    EXPECT_THAT(b, StillHasMark());
}

TEST_P(NdrSendOpaque, OfANegativeLengthFails)
{
    for (const int length : {-1, -4096, INT32_MIN}) {
        OpenSend b(64);
        errno = 77;
        put(b, "x", length);
        EXPECT_THAT(b, HasStatus(Itc_Ndr_Buff_Sz_More_Than_Max, Error, 77));
        EXPECT_EQ(b.values(), "");
        EXPECT_THAT(b.pagesAsked, IsEmpty());
    }
}

TEST_P(NdrSendOpaque, GrowsOnlyWithoutRoomForBlockAndGapAndEightMore)
{
    OpenSend roomy(256);
    roomy.leaveFree(lengthWord() + need(40));
    put(roomy, std::string(40, 'o').data(), 40);
    EXPECT_THAT(roomy.pagesAsked, IsEmpty());
    EXPECT_EQ(roomy.values(), prefix(40) + std::string(40, 'o'));

    OpenSend tight(256);
    tight.leaveFree(lengthWord() + need(40) - 1);
    put(tight, std::string(40, 'o').data(), 40);
    EXPECT_THAT(tight.pagesAsked, ElementsAre(1u));
    EXPECT_EQ(tight.values(), prefix(40) + std::string(40, 'o'));
}

TEST_P(NdrSendOpaque, AsksForThePagesOfWhatItNeedsAndOneMore)
{
    OpenSend b(256);
    put(b, std::string(9000, 'o').data(), 9000);
    EXPECT_THAT(b.pagesAsked, ElementsAre(3u));
    EXPECT_EQ(b.values(), prefix(9000) + std::string(9000, 'o'));
}

TEST_P(NdrSendOpaque, StopsWhenTheBufferCannotGrow)
{
    OpenSend b(64);
    OsFaults::malloc().failNext(1, ENOMEM);
    put(b, std::string(900, 'o').data(), 900);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error, ENOMEM));
    EXPECT_EQ(b.values(), GetParam().withLength ? "\0\0"s + word(900) : "");
}

TEST_P(NdrSendOpaque, IsNotPutWhenItsLengthFindsNoMemory)
{
    OpenSend b(64);
    b.leaveFree(7);
    OsFaults::malloc().failNext(1, ENOMEM);
    put(b, "xyz", 3);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error, ENOMEM));
    EXPECT_EQ(b.values(), "");
    EXPECT_EQ(b.pagesAsked.size(), 1u) << "no second growth, which would clear the status";
}

TEST_P(NdrSendOpaque, InABufferInErrorIsPutWithoutItsLength)
{
    OpenSend b(256);
    leaveError(b);
    put(b, "xyz", 3);
    EXPECT_EQ(b.values(), std::string(GetParam().align8 ? 6 : 0, '\0') + "xyz");
    EXPECT_THAT(b, HasStatus(Itc_Tp_New_Path_Error, Error, 4711));
}

TEST_P(NdrSendOpaque, LeavesTheStatusAlone)
{
    OpenSend b(256);
    leaveMark(b);
    put(b, "xyz", 3);
    EXPECT_THAT(b, StillHasMark());
}

TEST_P(NdrSendOpaque, MakesTheFirstStorage)
{
    OpenSend b;
    put(b, "xyz", 3);
    EXPECT_EQ(b.values(), prefix(3) + "xyz");
}

INSTANTIATE_TEST_SUITE_P(FlagPairs, NdrSendOpaque,
                         testing::Values(Flags{false, false}, Flags{false, true}, Flags{true, false},
                                         Flags{true, true}));

TEST(NdrSendInsert, ReturnsTheBufferAndFollowsTheUnalignedLayout)
{
    OpenSend b;
    EXPECT_EQ(&b.insert("xyz", 3, true), &b);
    EXPECT_EQ(b.values(), "\0\0"s + word(3) + "xyz");
}

TEST(NdrSendInsert, OfANegativeLengthFails)
{
    OpenSend b(64);
    b.insert("x", -1, false);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Buff_Sz_More_Than_Max, Error));
}

} // namespace
