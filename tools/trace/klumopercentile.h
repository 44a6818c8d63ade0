#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

namespace ofx::lumo {

/**
 * Percentiles of measurements by nearest rank, the usual rule for latency
 * figures: the p-th percentile of n values is the ceil(p * n)-th smallest
 * (the smallest for p = 0), so it is always a value that was measured, and
 * the median of an even count is the lower of the middle two. lumoctl trace
 * --stats, the inspector and every benchmark compute theirs with it, so their
 * figures compare. Header-only, so that a benchmark linking the shared
 * library alone can use it; stateless, any thread.
 */
class KLumoPercentile
{
public:
    // Of @p sorted, in ascending order; T() when it is empty.
    template<class T> static T ofSorted(const std::vector<T> &sorted, double p)
    {
        if (sorted.empty())
            return T();
        // p * n may come out a hair above the whole number it stands for
        // (0.07 * 100): that must not move the rank up by one.
        const double rank = std::ceil(p * double(sorted.size()) - 1e-9);
        return sorted[size_t(std::clamp(rank, 1.0, double(sorted.size()))) - 1];
    }

    // Of @p values, in any order.
    template<class T> static T of(std::vector<T> values, double p)
    {
        std::sort(values.begin(), values.end());
        return ofSorted(values, p);
    }

    template<class T> static T median(std::vector<T> values) { return of(std::move(values), 0.5); }
};

} // namespace ofx::lumo
