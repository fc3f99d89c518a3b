/// \file
/// Lets each call of an operation fail in turn.
///
///     walkSingleFailures({fails("socket", Itc_Tp_Socket_Call_Failed), fails("bind", Itc_Tp_Bind_Call_Failed)},
///                        [&](SingleFailure& failure) {
///                            OpenedStream stream;
///                            failure.during([&] { stream.CreateEndpoint(address); });
///                            failure.expectIn(stream);
///                        });
///
/// The table names the calls of a run without a failure, in their order. In the last run no call fails. The walk
/// notices a call that the table does not name, and a name in the table that is never called.
#pragma once

#include "LeakListener.h"
#include "OsFaults.h"
#include "StatusMatchers.h"

#include <kiv/connection/itcConnection.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

/// The error number of every failure.
constexpr int failureError = ENOBUFS;

/// The status that is expected after the failure of one call.
struct Consequence {
    const char* call; ///< The function's name without OS_. Empty for the run in which no call fails.
    int code;
    int severity;
    int errorNumber;
};

inline Consequence fails(const char* call, ItcStatusCode code, int errorNumber = failureError)
{
    return {call, code, Error, errorNumber};
}

/// The operation succeeds in spite of the failure: the status is clear.
inline Consequence survives(const char* call) { return {call, 0, Success, 0}; }

/// One run of the operation, in which one call fails.
class SingleFailure {
public:
    SingleFailure(int failing, const Consequence& stated) : nth(failing), consequence(stated) {}

    /// Runs the operation. The failure happens only here.
    template <class Operation> void during(Operation operation)
    {
        OsFaults::failAnyCall(nth, failureError);
        operation();
        call = OsFaults::failedCall();
        OsFaults::failAnyCall(0, 0);
    }

    /// The number of this run, counted from 0.
    std::size_t turn() const { return static_cast<std::size_t>(nth) - 1; }
    bool hasHit(const std::string& name) const { return call == name; }
    bool isSurvived() const { return consequence.severity == Success; }
    const std::string& failedCall() const { return call; }

    void expectIn(const itcStatus& status) const
    {
        EXPECT_THAT(status, HasStatus(consequence.code, consequence.severity, consequence.errorNumber));
    }

private:
    const int nth;
    const Consequence consequence;
    std::string call;
};

/// Runs the operation once for each call of the table and once without a failure. Each run must leave the open
/// descriptors and the connection count as they were.
template <class Run> void walkSingleFailures(std::vector<Consequence> consequences, Run run)
{
    consequences.push_back(survives(""));
    for (int nth = 1; nth <= static_cast<int>(consequences.size()); ++nth) {
        const Consequence& consequence = consequences[static_cast<std::size_t>(nth) - 1];
        SCOPED_TRACE("call " + std::to_string(nth) + " " + consequence.call);
        const int counted = itcConnection::getConnectionCount();
        const int open = openDescriptors();
        SingleFailure failure(nth, consequence);
        run(failure);
        EXPECT_EQ(failure.failedCall(), consequence.call);
        EXPECT_EQ(itcConnection::getConnectionCount(), counted);
        EXPECT_EQ(openDescriptors(), open);
    }
}
