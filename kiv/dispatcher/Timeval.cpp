// Sums and differences of times. All arithmetic saturates: a host may pass any time.
//
// Addition and subtraction treat negative microseconds differently. A reader would expect one rule for both.
// - A difference always borrows. The comparisons look at the seconds first, so the seconds must tell the sign.
// - A sum borrows only from seconds of 1 or more. The library adds a delay to its clock, which is far above one second:
//   there the two rules agree. They differ only for the small sums of a host. Hosts know these results, field by field,
//   so the rule stays.
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

bool operator>(timeval a, timeval b) { return a.tv_sec > b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_usec > b.tv_usec); }

bool operator<(timeval a, timeval b) { return b > a; }

bool operator==(timeval a, timeval b) { return a.tv_sec == b.tv_sec && a.tv_usec == b.tv_usec; }
