// A host gives names to the numbers of the error reports. Its own enumerators stand in the library's enumerations.
#include <kiv/connection/itcInetSockDgram.h>
#include <kiv/foundation/KivDebug.h>

#include <gtest/gtest.h>

#include <type_traits>

namespace KivError {
enum ErrPrio : int { PrioHigh = 1 };
enum ErrType : int { TypeUse = 0, TypeResource = 1 };
enum KivErrorCode : int { CodeGeneral = 54 };
} // namespace KivError

static_assert(std::is_same_v<std::underlying_type_t<KivError::ErrPrio>, int>);
static_assert(std::is_same_v<std::underlying_type_t<KivError::ErrType>, int>);
static_assert(std::is_same_v<std::underlying_type_t<KivError::KivErrorCode>, int>);

namespace {

KivError::ErrPrio priorityTold;
KivError::ErrType typeTold = KivError::TypeResource;
KivError::KivErrorCode codeTold;

void report(KivError::ErrPrio priority, KivError::ErrType type, KivError::KivErrorCode code, const char*, const char*,
            const char*)
{
    priorityTold = priority;
    typeTold = type;
    codeTold = code;
}

TEST(KivError, IsToldInTheHostsOwnEnumerators)
{
    KivDebug::initKivErrorPrint(report);
    itcInetSockDgram().setTcpNodelay(true); // a wrong use, which the library reports
    KivDebug::initKivErrorPrint(nullptr);
    EXPECT_EQ(priorityTold, KivError::PrioHigh);
    EXPECT_EQ(typeTold, KivError::TypeUse);
    EXPECT_EQ(codeTold, KivError::CodeGeneral);
}

} // namespace
