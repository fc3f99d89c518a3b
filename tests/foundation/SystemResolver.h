/// \file
/// Scripts for the system's own resolver calls, below the OS_ layer. The test program defines these calls. Tests can
/// then give answers that no real resolver gives on demand, and pass arguments that a real resolver does not survive.
#pragma once

#include "OsFaults.h"

#include <gtest/gtest.h>

namespace SystemResolver {

OsCall<int(const char*, const char*, const addrinfo*, addrinfo**)>& getaddrinfo();
/// The result is ignored.
OsCall<int(addrinfo*)>& freeaddrinfo();
OsCall<int(const sockaddr*, socklen_t, char*, socklen_t, char*, socklen_t, int)>& getnameinfo();
OsCall<hostent*(const char*)>& gethostbyname();
OsCall<hostent*(const void*, socklen_t, int)>& gethostbyaddr();

void clearAll();

/// A host entry with one address or none.
struct Entry {
    Entry(const char* name, int family, const void* address, int length)
        : addresses{static_cast<char*>(const_cast<void*>(address)), nullptr}, entry{const_cast<char*>(name), nullptr,
                                                                                    family, length, addresses}
    {}
    Entry(const Entry&) = delete;
    Entry& operator=(const Entry&) = delete;

    char* addresses[2];
    hostent entry;
};

} // namespace SystemResolver

/// Clears the scripts of the resolver before and after each test.
class WithSystemResolver : public testing::Test {
protected:
    WithSystemResolver() { SystemResolver::clearAll(); }
    ~WithSystemResolver() override { SystemResolver::clearAll(); }
};
