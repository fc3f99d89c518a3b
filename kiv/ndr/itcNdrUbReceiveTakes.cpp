// The guarded takes: "May I? Then the base's take."
#include <kiv/ndr/itcNdrUbReceive.h>

#include <kiv/foundation/detail/SetStatus.h>

using namespace kiv;

bool itcNdrUbReceive::mayTake()
{
    clearStatus(*this);
    return isComplete();
}

bool itcNdrUbReceive::isComplete()
{
    if (rxState != Complete)
        setStatus(*this, Itc_Ndr_Ub_Wrong_Transmission_State, Warning);
    return rxState == Complete;
}

itcNdrUbReceive& itcNdrUbReceive::extract(char* dst, unsigned int& len)
{
    if (mayTake())
        itcNDRReceive::extract(dst, len);
    return *this;
}

itcNdrUbReceive& itcNdrUbReceive::extract(char*& dst, int cap, int& len)
{
    if (mayTake())
        itcNDRReceive::extract(dst, cap, len);
    return *this;
}

itcNdrUbReceive& itcNdrUbReceive::get_opaque(void*& dst, int cap, int& len)
{
    if (mayTake())
        itcNDRReceive::get_opaque(dst, cap, len);
    return *this;
}

// The status is not cleared here: a skip between takes does not hide what a take has left.
itcNdrUbReceive& itcNdrUbReceive::skip(int n)
{
    if (isComplete())
        itcNDRReceive::skip(n);
    return *this;
}

struct GuardedTakes {
    template <class Target> static itcNdrUbReceive& take(itcNdrUbReceive& b, Target&& target)
    {
        if (b.mayTake())
            static_cast<itcNDRReceive&>(b) >> target;
        return b;
    }
};

itcNdrUbReceive& operator>>(itcNdrUbReceive& b, bool& v) { return GuardedTakes::take(b, v); }
itcNdrUbReceive& operator>>(itcNdrUbReceive& b, char& v) { return GuardedTakes::take(b, v); }
itcNdrUbReceive& operator>>(itcNdrUbReceive& b, signed char& v) { return GuardedTakes::take(b, v); }
itcNdrUbReceive& operator>>(itcNdrUbReceive& b, unsigned char& v) { return GuardedTakes::take(b, v); }
itcNdrUbReceive& operator>>(itcNdrUbReceive& b, short& v) { return GuardedTakes::take(b, v); }
itcNdrUbReceive& operator>>(itcNdrUbReceive& b, unsigned short& v) { return GuardedTakes::take(b, v); }
itcNdrUbReceive& operator>>(itcNdrUbReceive& b, int& v) { return GuardedTakes::take(b, v); }
itcNdrUbReceive& operator>>(itcNdrUbReceive& b, unsigned int& v) { return GuardedTakes::take(b, v); }
itcNdrUbReceive& operator>>(itcNdrUbReceive& b, float& v) { return GuardedTakes::take(b, v); }
itcNdrUbReceive& operator>>(itcNdrUbReceive& b, double& v) { return GuardedTakes::take(b, v); }
itcNdrUbReceive& operator>>(itcNdrUbReceive& b, long long& v) { return GuardedTakes::take(b, v); }
itcNdrUbReceive& operator>>(itcNdrUbReceive& b, unsigned long long& v) { return GuardedTakes::take(b, v); }
itcNdrUbReceive& operator>>(itcNdrUbReceive& b, char* v) { return GuardedTakes::take(b, v); }
itcNdrUbReceive& operator>>(itcNdrUbReceive& b, itcBinData& v) { return GuardedTakes::take(b, v); }
itcNdrUbReceive& operator>>(itcNdrUbReceive& b, itcXNDR& v) { return GuardedTakes::take(b, v); }
itcNdrUbReceive& operator>>(itcNdrUbReceive& b, itcMsgHdr::itcMsgType& v) { return GuardedTakes::take(b, v); }
