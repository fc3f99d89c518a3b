/// \file
/// Remembers every lookup, and lets chosen lookups fail.
#pragma once

#include "OsFaults.h"

#include <optional>
#include <string>
#include <utility>
#include <vector>

/// While a LookupRecorder exists, every lookup is remembered. The first lookup fails with the first of the return
/// codes, the second with the second, and further. A lookup with the code 0, or without a code, goes to the system's
/// resolver.
class LookupRecorder {
public:
    struct Lookup {
        std::optional<std::string> host, service; // nothing for a null pointer
        addrinfo hints;
    };

    explicit LookupRecorder(std::vector<int> returnCodes = {}) : codes(std::move(returnCodes))
    {
        OsFaults::getaddrinfo().instead = [this](const char* host, const char* service, const addrinfo* hints,
                                                 addrinfo** result) {
            const size_t turn = lookups.size();
            lookups.push_back({textOrNothing(host), textOrNothing(service), *hints});
            if (turn < codes.size() && codes[turn] != 0)
                return codes[turn];
            return ::getaddrinfo(host, service, hints, result);
        };
    }
    ~LookupRecorder() { OsFaults::getaddrinfo().clear(); }
    LookupRecorder(const LookupRecorder&) = delete;
    LookupRecorder& operator=(const LookupRecorder&) = delete;

    std::vector<Lookup> lookups;

private:
    static std::optional<std::string> textOrNothing(const char* text)
    {
        return text != nullptr ? std::optional<std::string>(text) : std::nullopt;
    }

    std::vector<int> codes;
};
