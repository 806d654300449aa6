#include "interior_point/normal_equations.h"

#include <algorithm>
#include <cmath>

#include "interior_point/block_factorisation.h"
#include "interior_point/sparse_factorisation.h"

namespace interior_point {

namespace {
// The independent set must save this share of the work to be worth its indirections.
constexpr double kWorthEliminating = 0.85;
// Below this many rows the dense kernel is fastest whatever the pattern.
constexpr int32_t kSmall = 60;
// Supernodal panels run at about half the speed of one dense matrix.
constexpr double kSparseHandicap = 2.0;
// Ordering and analysis cost about as much as a few factorisations. Where the columns alone fill
// this share of the square they would only confirm that M is dense.
constexpr double kClearlyDense = 0.25;

// Keeping columns as unknowns is looked at when they are fewer than this share of the rows...
constexpr double kFewKept = 0.9;
// ... and a factorisation without them does more than this much work per entry of A: below, the
// vectors of an iteration take as long.
constexpr double kHeavy = 60.0;
// Columns of at most this many entries are never kept.
constexpr int32_t kShortColumn = 3;
// Among many columns that are not short only the dense ones are kept: those this many times longer
// than sqrt(rows), and longer than the second value, while they are fewer than this share.
constexpr double kDenseColumn = 5.0;
constexpr double kLeastDenseLength = 50.0;
constexpr double kFewDense = 0.2;
// Panels of both signs run slower than others, and their orders have narrower ones.
constexpr double kSignedHandicap = 2.0;

double squares_of_lengths(const SparseColumns &A) {
  double squares = 0.0;
  for (int32_t j = 0; j < A.columns(); ++j) {
    const double length = A.length(j);
    if (length > 1) squares += length * length;
  }
  return squares;
}

/// The long columns without one for each row that has no other: a row whose diagonal in (14) is
/// nothing but the regularisation makes no pivot.
std::vector<int32_t> columns_to_keep(const SparseColumns &A, int32_t longest_short) {
  std::vector<uint8_t> has_diagonal(static_cast<size_t>(A.rows), 0);
  std::vector<int32_t> shortest(static_cast<size_t>(A.rows), -1);
  for (int32_t j = 0; j < A.columns(); ++j) {
    for (int32_t t = A.start[j]; t < A.start[j + 1]; ++t) {
      const int32_t i = A.row[t];
      if (A.length(j) <= longest_short) has_diagonal[i] = 1;
      if (shortest[i] < 0 || A.length(j) < A.length(shortest[i])) shortest[i] = j;
    }
  }
  std::vector<uint8_t> given_up(static_cast<size_t>(A.columns()), 0);
  for (int32_t i = 0; i < A.rows; ++i) {
    if (!has_diagonal[i] && shortest[i] >= 0) given_up[shortest[i]] = 1;
  }
  std::vector<int32_t> kept;
  for (int32_t j = 0; j < A.columns(); ++j) {
    if (A.length(j) > longest_short && !given_up[j]) kept.push_back(j);
  }
  return kept;
}

/// All columns but the short ones where that leaves few, otherwise those that are dense.
std::vector<int32_t> promising_columns(const SparseColumns &A) {
  std::vector<int32_t> kept = columns_to_keep(A, kShortColumn);
  if (static_cast<double>(kept.size()) < kFewKept * A.rows) return kept;
  const double dense =
      std::max(kDenseColumn * std::sqrt(static_cast<double>(A.rows)), kLeastDenseLength);
  kept = columns_to_keep(A, static_cast<int32_t>(dense));
  if (static_cast<double>(kept.size()) < kFewDense * A.rows) return kept;
  return {};
}
}  // namespace

std::unique_ptr<Factorisation> make_factorisation(const SparseColumns &A) {
  const std::vector<uint8_t> none(static_cast<size_t>(A.rows), 0);
  const std::vector<uint8_t> independent = independent_rows(A);
  const double plain = block_factorisation_work(A, none);
  const double split = block_factorisation_work(A, independent);
  double limit = std::min(plain, split) / kSparseHandicap;
  std::unique_ptr<Factorisation> best;
  if (A.rows >= kSmall) {
    const double squares = squares_of_lengths(A);
    if (squares < kClearlyDense * static_cast<double>(A.rows) * A.rows) {
      best = make_sparse_factorisation(A, {}, &limit);
    }
    if (limit > kHeavy * A.entries()) {
      const std::vector<int32_t> kept = promising_columns(A);
      limit /= kSignedHandicap;
      std::unique_ptr<Factorisation> other =
          kept.empty() ? nullptr : make_sparse_factorisation(A, kept, &limit);
      if (other) best = std::move(other);
    }
  }
  if (best) return best;
  return make_block_factorisation(A, split < kWorthEliminating * plain ? independent : none);
}

}  // namespace interior_point
