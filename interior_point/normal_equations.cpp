#include "interior_point/normal_equations.h"

#include <algorithm>

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

bool looks_sparse(const SparseColumns &A) {
  if (A.rows < kSmall) return false;
  double squares = 0.0;
  for (int32_t j = 0; j < A.columns(); ++j) {
    const double length = A.length(j);
    if (length > 1) squares += length * length;
  }
  return squares < kClearlyDense * static_cast<double>(A.rows) * A.rows;
}
}  // namespace

std::unique_ptr<Factorisation> make_factorisation(const SparseColumns &A) {
  const std::vector<uint8_t> none(static_cast<size_t>(A.rows), 0);
  const std::vector<uint8_t> independent = independent_rows(A);
  const double plain = block_factorisation_work(A, none);
  const double split = block_factorisation_work(A, independent);
  if (looks_sparse(A)) {
    const double limit = std::min(plain, split) / kSparseHandicap;
    std::unique_ptr<Factorisation> sparse = make_sparse_factorisation(A, limit);
    if (sparse) return sparse;
  }
  return make_block_factorisation(A, split < kWorthEliminating * plain ? independent : none);
}

}  // namespace interior_point
