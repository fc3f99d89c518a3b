/// \file
/// The 75 status codes and the five severities.
#pragma once

/// How bad the condition is that an itcStatus records.
///
/// The library itself sets only Success, Warning (the caller may retry or ignore it: would block, end of data, not
/// allowed in the present state) and Error (the operation failed). The two upper ones are for hosts.
enum StatusSeverity : int { Success = 0, Warning = 1, Error = 2, SystemError = 3, FatalError = 4 };

/// Every code, once: the enumeration and the table of names behind itcStatus::STATUS_text() both come from this list.
///
/// The number of a code is its place here. The numbers are part of the interface, so none may be moved, removed or
/// reused, although no operation of this library sets the monitor, detour and environment-variable codes.
#define KIV_STATUS_CODES(X)                                                                                            \
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
    X(Itc_Dp_Invalid_Mask)                                                                                             \
    X(Itc_Dp_Invalid_File_Descriptor)                                                                                  \
    X(Itc_Dp_Select_Call_Failed_EBADF)                                                                                 \
    X(Itc_Dp_No_Connection_Linked)                                                                                     \
    X(Itc_Ndr_Ub_Wrong_Transmission_State)                                                                             \
    X(Itc_Ndr_Ub_Packet_Write_Failed)                                                                                  \
    X(Itc_Ndr_Ub_Packet_Read_Failed)                                                                                   \
    X(Itc_Ndr_Ub_Unknown_Send_State)                                                                                   \
    X(Itc_Ndr_Ub_Unknown_Receive_State)                                                                                \
    X(Itc_Ndr_Ub_Stream_Queue_Send_Failed)                                                                             \
    X(Itc_Ndr_Ub_Disconnection)                                                                                        \
    X(Itc_Ndr_Ub_Extend_Buffer_Failed)                                                                                 \
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

#define KIV_AS_ENUMERATOR(name) name,
/// What went wrong; 0 (`Itc_Ok`) when nothing has failed. docs/status-codes.md says what a host does on each.
enum ItcStatusCode : int { KIV_STATUS_CODES(KIV_AS_ENUMERATOR) };
#undef KIV_AS_ENUMERATOR
