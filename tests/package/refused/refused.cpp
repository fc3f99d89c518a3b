// Programs that must not compile, one per value of CASE. The script "refusals" finds each case by its line "#if" or
// "#elif": the comment there is a part of the sentence that the compiler must print. CASE 0 must compile.
#include <kiv/companion.h>

namespace {

struct Undescribed {
    int number;
};

struct Base {
    int number = 0;
    KIV_FIELDS(number)
};

struct Derived : Base {
    int more = 0;
};

template <class T> struct With {
    T field;
    KIV_FIELDS(field)
};

enum class WideCharacter : wchar_t {};

void function() {}

} // namespace

void put(itcNDRSend& b);
void put([[maybe_unused]] itcNDRSend& b)
{
    static_cast<void>(function);
#if CASE == 0 // compiles
    b << 1 << "text" << std::string("text") << With<int>{1} << Base();
#elif CASE == 1  // an address means nothing to a peer
    int number = 0;
    b << &number;
#elif CASE == 2  // an address means nothing to a peer
    b << static_cast<const void*>(nullptr);
#elif CASE == 3  // an address means nothing to a peer
    b << nullptr;
#elif CASE == 4  // an address means nothing to a peer
    b << function;
#elif CASE == 5  // an address means nothing to a peer
    b << &function;
#elif CASE == 6  // an address means nothing to a peer
    b << &Undescribed::number;
#elif CASE == 7  // an address means nothing to a peer
    b << std::unique_ptr<int>();
#elif CASE == 8  // an address means nothing to a peer
    b << std::shared_ptr<std::string>();
#elif CASE == 9  // an address means nothing to a peer
    b << std::vector<int*>();
#elif CASE == 10 // an address means nothing to a peer
    b << With<Base*>();
#elif CASE == 11 // an address means nothing to a peer
    const unsigned char* bytes = nullptr;
    b << bytes;
#elif CASE == 12 // wide characters differ between machines
    b << L'c';
#elif CASE == 13 // wide characters differ between machines
    b << u'c';
#elif CASE == 14 // wide characters differ between machines
    b << U'c';
#elif CASE == 15 // wide characters differ between machines
    b << std::wstring();
#elif CASE == 16 // wide characters differ between machines
    b << std::u16string_view();
#elif CASE == 17 // wide characters differ between machines
    b << WideCharacter();
#elif CASE == 18 // wide characters differ between machines
    b << std::optional<char32_t>();
#elif CASE == 19 // a long double differs between machines
    b << 1.0L;
#elif CASE == 20 // a long double differs between machines
    b << std::array<long double, 2>();
#elif CASE == 21 // a long double differs between machines
    b << std::chrono::duration<long double>();
#elif CASE == 22 // this structure inherits the description of its base
    b << Derived();
#elif CASE == 23 // no packet carries this type
    b << With<Undescribed>();
#elif CASE == 24 // no packet carries this type
    b << std::vector<Undescribed>();
#elif CASE == 25 // itcPutArray() puts numbers
    const std::string texts[2];
    static_cast<void>(itcPutArray(b, texts, 2));
#elif CASE == 26 // values of this type differ in size
    static_cast<void>(itcSizeOnWire<std::string>());
#elif CASE == 27 // use of deleted function|call to deleted function
    static_cast<void>(itcAsXNDR(Base()));
#elif CASE == 50 // long: a long has 4 bytes here and 8 on other machines
    b << 1L;
#elif CASE == 51 // long: a long has 4 bytes here and 8 on other machines
    b << 1UL;
#elif CASE == 52 // long: a long has 4 bytes here and 8 on other machines
    b << std::vector<long>();
#endif
}

// Each take is tried with a plain and with a resumable buffer.
template <class Buffer> void take([[maybe_unused]] Buffer& b)
{
#if CASE == 0 // compiles
    char text[8];
    unsigned int length = 0;
    std::string limited;
    b >> itcText(text) >> itcBytes(text, sizeof text, length) >> itcBounded(limited, 80);
#elif CASE == 100 // an address means nothing to a peer
    int* pointer = nullptr;
    b >> pointer;
#elif CASE == 101 // wide characters differ between machines
    wchar_t character;
    b >> character;
#elif CASE == 102 // a long double differs between machines
    long double number;
    b >> number;
#elif CASE == 103 // this structure inherits the description of its base
    Derived record;
    b >> record;
#elif CASE == 104 // nothing tells how large the area is
    With<char*> record;
    b >> record;
#elif CASE == 105 // nothing tells how large the area is
    With<itcBinData> record;
    b >> record;
#elif CASE == 106 // elements without bytes cannot be counted safely
    std::vector<std::tuple<>> values;
    b >> values;
#elif CASE == 107 // itcBounded() limits texts and containers
    int number = 0;
    b >> itcBounded(number, 80);
#elif CASE == 108 // itcTakeArray() takes numbers
    std::string texts[2];
    static_cast<void>(itcTakeArray(b, texts, 2));
#elif CASE == 150 // long: a long has 4 bytes here and 8 on other machines
    long number = 0;
    b >> number;
#elif CASE == 200 // bounded: use of deleted function|overload resolution selected deleted operator
    char text[8];
    b >> text;
#elif CASE == 201 // bounded: use of deleted function|overload resolution selected deleted operator
    itcBinData data;
    b >> data;
#endif
}

#ifdef RESUMABLE
template void take(itcNdrUbReceive& b);
#else
template void take(itcNDRReceive& b);
#endif
