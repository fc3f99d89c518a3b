// The floating-point conversions, on the words of a value as they lie in its bytes, least significant byte first.
//
// The bit positions put the sign at bit 0, next to the exponent, as a sign-first declaration of bit fields does. They
// do not coincide with where a little-endian machine keeps the sign and exponent of its own floats. Both ends of a
// conversation use them, so they cannot be changed at one.
#include <kiv/ndr/itcNDR.h>

#include <cstddef>
#include <cstdint>

namespace {

template <class Word> Word load(const unsigned char* bytes)
{
    Word word = 0;
    for (unsigned int i = 0; i < sizeof(Word); ++i)
        word = static_cast<Word>(word | static_cast<Word>(bytes[i]) << (8 * i));
    return word;
}

template <class Word> void store(unsigned char* bytes, Word word)
{
    for (unsigned int i = 0; i < sizeof(Word); ++i)
        bytes[i] = static_cast<unsigned char>(word >> (8 * i));
}

constexpr uint32_t bits(uint32_t word, unsigned int first, unsigned int count)
{
    return (word >> first) & ((uint32_t{1} << count) - 1);
}

constexpr uint32_t vaxSingleMaximum = 0xFFFEFFFF;   // m2 all ones, e 255, m1 127, sign 0
constexpr uint32_t ieeeSingleInfinity = 0x000001FE; // e 255, m 0, sign 0
constexpr uint32_t vaxSingleSign = uint32_t{1} << 16;

} // namespace

void Itc_itof(void* value)
{
    auto* const bytes = static_cast<unsigned char*>(value);
    const auto in = load<uint32_t>(bytes);
    const uint32_t s = bits(in, 0, 1);
    const uint32_t e = bits(in, 1, 8);
    const uint32_t m = bits(in, 9, 23);

    uint32_t out = 0;
    if (e == 255 && m == 0)
        out = vaxSingleMaximum;
    else if (e != 0 || m != 0)
        out = (m & 0xFFFF) | ((e + 2) % 256) << 17 | (m >> 16) << 25;
    store(bytes, out | s << 16);
}

void Itc_ftoi(void* value)
{
    auto* const bytes = static_cast<unsigned char*>(value);
    const auto in = load<uint32_t>(bytes);
    const uint32_t m2 = bits(in, 0, 16);
    const uint32_t s = bits(in, 16, 1);
    const uint32_t e = bits(in, 17, 8);
    const uint32_t m1 = bits(in, 25, 7);

    uint32_t out = 0;
    if ((in & ~vaxSingleSign) == vaxSingleMaximum)
        out = ieeeSingleInfinity;
    else if ((in & ~vaxSingleSign) != 0)
        out = ((e - 2) % 256) << 1 | (m1 << 16 | m2) << 9;
    store(bytes, out | s);
}

void Itc_itod(void* value)
{
    auto* const bytes = static_cast<unsigned char*>(value);
    const auto w0 = load<uint32_t>(bytes);
    const auto ml = load<uint32_t>(bytes + 4);
    const uint32_t s = bits(w0, 0, 1);
    const uint32_t e = bits(w0, 1, 11);
    const uint32_t mh = bits(w0, 12, 20);

    uint32_t h[4] = {}; // 16 bits each
    if (e == 0 && ml == 0 && mh == 0x7FF) {
        // The largest value is known by exponent 0, not by an exponent of ones.
        h[0] = h[1] = h[2] = 0xFFFF;
        h[3] = 0xFFFE;
    } else if (e != 0 || mh != 0 || ml != 0) {
        h[3] = ((e - 126) % 256) << 1 | (mh >> 13) << 9;
        h[2] = mh << 3 | ml >> 29;
        h[1] = ml >> 13;
        h[0] = ml << 13; // not 3, unlike the way back: bits 3 to 12 are lost
    }
    h[3] |= s;
    for (size_t i = 0; i < 4; ++i)
        store(bytes + 2 * i, static_cast<uint16_t>(h[i]));
}

void Itc_dtoi(void* value)
{
    auto* const bytes = static_cast<unsigned char*>(value);
    const uint32_t m4 = load<uint16_t>(bytes);
    const uint32_t m3 = load<uint16_t>(bytes + 2);
    const uint32_t m2 = load<uint16_t>(bytes + 4);
    const uint32_t h3 = load<uint16_t>(bytes + 6);
    const uint32_t s = bits(h3, 0, 1);
    const uint32_t e = bits(h3, 1, 8);
    const uint32_t m1 = bits(h3, 9, 7);

    uint32_t w0 = 0;
    uint32_t w1 = 0;
    if (m1 == 127 && e == 255 && m2 == 0xFFFF && m3 == 0xFFFF && m4 == 0xFFFF) {
        w0 = 0x007FF000;
    } else if (m1 != 0 || e != 0 || m2 != 0 || m3 != 0 || m4 != 0) {
        w0 = (e + 894) << 1 | (m1 << 13 | m2 >> 3) << 12;
        w1 = m3 << 13 | (m2 & 7) << 29 | m4 >> 3;
    }
    store(bytes, w0 | s);
    store(bytes + 4, w1);
}
