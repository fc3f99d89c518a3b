// The memory calls of the portability layer, and their results for sizes of 0.
#include <kiv/foundation/OS.h>

#include <gmock/gmock.h>

#include <malloc.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>

namespace {

// More memory than any allocator gives. The compiler warns about a constant of this size: `volatile` hides the value.
volatile size_t tooMuch = SIZE_MAX - 4096;

// Frees `pointer` after each test.
class OSMemory : public testing::Test {
protected:
    ~OSMemory() override { OS_free(pointer); }

    char* bytes() const { return static_cast<char*>(pointer); }

    void* pointer = nullptr;
};

TEST_F(OSMemory, MallocGivesWhatIsAsked)
{
    pointer = OS_malloc(64);

    ASSERT_NE(pointer, nullptr);
    EXPECT_GE(::malloc_usable_size(pointer), 64u);
}

TEST_F(OSMemory, MallocOfNothingGivesAUsableByte)
{
    pointer = OS_malloc(0);

    ASSERT_NE(pointer, nullptr);
    EXPECT_GE(::malloc_usable_size(pointer), 1u);
    *bytes() = 'x';
}

TEST_F(OSMemory, CallocGivesZeros)
{
    pointer = OS_calloc(4, 16);

    ASSERT_NE(pointer, nullptr);
    EXPECT_EQ(std::count(bytes(), bytes() + 64, '\0'), 64);
}

TEST_F(OSMemory, CallocRaisesACountOf0AndASizeOf0)
{
    for (const auto& [count, size] : {std::pair(0, 4096), std::pair(4096, 0)}) {
        OS_free(pointer);
        pointer = OS_calloc(count, size);
        ASSERT_NE(pointer, nullptr);
        EXPECT_GE(::malloc_usable_size(pointer), 4096u);
        EXPECT_EQ(std::count(bytes(), bytes() + 4096, '\0'), 4096);
    }
}

TEST_F(OSMemory, CallocOfNothingGivesAUsableZero)
{
    pointer = OS_calloc(0, 0);

    ASSERT_NE(pointer, nullptr);
    EXPECT_EQ(*bytes(), '\0');
}

TEST_F(OSMemory, ReallocKeepsTheContent)
{
    pointer = OS_malloc(4);
    std::memcpy(pointer, "abc", 4);

    pointer = OS_realloc(pointer, 4096);

    ASSERT_NE(pointer, nullptr);
    EXPECT_STREQ(bytes(), "abc");
}

TEST_F(OSMemory, ReallocTo0KeepsOneByte)
{
    pointer = OS_malloc(4);
    std::memcpy(pointer, "abc", 4);

    pointer = OS_realloc(pointer, 0);

    ASSERT_NE(pointer, nullptr);
    EXPECT_EQ(*bytes(), 'a');
}

TEST_F(OSMemory, ReallocOfNullAllocates)
{
    pointer = OS_realloc(nullptr, 0);

    ASSERT_NE(pointer, nullptr);
    *bytes() = 'x';
}

TEST_F(OSMemory, IsNullWhenThereIsNotEnough)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "sanitizers end the process instead";
#endif
    EXPECT_EQ(OS_malloc(tooMuch), nullptr);
    EXPECT_EQ(OS_calloc(tooMuch, 16), nullptr);
    EXPECT_EQ(OS_realloc(nullptr, tooMuch), nullptr);
}

TEST(OSFree, DoesNothingForNull)
{
    OS_free(nullptr);
    SUCCEED();
}

} // namespace
