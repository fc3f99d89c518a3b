#include <kiv/connection/itcLocalConnection.h>

itcLocalConnection::~itcLocalConnection()
{
    delete[] boundPath;
    boundPath = nullptr;
}
