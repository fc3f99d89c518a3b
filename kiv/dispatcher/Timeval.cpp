#include <kiv/dispatcher/Timeval.h>

#include <kiv/foundation/detail/Micros.h>
#include <kiv/foundation/detail/Saturate.h>

using namespace kiv;

namespace {

void carry(timeval& t)
{
    t.tv_usec -= microsPerSecond;
    t.tv_sec = saturatingAdd(t.tv_sec, 1);
}

void borrow(timeval& t)
{
    t.tv_usec += microsPerSecond;
    t.tv_sec = saturatingSub(t.tv_sec, 1);
}

} // namespace

timeval operator+(timeval a, timeval b)
{
    timeval sum = {};
    sum.tv_sec = saturatingAdd(a.tv_sec, b.tv_sec);
    sum.tv_usec = saturatingAdd(a.tv_usec, b.tv_usec);
    if (sum.tv_usec >= microsPerSecond)
        carry(sum);
    else if (sum.tv_sec >= 1 && sum.tv_usec < 0)
        borrow(sum);
    return sum;
}

timeval operator-(timeval a, timeval b)
{
    timeval difference = {};
    difference.tv_sec = saturatingSub(a.tv_sec, b.tv_sec);
    difference.tv_usec = saturatingSub(a.tv_usec, b.tv_usec);
    if (difference.tv_usec < 0)
        borrow(difference);
    else if (difference.tv_usec >= microsPerSecond)
        carry(difference);
    return difference;
}

bool operator>(timeval a, timeval b)
{
    return a.tv_sec > b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_usec > b.tv_usec);
}

bool operator<(timeval a, timeval b)
{
    return b > a;
}

bool operator==(timeval a, timeval b)
{
    return a.tv_sec == b.tv_sec && a.tv_usec == b.tv_usec;
}
