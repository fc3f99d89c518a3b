// Figures about values that keep coming. The memory has a limit: these programs may run for years.
#pragma once

#include <cstddef>
#include <vector>

/// The smallest, the mean and the largest of all values so far. Before the first value all three are 0.
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

/// The latest values, for figures that need every value, for example the median.
class RecentValues {
public:
    void add(double value);

    /// The quantile `q`, from 0 to 1: the part `q` of the values is not larger than the result. 0.5 gives the median.
    /// \return 0 if there are no values.
    double quantile(double q) const;

private:
    static constexpr std::size_t capacity = 10000;

    std::vector<double> values;
    std::size_t oldest = 0; ///< Once the memory is full: the place of the oldest value. The next value goes there.
};
