// The storage of a receive buffer: made, replaced, wrapped, given back; and the packet that lies in it.
//
// A growth frees the old storage first, because this side grows only before it reads a packet. After a failed growth no
// pointer is left: the object has no storage until the next success.
#include <kiv/ndr/itcNDRReceive.h>

#include <kiv/foundation/detail/Invariant.h>
#include <kiv/foundation/detail/SetStatus.h>
#include <kiv/ndr/detail/Frame.h>
#include <kiv/ndr/detail/Storage.h>

using namespace kiv;

itcNDRReceive::itcNDRReceive()
    : transactionEnd(0), dataStart(nullptr), readPos(nullptr), dataLast(nullptr), bufferLast(nullptr), storage(nullptr)
{
    forgetPeer();
}

itcNDRReceive::itcNDRReceive(int size) : itcNDRReceive()
{
    if (size >= 1)
        itcNDRReceive::create_buffer(static_cast<unsigned int>(size));
}

itcNDRReceive::itcNDRReceive(const char* data, unsigned int len) : itcNDRReceive()
{
    if (data == nullptr || len <= labelSize)
        return;
    itcNDRReceive::create_buffer(len);
    if (severity == Error)
        return;
    if (free_buffer_size_inline() < len) { // a host's own OS_malloc() may align less than ours
        failAllocation(*this);
        return;
    }
    std::memcpy(dataStart, data, len);
    installPacket(len);
}

itcNDRReceive::~itcNDRReceive() { release(storage); }

void itcNDRReceive::reset()
{
    if (storage == nullptr || dataStart == nullptr)
        return;
    readPos = dataStart + labelSize;
    transactionEnd = 0;
    if (free_buffer_size() > keptBufferSize)
        dropStorage();
    clearStatus(*this);
}

char* itcNDRReceive::raw_data() { return dataStart; }

unsigned int itcNDRReceive::raw_length() const
{
    return hasPacket() ? static_cast<unsigned int>(dataLast - dataStart) + 1 : 0;
}

unsigned int itcNDRReceive::free_buffer_size() const { return free_buffer_size_inline(); }

void itcNDRReceive::create_buffer(unsigned int size)
{
    clearStatus(*this);
    const unsigned int allocated = std::max(size, minBufferSize);
    if (char* const fresh = allocateOrFail(*this, allocated)) {
        useStorage(fresh, allocated);
        forgetPeer();
    }
}

// The peer's codes are kept: hosts that grow a buffer between two reads of one label see them unchanged.
void itcNDRReceive::extend_buffer(unsigned int pages)
{
    clearStatus(*this);
    dropStorage();
    if (pages > pagesBeyond(longestFrame)) {
        failAllocation(*this);
        return;
    }
    const uint64_t allocated = pages * pageSize + alignmentSpare;
    if (char* const fresh = allocateOrFail(*this, allocated))
        useStorage(fresh, allocated);
}

void itcNDRReceive::useStorage(char* fresh, uint64_t size)
{
    storage = fresh;
    bufferLast = fresh + size - 1;
    dataStart = readPos = dataLast = alignedStart(fresh);
    KIV_INVARIANT(isSound());
}

void itcNDRReceive::dropStorage()
{
    release(storage);
    dataStart = readPos = dataLast = bufferLast = storage = nullptr;
}

void itcNDRReceive::init(char* buf, unsigned int size)
{
    clearStatus(*this);
    if (buf == nullptr) {
        setStatus(*this, Itc_Ndr_No_Buffer_Provided, Error);
        return;
    }
    if (size <= labelSize || size < gapTo(8, buf) + labelSize) {
        setStatus(*this, Itc_Ndr_Buffer_Size_Too_Small, Error);
        return;
    }
    release(storage);
    storage = nullptr;
    bufferLast = buf + size - 1;
    dataStart = alignedStart(buf);
    installPacket(size);
}

// Codes that no peer has. Whatever is read before a packet is there is at the end of the data anyway.
void itcNDRReceive::forgetPeer()
{
    peerEndian = 2;
    peerChar = 2;
    peerFloat = 4;
}

// A frame of less than two bytes has no label, and nothing of it can be taken.
void itcNDRReceive::installPacket(unsigned int length)
{
    if (length < labelSize) {
        readPos = dataLast = dataStart;
        forgetPeer();
        return;
    }
    dataLast = dataStart + length - 1;
    readPos = dataStart + labelSize;
    const auto label0 = static_cast<unsigned char>(dataStart[0]);
    peerEndian = label0 >> 4;
    peerChar = label0 & 15;
    peerFloat = static_cast<unsigned char>(dataStart[1]);
    KIV_INVARIANT(isSound());
}

// The invariant of the class comment.
bool itcNDRReceive::isSound() const
{
    if (dataStart == nullptr)
        return readPos == nullptr && dataLast == nullptr && bufferLast == nullptr && storage == nullptr;
    const bool isWrapped = storage == nullptr;
    return gapTo(8, dataStart) == 0 && dataStart <= bufferLast + 1 && dataStart <= dataLast &&
           dataLast <= bufferLast + (isWrapped ? 7 : 0) && dataStart <= readPos && readPos <= dataLast + 8;
}
