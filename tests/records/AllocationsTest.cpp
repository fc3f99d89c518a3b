// The operators new and delete of the test program, and proofs that they count and fail.
#include "Allocations.h"

#include "OsFaults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <memory>
#include <new>

namespace {

// The tests of the records have one thread.
struct {
    std::size_t failing = 0; // the number of the first allocation that fails; 0 for none
    std::size_t count = 0;
    std::size_t largest = 0;
    std::ptrdiff_t alive = 0;
} state;

// Apart from the counts: threads of the library also give memory back, while no test watches.
std::atomic<bool> watched{false};

void* allocate(std::size_t size)
{
    if (watched) {
        ++state.count;
        state.largest = std::max(state.largest, size);
        if (state.failing != 0 && state.count >= state.failing)
            return nullptr;
        // Tests announce gigabytes. The address checker would end the program.
        if (size > std::size_t{1} << 30)
            return nullptr;
    }
    void* const fresh = std::malloc(size == 0 ? 1 : size);
    if (fresh != nullptr && watched)
        ++state.alive;
    return fresh;
}

void* allocateOrThrow(std::size_t size)
{
    void* const fresh = allocate(size);
    if (fresh == nullptr)
        throw std::bad_alloc();
    return fresh;
}

void giveBack(void* block)
{
    if (block != nullptr && watched)
        --state.alive;
    std::free(block);
}

} // namespace

void* operator new(std::size_t size) { return allocateOrThrow(size); }
void* operator new[](std::size_t size) { return allocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return allocate(size); }
void operator delete(void* block) noexcept { giveBack(block); }
void operator delete[](void* block) noexcept { giveBack(block); }
void operator delete(void* block, std::size_t) noexcept { giveBack(block); }
void operator delete[](void* block, std::size_t) noexcept { giveBack(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { giveBack(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { giveBack(block); }

// Every failure calls OS_getLastError(), and the harness remembers each call. The harness gets room for these calls
// now: its own memory is not counted.
Allocations::Allocations()
{
    for (int i = 0; i < 1000; ++i)
        OS_getLastError();
    OsFaults::getLastError().clear();
    state = {};
    watched = true;
}

Allocations::~Allocations() { stop(); }

void Allocations::failFrom(std::size_t nth) { state.failing = state.count + nth; }

void Allocations::stop() { watched = false; }

std::size_t Allocations::count() const { return state.count; }

std::size_t Allocations::largest() const { return state.largest; }

std::ptrdiff_t Allocations::alive() const { return state.alive; }

namespace {

// The compiler may leave out a new and its delete. A call through a volatile pointer stays.
void* (*volatile ask)(std::size_t) = ::operator new;
void (*volatile giveUp)(void*) = ::operator delete;

TEST(AllocationsTest, CountsEachAndKnowsTheLargest)
{
    Allocations allocations;
    void* const small = ask(10);
    void* const large = ask(1000);
    giveUp(small);
    EXPECT_EQ(allocations.count(), 2u);
    EXPECT_EQ(allocations.largest(), 1000u);
    EXPECT_EQ(allocations.alive(), 1);
    giveUp(large);
    EXPECT_EQ(allocations.alive(), 0);
}

TEST(AllocationsTest, FailFromTheNthOn)
{
    Allocations allocations;
    allocations.failFrom(2);
    void* const first = ask(1);
    bool secondFails = false;
    bool thirdFails = false;
    try {
        giveUp(ask(1));
    } catch (const std::bad_alloc&) {
        secondFails = true;
    }
    try {
        giveUp(ask(1));
    } catch (const std::bad_alloc&) {
        thirdFails = true;
    }
    giveUp(first);
    allocations.stop();
    EXPECT_TRUE(secondFails);
    EXPECT_TRUE(thirdFails);
}

} // namespace
