// After years both classes use no more memory than after an hour. RunningStatistics keeps four numbers. RecentValues
// keeps a ring of values: a new value takes the place of the oldest.
#include "Statistics.h"

#include <algorithm>
#include <cmath>

void RunningStatistics::add(double value)
{
    smallest = count == 0 ? value : std::min(smallest, value);
    largest = count == 0 ? value : std::max(largest, value);
    ++count;
    // Not sum / count: a sum that grows for years becomes so large that the small digits of each new value are lost.
    average += (value - average) / static_cast<double>(count);
}

void RecentValues::add(double value)
{
    if (values.size() < capacity) {
        values.push_back(value);
        return;
    }
    values[oldest] = value;
    oldest = (oldest + 1) % capacity;
}

double RecentValues::quantile(double q) const
{
    if (values.empty())
        return 0;
    const auto rank = static_cast<std::size_t>(std::ceil(q * static_cast<double>(values.size())));
    std::vector<double> sorted = values;
    const auto wanted =
        sorted.begin() + static_cast<std::ptrdiff_t>(std::clamp<std::size_t>(rank, 1, sorted.size()) - 1);
    std::nth_element(sorted.begin(), wanted, sorted.end());
    return *wanted;
}
