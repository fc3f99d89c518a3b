// The guarded puts: "May I? Then the base's put."
#include <kiv/ndr/itcNdrUbSend.h>

#include <kiv/foundation/detail/SetStatus.h>

using namespace kiv;

bool itcNdrUbSend::mayPut()
{
    clearStatus(*this);
    if (txState != Idle)
        setStatus(*this, Itc_Ndr_Ub_Wrong_Transmission_State, Warning);
    return txState == Idle;
}

itcNdrUbSend& itcNdrUbSend::put_opaque(const void* data, int len, bool align8, bool withLength)
{
    if (mayPut())
        itcNDRSend::put_opaque(data, len, align8, withLength);
    return *this;
}

itcNdrUbSend& itcNdrUbSend::insert(const char* data, int len, bool withLength)
{
    if (mayPut())
        itcNDRSend::insert(data, len, withLength);
    return *this;
}

struct GuardedPuts {
    template <class Value> static itcNdrUbSend& put(itcNdrUbSend& b, const Value& value)
    {
        if (b.mayPut())
            static_cast<itcNDRSend&>(b) << value;
        return b;
    }
};

itcNdrUbSend& operator<<(itcNdrUbSend& b, bool v) { return GuardedPuts::put(b, v); }
itcNdrUbSend& operator<<(itcNdrUbSend& b, char v) { return GuardedPuts::put(b, v); }
itcNdrUbSend& operator<<(itcNdrUbSend& b, signed char v) { return GuardedPuts::put(b, v); }
itcNdrUbSend& operator<<(itcNdrUbSend& b, unsigned char v) { return GuardedPuts::put(b, v); }
itcNdrUbSend& operator<<(itcNdrUbSend& b, short v) { return GuardedPuts::put(b, v); }
itcNdrUbSend& operator<<(itcNdrUbSend& b, unsigned short v) { return GuardedPuts::put(b, v); }
itcNdrUbSend& operator<<(itcNdrUbSend& b, int v) { return GuardedPuts::put(b, v); }
itcNdrUbSend& operator<<(itcNdrUbSend& b, unsigned int v) { return GuardedPuts::put(b, v); }
itcNdrUbSend& operator<<(itcNdrUbSend& b, float v) { return GuardedPuts::put(b, v); }
itcNdrUbSend& operator<<(itcNdrUbSend& b, double v) { return GuardedPuts::put(b, v); }
itcNdrUbSend& operator<<(itcNdrUbSend& b, long long v) { return GuardedPuts::put(b, v); }
itcNdrUbSend& operator<<(itcNdrUbSend& b, unsigned long long v) { return GuardedPuts::put(b, v); }
itcNdrUbSend& operator<<(itcNdrUbSend& b, const char* v) { return GuardedPuts::put(b, v); }
itcNdrUbSend& operator<<(itcNdrUbSend& b, const itcBinData& v) { return GuardedPuts::put(b, v); }
itcNdrUbSend& operator<<(itcNdrUbSend& b, const itcXNDR& v) { return GuardedPuts::put(b, v); }
