// The status record: the numbers and names of its codes, and its texts.
#include "GroupedDigits.h"
#include "OsFaults.h"
#include "StatusMatchers.h"

#include <gmock/gmock.h>

#include <climits>
#include <cstddef>
#include <cstring>
#include <iterator>
#include <ostream>
#include <string>
#include <type_traits>

namespace {

using testing::StartsWith;

itcStatus status(int code, int severity, int errorNumber = 0)
{
    itcStatus made;
    made.code = code;
    made.severity = severity;
    made.errorNumber = errorNumber;
    return made;
}

struct Code {
    int code;
    const char* name;
    friend std::ostream& operator<<(std::ostream& out, const Code& parameter) { return out << parameter.name; }
};

// Written out by hand: peers and log readers know these numbers and names.
const Code codes[] = {
    {0, "Itc_Ok"},
    {1, "Itc_Ndr_End_Of_Data"},
    {2, "Itc_Ndr_Buffer_Alloc_Failed"},
    {3, "Itc_Ndr_Conn_Read_Failed"},
    {4, "Itc_Ndr_Disconnection"},
    {5, "Itc_Ndr_Packet_Write_Failed"},
    {6, "Itc_Ndr_Packet_Length_Read_Failed"},
    {7, "Itc_Ndr_Packet_Read_Not_All_Data"},
    {8, "Itc_Ndr_Buff_Sz_Changed_To_Min_Init"},
    {9, "Itc_Ndr_Buff_Sz_More_Than_Max_Init"},
    {10, "Itc_Ndr_Buff_Sz_More_Than_Max"},
    {11, "Itc_Ndr_No_Buffer_Provided"},
    {12, "Itc_Ndr_Buffer_Size_Too_Small"},
    {13, "Itc_Ndr_Buffer_Size_Too_Large"},
    {14, "Itc_Ndr_Magic_Error"},
    {15, "Itc_Dp_Invalid_Mask"},
    {16, "Itc_Dp_Invalid_File_Descriptor"},
    {17, "Itc_Dp_Select_Call_Failed_EBADF"},
    {18, "Itc_Dp_No_Connection_Linked"},
    {19, "Itc_Ndr_Ub_Wrong_Transmission_State"},
    {20, "Itc_Ndr_Ub_Packet_Write_Failed"},
    {21, "Itc_Ndr_Ub_Packet_Read_Failed"},
    {22, "Itc_Ndr_Ub_Unknown_Send_State"},
    {23, "Itc_Ndr_Ub_Unknown_Receive_State"},
    {24, "Itc_Ndr_Ub_Stream_Queue_Send_Failed"},
    {25, "Itc_Ndr_Ub_Disconnection"},
    {26, "Itc_Ndr_Ub_Extend_Buffer_Failed"},
    {27, "Itc_Tp_Unknown_Peer"},
    {28, "Itc_Tp_Unknown_Service"},
    {29, "Itc_Tp_No_Path_Given"},
    {30, "Itc_Tp_Path_Too_Long"},
    {31, "Itc_Tp_Socket_Call_Failed"},
    {32, "Itc_Tp_Bind_Call_Failed"},
    {33, "Itc_Tp_Listen_Call_Failed"},
    {34, "Itc_Tp_Socket_Still_Connected"},
    {35, "Itc_Tp_Connect_Call_Failed"},
    {36, "Itc_Tp_Accept_Call_Failed"},
    {37, "Itc_Tp_Can_Not_Create_Sock_Stream"},
    {38, "Itc_Tp_Getsockname_Call_Failed"},
    {39, "Itc_Tp_Getpeername_Call_Failed"},
    {40, "Itc_Tp_Descriptor_Not_Yet_Set"},
    {41, "Itc_Tp_New_Path_Error"},
    {42, "Itc_Tp_Close_Call_Failed"},
    {43, "Itc_Tp_Read_Call_Failed"},
    {44, "Itc_Tp_Readv_Call_Failed"},
    {45, "Itc_Tp_Write_Call_Failed"},
    {46, "Itc_Tp_Writev_Call_Failed"},
    {47, "Itc_Tp_Ioctl_Call_Failed"},
    {48, "Itc_Tp_Unexpected_Disconnection"},
    {49, "Itc_Tp_Negative_Arg"},
    {50, "Itc_Tp_Malloc_Error"},
    {51, "Itc_Tp_Offset_Too_Large"},
    {52, "Itc_Tp_Would_Block"},
    {53, "Itc_Tp_Gethostname_Call_Failed"},
    {54, "Itc_Tp_No_EnvVar_KIVMONITORNAME_Set"},
    {55, "Itc_Tp_No_EnvVar_KIVMONITORREMOTEPORT_Set"},
    {56, "Itc_Tp_No_EnvVar_KIVMONITORLOCALPATH_Set"},
    {57, "Itc_Tp_KivMonitor_Not_Registered_With_NS"},
    {58, "Itc_Tp_Ndr_Buff_Write_Failed"},
    {59, "Itc_Tp_Ndr_Buff_Read_Failed"},
    {60, "Itc_Tp_Send_Buff_To_KivMonitor_Failed"},
    {61, "Itc_Tp_Receive_Buff_From_KivMonitor_Failed"},
    {62, "Itc_Tp_Pending_Connection_Failed"},
    {63, "Itc_Tp_KivMonitorDetour_Not_Established"},
    {64, "Itc_Tp_Send_Buff_To_Server_Failed"},
    {65, "Itc_Tp_Receive_Buff_From_Server_Failed"},
    {66, "Itc_Tp_Send_Buff_To_Client_Failed"},
    {67, "Itc_Tp_Receive_Buff_From_Client_Failed"},
    {68, "Itc_Tp_OpenConnNormal_Protocol_Failed"},
    {69, "Itc_Tp_OpenConnDetour_Protocol_Failed"},
    {70, "Itc_Tp_KivMonitorOpenConn_Protocol_Failed"},
    {71, "Itc_Tp_AcceptConnection_Protocol_Failed"},
    {72, "Itc_Tp_Shutdown_Call_Failed"},
    {73, "Itc_Tp_Unknown_Protocol"},
    {74, "Itc_Tp_Max_Connections_Reached"},
};

// The enumerators in the order of the table above: a number and its enumerator have the same index.
const int enumerators[] = {
#define KIV_TEST_ENUMERATOR(name) name,
    KIV_STATUS_CODES(KIV_TEST_ENUMERATOR)
#undef KIV_TEST_ENUMERATOR
};
const char* const enumeratorNames[] = {
#define KIV_TEST_NAME(name) #name,
    KIV_STATUS_CODES(KIV_TEST_NAME)
#undef KIV_TEST_NAME
};

class StatusCode : public testing::TestWithParam<Code> {};

struct Severity {
    const char* name;
    int severity;
    const char* text;
    friend std::ostream& operator<<(std::ostream& out, const Severity& parameter) { return out << parameter.name; }
};

class StatusSeverityText : public testing::TestWithParam<Severity> {};

static_assert(!std::is_polymorphic_v<itcStatus> && std::is_standard_layout_v<itcStatus>);
static_assert(sizeof(itcStatus) == 12);
static_assert(offsetof(itcStatus, code) == 0 && offsetof(itcStatus, severity) == 4 &&
              offsetof(itcStatus, errorNumber) == 8);
static_assert(std::is_same_v<decltype(itcStatus::code), int> && std::is_same_v<decltype(itcStatus::severity), int> &&
              std::is_same_v<decltype(itcStatus::errorNumber), int>);
static_assert(Success == 0 && Warning == 1 && Error == 2 && SystemError == 3 && FatalError == 4);
static_assert(std::is_same_v<std::underlying_type_t<StatusSeverity>, int> &&
              std::is_same_v<std::underlying_type_t<ItcStatusCode>, int>);

TEST(Status, IsClearWhenNew) { EXPECT_THAT(itcStatus(), HasClearStatus()); }

TEST(Status, OfANewObjectReadsSuccessOk) { EXPECT_EQ(itcStatus().STATUS_text(), "Success: Itc_Ok"); }

TEST(Status, CountsItsCodes)
{
    EXPECT_EQ(std::size(codes), 75u);
    EXPECT_EQ(std::size(enumerators), 75u);
}

TEST_P(StatusCode, HasItsNumber)
{
    const auto [code, name] = GetParam();
    EXPECT_EQ(enumerators[code], code);
    EXPECT_STREQ(enumeratorNames[code], name);
}

TEST_P(StatusCode, ReadsAsItsName)
{
    const auto [code, name] = GetParam();
    EXPECT_EQ(status(code, Success).STATUS_text(), std::string("Success: ") + name);
}

INSTANTIATE_TEST_SUITE_P(, StatusCode, testing::ValuesIn(codes), [](const auto& tested) { return tested.param.name; });

TEST_P(StatusSeverityText, IsTheWordBeforeTheColon)
{
    EXPECT_EQ(status(0, GetParam().severity).STATUS_text(), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    , StatusSeverityText,
    testing::Values(Severity{"Success", 0, "Success: Itc_Ok"}, Severity{"Warning", 1, "Warning: Itc_Ok"},
                    Severity{"Error", 2, "Error: Itc_Ok"}, Severity{"SystemError", 3, "SystemError: Itc_Ok"},
                    Severity{"FatalError", 4, "FatalError: Itc_Ok"}, Severity{"OneBeyond", 5, ": Itc_Ok"},
                    Severity{"OneBefore", -1, ": Itc_Ok"}, Severity{"Largest", INT_MAX, ": Itc_Ok"},
                    Severity{"Smallest", INT_MIN, ": Itc_Ok"}),
    [](const auto& tested) { return tested.param.name; });

TEST(Status, ShowsACodeOutsideTheTableAsANumber)
{
    EXPECT_EQ(status(75, Error).STATUS_text(), "Error: code = 75");
    EXPECT_EQ(status(-1, Error).STATUS_text(), "Error: code = -1");
    EXPECT_EQ(status(INT_MAX, Error).STATUS_text(), "Error: code = 2147483647");
    EXPECT_EQ(status(INT_MIN, Error).STATUS_text(), "Error: code = -2147483648");
}

TEST(Status, RejectsNeitherAnUnknownCodeNorAnUnknownSeverity) { EXPECT_EQ(status(80, 9).STATUS_text(), ": code = 80"); }

TEST(Status, AddsTheTextOfItsErrorNumber)
{
    EXPECT_EQ(status(Itc_Tp_Bind_Call_Failed, Error, EADDRINUSE).STATUS_text(),
              "Error: Itc_Tp_Bind_Call_Failed, [98] " + std::string(std::strerror(EADDRINUSE)));
}

TEST(Status, AddsTheTextOfANegativeResolverCode)
{
    EXPECT_EQ(status(Itc_Tp_Unknown_Peer, Error, -2).STATUS_text(),
              "Error: Itc_Tp_Unknown_Peer, [-2] " + std::string(std::strerror(-2)));
}

TEST(Status, AddsTheErrorTextToABareCodeToo)
{
    EXPECT_THAT(status(99, 7, EAGAIN).STATUS_text(), StartsWith(": code = 99, [11] "));
}

TEST(Status, WritesPlainDigitsInAHostThatGroupsThem)
{
    const GroupedDigits grouped;
    EXPECT_EQ(status(12345, Error).STATUS_text(), "Error: code = 12345");
}

TEST(StatusErrorText, IsTheNumberAndTheSystemsText)
{
    EXPECT_EQ(status(0, 0, EAGAIN).STATUS_errorno_text(), "[11] " + std::string(std::strerror(EAGAIN)));
}

TEST(StatusErrorText, OfNoErrorIsTheSystemsTextFor0)
{
    EXPECT_EQ(itcStatus().STATUS_errorno_text(), "[0] " + std::string(std::strerror(0)));
}

TEST(StatusErrorText, AsksForTextsOf1024Bytes)
{
    status(0, 0, EAGAIN).STATUS_errorno_text();

    EXPECT_THAT(OsFaults::getStrError().askedArgument<0>(), testing::ElementsAre(EAGAIN));
    EXPECT_THAT(OsFaults::getStrError().askedArgument<2>(), testing::ElementsAre(1024u));
}

TEST(StatusErrorText, IsEmptyWhereTheLayerHasNoText)
{
    OsFaults::getStrError().failNext(1, 0);
    EXPECT_EQ(status(0, 0, EAGAIN).STATUS_errorno_text(), "");
}

TEST(StatusErrorText, IsEmptyWhereTheLayerHasNone)
{
    OsFaults::getStrError().instead = [](auto...) { return nullptr; };
    EXPECT_EQ(status(0, 0, EAGAIN).STATUS_errorno_text(), "");
}

TEST(StatusErrorText, LeavesTheCommaWhereTheLayerHasNoText)
{
    OsFaults::getStrError().failNext(1, 0);
    EXPECT_EQ(status(Itc_Ok, Error, EAGAIN).STATUS_text(), "Error: Itc_Ok, ");
}

} // namespace
