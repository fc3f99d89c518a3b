/// \file
/// Reads the packets of this folder: the bytes of one frame, and the meaning of the bytes.
///
///     fe ff ff ff                                     | int: -2
///     00 00                                           | gap
///
/// A meaning is a type, and a value if the type has one. A meaning that is indented deeper lies inside the meaning
/// above. Lines that begin with # are remarks.
#pragma once

#include <cstddef>
#include <fstream>
#include <istream>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

/// Returns the bytes that pairs of hexadecimal digits spell.
inline std::string spelledBytes(const std::string& pairs)
{
    std::istringstream in(pairs);
    std::string bytes;
    for (std::string pair; in >> pair;) {
        if (pair.size() != 2 || pair.find_first_not_of("0123456789abcdef") != std::string::npos)
            throw std::invalid_argument("not a byte: " + pair);
        bytes.push_back(static_cast<char>(std::stoi(pair, nullptr, 16)));
    }
    return bytes;
}

/// Returns the text between the quotes. \xNN stands for a byte.
inline std::string unquoted(const std::string& text)
{
    if (text.size() < 2 || text.front() != '"' || text.back() != '"')
        throw std::invalid_argument("not in quotes: " + text);
    const std::string inner = text.substr(1, text.size() - 2);
    std::string bytes;
    for (size_t i = 0; i < inner.size();) {
        const bool escaped = inner.compare(i, 2, "\\x") == 0;
        bytes += escaped ? spelledBytes(inner.substr(i + 2, 2)) : inner.substr(i, 1);
        i += escaped ? 4 : 1;
    }
    return bytes;
}

struct GoldenLine {
    std::string whole;  ///< The line of the file, with its number in front.
    size_t offset;      ///< The place of the bytes in the frame.
    std::string bytes;  ///< The bytes of this line, without those of `content`.
    size_t indent;      ///< The indent of the meaning.
    std::string type;   ///< "int"
    std::string value;  ///< "-2"
    std::string readAs; ///< Equal to `value`, unless the sender's format cannot hold the value.
    std::vector<GoldenLine> content;

    GoldenLine(const std::string& text, unsigned int number, size_t firstByte)
        : whole("line " + std::to_string(number) + ": " + text), offset(firstByte)
    {
        const size_t bar = text.find('|');
        indent = text.find_first_not_of(' ', bar + 1);
        if (bar == std::string::npos || indent == std::string::npos)
            throw std::invalid_argument("no meaning in " + whole);
        bytes = spelledBytes(text.substr(0, bar));
        type = text.substr(indent);
        value = cutBehind(type, ": ");
        readAs = cutBehind(value, ", read as ");
        if (readAs.empty())
            readAs = value;
    }

    /// Returns the end of the bytes in the frame, the content included.
    size_t end() const { return content.empty() ? offset + bytes.size() : content.back().end(); }

private:
    /// Cuts a text at a mark. \return the text behind the mark.
    static std::string cutBehind(std::string& text, const std::string& mark)
    {
        const size_t place = text.find(mark);
        if (place == std::string::npos)
            return {};
        std::string behind = text.substr(place + mark.size());
        text.resize(place);
        return behind;
    }
};

class GoldenPacket {
public:
    explicit GoldenPacket(std::istream&& file)
    {
        unsigned int number = 0;
        for (std::string text; std::getline(file, text);) {
            ++number;
            if (!text.empty() && text.front() != '#')
                add(GoldenLine(text, number, frame.size()));
        }
        if (lines.empty())
            throw std::runtime_error("no packet there");
    }

    static GoldenPacket ofKind(const std::string& kind)
    {
        return GoldenPacket(std::ifstream(KIV_GOLDEN_PACKETS "/" + kind + ".packet"));
    }

    /// Returns the line that holds a byte of the frame.
    const std::string& lineAt(size_t offset) const { return std::prev(linesByOffset.upper_bound(offset))->second; }

    std::vector<GoldenLine> lines;
    std::string frame;

private:
    void add(const GoldenLine& line)
    {
        frame += line.bytes;
        if (!line.bytes.empty())
            linesByOffset[line.offset] = line.whole;
        std::vector<GoldenLine>* level = &lines;
        while (!level->empty() && level->back().indent < line.indent)
            level = &level->back().content;
        level->push_back(line);
    }

    std::map<size_t, std::string> linesByOffset;
};
