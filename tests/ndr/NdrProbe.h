/// \file
/// What the tests of the marshalling buffers share: buffers that show their fields, bytes spelled out, and the types of
/// the values.
#pragma once

#include "OsFaults.h"

#include <kiv/ndr/itcNDRReceive.h>
#include <kiv/ndr/itcNDRSend.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

/// A send buffer that shows its fields and remembers each requested growth.
class OpenSend : public itcNDRSend {
public:
    using itcNDRSend::frameStart;
    using itcNDRSend::itcNDRSend;
    using itcNDRSend::lastUsable;
    using itcNDRSend::storage;
    using itcNDRSend::transactionOffset;
    using itcNDRSend::writePos;

    void extend_buffer(unsigned int pages) override
    {
        pagesAsked.push_back(pages);
        itcNDRSend::extend_buffer(pages);
    }

    std::vector<unsigned int> pagesAsked;

    /// The NDR data put so far.
    std::string data() { return {raw_data(), raw_length()}; }
    /// The NDR data behind the label.
    std::string values() { return data().substr(2); }
    /// Makes the buffer end `count` bytes behind the last value.
    void leaveFree(unsigned int count) { lastUsable = writePos + count - 1; }
    /// All fields that tell the place and the content of the buffer.
    auto fields() const { return std::make_tuple(transactionOffset, frameStart, writePos, lastUsable, storage); }
};

/// A receive buffer that shows its fields.
class OpenReceive : public itcNDRReceive {
public:
    using itcNDRReceive::bufferLast;
    using itcNDRReceive::dataLast;
    using itcNDRReceive::dataStart;
    using itcNDRReceive::itcNDRReceive;
    using itcNDRReceive::peerChar;
    using itcNDRReceive::peerEndian;
    using itcNDRReceive::peerFloat;
    using itcNDRReceive::readPos;
    using itcNDRReceive::storage;
    using itcNDRReceive::transactionEnd;

    OpenReceive(const std::string& ndr) : itcNDRReceive(ndr.data(), static_cast<unsigned int>(ndr.size())) {}

    void extend_buffer(unsigned int pages) override
    {
        pagesAsked.push_back(pages);
        itcNDRReceive::extend_buffer(pages);
    }

    std::vector<unsigned int> pagesAsked;

    /// Where the next byte is read, counted from the label.
    std::ptrdiff_t position() const { return readPos - dataStart; }
    auto codes() const { return std::make_tuple(peerEndian, peerChar, peerFloat); }
    auto pointers() const { return std::make_tuple(dataStart, readPos, dataLast, bufferLast, storage); }
};

/// Expects the order and the alignment of the pointers that hold between any two calls on a send buffer.
inline void expectSound(const OpenSend& b)
{
    if (b.frameStart == nullptr) {
        EXPECT_EQ(b.fields(), std::make_tuple(b.transactionOffset, nullptr, nullptr, nullptr, nullptr));
        return;
    }
    EXPECT_LE(b.frameStart + 14, b.writePos);
    EXPECT_LE(b.writePos, b.lastUsable + 1);
    const auto data = reinterpret_cast<std::uintptr_t>(b.frameStart + 12);
    EXPECT_EQ(data % 8, b.storage != nullptr ? 0u : 4u);
}

/// Expects the order and the alignment of the pointers that hold between any two calls on a receive buffer.
inline void expectSound(const OpenReceive& b)
{
    if (b.dataStart == nullptr) {
        EXPECT_EQ(b.pointers(), std::make_tuple(nullptr, nullptr, nullptr, nullptr, nullptr));
        return;
    }
    EXPECT_LE(b.dataStart, b.dataLast);
    EXPECT_LE(b.dataStart, b.bufferLast + 1);
    EXPECT_LE(b.dataLast, b.storage != nullptr ? b.bufferLast : b.bufferLast + 7);
    EXPECT_LE(b.dataStart, b.readPos);
    EXPECT_LE(b.readPos, b.dataLast + 8);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(b.dataStart) % 8, 0u);
}

inline const auto noReceivePointers =
    std::make_tuple<char*, char*, char*, char*, char*>(nullptr, nullptr, nullptr, nullptr, nullptr);
inline const auto noCodes = std::make_tuple(2, 2, 4); ///< The peer's codes in a receive buffer without a packet.

inline std::string bytes(std::initializer_list<int> values)
{
    std::string text;
    for (const int value : values)
        text.push_back(static_cast<char>(value));
    return text;
}

/// A 4-byte word as this machine keeps it.
inline std::string word(unsigned int value)
{
    std::string text(sizeof value, '\0');
    std::memcpy(text.data(), &value, sizeof value);
    return text;
}

/// A 4-byte word, most significant byte first.
inline std::string networkWord(unsigned int value)
{
    const std::string native = word(value);
    return {native.rbegin(), native.rend()};
}

/// NDR data as a little-endian IEEE machine sends it.
inline std::string packet(const std::string& values, int label0 = 0x10, int label1 = 0)
{
    return bytes({label0, label1}) + values;
}

inline std::string frameHeader(unsigned int length) { return bytes({0x51, 0x56, 0x52, 0x00}) + networkWord(length); }

inline std::string frame(const std::string& ndr) { return frameHeader(static_cast<unsigned int>(ndr.size())) + ndr; }

/// Sets the process's format codes. The destructor restores the earlier codes.
class FormatCodes {
public:
    FormatCodes() = default;
    FormatCodes(int byteOrder, int floatFormat, int characterFormat)
    {
        itcNDR::ndr_endian = byteOrder;
        itcNDR::ndr_float = floatFormat;
        itcNDR::ndr_char = characterFormat;
    }
    ~FormatCodes()
    {
        itcNDR::ndr_endian = endian;
        itcNDR::ndr_float = floats;
        itcNDR::ndr_char = chars;
    }
    FormatCodes(const FormatCodes&) = delete;
    FormatCodes& operator=(const FormatCodes&) = delete;

private:
    int endian = itcNDR::ndr_endian;
    int floats = itcNDR::ndr_float;
    int chars = itcNDR::ndr_char;
};

using ByteTypes = testing::Types<bool, char, signed char, unsigned char>;
using AlignedTypes =
    testing::Types<short, unsigned short, int, unsigned int, float, double, long long, unsigned long long>;
using ValueTypes = testing::Types<bool, char, signed char, unsigned char, short, unsigned short, int, unsigned int,
                                  float, double, long long, unsigned long long>;

/// Returns the value whose bytes in memory are 1, 2, 3 and further.
template <class Value> Value countingValue()
{
    const unsigned char counting[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    Value value;
    std::memcpy(&value, counting, sizeof value);
    return value;
}

/// The bytes of a value in memory.
template <class Value> std::string bytesOf(const Value& value)
{
    std::string text(sizeof value, '\0');
    std::memcpy(text.data(), &value, sizeof value);
    return text;
}

/// The first `count` of the bytes 1, 2, 3 and so on.
inline std::string countingBytes(size_t count) { return std::string("\1\2\3\4\5\6\7\x8").substr(0, count); }

inline std::string reversed(const std::string& text) { return {text.rbegin(), text.rend()}; }

inline itcBinData binary(const std::string& text)
{
    itcBinData data;
    data.length = static_cast<unsigned int>(text.size());
    data.data = const_cast<char*>(text.data());
    return data;
}

/// Refuses allocations of more than 64 MiB. Tests of huge lengths then need no huge memory.
inline void refuseHugeAllocations()
{
    OsFaults::malloc().instead = [](size_t size) -> void* {
        constexpr size_t huge = 64 << 20;
        if (size <= huge)
            return std::malloc(size);
        errno = ENOMEM;
        return nullptr;
    };
}

/// Replaces the allocator. The block begins `offset` bytes behind a multiple of 8, in memory full of 0xEE. The block
/// cannot be freed: a test must set the buffer's storage to null before the buffer's destructor.
class CrookedMemory {
public:
    explicit CrookedMemory(unsigned int offset) : start(aligned() + offset)
    {
        OsFaults::malloc().instead = [this](size_t) { return start; };
    }
    ~CrookedMemory() { OsFaults::malloc().clear(); }
    CrookedMemory(const CrookedMemory&) = delete;
    CrookedMemory& operator=(const CrookedMemory&) = delete;

    char* block() const { return start; }

private:
    char* aligned() { return memory.data() + (-reinterpret_cast<std::uintptr_t>(memory.data()) & 7); }

    std::vector<char> memory = std::vector<char>(16384, '\xEE');
    char* const start;
};

/// The first multiple of 8 at or behind an address.
inline char* roundedUp(char* place) { return place + (-reinterpret_cast<std::uintptr_t>(place) & 7); }

/// The sizes of all allocations so far.
inline std::vector<size_t> sizesAllocated() { return OsFaults::malloc().askedArgument<0>(); }

inline bool isZero(const char* from, const char* to)
{
    return std::all_of(from, to, [](char c) { return c == 0; });
}

/// Gives an object a status of severity Error that no operation sets.
inline void leaveError(itcStatus& status)
{
    status.code = Itc_Tp_New_Path_Error;
    status.severity = Error;
    status.errorNumber = 4711;
}
