// A reader that bounds what strangers can cost: the frame first, then the counts.   limited
#include <kiv/companion.h>

// A receiver for frames of at most 64 KiB.
class SmallFrames : public itcNdrUbReceive {
public:
    SmallFrames() : itcNdrUbReceive(0) {}
    void extend_buffer(unsigned int pages) override
    {
        if (pages <= 16)
            itcNdrUbReceive::extend_buffer(pages);
        else
            static_cast<itcStatus&>(*this) = itcStatus{Itc_Ndr_Buffer_Alloc_Failed, Error, 0};
    }
};

struct Node {
    std::int32_t value = 0;
    std::vector<Node> children; // 64 levels at most
    KIV_FIELDS(value, children)
};

int main()
{
    SmallFrames frames;
    frames.extend_buffer(17); // the library calls this when a frame announces its length
    const bool isRefused = frames.code == Itc_Ndr_Buffer_Alloc_Failed;

    itcNDRSend packet;
    packet << std::int32_t(1) << std::uint32_t(4294967295); // a count that nothing stands behind
    itcNDRReceive arrived(packet.raw_data(), packet.raw_length());
    Node tree;
    arrived >> tree;
    return isRefused && arrived.code == Itc_Ndr_End_Of_Data && tree.children.empty() ? 0 : 1;
}
