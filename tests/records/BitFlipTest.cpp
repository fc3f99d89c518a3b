// A packet with one wrong bit. Nothing is read outside of it. What it gives can be put again.
#include "Allocations.h"
#include "Everything.h"
#include "StatusMatchers.h"

namespace {

class BitFlip : public testing::TestWithParam<Sender> {
protected:
    template <class Check> static void eachFlip(const Check& check)
    {
        const std::string whole = packetOfEverything(GetParam());
        for (std::size_t bit = 0; bit < 8 * whole.size(); ++bit) {
            SCOPED_TRACE(bit);
            std::string bad = whole;
            bad[bit / 8] = static_cast<char>(static_cast<unsigned char>(bad[bit / 8]) ^ 1u << bit % 8);
            check(bad);
            if (HasFatalFailure())
                return;
        }
    }
};

TEST_P(BitFlip, GivesAStatusOrAValueThatCanBePutAgain)
{
    eachFlip([](const std::string& bad) {
        ExactReceive b(bad);
        Everything value;
        b >> value;
        expectSound(b);
        if (b.severity > Success && b.code != Itc_Ndr_Buffer_Size_Too_Small) {
            ASSERT_EQ(value, emptied());
            ASSERT_EQ(b.position(), 2);
        }
        OpenSend again;
        again << value;
        ASSERT_THAT(again, HasClearStatus());
        ASSERT_GT(again.raw_length(), 2u);
    });
}

// Flipped numbers may be no numbers: the bytes are compared, and not the values.
TEST_P(BitFlip, GivesAValueThatComesBackFromItsOwnPacket)
{
    eachFlip([](const std::string& bad) {
        ExactReceive b(bad);
        Everything value;
        b >> value;
        OpenSend first;
        first << value;
        ExactReceive copy(first.data());
        Everything back;
        copy >> back;
        ASSERT_THAT(copy, HasClearStatus());
        OpenSend second;
        second << back;
        ASSERT_EQ(second.data(), first.data());
    });
}

TEST_P(BitFlip, AsksForNoMoreMemoryThanThePacketJustifies)
{
    eachFlip([](const std::string& bad) {
        ExactReceive b(bad);
        Everything value;
        Allocations allocations;
        b >> value;
        allocations.stop();
        ASSERT_LE(allocations.largest(), sizeof(Branch) / 4 * bad.size());
    });
}

INSTANTIATE_TEST_SUITE_P(Senders, BitFlip, testing::Values(thisMachine, otherOrder, vaxOfThisOrder, vaxOfOtherOrder));

// Bools and enumerations with the type bool: every byte but 0 is true. A bool that is neither would break the host.
enum class Switch : bool { off = false, on = true };

struct Switches {
    bool alone = false;
    Switch named = Switch::off;
    bool array[2] = {};
    std::array<Switch, 2> namedArray = {};
    std::vector<bool> truths;
    std::vector<Switch> names;
    std::optional<bool> maybe;
    KIV_FIELDS(alone, named, array, namedArray, truths, names, maybe)
};

TEST(OddBool, IsTrueInEveryKind)
{
    for (const Sender sender : {thisMachine, otherOrder, vaxOfThisOrder})
        for (const int odd : {2, 0x80, 0xFF}) {
            const std::string one = bytes({odd});
            Wire w(sender);
            w.data += one + one + one + one + one + one;
            w.count(1);
            w.data += one;
            w.count(1);
            w.data += one + one + one;
            ExactReceive b(w.data);
            Switches switches;
            b >> switches;
            EXPECT_THAT(b, HasClearStatus());
            OpenSend out;
            out << switches;
            Wire expected;
            expected.all(true, true, true, true, true, true, std::vector<bool>{true}, std::vector<char>{1}, true, true);
            EXPECT_EQ(testing::PrintToString(out.data()), testing::PrintToString(expected.data));
        }
}

} // namespace
