/// \file
/// Tells whether an object with virtual functions still lives, without touching it.
#pragma once

#include <cstdint>

namespace kiv {

/// Reads memory that may be gone.
class MemoryReader {
public:
    MemoryReader();
    ~MemoryReader();
    MemoryReader(const MemoryReader&) = delete;
    MemoryReader& operator=(const MemoryReader&) = delete;

    /// \return false: nothing is there. True without a descriptor, too: nothing can be said then, and the word stays.
    bool readWord(const void* place, std::uintptr_t& word) const;

private:
    int ends[2] = {-1, -1}; // of a pipe
};

/// Remembers the first word of an object: the address of the table of its class.
class LifeSign {
public:
    /// The first call remembers the word. Later calls compare it. \return false: the object was destroyed.
    bool isStill(const void* object, const MemoryReader& reader);

private:
    bool isKnown = false;
    std::uintptr_t word = 0;
};

} // namespace kiv
