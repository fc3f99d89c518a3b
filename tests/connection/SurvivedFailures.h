/// \file
/// What holds after the failure of any system call of an endpoint or a connect.
#pragma once

#include "SingleFailures.h"

/// Lets each system call of an operation fail in turn, until one run passes without a failure. After each run:
/// - the status is clear after a success and tells the error after a failure;
/// - no descriptor is lost, and the connection count is right;
/// - a failed operation succeeds when it is repeated.
template <class Connection, class Operation> void expectToSurviveAnySingleFailure(Operation operation)
{
    bool isUntouched = false;
    for (int nth = 1; !isUntouched; ++nth) {
        SCOPED_TRACE("failing call " + std::to_string(nth));
        const int counted = itcConnection::getConnectionCount();
        const int open = openDescriptors();
        Connection connection;
        SingleFailure failure(nth, {});
        int result = 0;
        failure.during([&] { result = operation(connection); });
        isUntouched = failure.hasHit("");

        const int held = connection.td >= 0 ? 1 : 0;
        EXPECT_EQ(itcConnection::getConnectionCount(), counted + held);
        EXPECT_EQ(openDescriptors(), open + held);
        if (result == 1) {
            EXPECT_THAT(connection, HasClearStatus());
        } else {
            EXPECT_FALSE(isUntouched);
            EXPECT_EQ(connection.severity, Error);
            EXPECT_EQ(connection.errorNumber, failureError);
            EXPECT_EQ(connection.connState, itcConnection::ItcStateClosed);
            EXPECT_EQ(operation(connection), 1);
        }
    }
}
