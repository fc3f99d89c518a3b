// Figures about values that keep coming, in bounded memory: these programs may run for years.
#pragma once

#include <cstddef>
#include <vector>

/// Smallest, mean and largest of all values so far; zeros before the first.
class RunningStatistics {
public:
    void add(double value);

    double min() const { return smallest; }
    double mean() const { return average; }
    double max() const { return largest; }

private:
    long long count = 0;
    double smallest = 0;
    double average = 0;
    double largest = 0;
};

/// The latest values, for figures that need them all, such as a median.
class RecentValues {
public:
    void add(double value);

    /// The value that the share `q` of the values does not exceed: 0.5 gives the median. 0 without values.
    double quantile(double q) const;

private:
    static constexpr std::size_t capacity = 10000;

    std::vector<double> values;
    std::size_t oldest = 0; ///< The place to be overwritten next, once there are `capacity` values.
};
