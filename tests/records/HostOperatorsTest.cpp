// Operators that a host wrote for its types before it knew the companion. They go on putting and taking these types:
// alone, on every buffer, and inside of records.
#include <kiv/companion.h>

#include "ValueProbe.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>

namespace older {

enum class Mode { off, on };
struct Label {
    std::string text;
};
class Opaque;
enum Kind { first };

itcNDRSend& operator<<(itcNDRSend& b, Mode mode) { return b << (mode == Mode::on ? 'y' : 'n'); }
itcNDRReceive& operator>>(itcNDRReceive& b, Mode& mode)
{
    char letter = 0;
    b >> letter;
    mode = letter == 'y' ? Mode::on : Mode::off;
    return b;
}
itcNDRSend& operator<<(itcNDRSend& b, const Label& label) { return b << static_cast<short>(label.text.size()); }
itcNDRSend& operator<<(itcNDRSend& b, const Opaque&) { return b << 'o'; }
itcNDRSend& operator<<(itcNDRSend& b, Kind) { return b << 'p'; }
itcNDRReceive& operator>>(itcNDRReceive& b, Kind& kind)
{
    char letter = 0;
    b >> letter;
    kind = first;
    return b;
}

const Opaque& opaque()
{
    static const char place = 0;
    return reinterpret_cast<const Opaque&>(place);
}

} // namespace older

namespace {

struct Machine {
    older::Mode mode = older::Mode::off;
    int number = 0;
    KIV_FIELDS(mode, number)
};

struct Shelf {
    older::Kind kind = older::first;
    int number = 0;
    KIV_FIELDS(kind, number)
};

class HostSend : public itcNdrUbSend {
public:
    HostSend() : itcNdrUbSend(0) {}
};

class PrivateSend : private itcNDRSend {
public:
    int last = 0;
    PrivateSend& operator<<(int value)
    {
        last = value;
        return *this;
    }
};

enum Plain { first, second };

/// A record that converts to a number by itself.
struct Switch {
    int number = 0;
    bool isOn = false;
    operator bool() const { return isOn; }
    KIV_FIELDS(number, isOn)
};

TEST(HostOperators, PutTheirTypeIntoEveryBuffer)
{
    OpenSend plain;
    itcNdrUbSend resumable(0);
    HostSend derived;
    plain << older::Mode::on;
    resumable << older::Mode::on;
    derived << older::Mode::on;
    EXPECT_EQ(plain.values(), "y");
    EXPECT_EQ(resumable.raw_length(), 3U);
    EXPECT_EQ(derived.raw_length(), 3U);
}

TEST(HostOperators, PutTheirTypeAsAField)
{
    OpenSend alone, record;
    alone << older::Mode::on << 7;
    record << Machine{older::Mode::on, 7};
    EXPECT_EQ(record.data(), alone.data());
}

TEST(HostOperators, TakeTheirTypeAsAField)
{
    OpenSend b;
    b << 'y' << 7;
    itcNDRReceive r(b.raw_data(), b.raw_length());
    Machine machine;
    r >> machine;
    EXPECT_EQ(machine, (Machine{older::Mode::on, 7}));
}

TEST(HostOperators, PutAPlainEnumerationAsAField)
{
    OpenSend alone, record;
    alone << older::first << 7;
    record << Shelf{older::first, 7};
    EXPECT_EQ(record.data(), alone.data());
    EXPECT_EQ(record.values().front(), 'p');
}

TEST(HostOperators, OfABoolDoNotServeARecordThatConvertsToBool)
{
    OpenSend record, fields;
    record << Switch{5, true};
    fields << 5 << true;
    EXPECT_EQ(record.data(), fields.data());

    OpenSend list;
    list << std::vector<Switch>{{5, true}};
    itcNDRReceive r(list.raw_data(), list.raw_length());
    std::vector<Switch> taken;
    r >> taken;
    ASSERT_EQ(taken.size(), 1U);
    EXPECT_EQ(taken[0].number, 5);
}

TEST(HostOperators, PutATypeThatIsNotDefinedYet)
{
    OpenSend b;
    b << older::opaque();
    EXPECT_EQ(b.values(), "o");
}

TEST(HostOperators, OfABufferWithAPrivateBaseAreLeftAlone)
{
    PrivateSend b;
    b << second;
    EXPECT_EQ(b.last, 1);
}

TEST(HostOperators, AreNotNeededForAVolatileEnumeration)
{
    volatile Plain value = second;
    OpenSend b;
    b << value;
    OpenSend expected;
    expected << 1;
    EXPECT_EQ(b.data(), expected.data());
}

TEST(HostOperators, AreNotNeededForAnAtomicNumber)
{
    const std::atomic<int> value(4);
    OpenSend b;
    b << value;
    OpenSend expected;
    expected << 4;
    EXPECT_EQ(b.data(), expected.data());
}

} // namespace
