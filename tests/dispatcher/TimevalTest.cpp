// Sum, difference and comparison of timevals: carry, borrow, and the ends of the range.
#include "DispatcherParts.h"

#include <kiv/dispatcher/Timeval.h>

#include <gtest/gtest.h>

#include <limits>

namespace {

constexpr int64_t most = std::numeric_limits<int64_t>::max();
constexpr int64_t least = std::numeric_limits<int64_t>::min();

struct Operation {
    Fields a, b, result;
};

void PrintTo(const Operation& operation, std::ostream* out)
{
    *out << testing::PrintToString(operation.a) << " and " << testing::PrintToString(operation.b);
}

timeval tv(const Fields& f) { return ::tv(f.first, f.second); }

class TimevalSum : public testing::TestWithParam<Operation> {};

TEST_P(TimevalSum, IsAsStated) { EXPECT_EQ(fields(tv(GetParam().a) + tv(GetParam().b)), GetParam().result); }

TEST_P(TimevalSum, DoesNotDependOnTheOrder)
{
    EXPECT_EQ(fields(tv(GetParam().b) + tv(GetParam().a)), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(Plain, TimevalSum,
                         testing::Values(Operation{{0, 0}, {0, 0}, {0, 0}}, Operation{{1, 2}, {3, 4}, {4, 6}},
                                         Operation{{-3, 7}, {1, 1}, {-2, 8}}));
INSTANTIATE_TEST_SUITE_P(Carries, TimevalSum,
                         testing::Values(Operation{{0, 999999}, {0, 1}, {1, 0}},
                                         Operation{{0, 900000}, {0, 900000}, {1, 800000}},
                                         Operation{{0, 999998}, {0, 1}, {0, 999999}},
                                         Operation{{-1, 999999}, {0, 1}, {0, 0}},
                                         Operation{{-5, 600000}, {0, 600000}, {-4, 200000}}));
INSTANTIATE_TEST_SUITE_P(CarriesOneSecondAtMost, TimevalSum,
                         testing::Values(Operation{{0, 1999999}, {0, 1999999}, {1, 2999998}},
                                         Operation{{0, 3000000}, {0, 0}, {1, 2000000}}));
INSTANTIATE_TEST_SUITE_P(BorrowsFromAtLeastOneSecond, TimevalSum,
                         testing::Values(Operation{{2, -5}, {0, 0}, {1, 999995}},
                                         Operation{{1, -1}, {0, 0}, {0, 999999}},
                                         Operation{{3, 0}, {-2, -1}, {0, 999999}}));
INSTANTIATE_TEST_SUITE_P(BorrowsOneSecondAtMost, TimevalSum,
                         testing::Values(Operation{{5, -1500000}, {0, -1000000}, {4, -1500000}}));
INSTANTIATE_TEST_SUITE_P(BorrowsNothingBelowOneSecond, TimevalSum,
                         testing::Values(Operation{{0, -5}, {0, 0}, {0, -5}}, Operation{{2, -5}, {-2, 0}, {0, -5}},
                                         Operation{{-3, 0}, {1, -1}, {-2, -1}}));
INSTANTIATE_TEST_SUITE_P(UsesAll64Bits, TimevalSum,
                         testing::Values(Operation{{4294967296, 1}, {4294967296, 1}, {8589934592, 2}},
                                         Operation{{0, 4294967296}, {0, 0}, {1, 4293967296}},
                                         Operation{{2147483647, 999999}, {0, 1}, {2147483648, 0}},
                                         Operation{{2147483647, 0}, {2147483647, 0}, {4294967294, 0}},
                                         Operation{{4294967295, 999999}, {0, 1}, {4294967296, 0}},
                                         Operation{{4294967296, -1}, {0, 0}, {4294967295, 999999}}));
INSTANTIATE_TEST_SUITE_P(StopsAtTheEnds, TimevalSum,
                         testing::Values(Operation{{most, 0}, {1, 0}, {most, 0}},
                                         Operation{{least, 0}, {-1, 0}, {least, 0}},
                                         Operation{{most, 999999}, {0, 1}, {most, 0}},
                                         Operation{{0, most}, {0, most}, {1, most - 1000000}},
                                         Operation{{0, least}, {0, least}, {0, least}}));

class TimevalDifference : public testing::TestWithParam<Operation> {};

TEST_P(TimevalDifference, IsAsStated) { EXPECT_EQ(fields(tv(GetParam().a) - tv(GetParam().b)), GetParam().result); }

INSTANTIATE_TEST_SUITE_P(Plain, TimevalDifference,
                         testing::Values(Operation{{0, 0}, {0, 0}, {0, 0}}, Operation{{7, 9}, {3, 4}, {4, 5}},
                                         Operation{{1, 0}, {5, 0}, {-4, 0}}));
INSTANTIATE_TEST_SUITE_P(BorrowsWhateverTheSeconds, TimevalDifference,
                         testing::Values(Operation{{5, 0}, {3, 1}, {1, 999999}},
                                         Operation{{0, 0}, {0, 1}, {-1, 999999}},
                                         Operation{{1, 0}, {2, 500000}, {-2, 500000}},
                                         Operation{{0, -5}, {0, 0}, {-1, 999995}},
                                         Operation{{-3, 0}, {0, 1}, {-4, 999999}}));
INSTANTIATE_TEST_SUITE_P(Carries, TimevalDifference,
                         testing::Values(Operation{{0, 1500000}, {0, 0}, {1, 500000}},
                                         Operation{{0, 0}, {0, -1000000}, {1, 0}},
                                         Operation{{-4, 999999}, {0, -1}, {-3, 0}}));
INSTANTIATE_TEST_SUITE_P(CarriesOrBorrowsOneSecondAtMost, TimevalDifference,
                         testing::Values(Operation{{0, 1999999}, {0, -1000000}, {1, 1999999}},
                                         Operation{{0, -1000000}, {0, 999999}, {-1, -999999}}));
INSTANTIATE_TEST_SUITE_P(UsesAll64Bits, TimevalDifference,
                         testing::Values(Operation{{8589934592, 2}, {4294967296, 1}, {4294967296, 1}},
                                         Operation{{2147483648, 0}, {0, 1}, {2147483647, 999999}},
                                         Operation{{4294967296, 0}, {2147483648, 1}, {2147483647, 999999}},
                                         Operation{{0, 0}, {4294967296, 0}, {-4294967296, 0}},
                                         Operation{{-2147483648, 0}, {0, 1}, {-2147483649, 999999}},
                                         Operation{{0, 4294967296}, {0, 4294967295}, {0, 1}}));
INSTANTIATE_TEST_SUITE_P(StopsAtTheEnds, TimevalDifference,
                         testing::Values(Operation{{least, 0}, {1, 0}, {least, 0}},
                                         Operation{{most, 0}, {-1, 0}, {most, 0}},
                                         Operation{{least, 0}, {0, 1}, {least, 999999}},
                                         Operation{{0, least}, {0, 1}, {-1, least + 1000000}}));

struct Comparison {
    Fields a, b;
    int order; // below 0: a is earlier; 0: both are equal; above 0: a is later
};

void PrintTo(const Comparison& comparison, std::ostream* out)
{
    *out << testing::PrintToString(comparison.a) << " with " << testing::PrintToString(comparison.b);
}

class TimevalComparison : public testing::TestWithParam<Comparison> {};

TEST_P(TimevalComparison, IsAsStated)
{
    const timeval a = tv(GetParam().a);
    const timeval b = tv(GetParam().b);
    EXPECT_EQ(a > b, GetParam().order > 0);
    EXPECT_EQ(a < b, GetParam().order < 0);
    EXPECT_EQ(a == b, GetParam().order == 0);
}

TEST_P(TimevalComparison, TurnsRoundWithItsOperands)
{
    const timeval a = tv(GetParam().a);
    const timeval b = tv(GetParam().b);
    EXPECT_EQ(b > a, GetParam().order < 0);
    EXPECT_EQ(b<a, GetParam().order> 0);
    EXPECT_EQ(b == a, GetParam().order == 0);
}

INSTANTIATE_TEST_SUITE_P(Normalised, TimevalComparison,
                         testing::Values(Comparison{{1, 5}, {1, 4}, 1}, Comparison{{1, 5}, {1, 5}, 0},
                                         Comparison{{2, 0}, {1, 999999}, 1}, Comparison{{-2, 999999}, {-1, 0}, -1},
                                         Comparison{{0, 0}, {0, 1}, -1}));
INSTANTIATE_TEST_SUITE_P(AsTheFieldsStand, TimevalComparison,
                         testing::Values(Comparison{{0, 1500000}, {1, 0}, -1}, Comparison{{0, 1000000}, {1, 0}, -1},
                                         Comparison{{1, -1}, {0, 999999}, 1}, Comparison{{0, -1}, {0, 0}, -1}));
INSTANTIATE_TEST_SUITE_P(UsesAll64Bits, TimevalComparison,
                         testing::Values(Comparison{{2147483648, 0}, {2147483647, 999999}, 1},
                                         Comparison{{4294967296, 0}, {1, 0}, 1}, Comparison{{4294967296, 5}, {0, 5}, 1},
                                         Comparison{{0, 4294967296}, {0, 1}, 1},
                                         Comparison{{-4294967296, 0}, {0, 0}, -1}));
INSTANTIATE_TEST_SUITE_P(AtTheEnds, TimevalComparison,
                         testing::Values(Comparison{{most, most}, {least, least}, 1},
                                         Comparison{{0, most}, {0, least}, 1}, Comparison{{most, 0}, {most, 0}, 0}));

} // namespace
