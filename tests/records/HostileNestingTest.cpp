// Records inside of records: too deep for the stack, or with parts that the host takes itself.
#include "StatusMatchers.h"
#include "Wire.h"

#include <kiv/companion.h>

namespace {

constexpr unsigned int deepest = 64;

struct Tree {
    std::vector<Tree> children;
    KIV_FIELDS(children)
};

struct VersionedTree {
    std::vector<VersionedTree> children;
    KIV_VERSIONED(children)
};

template <class Node> Node nested(unsigned int levels)
{
    Node node;
    if (levels > 1)
        node.children.push_back(nested<Node>(levels - 1));
    return node;
}

/// A packet with so many levels, which a peer can write without being a tree itself.
std::string packetOfTree(unsigned int levels)
{
    Wire w;
    for (unsigned int i = 1; i < levels; ++i)
        w.count(1);
    w.count(0);
    return w.data;
}

std::string packetOfVersionedTree(unsigned int levels)
{
    Wire w;
    for (unsigned int left = levels; left > 0; --left) {
        w.count(8 * left - 4);
        w.count(left > 1 ? 1 : 0);
    }
    return w.data;
}

template <class Node> void expectTaken(const std::string& data, unsigned int levels)
{
    ExactReceive b(data);
    Node tree;
    b >> tree;
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(tree, nested<Node>(levels));
}

template <class Node> void expectTooDeep(const std::string& data)
{
    ExactReceive b(data);
    Node tree = nested<Node>(3);
    b >> tree;
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Buff_Sz_More_Than_Max, Error));
    EXPECT_TRUE(tree.children.empty());
    EXPECT_EQ(b.position(), 2);
}

TEST(HostileNesting, OfTheLargestDepthIsTaken)
{
    expectTaken<Tree>(packetOfTree(deepest), deepest);
    expectTaken<VersionedTree>(packetOfVersionedTree(deepest), deepest);
}

TEST(HostileNesting, OfOneLevelMoreIsRefused)
{
    expectTooDeep<Tree>(packetOfTree(deepest + 1));
    expectTooDeep<VersionedTree>(packetOfVersionedTree(deepest + 1));
}

TEST(HostileNesting, OfAMillionLevelsIsRefused)
{
    expectTooDeep<Tree>(packetOfTree(1'000'000));
    expectTooDeep<VersionedTree>(packetOfVersionedTree(1'000'000));
}

TEST(HostileNesting, ThatIsTooDeepIsNotPut)
{
    OpenSend b;
    b << 4711;
    const std::string before = b.data();
    b << nested<Tree>(deepest + 1);
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Buff_Sz_More_Than_Max, Error));
    EXPECT_EQ(b.data(), before);
}

TEST(HostileNesting, OfTheLargestDepthIsPut)
{
    OpenSend b;
    b << nested<VersionedTree>(deepest);
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(b.data(), packetOfVersionedTree(deepest));
}

/// A tree whose operators are the host's. Each level begins a take of its own.
class HostTree : public itcXNDR {
public:
    std::vector<HostTree> children;

    itcNDRSend& to_external(itcNDRSend& b) const override { return b << children; }
    itcNDRReceive& to_internal(itcNDRReceive& b) override { return b >> children; }
};

struct MixedTree {
    std::vector<HostTree> trees;
    std::vector<MixedTree> children;
    KIV_FIELDS(trees, children)
};

TEST(HostileNesting, OfAMillionLevelsOfTheHostIsRefused)
{
    ExactReceive b(packetOfTree(1'000'000));
    std::vector<HostTree> trees;
    b >> trees;
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Buff_Sz_More_Than_Max, Error));
    EXPECT_TRUE(trees.empty());
}

TEST(HostileNesting, CountsTheLevelsOfTheHostAndOfRecordsTogether)
{
    Wire w;
    for (unsigned int i = 0; i < deepest / 2; ++i) {
        w.count(0); // no trees
        w.count(1); // one child
    }
    w.count(1); // a tree
    for (unsigned int i = 0; i < deepest / 2; ++i)
        w.count(1);
    ExactReceive b(w.data + std::string(1000, '\0'));
    MixedTree tree;
    b >> tree;
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Buff_Sz_More_Than_Max, Error));
    EXPECT_TRUE(tree.children.empty());
}

/// A part with operators of its own. Its text may be cut.
class HostPart : public itcXNDR {
public:
    char text[4] = {};

    itcNDRSend& to_external(itcNDRSend& b) const override { return b << text; }
    itcNDRReceive& to_internal(itcNDRReceive& b) override { return b >> itcText(text); }
};

struct WithHostPart {
    HostPart part;
    int behind = 0;
    KIV_FIELDS(part, behind)
};

// A text that was cut fails nothing: all is taken.
TEST(HostPart, WhoseTextIsCutIsTaken)
{
    Wire w;
    w.all("longer", 4711, 30);
    ExactReceive b(w.data);
    WithHostPart record;
    int behind = 0;
    b >> record >> behind;
    EXPECT_THAT(b, HasStatus(Itc_Ndr_Buffer_Size_Too_Small, Warning));
    EXPECT_STREQ(record.part.text, "lon");
    EXPECT_EQ(record.behind, 4711);
    EXPECT_EQ(behind, 30);
}

struct VersionedWithHostPart {
    HostPart part;
    int behind = 5;
    KIV_VERSIONED(part, behind)
};

// The host's own take does not know where the record ends.
TEST(HostPart, ThatReadsBeyondItsRecordIsAnError)
{
    Wire w;
    w.count(6);
    w.all("abc", 4711);
    ExactReceive b(w.data);
    VersionedWithHostPart record;
    b >> record;
    EXPECT_THAT(b, HasStatus(Itc_Ndr_End_Of_Data, Error));
    EXPECT_EQ(b.position(), 2);
    EXPECT_EQ(record.behind, 0);
}

TEST(HostPart, ThatIsTheLastOfAnEarlierVersionLeavesTheDefaults)
{
    Wire w;
    w.count(8);
    w.all("abc", 4711);
    ExactReceive b(w.data);
    VersionedWithHostPart record;
    record.behind = 6;
    b >> record;
    EXPECT_THAT(b, HasClearStatus());
    EXPECT_EQ(record.behind, 5);
    EXPECT_EQ(b.position(), 16);
}

} // namespace
