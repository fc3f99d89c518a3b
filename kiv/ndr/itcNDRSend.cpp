// The storage of a send buffer: made, grown, given back.
//
// A growth allocates first and changes the object only when the new storage is there. A failed growth therefore leaves
// the content as it was. All growth goes through the virtual extend_buffer(), which hosts replace to set a limit.
#include <kiv/ndr/itcNDRSend.h>

#include <kiv/foundation/detail/Invariant.h>
#include <kiv/foundation/detail/SetStatus.h>
#include <kiv/ndr/detail/Frame.h>
#include <kiv/ndr/detail/Storage.h>

#include <algorithm>
#include <limits>

using namespace kiv;

namespace {

// Lengths of packets are 32 bits wide.
constexpr uint64_t largestAllocation = std::numeric_limits<uint32_t>::max();

} // namespace

itcNDRSend::itcNDRSend()
    : transactionOffset(0), frameStart(nullptr), writePos(nullptr), lastUsable(nullptr), storage(nullptr)
{}

itcNDRSend::itcNDRSend(int size) : itcNDRSend()
{
    if (size >= 1)
        itcNDRSend::create_buffer(static_cast<unsigned int>(size));
}

itcNDRSend::~itcNDRSend() { release(storage); }

void itcNDRSend::reset()
{
    if (storage == nullptr || frameStart == nullptr)
        return;
    writePos = frameStart + headerSize + labelSize;
    transactionOffset = 0;
    if (free_buffer_size() > keptBufferSize)
        forgetStorage();
    clearStatus(*this);
}

void itcNDRSend::forgetStorage()
{
    release(storage);
    storage = frameStart = writePos = lastUsable = nullptr;
}

char* itcNDRSend::raw_data() { return frameStart != nullptr ? frameStart + headerSize : nullptr; }

unsigned int itcNDRSend::raw_length() const { return raw_length_inline(); }

unsigned int itcNDRSend::free_buffer_size() const { return free_buffer_size_inline(); }

void itcNDRSend::create_buffer(unsigned int size)
{
    clearStatus(*this);
    const unsigned int allocated = std::max(size, minBufferSize);
    char* const fresh = allocateOrFail(*this, allocated);
    if (fresh == nullptr)
        return;
    storage = fresh;
    lastUsable = fresh + allocated - 2;
    frameStart = alignedStart(fresh + headerSize) - headerSize;
    beginPacket();
    KIV_INVARIANT(isSound());
}

void itcNDRSend::extend_buffer(unsigned int pages)
{
    clearStatus(*this);
    // A deriving class may count its content otherwise: no more than is really there, and no less than the label.
    const uint64_t counted = std::min(raw_length(), raw_length_inline());
    const uint64_t length = counted != 0 ? std::max<uint64_t>(counted, labelSize) : 0;
    const uint64_t used = length != 0 ? length + headerSize : 0;
    const uint64_t newSize = used + std::max(pages * pageSize, used / 2);
    if (newSize == 0 || newSize + alignmentSpare > largestAllocation) {
        failAllocation(*this);
        return;
    }
    char* const fresh = allocateOrFail(*this, newSize + alignmentSpare);
    if (fresh == nullptr)
        return;
    const char* const oldFrame = frameStart;
    lastUsable = fresh + newSize + alignmentSpare - 2;
    frameStart = alignedStart(fresh + headerSize) - headerSize;
    if (used != 0) {
        // Header area, label and values: their offsets, and so the gaps between them, stay.
        std::memcpy(frameStart, oldFrame, static_cast<size_t>(used));
        writePos = frameStart + used;
    } else {
        beginPacket();
    }
    release(storage);
    storage = fresh;
    KIV_INVARIANT(isSound());
}

void itcNDRSend::init(char* buf, unsigned int size)
{
    clearStatus(*this);
    if (buf == nullptr) {
        setStatus(*this, Itc_Ndr_No_Buffer_Provided, Error);
        return;
    }
    if (size < minBufferSize) {
        setStatus(*this, Itc_Ndr_Buffer_Size_Too_Small, Error);
        return;
    }
    if (size > keptBufferSize)
        return;
    release(storage);
    storage = nullptr;
    lastUsable = buf + size - 2;
    frameStart = alignedStart(buf);
    transactionOffset = 0;
    beginPacket();
    KIV_INVARIANT(isSound());
}

// An empty packet: the label, which says how this process keeps its numbers.
void itcNDRSend::beginPacket()
{
    char* const label = frameStart + headerSize;
    label[0] = static_cast<char>(static_cast<unsigned int>(ndr_char) | static_cast<unsigned int>(ndr_endian) << 4);
    label[1] = static_cast<char>(ndr_float);
    writePos = label + labelSize;
}

// The invariant of the class comment. Addresses are compared as offsets in one storage.
bool itcNDRSend::isSound() const
{
    if (frameStart == nullptr)
        return writePos == nullptr && lastUsable == nullptr && storage == nullptr;
    const bool isOwn = storage != nullptr;
    return frameStart + headerSize + labelSize <= writePos && writePos <= lastUsable + 1 &&
           gapTo(8, frameStart + (isOwn ? headerSize : 0)) == 0;
}
