/// \file
/// A completion receiver that remembers the arguments of each ready().
#pragma once

#include <kiv/dispatcher/ICBKivReady.h>

#include <utility>
#include <vector>

class ReadyRecorder : public ICBKivReady {
public:
    using Call = std::pair<int, void*>;

    void ready(int result, void* userData) override { calls.emplace_back(result, userData); }

    std::vector<Call> calls;
};
