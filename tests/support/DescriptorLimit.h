/// \file
/// A process that may open no more descriptors.
#pragma once

#include "BareSocket.h"

#include <fcntl.h>
#include <sys/resource.h>

/// While a DescriptorLimit exists, the process cannot open a descriptor. Keep this time short: sanitizers open
/// descriptors of their own.
class DescriptorLimit {
public:
    DescriptorLimit()
    {
        mustWork(::getrlimit(RLIMIT_NOFILE, &previous), "getrlimit");
        // The lowest free number, which the next descriptor gets. This number becomes the limit.
        BareSocket next(mustWork(::open("/dev/null", O_RDONLY | O_CLOEXEC), "open"));
        rlimit limit = previous;
        limit.rlim_cur = static_cast<rlim_t>(next.get());
        next.close();
        mustWork(::setrlimit(RLIMIT_NOFILE, &limit), "setrlimit");
    }
    ~DescriptorLimit() { ::setrlimit(RLIMIT_NOFILE, &previous); }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;

private:
    rlimit previous = {};
};
