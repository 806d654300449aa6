/// A picture of both bounds, against rounds and against time.
#ifndef BENCHMARKS_COMPARE_PICTURE_H
#define BENCHMARKS_COMPARE_PICTURE_H

#include <string>
#include <vector>

#include "benchmarks/compare_report.h"

namespace benchmarks {

/// The comparison to draw: of the instance of that name, or without a name the longest one that all
/// methods finished. Throws std::invalid_argument when there is none.
const Comparison &picture_comparison(const std::vector<Comparison> &comparisons,
                                     const std::string &name);

/// Draws how far the bounds are from the optimum, on a logarithmic scale, for all methods: against
/// the rounds on the left, against processor time on the right. Writes a PNG file. Throws
/// std::runtime_error when it cannot be written, or in a build without cairo.
void draw_bounds(const Comparison &comparison, const std::string &path);

}  // namespace benchmarks

#endif
