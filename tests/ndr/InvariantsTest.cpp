// The order of the buffers' pointers, after each of many operations in random order, with memory that runs out at
// times.
#include "NdrProbe.h"

#include <array>
#include <functional>
#include <memory>
#include <random>

namespace {

// Each test runs one random order of operations. The number of the test is the seed: a failure can be repeated.
class Walk : public testing::TestWithParam<unsigned int> {
protected:
    unsigned int below(unsigned int bound) { return std::uniform_int_distribution<unsigned int>(0, bound - 1)(random); }
    bool seldom() { return below(20) == 0; }
    std::string someBytes(unsigned int most) { return std::string(below(most + 1), 'b'); }
    std::string someData()
    {
        std::string data(below(200), '\0');
        for (char& byte : data)
            byte = static_cast<char>(below(6));
        return packet(data, below(2) == 0 ? 0x10 : 0x00);
    }
    template <class Buffer> void walk(Buffer& buffer, const std::vector<std::function<void()>>& operations)
    {
        for (int step = 0; step < 2000 && !HasFailure(); ++step) {
            if (seldom())
                OsFaults::malloc().failNext(1, ENOMEM);
            const unsigned int chosen = below(static_cast<unsigned int>(operations.size()));
            operations[chosen]();
            SCOPED_TRACE("step " + std::to_string(step) + ", operation " + std::to_string(chosen));
            expectSound(buffer);
        }
    }

    std::mt19937 random{GetParam()};
    alignas(8) std::array<char, 264> area = {};
};

INSTANTIATE_TEST_SUITE_P(Orders, Walk, testing::Range(0u, 20u));

TEST_P(Walk, KeepsTheOrderOfASendBuffersPointers)
{
    OpenSend b;
    walk(b, {
                [&] { b << true << 'c' << short(1) << 2; },
                [&] { b << 3.0F << 4.0 << 5LL; },
                [&] { b << someBytes(9000).c_str(); },
                [&] { b << binary(someBytes(5000)); },
                [&] { b.put_opaque(area.data(), static_cast<int>(below(200)), seldom(), !seldom()); },
                [&] { b.start_transaction(); },
                [&] { b.end_transaction(); },
                [&] { b.reset(); },
                [&] { b.extend_buffer(below(3)); },
                [&] { b.init(area.data() + below(8), 32 + below(200)); },
                [&] { static_cast<itcStatus&>(b) = itcStatus(); },
            });
}

TEST_P(Walk, KeepsTheOrderOfAReceiveBuffersPointers)
{
    OpenReceive b;
    bool truth = false;
    char byte = 0;
    short half = 0;
    int number = 0;
    double real = 0;
    std::vector<char> text(1 << 16);
    itcBinData block;
    block.data = text.data();
    std::unique_ptr<char[]> array;
    int capacity = 0;
    const auto takeBlock = [&](auto take) {
        char* dst = array.release();
        int length = 0;
        take(dst, capacity, length);
        array.reset(dst);
        capacity = std::max(dst == nullptr ? 0 : capacity, length);
    };
    walk(b, {
                [&] { b >> truth >> byte >> half; },
                [&] { b >> number >> real; },
                [&] { b >> text.data(); },
                [&] { b >> block; },
                [&] { takeBlock([&](char*& dst, int cap, int& len) { b.extract(dst, cap, len); }); },
                [&] { b.skip(static_cast<int>(below(40)) - 20); },
                [&] { b.start_transaction(); },
                [&] { b.end_transaction(); },
                [&] { b.reset(); },
                [&] { b.extend_buffer(below(3)); },
                [&] {
                    const std::string data = someData();
                    const unsigned int offset = below(8);
                    std::copy(data.begin(), data.end(), area.begin() + offset);
                    b.init(area.data() + offset, static_cast<unsigned int>(data.size()));
                },
                [&] { static_cast<itcStatus&>(b) = itcStatus(); },
            });
}

#ifdef KIV_CHECK_INVARIANTS

TEST(Invariants, EndTheProcessWhereTheyAreBroken)
{
    OpenSend b(64);
    b.writePos = b.frameStart;
    EXPECT_DEATH(b << "text", "broken invariant");
}

#endif

} // namespace
