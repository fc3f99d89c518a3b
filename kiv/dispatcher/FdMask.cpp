// The two questions about a whole set. They go word by word: the sets are mostly empty.
// The operations on single bits are in the header, because every dispatch cycle uses them for every descriptor.
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
