// Many numbers in one step, and whole records in one step, against the same values one by one with the library's own
// operators. The cases are random; each seed can be repeated.
#include "Everything.h"
#include "StatusMatchers.h"

#include <limits>
#include <random>

namespace {

template <class T> class BulkAgainstOneByOne : public testing::Test {
protected:
    static constexpr int cases = 5000; // 12 types: 60,000 in all

    std::size_t below(std::size_t bound) { return std::uniform_int_distribution<std::size_t>(0, bound - 1)(random); }
    char randomByte() { return static_cast<char>(below(256)); }

    T randomNumber()
    {
        if constexpr (std::is_same_v<T, bool>)
            return below(2) != 0;
        T number;
        for (std::size_t i = 0; i < sizeof number; ++i)
            reinterpret_cast<char*>(&number)[i] = randomByte();
        return number;
    }

    static std::string bytesOfAll(const T* numbers, std::size_t count)
    {
        return {reinterpret_cast<const char*>(numbers), count * sizeof(T)};
    }

    std::mt19937 random{20'07};
};

TYPED_TEST_SUITE(BulkAgainstOneByOne, ValueTypes);

TYPED_TEST(BulkAgainstOneByOne, PutsTheSameBytes)
{
    for (int i = 0; i < this->cases; ++i) {
        SCOPED_TRACE(i);
        const std::size_t offset = this->below(9);
        const std::size_t count = this->below(5) == 0 ? this->below(3000) : this->below(20);
        const std::unique_ptr<TypeParam[]> numbers(new TypeParam[count]);
        for (std::size_t n = 0; n < count; ++n)
            numbers[n] = this->randomNumber();
        OpenSend bulk;
        OpenSend single;
        for (std::size_t n = 0; n < offset; ++n) {
            bulk << 'x';
            single << 'x';
        }
        ASSERT_TRUE(itcPutArray(bulk, numbers.get(), count));
        for (std::size_t n = 0; n < count; ++n)
            single << numbers[n];
        bulk << 'y';
        single << 'y';
        ASSERT_EQ(bulk.data(), single.data());
        ASSERT_EQ(std::make_tuple(bulk.code, bulk.severity, bulk.errorNumber),
                  std::make_tuple(single.code, single.severity, single.errorNumber));
        expectSound(bulk);
    }
}

TYPED_TEST(BulkAgainstOneByOne, GivesTheSameValuesStatusAndPosition)
{
    for (int i = 0; i < this->cases; ++i) {
        SCOPED_TRACE(i);
        // The data may end anywhere. The label is that of any known machine, and sometimes of an unknown machine.
        const std::size_t count = this->below(5) == 0 ? this->below(300) : this->below(20);
        std::string data = Sender{this->below(2) == 0, this->below(3) == 0}.label();
        if (this->below(10) == 0)
            data[this->below(2)] = this->randomByte();
        const std::size_t size = this->below((count + 2) * sizeof(TypeParam) + 9) + 1;
        for (std::size_t n = 0; n < size; ++n)
            data += this->below(4) == 0 ? '\0' : this->randomByte();
        const auto start = static_cast<std::ptrdiff_t>(2 + this->below(std::min<std::size_t>(size, 8) + 1));

        ExactReceive bulk(data);
        ExactReceive single(data);
        bulk.readPos = bulk.dataStart + start;
        single.readPos = single.dataStart + start;
        if (this->below(10) == 0) {
            bulk.dataLast = bulk.dataStart; // no packet
            single.dataLast = single.dataStart;
            bulk.readPos = bulk.dataStart;
            single.readPos = single.dataStart;
        }
        if (this->below(10) == 0) {
            leaveMark(bulk);
            leaveMark(single);
        }
        errno = static_cast<int>(this->below(3));
        const std::unique_ptr<TypeParam[]> values(new TypeParam[count]());
        const std::unique_ptr<TypeParam[]> expected(new TypeParam[count]());
        const int before = single.code;
        const bool taken = itcTakeArray(bulk, values.get(), count);
        for (std::size_t n = 0; n < count; ++n)
            single >> expected[n];
        ASSERT_EQ(this->bytesOfAll(values.get(), count), this->bytesOfAll(expected.get(), count));
        ASSERT_EQ(std::make_tuple(bulk.code, bulk.severity, bulk.errorNumber),
                  std::make_tuple(single.code, single.severity, single.errorNumber));
        ASSERT_EQ(bulk.position(), single.position());
        ASSERT_EQ(taken, single.code == before);
        expectSound(bulk);
    }
}

// ---- Records

struct Packed {
    char a;
    double b;
    short c;
    float d;
    bool e;
    long long f;
    unsigned char g;
    KIV_FIELDS(a, b, c, d, e, f, g)
};

struct Nested {
    signed char a;
    Packed b;
    std::array<unsigned short, 3> c;
    Packed d[2];
    std::pair<char, int> e;
    KIV_FIELDS(a, b, c, d, e)
};

struct Mixed {
    bool a = false;
    std::string b;
    int c = 0;
    std::vector<double> d;
    std::optional<float> e;
    Packed f = {};
    KIV_FIELDS(a, b, c, d, e, f)
};

// Field by field, with the library's own operators.
template <class Number, std::enable_if_t<std::is_arithmetic_v<Number>, int> = 0>
void putAlone(itcNDRSend& b, const Number& number)
{
    b << number;
}
void putAlone(itcNDRSend& b, const std::string& text) { b << text.c_str(); }
template <class T> void putAlone(itcNDRSend& b, const std::vector<T>& numbers)
{
    b << static_cast<unsigned int>(numbers.size());
    for (const T& number : numbers)
        b << number;
}
template <class T> void putAlone(itcNDRSend& b, const std::optional<T>& value)
{
    b << value.has_value();
    if (value)
        b << *value;
}
template <class T, std::size_t size> void putAlone(itcNDRSend& b, const std::array<T, size>& values);
template <class T, std::size_t size> void putAlone(itcNDRSend& b, const T (&values)[size]);
template <class A, class B> void putAlone(itcNDRSend& b, const std::pair<A, B>& pair);
void putAlone(itcNDRSend& b, const Packed& r) { b << r.a << r.b << r.c << r.d << r.e << r.f << r.g; }
template <class T, std::size_t size> void putAlone(itcNDRSend& b, const std::array<T, size>& values)
{
    for (const T& value : values)
        putAlone(b, value);
}
template <class T, std::size_t size> void putAlone(itcNDRSend& b, const T (&values)[size])
{
    for (const T& value : values)
        putAlone(b, value);
}
template <class A, class B> void putAlone(itcNDRSend& b, const std::pair<A, B>& pair)
{
    b << pair.first << pair.second;
}
void putAlone(itcNDRSend& b, const Nested& r)
{
    putAlone(b, r.a);
    putAlone(b, r.b);
    putAlone(b, r.c);
    putAlone(b, r.d);
    putAlone(b, r.e);
}
void putAlone(itcNDRSend& b, const Mixed& r)
{
    putAlone(b, r.a);
    putAlone(b, r.b);
    putAlone(b, r.c);
    putAlone(b, r.d);
    putAlone(b, r.e);
    putAlone(b, r.f);
}

template <class Record> class RecordAgainstFields : public testing::Test {
protected:
    static constexpr int cases = 3000;

    int below(int bound) { return std::uniform_int_distribution<int>(0, bound - 1)(random); }
    template <class Number> void fill(Number& number)
    {
        if constexpr (std::is_floating_point_v<Number>)
            number = static_cast<Number>(below(1000)) / 8;
        else
            number = static_cast<Number>(below(std::is_same_v<Number, bool> ? 2 : 1 << 30));
    }
    template <class Number> Number filled()
    {
        Number number;
        fill(number);
        return number;
    }
    void fill(Packed& r)
    {
        fill(r.a);
        fill(r.b);
        fill(r.c);
        fill(r.d);
        fill(r.e);
        fill(r.f);
        fill(r.g);
    }
    void fill(Nested& r)
    {
        fill(r.a);
        fill(r.b);
        for (auto& each : r.c)
            fill(each);
        for (auto& each : r.d)
            fill(each);
        fill(r.e.first);
        fill(r.e.second);
    }
    void fill(Mixed& r)
    {
        fill(r.a);
        r.b.assign(static_cast<std::size_t>(below(20)), 'm');
        fill(r.c);
        r.d.clear();
        for (int i = below(10); i > 0; --i)
            r.d.push_back(filled<double>());
        r.e.reset();
        if (below(2) != 0)
            r.e = filled<float>();
        fill(r.f);
    }

    std::mt19937 random{64};
};

using Records = testing::Types<Packed, Nested, Mixed>;
TYPED_TEST_SUITE(RecordAgainstFields, Records);

TYPED_TEST(RecordAgainstFields, PutsTheSameBytesAndTakesTheSameValues)
{
    for (int i = 0; i < this->cases; ++i) {
        SCOPED_TRACE(i);
        TypeParam record = {};
        this->fill(record);
        OpenSend whole;
        OpenSend fields;
        for (int n = this->below(9); n > 0; --n) {
            whole << 'x';
            fields << 'x';
        }
        const auto start = static_cast<std::ptrdiff_t>(std::max(whole.raw_length(), 2u));
        whole << record << 'y';
        putAlone(fields, record);
        fields << 'y';
        ASSERT_EQ(whole.data(), fields.data());

        ExactReceive b(fields.data());
        b.readPos = b.dataStart + start;
        TypeParam taken = {};
        char behind = 0;
        b >> taken >> behind;
        ASSERT_THAT(b, HasClearStatus());
        ASSERT_EQ(taken, record);
        ASSERT_EQ(behind, 'y');

        // Every end of the data but the true one gives nothing.
        const auto length = static_cast<std::size_t>(start) + 1;
        const std::size_t cut =
            length + static_cast<std::size_t>(this->below(static_cast<int>(fields.data().size() - 1 - length)));
        ExactReceive shorter(fields.data().substr(0, cut));
        shorter.readPos = shorter.dataStart + start;
        shorter >> taken;
        ASSERT_THAT(shorter, HasStatus(Itc_Ndr_End_Of_Data, Warning));
        ASSERT_EQ(taken, TypeParam{});
        ASSERT_EQ(shorter.position(), start);
    }
}

} // namespace
