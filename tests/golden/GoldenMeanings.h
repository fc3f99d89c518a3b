/// \file
/// The types that the lines of a packet can have, and what a test puts and takes for each type.
#pragma once

#include "../ndr/NdrProbe.h"
#include "GoldenPacket.h"
#include "StatusMatchers.h"

#include <kiv/ndr/itcMsgHdr.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <map>
#include <stdexcept>
#include <string>
#include <system_error>
#include <type_traits>
#include <vector>

/// Returns the value that a text names. Integers are decimal. Floating-point numbers are hexadecimal and therefore
/// exact.
template <class Value> Value valueOf(const std::string& text)
{
    const char* const end = text.data() + text.size();
    const char* behind = text.data();
    Value value{};
    if constexpr (std::is_same_v<Value, bool>) {
        value = text == "true";
        behind += value || text == "false" ? text.size() : 0;
    } else if constexpr (std::is_same_v<Value, char>) {
        return static_cast<char>(valueOf<unsigned char>(text)); // char may have a sign or not
    } else if constexpr (std::is_integral_v<Value>) {
        const auto result = std::from_chars(text.data(), end, value);
        behind = result.ec == std::errc() ? result.ptr : text.data();
    } else {
        char* stop = nullptr;
        value = std::is_same_v<Value, float> ? static_cast<Value>(std::strtof(text.c_str(), &stop))
                                             : static_cast<Value>(std::strtod(text.c_str(), &stop));
        behind = stop;
    }
    if (text.empty() || behind != end)
        throw std::invalid_argument("not a value of its type: " + text);
    return value;
}

/// Returns the lines that are not gaps.
inline std::vector<GoldenLine> withoutGaps(std::vector<GoldenLine> lines)
{
    lines.erase(std::remove_if(lines.begin(), lines.end(), [](const GoldenLine& l) { return l.type == "gap"; }),
                lines.end());
    return lines;
}

/// Returns the message header whose fields are the content of a line.
inline itcMsgHdr headerOf(const GoldenLine& line)
{
    const std::vector<GoldenLine> fields = withoutGaps(line.content);
    const auto number = [&](size_t i) { return valueOf<int>(fields.at(i).value); };
    const auto text = [&](size_t i) { return unquoted(fields.at(i).value); };
    return itcMsgHdr(number(0), itcMsgHdr::itcMsgType(number(1)), text(2).c_str(), text(3).c_str(), number(4),
                     number(5), number(6), number(7));
}

/// Calls for each line the visitor's function for the type of the line. A type that is not listed here fails the test.
template <class Visitor> void visit(const std::vector<GoldenLine>& lines, Visitor&& visitor)
{
    using V = std::remove_reference_t<Visitor>;
    static const std::map<std::string, void (V::*)(const GoldenLine&)> operations = {
        {"magic", &V::magic},
        {"length", &V::length},
        {"label", &V::label},
        {"gap", &V::gap},
        {"bool", &V::template value<bool>},
        {"char", &V::template value<char>},
        {"signed char", &V::template value<signed char>},
        {"unsigned char", &V::template value<unsigned char>},
        {"short", &V::template value<short>},
        {"unsigned short", &V::template value<unsigned short>},
        {"int", &V::template value<int>},
        {"unsigned int", &V::template value<unsigned int>},
        {"long long", &V::template value<long long>},
        {"unsigned long long", &V::template value<unsigned long long>},
        {"float", &V::template value<float>},
        {"double", &V::template value<double>},
        {"text", &V::text},
        {"binary data", &V::binaryData},
        {"block", &V::block},
        {"counted block", &V::countedBlock},
        {"aligned block", &V::alignedBlock},
        {"counted aligned block", &V::countedAlignedBlock},
        {"transaction", &V::transaction},
        {"message header", &V::messageHeader},
        {"record", &V::record},
        {"count", &V::template value<unsigned int>},
        {"alternative", &V::template value<unsigned int>},
        {"array", &V::record},
        {"sequence", &V::record},
        {"set", &V::record},
        {"map", &V::record},
        {"optional", &V::record},
        {"tuple", &V::record},
        {"variant", &V::record},
        {"versioned record", &V::transaction},
    };
    for (const GoldenLine& line : lines) {
        SCOPED_TRACE(line.whole);
        const auto operation = operations.find(line.type);
        if (operation == operations.end())
            throw std::invalid_argument("unknown meaning in " + line.whole);
        (visitor.*operation->second)(line);
        visitor.after(line);
    }
}

/// Puts the values of the lines. The format codes of this process tell how the machine keeps the values.
template <class Buffer> class Putter {
public:
    explicit Putter(Buffer& buffer) : b(buffer) {}

    // The library writes these parts itself.
    void magic(const GoldenLine&) {}
    void length(const GoldenLine&) {}
    void label(const GoldenLine&) {}
    void gap(const GoldenLine&) {}

    template <class Value> void value(const GoldenLine& line) { b << kept(valueOf<Value>(line.value)); }
    void text(const GoldenLine& line) { b << unquoted(line.value).c_str(); }
    void binaryData(const GoldenLine& line)
    {
        const std::string data = unquoted(line.value);
        b << binary(data);
    }

    void block(const GoldenLine& line) { putBlock(line, false, false); }
    void countedBlock(const GoldenLine& line) { putBlock(line, false, true); }
    void alignedBlock(const GoldenLine& line) { putBlock(line, true, false); }
    void countedAlignedBlock(const GoldenLine& line) { putBlock(line, true, true); }

    void transaction(const GoldenLine& line)
    {
        b.start_transaction();
        visit(line.content, *this);
        EXPECT_EQ(b.end_transaction(), 0);
    }
    void messageHeader(const GoldenLine& line) { b << headerOf(line); }
    void record(const GoldenLine& line) { b << Record(line.content); }

    void after(const GoldenLine&) { EXPECT_THAT(b, HasClearStatus()); }

private:
    class Record : public itcXNDR {
    public:
        explicit Record(const std::vector<GoldenLine>& content) : lines(content) {}
        itcNDRSend& to_external(itcNDRSend& buffer) const override
        {
            visit(lines, Putter<itcNDRSend>(buffer));
            return buffer;
        }
        itcNDRReceive& to_internal(itcNDRReceive& buffer) override { return buffer; }

    private:
        const std::vector<GoldenLine>& lines;
    };

    /// Returns the value in the format in which the machine keeps values in memory.
    template <class Value> static Value kept(Value value)
    {
        if constexpr (std::is_floating_point_v<Value>)
            if (itcNDR::ndr_float == 1)
                (sizeof value == 4 ? Itc_itof : Itc_itod)(&value);
        return value;
    }

    void putBlock(const GoldenLine& line, bool align8, bool withLength)
    {
        const std::string data = unquoted(line.value);
        b.put_opaque(data.data(), static_cast<int>(data.size()), align8, withLength);
    }

    Buffer& b;
};

/// Takes the values of the lines. Compares each value, and the read position behind the value.
template <class Buffer> class Taker {
public:
    explicit Taker(Buffer& buffer) : b(buffer) {}

    void magic(const GoldenLine&) {} // without the right magic, nothing has been read
    void length(const GoldenLine& line) { EXPECT_EQ(b.raw_length(), valueOf<unsigned int>(line.value)); }
    void label(const GoldenLine&) {} // a wrong label gives wrong values
    void gap(const GoldenLine& line) { EXPECT_EQ(line.bytes, std::string(line.bytes.size(), '\0')); }

    template <class Value> void value(const GoldenLine& line)
    {
        Value value{};
        b >> value;
        EXPECT_EQ(testing::PrintToString(bytesOf(value)), testing::PrintToString(bytesOf(valueOf<Value>(line.readAs))))
            << "which is " << testing::PrintToString(value); // compares the bits: zeros with different signs differ
    }
    void text(const GoldenLine& line)
    {
        std::string area = areaFor(line);
        b >> area.data();
        EXPECT_EQ(area.c_str(), unquoted(line.value));
    }
    void binaryData(const GoldenLine& line)
    {
        std::string area = areaFor(line);
        itcBinData data = binary(area);
        b >> data;
        expectBytes(area, line);
    }

    void block(const GoldenLine& line)
    {
        auto length = static_cast<unsigned int>(line.bytes.size());
        std::string area = areaFor(line);
        b.extract(area.data(), length);
        expectBytes(area, line);
    }
    void countedBlock(const GoldenLine& line)
    {
        std::string area = areaFor(line);
        char* dst = area.data();
        int length = 0;
        b.extract(dst, static_cast<int>(area.size()), length);
        expectBytes(area, line, length);
    }
    void alignedBlock(const GoldenLine& line)
    {
        b.skip(static_cast<int>(-position() & 7)); // the library has no take for aligned blocks without a length
        block(line);
    }
    void countedAlignedBlock(const GoldenLine& line)
    {
        std::string area = areaFor(line);
        void* dst = area.data();
        int length = 0;
        b.get_opaque(dst, static_cast<int>(area.size()), length);
        expectBytes(area, line, length);
    }

    void transaction(const GoldenLine& line)
    {
        b.start_transaction();
        visit(line.content, *this);
        EXPECT_EQ(b.end_transaction(), 0);
    }
    void messageHeader(const GoldenLine& line)
    {
        const itcMsgHdr expected = headerOf(line);
        itcMsgHdr header;
        b >> header;
        EXPECT_EQ(header.number, expected.number);
        EXPECT_EQ(header.type, expected.type);
        EXPECT_STREQ(header.text1, expected.text1);
        EXPECT_STREQ(header.text2, expected.text2);
        EXPECT_EQ(header.value1, expected.value1);
        EXPECT_EQ(header.value2, expected.value2);
        EXPECT_EQ(header.value3, expected.value3);
        EXPECT_EQ(header.value4, expected.value4);
    }
    void record(const GoldenLine& line)
    {
        Record record(line.content);
        b >> record;
    }

    void after(const GoldenLine& line)
    {
        EXPECT_THAT(b, HasClearStatus());
        constexpr size_t dataOffset = 8;                       // behind magic and length
        if (line.type != "gap" && line.offset >= dataOffset) { // a gap is skipped by the value behind it
            EXPECT_EQ(position(), static_cast<std::ptrdiff_t>(line.end() - dataOffset));
        }
    }

private:
    class Record : public itcXNDR {
    public:
        explicit Record(const std::vector<GoldenLine>& content) : lines(content) {}
        itcNDRReceive& to_internal(itcNDRReceive& buffer) override
        {
            visit(lines, Taker<itcNDRReceive>(buffer));
            return buffer;
        }
        itcNDRSend& to_external(itcNDRSend& buffer) const override { return buffer; }

    private:
        const std::vector<GoldenLine>& lines;
    };

    /// Returns an area that is one byte larger than the value needs.
    static std::string areaFor(const GoldenLine& line) { return std::string(line.bytes.size() + 1, '\0'); }

    static void expectBytes(const std::string& area, const GoldenLine& line)
    {
        const std::string expected = unquoted(line.value);
        EXPECT_EQ(area.substr(0, expected.size()), expected);
    }
    static void expectBytes(const std::string& area, const GoldenLine& line, int length)
    {
        EXPECT_EQ(area.substr(0, static_cast<size_t>(length)), unquoted(line.value));
    }

    /// Returns the read position, counted from the label.
    std::ptrdiff_t position() { return b.*&OpenReceive::readPos - b.raw_data(); }

    Buffer& b;
};
