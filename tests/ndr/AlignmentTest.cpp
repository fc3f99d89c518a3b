// The bytes of a packet may lie at any address, and a value at any place of a packet. The library never reads or writes
// a machine word at an unaligned address. Most machines accept unaligned words, but the target machine does not.
#include "NdrProbe.h"
#include "StreamPair.h"
#include "UbProbe.h"

#include <kiv/ndr/itcMsgHdr.h>

#include <tuple>

namespace {

using namespace std::string_literals;

constexpr size_t offsets = 16; // every place between two multiples of the widest alignment

/// Memory that begins at a multiple of 16.
class Memory {
public:
    explicit Memory(char filling = '\xEE') { std::memset(bytes, filling, sizeof bytes); }

    char* at(size_t offset) { return bytes + offset; }

private:
    alignas(offsets) char bytes[512];
};

size_t roundedUp(size_t place, size_t to) { return (place + to - 1) / to * to; }

/// Returns the bytes behind the label of a packet with `before` chars and one value.
std::string charsAndValue(size_t before, const std::string& value)
{
    const size_t end = 2 + before;
    return std::string(before, 'c') + std::string(roundedUp(end, value.size()) - end, '\0') + value;
}

template <class Buffer> void expectChars(Buffer& b, size_t count)
{
    for (size_t i = 0; i < count; ++i) {
        char c = '\0';
        b >> c;
        ASSERT_EQ(c, 'c') << i;
    }
}

template <class Buffer> void putChars(Buffer& b, size_t count)
{
    for (size_t i = 0; i < count; ++i)
        b << 'c';
}

template <class Value> class Alignment : public testing::Test {
protected:
    const std::string counting = countingBytes(sizeof(Value));

    // Takes the value from a packet of this machine, or of one with another byte order.
    void expectValue(itcNDRReceive& b, size_t before)
    {
        expectChars(b, before);
        Value value{};
        b >> value;
        EXPECT_EQ(bytesOf(value), counting);
        EXPECT_THAT(b, HasClearStatus());
    }
    std::string ownPacket(size_t before) const { return packet(charsAndValue(before, counting), 0x10); }
    std::string foreignPacket(size_t before) const { return packet(charsAndValue(before, reversed(counting)), 0x00); }
};
TYPED_TEST_SUITE(Alignment, ValueTypes);

TYPED_TEST(Alignment, OfACallersBufferDoesNotMatterToTakes)
{
    for (size_t offset = 0; offset < offsets; ++offset) {
        for (size_t before = 0; before < offsets; ++before) {
            SCOPED_TRACE(testing::Message() << before << " chars in a buffer at " << offset);
            for (const std::string& ndr : {this->ownPacket(before), this->foreignPacket(before)}) {
                Memory memory;
                std::memcpy(memory.at(roundedUp(offset, 8)), ndr.data(), ndr.size());
                OpenReceive b;
                b.init(memory.at(offset), static_cast<unsigned int>(roundedUp(offset, 8) - offset + ndr.size()));
                this->expectValue(b, before);
            }
        }
    }
}

TYPED_TEST(Alignment, OfTheBytesThatAreCopiedDoesNotMatter)
{
    for (size_t offset = 0; offset < offsets; ++offset) {
        for (size_t before = 0; before < offsets; ++before) {
            SCOPED_TRACE(testing::Message() << before << " chars in bytes at " << offset);
            for (const std::string& ndr : {this->ownPacket(before), this->foreignPacket(before)}) {
                Memory memory;
                std::memcpy(memory.at(offset), ndr.data(), ndr.size());
                OpenReceive b(memory.at(offset), static_cast<unsigned int>(ndr.size()));
                this->expectValue(b, before);
                OpenUbReceive ub(1, memory.at(offset), static_cast<unsigned int>(ndr.size()));
                this->expectValue(ub, before);
            }
        }
    }
}

TYPED_TEST(Alignment, OfACallersBufferDoesNotMatterToPuts)
{
    for (size_t offset = 0; offset < offsets; ++offset) {
        for (size_t before = 0; before < offsets; ++before) {
            SCOPED_TRACE(testing::Message() << before << " chars in a buffer at " << offset);
            Memory memory;
            OpenSend b;
            b.init(memory.at(offset), 100);
            putChars(b, before);
            const char* const gap = b.writePos;
            b << countingValue<TypeParam>();

            const char* const value = b.writePos - sizeof(TypeParam);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(value) % sizeof(TypeParam), 0u);
            EXPECT_TRUE(isZero(gap, value));
            EXPECT_EQ(std::string(value, sizeof(TypeParam)), this->counting);
            EXPECT_EQ(b.data().substr(2, before), std::string(before, 'c'));
            EXPECT_EQ(*memory.at(offset + 100), '\xEE');
        }
    }
}

TYPED_TEST(Alignment, OfAnAllocationDoesNotMatter)
{
    for (unsigned int offset = 0; offset < offsets; ++offset) {
        CrookedMemory memory(offset);
        OpenSend out(256);
        putChars(out, offset);
        out << countingValue<TypeParam>();
        EXPECT_EQ(out.data(), this->ownPacket(offset));
        out.storage = nullptr; // this memory cannot be freed
    }
}

TYPED_TEST(Alignment, OfAValueBehindTextsDoesNotMatter)
{
    for (size_t length = 0; length < offsets; ++length) {
        OpenSend out;
        out << std::string(length, 't').c_str() << countingValue<TypeParam>();
        OpenReceive in(out.data());
        char text[offsets] = "";
        in >> text;
        EXPECT_EQ(text, std::string(length, 't'));
        this->expectValue(in, 0);
    }
}

TYPED_TEST(Alignment, OfATransactionDoesNotMatter)
{
    for (size_t before = 0; before < offsets; ++before) {
        for (size_t inside = 0; inside < offsets; ++inside) {
            SCOPED_TRACE(testing::Message() << inside << " chars in a transaction behind " << before);
            OpenSend out;
            putChars(out, before);
            out.start_transaction();
            putChars(out, inside);
            out << countingValue<TypeParam>();
            ASSERT_EQ(out.end_transaction(), 0);
            out << countingValue<TypeParam>();

            OpenReceive in(out.data());
            expectChars(in, before);
            in.start_transaction();
            this->expectValue(in, inside);
            EXPECT_EQ(in.end_transaction(), 0);
            this->expectValue(in, 0);
        }
    }
}

/// A kind of item with any number of bytes. The host gives the address of the source and of the target.
struct BlockKind {
    const char* name;
    void (*put)(itcNDRSend& out, const char* from, int length);
    void (*take)(itcNDRReceive& in, char* to, int length);
};

void PrintTo(const BlockKind& kind, std::ostream* out) { *out << kind.name; }

const BlockKind blockKinds[] = {
    {"raw bytes", [](itcNDRSend& out, const char* from, int length) { out.insert(from, length, false); },
     [](itcNDRReceive& in, char* to, int length) {
         auto count = static_cast<unsigned int>(length);
         in.extract(to, count);
     }},
    {"counted bytes", [](itcNDRSend& out, const char* from, int length) { out.insert(from, length, true); },
     [](itcNDRReceive& in, char* to, int length) { in.extract(to, length, length); }},
    {"opaque block", [](itcNDRSend& out, const char* from, int length) { out.put_opaque(from, length, true, true); },
     [](itcNDRReceive& in, char* to, int length) {
         void* place = to;
         in.get_opaque(place, length, length);
         EXPECT_EQ(place, to);
     }},
    {"binary data",
     [](itcNDRSend& out, const char* from, int length) {
         out << itcBinData{static_cast<unsigned int>(length), const_cast<char*>(from)};
     },
     [](itcNDRReceive& in, char* to, int) {
         itcBinData data{0, to};
         in >> data;
     }},
    {"text", [](itcNDRSend& out, const char* from, int) { out << from; },
     [](itcNDRReceive& in, char* to, int) { in >> to; }},
};

class AlignmentOfBlocks : public testing::TestWithParam<std::tuple<BlockKind, int>> {
protected:
    // Puts `before` chars, the block and a value, then takes them. Source and target of the block lie at `offset`.
    void expectPassage(size_t before, size_t offset) const
    {
        SCOPED_TRACE(testing::Message() << "behind " << before << " chars, from and to " << offset);
        Memory source('\0');
        std::memcpy(source.at(offset), block.data(), block.size());
        OpenSend out;
        putChars(out, before);
        kind.put(out, source.at(offset), length);
        out << 1.5;

        Memory target;
        OpenReceive in(out.data());
        expectChars(in, before);
        kind.take(in, target.at(offset), length);
        double behind = 0;
        in >> behind;
        EXPECT_EQ(std::string(target.at(offset), block.size()), block);
        EXPECT_EQ(behind, 1.5);
        EXPECT_THAT(in, HasClearStatus());
    }

    const BlockKind kind = std::get<0>(GetParam());
    const int length = std::get<1>(GetParam());
    const std::string block = std::string("abcdefghijklmnopqrstuvwxyz").substr(0, static_cast<size_t>(length));
};
INSTANTIATE_TEST_SUITE_P(KindsAndLengths, AlignmentOfBlocks,
                         testing::Combine(testing::ValuesIn(blockKinds), testing::Values(1, 2, 3, 4, 7, 8, 9, 16, 17)));

TEST_P(AlignmentOfBlocks, DoesNotMatter)
{
    for (size_t before = 0; before < offsets; ++before) {
        for (size_t offset = 0; offset < offsets; ++offset)
            expectPassage(before, offset);
    }
}

TEST(AlignmentOfRecords, DoesNotMatter)
{
    for (size_t before = 0; before < offsets; ++before) {
        OpenSend out;
        putChars(out, before);
        out << itcMsgHdr(1, itcMsgHdr::itcMsgType(2), "abc", "de", 3, 4, 5, 6);
        OpenReceive in(out.data());
        expectChars(in, before);
        itcMsgHdr header;
        in >> header;
        EXPECT_THAT(in, HasClearStatus());
        EXPECT_STREQ(header.text1, "abc");
        EXPECT_EQ(header.value4, 6);
    }
}

struct Conversion {
    const char* name;
    void (*convert)(void*);
    size_t size;
};

void PrintTo(const Conversion& conversion, std::ostream* out) { *out << conversion.name; }

class AlignmentOfFloats : public testing::TestWithParam<Conversion> {};
INSTANTIATE_TEST_SUITE_P(Conversions, AlignmentOfFloats,
                         testing::Values(Conversion{"itof", Itc_itof, 4}, Conversion{"ftoi", Itc_ftoi, 4},
                                         Conversion{"itod", Itc_itod, 8}, Conversion{"dtoi", Itc_dtoi, 8}));

TEST_P(AlignmentOfFloats, DoesNotMatterToTheConversion)
{
    const std::string value = bytes({0xFE, 0x25, 0x5A, 0xA5, 0x3C, 0xC3, 0x81, 0x7E}).substr(0, GetParam().size);
    std::string converted(GetParam().size, '\0');
    for (size_t offset = 0; offset < offsets; ++offset) {
        Memory memory;
        char* const place = memory.at(offset + 1); // the byte in front is compared, too
        std::memcpy(place, value.data(), value.size());
        GetParam().convert(place);
        if (offset == 0)
            converted.assign(place, value.size());
        EXPECT_EQ(std::string(place - 1, value.size() + 2), '\xEE' + converted + '\xEE') << offset;
    }
    EXPECT_NE(converted, value);
}

// Whole packets that are sent and received in pieces.
class AlignmentOfPieces : public testing::TestWithParam<size_t> { // the size of a piece
protected:
    static std::string everyValue()
    {
        OpenSend out;
        out << 'c' << short(-2) << 'c' << 3 << 'c' << 4.5f << 'c' << 5.25 << 'c' << -6LL << "seven";
        return out.data();
    }
    static void expectEveryValue(itcNDRReceive& in)
    {
        char c = '\0';
        short s = 0;
        int i = 0;
        float f = 0;
        double d = 0;
        long long ll = 0;
        char text[8] = "";
        in >> c >> s >> c >> i >> c >> f >> c >> d >> c >> ll >> text;
        EXPECT_EQ(std::make_tuple(c, s, i, f, d, ll), std::make_tuple('c', short(-2), 3, 4.5f, 5.25, -6LL));
        EXPECT_STREQ(text, "seven");
        EXPECT_THAT(in, HasClearStatus());
    }
    // Reads a frame with a value of every type. The frame arrives in pieces.
    static void expectToRead(OpenUbReceive& in)
    {
        ScriptedConnection connection;
        const std::string bytes = frame(everyValue());
        for (size_t at = 0; at < bytes.size(); at += GetParam())
            connection.gives(bytes.substr(at, GetParam()));
        while (in.rxState != Complete && in.severity == Success)
            connection >> in;
        expectEveryValue(in);
    }
};
INSTANTIATE_TEST_SUITE_P(Sizes, AlignmentOfPieces, testing::Range<size_t>(1, 18));

TEST_P(AlignmentOfPieces, DoesNotMatterToAResumableRead)
{
    OpenUbReceive in(1);
    expectToRead(in);
}

TEST_P(AlignmentOfPieces, DoesNotMatterToAResumableReadIntoACallersBuffer)
{
    for (size_t offset = 0; offset < offsets; ++offset) {
        Memory memory;
        OpenUbReceive in(1);
        in.init(memory.at(offset), 200);
        in.reset_transmission_state();
        expectToRead(in);
        EXPECT_EQ(in.storage, nullptr) << "it is still the caller's";
    }
}

TEST_P(AlignmentOfPieces, DoesNotMatterToAResumableWriteFromACallersBuffer)
{
    for (size_t offset = 0; offset < offsets; ++offset) {
        Memory memory;
        OpenUbSend out(1);
        out.init(memory.at(offset), 200);
        out << "twenty-three characters" << 'c' << 4711;
        const std::string expected = frame(out.data());
        ScriptedConnection connection;
        for (unsigned int left = 1; left != 0;)
            left = connection.takes(static_cast<unsigned int>(GetParam())) << out;
        EXPECT_EQ(connection.written, expected);
    }
}

TEST(AlignmentOfFrames, DoesNotMatterToACallersBuffer)
{
    for (size_t offset = 0; offset < offsets; ++offset) {
        Memory memory;
        StreamPair pair;
        OpenReceive in;
        in.init(memory.at(offset), 100);
        pair.farSends(frame(packet("\0\0"s + word(1) + countingBytes(8))));
        pair.near() >> in;
        int i = 0;
        double d = 0;
        in >> i >> d;
        EXPECT_EQ(i, 1);
        EXPECT_EQ(bytesOf(d), countingBytes(8));
        EXPECT_EQ(in.storage, nullptr);
    }
}

TEST(AlignmentOfFrames, DoesNotMatterToAFrameWrittenFromACallersBuffer)
{
    for (size_t offset = 0; offset < offsets; ++offset) {
        Memory memory;
        StreamPair pair;
        OpenSend out;
        out.init(memory.at(offset), 100);
        out << 'c' << 4711;
        pair.near() << out;
        EXPECT_EQ(pair.farReceives(16), frame(packet("c\0"s + word(4711))));
    }
}

} // namespace
