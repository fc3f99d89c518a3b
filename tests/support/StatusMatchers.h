/// \file
/// Expectations about a status: `EXPECT_THAT(connection, HasStatus(Itc_Tp_Would_Block, Warning, EAGAIN))`.
#pragma once

#include <kiv/foundation/itcStatus.h>

#include <gmock/gmock.h>

#include <ostream>

inline void PrintTo(const itcStatus& status, std::ostream* out)
{
    *out << "{" << status.code << ", " << status.severity << ", " << status.errorNumber << "} " << status.STATUS_text();
}

MATCHER_P2(HasStatus, code, severity, "")
{
    const itcStatus& status = arg;
    *result_listener << "which has " << status.STATUS_text();
    return status.code == code && status.severity == severity;
}

MATCHER_P3(HasStatus, code, severity, errorNumber, "")
{
    const itcStatus& status = arg;
    *result_listener << "which has " << status.STATUS_text();
    return status.code == code && status.severity == severity && status.errorNumber == errorNumber;
}

MATCHER(HasClearStatus, "")
{
    const itcStatus& status = arg;
    *result_listener << "which has " << status.STATUS_text();
    return status.code == 0 && status.severity == 0 && status.errorNumber == 0;
}

/// Gives an object a status that no operation sets. A test then sees whether an operation changes the status.
inline void leaveMark(itcStatus& status)
{
    status.code = Itc_Tp_New_Path_Error;
    status.severity = FatalError;
    status.errorNumber = 4711;
}

MATCHER(StillHasMark, "")
{
    const itcStatus& status = arg;
    *result_listener << "which has " << status.STATUS_text();
    return status.code == Itc_Tp_New_Path_Error && status.severity == FatalError && status.errorNumber == 4711;
}
