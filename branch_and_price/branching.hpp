/**
 * Ready-made branching: functions for Problem::branch, Problem::allows and Problem::coefficient.
 *
 * Each takes the fractional solution and returns candidates, the best first: those whose fractional
 * quantity is nearest to one half. Where a problem uses several, it tries them in turn.
 */
#ifndef BRANCH_AND_PRICE_BRANCHING_HPP
#define BRANCH_AND_PRICE_BRANCHING_HPP

#include <functional>
#include <vector>

#include "branch_and_price/problem.hpp"

namespace quarn {
namespace branch_and_price {

// Pairs of rows. In a set partitioning master two rows i and j are served by one column or by two,
// and the sum of the columns that serve both says how much by one. Source: D. M. Ryan, B. A.
// Foster, An integer programming approach to scheduling, in: A. Wren (ed.), Computer Scheduling of
// Public Transport, North-Holland 1981.

constexpr const char *kTogether = "together";  ///< numbers: two rows; a column has both or neither
constexpr const char *kApart = "apart";        ///< numbers: two rows; a column has one at most

/// Candidates {together}, {apart} for pairs among `rows`, which every column serves once at most.
QUARN_CPP_PUBLIC std::vector<Branching> branch_on_pairs(const Relaxation &relaxation,
                                                        const std::vector<Row> &rows,
                                                        size_t most = 10);
/// For Problem::allows: whether a decision on a pair lets a column be used; true for other kinds.
QUARN_CPP_PUBLIC bool pair_allows(const Decision &decision, const std::vector<Entry> &entries);

// Features of columns: arcs, assignments, original variables of value 0 or 1. The sum of the
// columns with a feature is to be whole; where it is at most 1, a feature is used or not.

constexpr const char *kWith = "with";        ///< numbers: a feature that has to be used
constexpr const char *kWithout = "without";  ///< numbers: a feature that must not be used

/// A feature of a column and how often it has it.
using Feature = std::pair<std::vector<int64_t>, double>;
using Features = std::function<std::vector<Feature>(const Column &)>;

/// Candidates on features whose sum x is fractional: at least the next whole number above x with
/// `kWith` and a row, at most the one below with `kWithout` and, unless that is 0, a row; with 0
/// the columns that have the feature are forbidden. The problem takes coefficients from its
/// features.
QUARN_CPP_PUBLIC std::vector<Branching> branch_on_features(const Relaxation &relaxation,
                                                           const Features &features,
                                                           size_t most = 10);

// The number of columns.

constexpr const char *kNumber = "number";  ///< no numbers; its row counts every column once

/// The candidate that makes the number of columns in use whole; none when it is.
QUARN_CPP_PUBLIC std::vector<Branching> branch_on_number(const Relaxation &relaxation);

}  // namespace branch_and_price
}  // namespace quarn

#endif
