/// \file
/// The process-wide preference between IPv4 and IPv6.
#pragma once

#include <kiv/address/itcInetAddress.h>

/// Sets the preference. The destructor restores the earlier one. 0 makes the next lookup probe the machine.
class FamilyPreference {
public:
    explicit FamilyPreference(int family) : previous(current()) { current() = family; }
    ~FamilyPreference() { current() = previous; }
    FamilyPreference(const FamilyPreference&) = delete;
    FamilyPreference& operator=(const FamilyPreference&) = delete;

    static int family() { return current(); }
    static void set(int family) { current() = family; }

private:
    struct Opened : itcInetAddress {
        using itcInetAddress::preferredFamily;
    };
    static int& current() { return Opened::preferredFamily; }

    int previous;
};
