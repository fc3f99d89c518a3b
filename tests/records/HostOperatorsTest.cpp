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
