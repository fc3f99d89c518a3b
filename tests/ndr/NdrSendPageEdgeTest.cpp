// Long items with a size near a multiple of a page. The requested pages are counted from the bytes of the item alone.
// The label, the length word and the gap may not fit into these pages. Other tests put items whose source lies in the
// buffer that grows.
#include "NdrProbe.h"
#include "StatusMatchers.h"

namespace {

using namespace std::string_literals;

// One way to put `size` bytes, and the way to take them again.
struct Item {
    const char* name;
    void (*put)(itcNDRSend& b, const std::string& bytes);
    std::string (*take)(itcNDRReceive& b, size_t size);
};

void PrintTo(const Item& item, std::ostream* out) { *out << item.name; }

template <bool align8, bool withLength> void putOpaque(itcNDRSend& b, const std::string& bytes)
{
    b.put_opaque(bytes.data(), static_cast<int>(bytes.size()), align8, withLength);
}

std::string takeRaw(itcNDRReceive& b, size_t size)
{
    std::string text(size, '?');
    auto length = static_cast<unsigned int>(size);
    b.extract(text.data(), length);
    return text;
}

template <int alignment> std::string takeOpaque(itcNDRReceive& b, size_t)
{
    char* dst = nullptr;
    int length = 0;
    if (alignment == 1) {
        b.extract(dst, 0, length);
    } else {
        void* any = nullptr;
        b.get_opaque(any, 0, length);
        dst = static_cast<char*>(any);
    }
    const std::unique_ptr<char[]> owner(dst);
    return dst != nullptr ? std::string(dst, static_cast<size_t>(length)) : "";
}

const Item items[] = {
    {"text", [](itcNDRSend& b, const std::string& bytes) { b << bytes.c_str(); },
     [](itcNDRReceive& b, size_t size) {
         std::string text(size + 1, '?');
         b >> text.data();
         return text.substr(0, size);
     }},
    {"binary data", [](itcNDRSend& b, const std::string& bytes) { b << binary(bytes); },
     [](itcNDRReceive& b, size_t size) {
         std::string text(size, '?');
         itcBinData data = binary(text);
         b >> data;
         return text;
     }},
    {"raw block", putOpaque<false, false>, takeRaw},
    {"block with length", putOpaque<false, true>, takeOpaque<1>},
    {"aligned block", putOpaque<true, false>,
     [](itcNDRReceive& b, size_t size) {
         b.skip(static_cast<int>(-reinterpret_cast<std::uintptr_t>(static_cast<OpenReceive&>(b).readPos) & 7));
         return takeRaw(b, size);
     }},
    {"aligned block with length", putOpaque<true, true>, takeOpaque<8>},
};

std::string recognisable(size_t size)
{
    std::string text(size, ' ');
    for (size_t i = 0; i < size; ++i)
        text[i] = static_cast<char>('!' + i % 90);
    return text;
}

std::vector<size_t> sizesAboutPages()
{
    std::vector<size_t> sizes;
    for (size_t size = 4070; size <= 4110; ++size)
        sizes.push_back(size);
    for (size_t size = 8170; size <= 8210; ++size)
        sizes.push_back(size);
    return sizes;
}

class NdrSendPageEdge : public testing::TestWithParam<Item> {
protected:
    // Puts the item and a value behind it. Takes everything out of the packet again.
    void putAndTakeBack(OpenSend& b, size_t size)
    {
        SCOPED_TRACE(size);
        const std::string bytes = recognisable(size);
        GetParam().put(b, bytes);
        b << 4711;
        ASSERT_THAT(b, HasClearStatus());
        ASSERT_LE(b.writePos, b.lastUsable + 1);

        OpenReceive back(b.data());
        takeFirst(back);
        EXPECT_EQ(GetParam().take(back, size), bytes);
        int behind = 0;
        back >> behind;
        EXPECT_EQ(behind, 4711);
        EXPECT_THAT(back, HasClearStatus());
    }
    std::function<void(OpenReceive&)> takeFirst = [](OpenReceive&) {};
};

TEST_P(NdrSendPageEdge, FitsAsTheFirstValueOfAnEmptyBuffer)
{
    for (const size_t size : sizesAboutPages()) {
        OpenSend b;
        putAndTakeBack(b, size);
    }
}

TEST_P(NdrSendPageEdge, FitsIntoASmallBuffer)
{
    for (const size_t size : sizesAboutPages()) {
        OpenSend b(32);
        putAndTakeBack(b, size);
    }
}

TEST_P(NdrSendPageEdge, FitsBehindAByte)
{
    takeFirst = [](OpenReceive& back) {
        char c;
        back >> c;
    };
    for (const size_t size : sizesAboutPages()) {
        OpenSend b;
        b << 'c';
        putAndTakeBack(b, size);
    }
}

// The free room varies byte by byte, from more than the item needs to less than the bytes of the item.
TEST_P(NdrSendPageEdge, FitsWhereverTheBufferEnds)
{
    for (const size_t size : {size_t{100}, size_t{4080}, size_t{4096}})
        for (unsigned int less = 0; less < 32; ++less) {
            OpenSend b(static_cast<int>(size + 64));
            b.leaveFree(static_cast<unsigned int>(size) + 24 - less);
            putAndTakeBack(b, size);
        }
}

TEST_P(NdrSendPageEdge, FitsInTheCallersBufferAndOutgrowsIt)
{
    for (const unsigned int offset : {0u, 1u, 7u})
        for (const size_t size : {size_t{1}, size_t{10}, size_t{17}, size_t{18}, size_t{4080}, size_t{4096}}) {
            const std::unique_ptr<char[]> area(new char[64 + offset]);
            OpenSend b;
            b.init(area.get() + offset, 64);
            const std::string bytes = recognisable(size);
            GetParam().put(b, bytes);
            ASSERT_THAT(b, HasClearStatus());
            EXPECT_EQ(b.data().substr(b.raw_length() - (bytes.size() + (GetParam().name == "text"s))),
                      GetParam().name == "text"s ? bytes + '\0' : bytes);
        }
}

INSTANTIATE_TEST_SUITE_P(Items, NdrSendPageEdge, testing::ValuesIn(items));

// A deriving class may refuse the first growth. The second request then counts the bytes of the item and 16 more.
TEST(NdrSendSecondGrowth, LeavesRoomForSixteenBytesBesidesTheBlock)
{
    struct Reluctant : OpenSend {
        void extend_buffer(unsigned int pages) override
        {
            if (pagesAsked.empty())
                pagesAsked.push_back(pages);
            else
                OpenSend::extend_buffer(pages);
        }
    };
    const std::string block(4080, 'x');
    Reluctant onePage, twoPages;
    onePage.insert(block.data(), 4079, false);
    twoPages.insert(block.data(), 4080, false);
    EXPECT_THAT(onePage.pagesAsked, testing::ElementsAre(1u, 1u));
    EXPECT_THAT(twoPages.pagesAsked, testing::ElementsAre(1u, 2u));
    EXPECT_EQ(onePage.values(), block.substr(1));
    EXPECT_EQ(twoPages.values(), block);
}

// The source of the item lies in the buffer. Growing moves the buffer.
TEST(NdrSendOwnBytes, ATextIsCopiedWhileTheBufferGrows)
{
    OpenSend b(128);
    b << recognisable(40).c_str();
    b.leaveFree(3);
    b << b.raw_data() + 8;
    EXPECT_EQ(b.pagesAsked.size(), 1u);
    EXPECT_EQ(b.values().substr(0, 47), "\0\0"s + word(41) + recognisable(40) + '\0');
    EXPECT_EQ(b.values().substr(47), "\0\0\0"s + word(41) + recognisable(40) + '\0');
}

TEST(NdrSendOwnBytes, BinaryDataIsCopiedWhileTheBufferGrows)
{
    OpenSend b(128);
    b << recognisable(40).c_str();
    b.leaveFree(3);
    itcBinData data;
    data.length = 40;
    data.data = b.raw_data() + 8;
    b << data;
    EXPECT_EQ(b.pagesAsked.size(), 1u);
    EXPECT_EQ(b.values().substr(47), "\0\0\0"s + word(40) + recognisable(40));
}

// With little room left the length word makes the buffer grow. With more room only the bytes make the buffer grow.
TEST(NdrSendOwnBytes, ABlockIsCopiedWhileTheBufferGrows)
{
    for (const bool align8 : {false, true})
        for (const bool withLength : {false, true})
            for (const unsigned int room : {0u, 3u, 8u, 20u, 47u}) {
                OpenSend b(128);
                b << recognisable(40).c_str();
                b.leaveFree(room);
                b.put_opaque(b.raw_data() + 8, 40, align8, withLength);
                EXPECT_GE(b.pagesAsked.size(), 1u);
                EXPECT_EQ(b.data().substr(b.raw_length() - 40), recognisable(40))
                    << align8 << withLength << " with room for " << room;
            }
}

TEST(NdrSendOwnBytes, AnInsertedBlockIsCopiedWhileTheBufferGrows)
{
    OpenSend b(128);
    b << recognisable(40).c_str();
    b.leaveFree(0);
    b.insert(b.raw_data() + 8, 40, true);
    EXPECT_EQ(b.values().substr(47), "\0\0\0"s + word(40) + recognisable(40));
}

// A caller's buffer. Its owner overwrites the buffer as soon as the packet has moved to storage of its own.
class NdrSendOwnBytesOfCaller : public testing::TestWithParam<unsigned int> { // the offset from a multiple of 8
protected:
    struct Reused : OpenSend {
        void extend_buffer(unsigned int pages) override
        {
            OpenSend::extend_buffer(pages);
            std::memset(area, '?', sizeof area);
        }
        alignas(8) char area[80];
    } b;
    const std::string text = recognisable(20);

    void SetUp() override
    {
        b.init(b.area + GetParam(), 72);
        b << 1;
        b.insert((text + '\0').data(), 21, false); // at offset 8
        b.leaveFree(0);
    }
    void expectTwice(const std::string& second)
    {
        EXPECT_EQ(b.pagesAsked.size(), 1u);
        EXPECT_EQ(b.values().substr(2), word(1) + text + '\0' + second);
    }
};

TEST_P(NdrSendOwnBytesOfCaller, ABlockIsCopiedWhileTheBufferGrows)
{
    b.insert(b.raw_data() + 8, 20, false);
    expectTwice(text);
}

TEST_P(NdrSendOwnBytesOfCaller, ATextIsCopiedWhileTheBufferGrows)
{
    b << b.raw_data() + 8;
    expectTwice("\0\0\0"s + word(21) + text + '\0');
}

INSTANTIATE_TEST_SUITE_P(Offsets, NdrSendOwnBytesOfCaller, testing::Range(0u, 8u));

TEST(NdrSendOwnBytes, ABlockUpToTheLastByteIsCopied)
{
    OpenSend b(128);
    b.insert(recognisable(40).data(), 40, false);
    b.leaveFree(0);
    b.insert(b.raw_data(), 42, false);
    EXPECT_EQ(b.data(), packet(recognisable(40)) + packet(recognisable(40)));
}

} // namespace
