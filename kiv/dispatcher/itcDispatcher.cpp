// The dispatcher's tables: who is interested in which descriptor. itcDispatcherCycle.cpp reads them.
//
// attach() and detach() alone write the tables. link() and unlink() ask a connection for its descriptors and call those
// two, so a deriving dispatcher that replaces attach() and detach() sees every change.
// In a slot, the bit, the handler and the client data of a kind change together. The connection of a slot stays until
// the last handler of the slot goes. nfds is one more than the highest slot with a handler, and never negative.
#include <kiv/dispatcher/itcDispatcher.h>

#include <kiv/connection/itcConnection.h>
#include <kiv/dispatcher/detail/Performance.h>
#include <kiv/dispatcher/detail/Select.h>
#include <kiv/foundation/detail/Invariant.h>
#include <kiv/foundation/detail/SetStatus.h>

#include <algorithm>
#include <cstdlib>
#include <new>

using namespace kiv;

/// The tables of one kind of interest. All three pointers are null if the kind asked for was not exactly one kind.
struct itcDispatcher::Interest {
    FdMask* mask;
    itcIOHandler** handlers;
    char** data;
};

itcDispatcher* itcDispatcher::_instance = nullptr;
bool itcDispatcher::checkCommunicationBuffer = true;

namespace {

int descriptorOf(const itcConnection& conn, itcDispatcherMask kind)
{
    switch (kind) {
    case ReadMask:
        return conn.ReadDescriptor();
    case WriteMask:
        return conn.WriteDescriptor();
    default:
        return conn.ExceptDescriptor();
    }
}

// A handler can ask once per cycle to be called again. With room for every descriptor the lists grow only if cycles
// nest.
std::vector<int>* newReadyList()
{
    auto* const list = new std::vector<int>;
    list->reserve(FdMask::size);
    return list;
}

} // namespace

// NOLINTBEGIN(bugprone-unhandled-exception-at-new): without memory for its tables the process ends, as the header says
itcDispatcher::itcDispatcher() noexcept
    : capacity(FdMask::size), nfds(0), readMask(new FdMask), writeMask(new FdMask), exceptMask(new FdMask),
      readyRead(newReadyList()), readyWrite(newReadyList()), readyExcept(newReadyList()),
      readHandlers(new itcIOHandler*[FdMask::size]()), writeHandlers(new itcIOHandler*[FdMask::size]()),
      exceptHandlers(new itcIOHandler*[FdMask::size]()), timers(new TimerQueue),
      connections(new itcConnection*[FdMask::size]()), readData(new char*[FdMask::size]()),
      writeData(new char*[FdMask::size]()), exceptData(new char*[FdMask::size]()), dispatchCount(0), sleepMicros(0)
{
    perfStopwatches.reportTimer.start();
    perfStopwatches.outsideTimer.start();
}
// NOLINTEND(bugprone-unhandled-exception-at-new)

itcDispatcher::~itcDispatcher()
{
    delete readMask;
    delete writeMask;
    delete exceptMask;
    delete readyRead;
    delete readyWrite;
    delete readyExcept;
    delete[] readHandlers;
    delete[] writeHandlers;
    delete[] exceptHandlers;
    delete timers;
    delete[] connections;
    delete[] readData;
    delete[] writeData;
    delete[] exceptData;

    // A receiver that is destroyed later asks for the singleton, and must not find this object.
    if (_instance == this)
        _instance = nullptr;
    awaitOtherThreads();
}

itcDispatcher* itcDispatcher::instance()
{
    if (_instance == nullptr)
        _instance = new (std::nothrow) itcDispatcher;
    if (_instance == nullptr)
        std::abort();
    return _instance;
}

void itcDispatcher::instance(itcDispatcher* d) { _instance = d; }

// One would expect each kind to ask its own set for the index. All kinds ask readMask: a descriptor has one index,
// which the three sets and all tables share. A platform that maps descriptors keeps its mapping in this one set.
int itcDispatcher::link(itcConnection* conn, char* clientData, itcDispatcherMask mask, itcIOHandler* h)
{
    clearStatus(*this);
    if (conn == nullptr)
        return 0;
    for (const itcDispatcherMask kind : eachKind) {
        if (mask & kind)
            attach(readMask->allocFd(descriptorOf(*conn, kind)), conn, clientData, kind, h);
    }
    return severity <= Success;
}

int itcDispatcher::unlink(itcConnection* conn, itcDispatcherMask mask)
{
    clearStatus(*this);
    if (conn == nullptr)
        return 0;
    for (const itcDispatcherMask kind : eachKind) {
        if (mask & kind)
            detach(readMask->allocFd(descriptorOf(*conn, kind)), kind);
    }
    return severity <= Success;
}

int itcDispatcher::unlink_all(itcDispatcherMask mask)
{
    clearStatus(*this);
    detach_all(mask);
    return severity <= Success;
}

itcIOHandler* itcDispatcher::handler(itcConnection* conn, itcDispatcherMask mask)
{
    clearStatus(*this);
    const Interest interest = interestIn(mask);
    if (interest.mask == nullptr) {
        setStatus(*this, Itc_Dp_Invalid_Mask, Error);
        return nullptr;
    }
    const int fd = readMask->allocFd(conn != nullptr ? descriptorOf(*conn, mask) : -1);
    if (!isSlot(fd)) {
        setStatus(*this, Itc_Dp_Invalid_File_Descriptor, Error);
        return nullptr;
    }
    return interest.handlers[fd];
}

void itcDispatcher::attach(int fd, itcConnection* conn, char* clientData, itcDispatcherMask mask, itcIOHandler* h)
{
    // No system call has failed in the two refusals. Their status carries the pending error number nevertheless,
    // because every status of the library is written in the same way. A host goes by the code.
    if (!isSlot(fd)) {
        setStatus(*this, Itc_Dp_Invalid_File_Descriptor, Error);
        return;
    }
    const Interest interest = interestIn(mask);
    if (interest.mask == nullptr) {
        setStatus(*this, Itc_Dp_Invalid_Mask, Error);
        return;
    }
    interest.mask->setBit(fd);
    interest.handlers[fd] = h;
    interest.data[fd] = clientData;
    connections[fd] = conn;
    if (fd >= nfds)
        nfds = fd + 1;
    KIV_INVARIANT(isSound());
}

void itcDispatcher::detach(int fd, itcDispatcherMask mask)
{
    if (!isSlot(fd)) {
        setStatus(*this, Itc_Dp_Invalid_File_Descriptor, Error);
        return;
    }
    for (const itcDispatcherMask kind : eachKind) {
        if (mask & kind) {
            const Interest interest = interestIn(kind);
            interest.mask->clrBit(fd);
            interest.handlers[fd] = nullptr;
            interest.data[fd] = nullptr;
        }
    }
    if (hasHandler(fd))
        return;

    readMask->freeFd(readMask->realFd(fd));
    connections[fd] = nullptr;
    if (fd + 1 == nfds) {
        while (nfds >= 1 && !hasHandler(nfds - 1))
            --nfds;
    }
    KIV_INVARIANT(isSound());
}

// nfds lies in the tables, and no descriptor from nfds on has a handler.
bool itcDispatcher::isSound() const
{
    for (int fd = std::max(nfds, 0); fd < capacity; ++fd) {
        if (hasHandler(fd))
            return false;
    }
    return nfds <= capacity;
}

void itcDispatcher::detach_all(itcDispatcherMask mask)
{
    for (int fd = nfds - 1; fd >= 0; --fd)
        detach(fd, mask);
}

itcDispatcher::Interest itcDispatcher::interestIn(itcDispatcherMask kind) const
{
    switch (kind) {
    case ReadMask:
        return {readMask, readHandlers, readData};
    case WriteMask:
        return {writeMask, writeHandlers, writeData};
    case ExceptMask:
        return {exceptMask, exceptHandlers, exceptData};
    default:
        return {nullptr, nullptr, nullptr};
    }
}

bool itcDispatcher::hasHandler(int fd) const
{
    return readHandlers[fd] != nullptr || writeHandlers[fd] != nullptr || exceptHandlers[fd] != nullptr;
}

bool itcDispatcher::isWanted(int fd) const
{
    return readMask->isSet(fd) || writeMask->isSet(fd) || exceptMask->isSet(fd);
}
