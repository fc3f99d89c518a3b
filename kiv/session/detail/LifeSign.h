/// \file
/// Tells whether an object with virtual functions still lives, without touching it.
#pragma once

#include <cstdint>

namespace kiv {

/// Remembers the first word of an object: the address of the table of its class.
class LifeSign {
public:
    /// The first call remembers the word. Later calls compare it. \return false: the object was destroyed.
    bool isStill(const void* object);

private:
    bool isKnown = false;
    std::uintptr_t word = 0;
};

} // namespace kiv
