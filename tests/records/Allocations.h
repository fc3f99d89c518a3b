/// \file
/// Watches operator new of this test program, and makes it fail. AllocationsTest.cpp defines the operators.
///
/// The library's buffers ask OS_malloc() for their storage, and not operator new. OsFaults.h makes OS_malloc() fail.
#pragma once

#include <cstddef>

/// Watches the allocations from its construction on.
class Allocations {
public:
    Allocations();
    ~Allocations();
    Allocations(const Allocations&) = delete;
    Allocations& operator=(const Allocations&) = delete;

    /// The `nth` allocation from now fails, and all behind it. 1 is the next one.
    void failFrom(std::size_t nth);
    /// Ends failures and counting.
    void stop();

    std::size_t count() const;    ///< How many were asked for.
    std::size_t largest() const;  ///< The largest that was asked for.
    std::ptrdiff_t alive() const; ///< How many were made and not given back.
};
