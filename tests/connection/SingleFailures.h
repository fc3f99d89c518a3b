/// \file
/// What holds whichever system call of an operation fails.
#pragma once

#include "CallJournal.h"
#include "LeakListener.h"
#include "StatusMatchers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

/// Lets each system call of an operation fail in turn, until one run passes without a fault. After each the status
/// tells the truth, no descriptor is lost, the count is right and the object serves on.
template <class Connection, class Operation> void expectToSurviveAnySingleFailure(Operation operation)
{
    for (int failing = 1, made = 1; failing <= made + 1; ++failing) {
        SCOPED_TRACE("failing call " + std::to_string(failing));
        const int counted = itcConnection::getConnectionCount();
        const int open = openDescriptors();
        Connection connection;
        int result = 0;
        {
            const CallJournal journal(failing, ENOBUFS);
            result = operation(connection);
            made = static_cast<int>(journal.calls().size());
        }
        const int held = connection.td >= 0 ? 1 : 0;
        EXPECT_EQ(itcConnection::getConnectionCount(), counted + held);
        EXPECT_EQ(openDescriptors(), open + held);
        if (result == 1) {
            EXPECT_THAT(connection, HasClearStatus());
        } else {
            EXPECT_EQ(connection.severity, Error);
            EXPECT_EQ(connection.errorNumber, ENOBUFS);
            EXPECT_EQ(connection.connState, itcConnection::ItcStateClosed);
            EXPECT_EQ(operation(connection), 1);
        }
    }
}
