/// \file
/// The 75 status codes and the five severities.
#pragma once

/// How bad the condition is that an itcStatus records.
enum StatusSeverity : int {
    Success = 0,     ///< Nothing has failed.
    Warning = 1,     ///< Nothing is broken; retry or ignore. Examples: would block, end of data, wrong state.
    Error = 2,       ///< The operation has failed.
    SystemError = 3, ///< For hosts. The library never sets this value.
    FatalError = 4   ///< For hosts. The library never sets this value.
};

/// The list of all codes. Two things are made from this list: the enumeration ItcStatusCode, and the table of names
/// behind itcStatus::STATUS_text().
///
/// The number of a code is its place in the list. The numbers are part of the interface: hosts compare and store them.
/// Therefore no code may be moved, removed or reused. Some codes are set by no operation of the library: their numbers
/// are reserved. docs/status-codes.md lists these codes with "nothing" in the column "Set by".
#define KIV_STATUS_CODES(X)                                                                                            \
    /* 0 to 14: marshalling */                                                                                         \
    X(Itc_Ok)                                                                                                          \
    X(Itc_Ndr_End_Of_Data)                                                                                             \
    X(Itc_Ndr_Buffer_Alloc_Failed)                                                                                     \
    X(Itc_Ndr_Conn_Read_Failed)                                                                                        \
    X(Itc_Ndr_Disconnection)                                                                                           \
    X(Itc_Ndr_Packet_Write_Failed)                                                                                     \
    X(Itc_Ndr_Packet_Length_Read_Failed)                                                                               \
    X(Itc_Ndr_Packet_Read_Not_All_Data)                                                                                \
    X(Itc_Ndr_Buff_Sz_Changed_To_Min_Init)                                                                             \
    X(Itc_Ndr_Buff_Sz_More_Than_Max_Init)                                                                              \
    X(Itc_Ndr_Buff_Sz_More_Than_Max)                                                                                   \
    X(Itc_Ndr_No_Buffer_Provided)                                                                                      \
    X(Itc_Ndr_Buffer_Size_Too_Small)                                                                                   \
    X(Itc_Ndr_Buffer_Size_Too_Large)                                                                                   \
    X(Itc_Ndr_Magic_Error)                                                                                             \
    /* 15 to 18: dispatcher */                                                                                         \
    X(Itc_Dp_Invalid_Mask)                                                                                             \
    X(Itc_Dp_Invalid_File_Descriptor)                                                                                  \
    X(Itc_Dp_Select_Call_Failed_EBADF)                                                                                 \
    X(Itc_Dp_No_Connection_Linked)                                                                                     \
    /* 19 to 26: resumable transfer */                                                                                 \
    X(Itc_Ndr_Ub_Wrong_Transmission_State)                                                                             \
    X(Itc_Ndr_Ub_Packet_Write_Failed)                                                                                  \
    X(Itc_Ndr_Ub_Packet_Read_Failed)                                                                                   \
    X(Itc_Ndr_Ub_Unknown_Send_State)                                                                                   \
    X(Itc_Ndr_Ub_Unknown_Receive_State)                                                                                \
    X(Itc_Ndr_Ub_Stream_Queue_Send_Failed)                                                                             \
    X(Itc_Ndr_Ub_Disconnection)                                                                                        \
    X(Itc_Ndr_Ub_Extend_Buffer_Failed)                                                                                 \
    /* 27 to 74: addresses and transport */                                                                            \
    X(Itc_Tp_Unknown_Peer)                                                                                             \
    X(Itc_Tp_Unknown_Service)                                                                                          \
    X(Itc_Tp_No_Path_Given)                                                                                            \
    X(Itc_Tp_Path_Too_Long)                                                                                            \
    X(Itc_Tp_Socket_Call_Failed)                                                                                       \
    X(Itc_Tp_Bind_Call_Failed)                                                                                         \
    X(Itc_Tp_Listen_Call_Failed)                                                                                       \
    X(Itc_Tp_Socket_Still_Connected)                                                                                   \
    X(Itc_Tp_Connect_Call_Failed)                                                                                      \
    X(Itc_Tp_Accept_Call_Failed)                                                                                       \
    X(Itc_Tp_Can_Not_Create_Sock_Stream)                                                                               \
    X(Itc_Tp_Getsockname_Call_Failed)                                                                                  \
    X(Itc_Tp_Getpeername_Call_Failed)                                                                                  \
    X(Itc_Tp_Descriptor_Not_Yet_Set)                                                                                   \
    X(Itc_Tp_New_Path_Error)                                                                                           \
    X(Itc_Tp_Close_Call_Failed)                                                                                        \
    X(Itc_Tp_Read_Call_Failed)                                                                                         \
    X(Itc_Tp_Readv_Call_Failed)                                                                                        \
    X(Itc_Tp_Write_Call_Failed)                                                                                        \
    X(Itc_Tp_Writev_Call_Failed)                                                                                       \
    X(Itc_Tp_Ioctl_Call_Failed)                                                                                        \
    X(Itc_Tp_Unexpected_Disconnection)                                                                                 \
    X(Itc_Tp_Negative_Arg)                                                                                             \
    X(Itc_Tp_Malloc_Error)                                                                                             \
    X(Itc_Tp_Offset_Too_Large)                                                                                         \
    X(Itc_Tp_Would_Block)                                                                                              \
    X(Itc_Tp_Gethostname_Call_Failed)                                                                                  \
    X(Itc_Tp_No_EnvVar_KIVMONITORNAME_Set)                                                                             \
    X(Itc_Tp_No_EnvVar_KIVMONITORREMOTEPORT_Set)                                                                       \
    X(Itc_Tp_No_EnvVar_KIVMONITORLOCALPATH_Set)                                                                        \
    X(Itc_Tp_KivMonitor_Not_Registered_With_NS)                                                                        \
    X(Itc_Tp_Ndr_Buff_Write_Failed)                                                                                    \
    X(Itc_Tp_Ndr_Buff_Read_Failed)                                                                                     \
    X(Itc_Tp_Send_Buff_To_KivMonitor_Failed)                                                                           \
    X(Itc_Tp_Receive_Buff_From_KivMonitor_Failed)                                                                      \
    X(Itc_Tp_Pending_Connection_Failed)                                                                                \
    X(Itc_Tp_KivMonitorDetour_Not_Established)                                                                         \
    X(Itc_Tp_Send_Buff_To_Server_Failed)                                                                               \
    X(Itc_Tp_Receive_Buff_From_Server_Failed)                                                                          \
    X(Itc_Tp_Send_Buff_To_Client_Failed)                                                                               \
    X(Itc_Tp_Receive_Buff_From_Client_Failed)                                                                          \
    X(Itc_Tp_OpenConnNormal_Protocol_Failed)                                                                           \
    X(Itc_Tp_OpenConnDetour_Protocol_Failed)                                                                           \
    X(Itc_Tp_KivMonitorOpenConn_Protocol_Failed)                                                                       \
    X(Itc_Tp_AcceptConnection_Protocol_Failed)                                                                         \
    X(Itc_Tp_Shutdown_Call_Failed)                                                                                     \
    X(Itc_Tp_Unknown_Protocol)                                                                                         \
    X(Itc_Tp_Max_Connections_Reached)

/// Makes an enumerator from a code. Only for the enumeration below, not for hosts.
#define KIV_AS_ENUMERATOR(name) name,
/// What went wrong. `Itc_Ok` (0): nothing has failed. For each code docs/status-codes.md says which operation sets the
/// code and what a host does about the failure.
enum ItcStatusCode : int { KIV_STATUS_CODES(KIV_AS_ENUMERATOR) };
#undef KIV_AS_ENUMERATOR
