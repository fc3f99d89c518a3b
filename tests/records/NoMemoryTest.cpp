// Memory runs out at each allocation in turn. A put leaves the packet as it was. A take leaves the target empty and the
// read position where the value began. Nothing leaks, and no exception comes out.
#include "Allocations.h"
#include "Everything.h"
#include "StatusMatchers.h"

namespace {

// An Everything whose packet is larger than one page.
Everything largeSample()
{
    Everything e = sampleOf(thisMachine);
    e.text.assign(5000, 't');
    e.numbers.assign(2000, 5);
    e.texts.assign(500, "a text that is too long for the text object itself");
    e.branches.assign(20, e.branch);
    for (int i = 0; i < 500; ++i)
        e.map[i] = "entry";
    return e;
}

TEST(NoMemoryForAPut, LeavesThePacketAsItWas)
{
    const Everything value = largeSample();
    int failures = 0;
    for (int nth = 1;; ++nth) {
        SCOPED_TRACE(nth);
        OpenSend b;
        b << 4711;
        const std::string before = b.data();
        OsFaults::malloc().failCall(nth, ENOMEM);
        b << value;
        OsFaults::malloc().clear();
        expectSound(b);
        if (b.severity == Success) {
            Wire expected;
            expected.all(4711, value);
            EXPECT_EQ(b.data(), expected.data);
            break;
        }
        ++failures;
        ASSERT_THAT(b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error, ENOMEM));
        ASSERT_EQ(b.data(), before);
    }
    EXPECT_GT(failures, 3);
}

TEST(NoMemoryForAPut, IntoAnEmptyBufferLeavesNoValues)
{
    const Everything value = largeSample();
    for (int nth = 1;; ++nth) {
        SCOPED_TRACE(nth);
        OpenSend b;
        OsFaults::malloc().failCall(nth, ENOMEM);
        b << value;
        OsFaults::malloc().clear();
        expectSound(b);
        if (b.severity == Success)
            break;
        ASSERT_THAT(b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error, ENOMEM));
        ASSERT_LE(b.raw_length(), 2u); // nothing, or the label

        // The buffer serves again.
        b.reset();
        static_cast<itcStatus&>(b) = itcStatus();
        b << value;
        ASSERT_THAT(b, HasClearStatus());
        Wire expected;
        expected.put(value);
        ASSERT_EQ(b.data(), expected.data);
    }
}

TEST(NoMemoryForAPut, OfManyNumbersLeavesThePacketAsItWas)
{
    const std::vector<double> numbers(10'000, 1.5);
    OpenSend b;
    b << 'x';
    const std::string before = b.data();
    OsFaults::malloc().failNext(1, ENOMEM);
    EXPECT_FALSE(itcPutArray(b, numbers.data(), numbers.size()));
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error, ENOMEM));
    EXPECT_EQ(b.data(), before);
}

TEST(NoMemoryForAPut, AsksNothingOfOperatorNew)
{
    const Everything value = sampleOf(thisMachine);
    OpenSend b;
    b.extend_buffer(4);
    b.pagesAsked.reserve(100);
    Allocations allocations;
    b << value;
    allocations.stop();
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(allocations.count(), 0u);
}

class NoMemoryForATake : public testing::TestWithParam<Sender> {
protected:
    /// Takes with failures from the first allocation on, from the second on, and so on, until the take succeeds.
    template <class T, class Fill> static int walk(const std::string& ndr, const T& empty, const Fill& fill)
    {
        int failures = 0;
        for (std::size_t nth = 1;; ++nth) {
            SCOPED_TRACE(nth);
            ExactReceive b(ndr);
            T value;
            fill(value);
            {
                Allocations allocations;
                allocations.failFrom(nth);
                EXPECT_NO_THROW(b >> value);
                allocations.stop();
            }
            expectSound(b);
            if (b.severity == Success)
                return failures;
            ++failures;
            EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error));
            EXPECT_TRUE(value == empty);
            EXPECT_EQ(b.position(), 2);
            EXPECT_EQ(std::string(b.dataStart, ndr.size()), ndr);
            if (HasFailure())
                return failures;
        }
    }
};

TEST_P(NoMemoryForATake, LeavesAFreshTargetEmpty)
{
    Wire w(GetParam());
    w.put(largeSample());
    EXPECT_GT(walk(w.data, emptied(), [](Everything&) {}), 100);
}

TEST_P(NoMemoryForATake, LeavesAFullTargetEmpty)
{
    Wire w(GetParam());
    w.put(largeSample());
    EXPECT_GT(walk(w.data, emptied(), [](Everything& value) { value = sampleOf(thisMachine); }), 100);
}

template <class T> void expectNothingLost(const std::string& ndr)
{
    for (std::size_t nth = 1;; ++nth) {
        SCOPED_TRACE(nth);
        ExactReceive b(ndr);
        Allocations allocations;
        {
            T value;
            allocations.failFrom(nth);
            b >> value;
        }
        allocations.stop();
        ASSERT_EQ(allocations.alive(), 0);
        if (b.severity == Success)
            return;
    }
}

TEST_P(NoMemoryForATake, LosesNoMemory) { expectNothingLost<Everything>(packetOfEverything(GetParam())); }

INSTANTIATE_TEST_SUITE_P(Senders, NoMemoryForATake, testing::Values(thisMachine, otherOrder));

TEST(NoMemory, ForAKeyLeavesASetEmpty)
{
    Wire w;
    w.put(std::set<std::string>{"a key that is too long for the text itself", "another key that is too long for that"});
    for (std::size_t nth = 1; nth <= 4; ++nth) {
        ExactReceive b(w.data);
        std::set<std::string> keys;
        Allocations allocations;
        allocations.failFrom(nth);
        b >> keys;
        allocations.stop();
        EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error)) << nth;
        EXPECT_TRUE(keys.empty());
    }
}

TEST(NoMemory, ForALimitedValueLeavesItEmpty)
{
    Wire w;
    w.put(std::vector<std::int32_t>(10, 5));
    ExactReceive b(w.data);
    std::vector<std::int32_t> numbers;
    Allocations allocations;
    allocations.failFrom(1);
    b >> itcBounded(numbers, 10);
    allocations.stop();
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error));
    EXPECT_TRUE(numbers.empty());
    EXPECT_EQ(b.position(), 2);
}

// A deque cannot be made without memory. The variant then keeps what it holds. It is not without a value.
TEST(NoMemory, LeavesAVariantWithoutASafeFirstAlternativeUsable)
{
    using Variant = std::variant<std::deque<int>, std::string>;
    Wire w;
    w.put(Variant(std::string(100, 't')));
    ExactReceive b(w.data);
    Variant value;
    Allocations allocations;
    allocations.failFrom(1);
    b >> value;
    allocations.stop();
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Alloc_Failed, Error));
    EXPECT_FALSE(value.valueless_by_exception());
    EXPECT_EQ(b.position(), 2);
}

TEST(NoMemory, ForADescriptionGivesAnEmptyText)
{
    bool succeeded = false;
    for (std::size_t nth = 1; !succeeded && nth < 1000; ++nth) {
        std::string json;
        Allocations allocations;
        allocations.failFrom(nth);
        json = itcDescribe<Branch>();
        allocations.stop();
        EXPECT_EQ(allocations.alive() > 0, !json.empty());
        succeeded = !json.empty();
    }
    EXPECT_TRUE(succeeded);
}

TEST(NoMemory, ForASizeOnTheWireGivesZero)
{
    const Everything value = largeSample();
    OsFaults::malloc().failCall(3, ENOMEM);
    EXPECT_EQ(itcSizeOnWire(value), 0u);
}

} // namespace
