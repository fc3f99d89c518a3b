// The end of a local connection: the name of the socket file is freed before the base class closes the descriptor.
#include <kiv/connection/itcLocalConnection.h>

itcLocalConnection::~itcLocalConnection()
{
    delete[] boundPath;
    boundPath = nullptr; // a debug build that uses a dead object meets a null pointer instead of freed memory
}
