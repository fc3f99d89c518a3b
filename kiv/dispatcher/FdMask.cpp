#include <kiv/dispatcher/FdMask.h>

#include <algorithm>
#include <iterator>
#include <numeric>

bool FdMask::anySet() const
{
    return std::any_of(std::begin(words), std::end(words), [](uint32_t word) { return word != 0; });
}

int FdMask::numSet() const
{
    return std::accumulate(std::begin(words), std::end(words), 0,
                           [](int count, uint32_t word) { return count + __builtin_popcount(word); });
}
