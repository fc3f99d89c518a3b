/// \file
/// Writes packets from the wire format alone. The companion has no part in them. A packet can be in the byte order of
/// this machine or in the other byte order, and with IEEE or with VAX numbers.
#pragma once

#include "../ndr/NdrProbe.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <filesystem>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <variant>
#include <vector>

/// The machine that sends a packet, compared with this machine.
struct Sender {
    bool swaps;        ///< Its byte order is the other one.
    bool hasVaxFloats; ///< Its floating-point numbers are VAX numbers.

    std::string label() const
    {
        const int endian = itcNDR::ndr_endian ^ (swaps ? 1 : 0);
        return bytes({endian << 4, hasVaxFloats ? 1 : 0});
    }
};

constexpr Sender thisMachine = {false, false};
constexpr Sender otherOrder = {true, false};
constexpr Sender vaxOfThisOrder = {false, true};
constexpr Sender vaxOfOtherOrder = {true, true};

class Wire {
public:
    explicit Wire(Sender writer = thisMachine) : data(writer.label()), sender(writer) {}

    std::string data; ///< The packet: the label and the values.

    /// Zeros up to a multiple.
    void align(std::size_t multiple) { data.append((multiple - data.size() % multiple) % multiple, '\0'); }

    void put(bool value) { data.push_back(value ? '\1' : '\0'); }
    template <class Number, std::enable_if_t<std::is_arithmetic_v<Number> || std::is_enum_v<Number>, int> = 0>
    void put(Number value)
    {
        if constexpr (std::is_floating_point_v<Number>)
            if (sender.hasVaxFloats)
                (sizeof value == 4 ? Itc_itof : Itc_itod)(&value);
        align(sizeof value);
        const std::string image = bytesOf(value);
        data += sender.swaps ? reversed(image) : image;
    }
    void count(std::size_t number) { put(static_cast<std::uint32_t>(number)); }
    void put(std::string_view text)
    {
        count(text.size() + 1);
        data.append(text).push_back('\0');
    }
    void put(const std::string& text) { put(std::string_view(text)); }
    void put(const char* text) { put(std::string_view(text)); }
    void put(const std::filesystem::path& path) { put(path.native()); }

    template <class Count, class Period> void put(std::chrono::duration<Count, Period> value) { put(value.count()); }
    template <class Clock, class Duration> void put(std::chrono::time_point<Clock, Duration> value)
    {
        put(value.time_since_epoch());
    }

    template <class T, std::size_t size> void put(const std::array<T, size>& values) { each(values); }
    template <class T, std::size_t size, std::enable_if_t<!std::is_same_v<T, char>, int> = 0>
    void put(const T (&values)[size])
    {
        each(values);
    }
    template <class T> void put(const std::vector<T>& values) { counted(values); }
    template <class T> void put(const std::deque<T>& values) { counted(values); }
    template <class T> void put(const std::list<T>& values) { counted(values); }
    template <class T> void put(const std::set<T>& keys) { counted(keys); }
    template <class T> void put(const std::multiset<T>& keys) { counted(keys); }
    template <class T> void put(const std::unordered_set<T>& keys) { counted(keys); }
    template <class T> void put(const std::unordered_multiset<T>& keys) { counted(keys); }
    template <class K, class V> void put(const std::map<K, V>& entries) { counted(entries); }
    template <class K, class V> void put(const std::multimap<K, V>& entries) { counted(entries); }
    template <class K, class V> void put(const std::unordered_map<K, V>& entries) { counted(entries); }
    template <class K, class V> void put(const std::unordered_multimap<K, V>& entries) { counted(entries); }

    template <class T> void put(const std::optional<T>& value)
    {
        put(value.has_value());
        if (value.has_value())
            put(*value);
    }
    template <class A, class B> void put(const std::pair<A, B>& parts) { all(parts.first, parts.second); }
    template <class... Parts> void put(const std::tuple<Parts...>& parts)
    {
        std::apply([&](const auto&... part) { all(part...); }, parts);
    }
    template <class... Alternatives> void put(const std::variant<Alternatives...>& value)
    {
        count(value.index());
        std::visit([&](const auto& alternative) { put(alternative); }, value);
    }
    void put(std::monostate) {}

    /// A record puts itself: it has a function writeTo().
    template <class Record> auto put(const Record& record) -> decltype(record.writeTo(*this), void())
    {
        record.writeTo(*this);
    }

    template <class... Values> void all(const Values&... values) { (put(values), ...); }

    /// The number of bytes that `content` puts, and what `content` puts.
    template <class Content> void withLength(const Content& content)
    {
        count(0);
        const std::size_t start = data.size();
        content();
        const std::string length = word(static_cast<unsigned int>(data.size() - start));
        data.replace(start - length.size(), length.size(), sender.swaps ? reversed(length) : length);
    }

private:
    template <class Range> void each(const Range& values)
    {
        for (const auto& value : values)
            put(value);
    }
    template <class Range> void counted(const Range& values)
    {
        count(values.size());
        for (const auto& value : values)
            put(value);
    }

    Sender sender;
};

/// A receive buffer on an array that ends where the data end. The address checker reports every read behind the end.
class ExactReceive : public OpenReceive {
public:
    explicit ExactReceive(const std::string& ndr) : area(new char[ndr.size()])
    {
        std::memcpy(area.get(), ndr.data(), ndr.size());
        init(area.get(), static_cast<unsigned int>(ndr.size()));
    }

private:
    std::unique_ptr<char[]> area;
};
