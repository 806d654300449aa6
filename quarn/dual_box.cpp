// The box of the duals of the linking rows,
//
//   maximise b'u   subject to   A'u <= c,   u_LB <= u <= u_UB,
//
// carried in the restricted master by two columns for each linking row i: -e_i at the cost -u_LB[i]
// and +e_i at the cost u_UB[i]. The box is widened while its expansion is on, a bound U_i > 0 with
// limit H_i by
//
//   U_i <- min(f U_i, H_i),  f = f1, f2, f3  for  u_i above 0.8, 0.5, 0.3 times U_i,  else H_i  (9)
//
// and a lower bound by its mirror image; at a relative gap below 0.1 it is opened to its limits.
//
// Symbol    Code                                Meaning
// u         env->u                              duals of the restricted master, cost row last
// u_LB,..   env->u_LB, env->u_UB                box of the duals of the linking rows
// H         env->u_LB_user, env->u_UB_user      limits of the box

#include "quarn/dual_box.h"

#include <algorithm>
#include <cmath>

#include "quarn/bounds.h"
#include "quarn/complaints.h"
#include "quarn/internal.h"

namespace quarn {

constexpr double kOpenBoxGap = 0.1;  // below this gap a capped dual would cost more than it saves
constexpr int32_t kSettlingSolves = 3;  // the first duals say little about where the box should lie

// The columns of the box

int32_t box_column_row(const QUARN_SMatrix_CW &G, int32_t j, int32_t m) {
  if (j >= G.n) return -1;
  const ColumnView col = column(G, j);
  if (col.length != 2) return -1;
  return col.rw[0] >= 1 && col.rw[0] <= m ? col.rw[0] - 1 : -1;
}

int32_t box_column_above(const QUARN_env &env, double limit) {
  for (int32_t j = 0; j < env.ncols_box; ++j) {
    if (box_column_row(*env.G, j, env.m) >= 0 && std::fabs(env.lambda[j]) > limit) return j;
  }
  return -1;
}

/// The dual-box columns of a matrix, at most `count`: the lower bounds, then as many upper bounds.
/// A caller's matrix may be no more than its values; those lie as set-up makes them, two for each
/// column, row i in the columns i and m+i.
class BoxColumns {
 public:
  BoxColumns(const QUARN_SMatrix_CW &G, int32_t m, int32_t count)
      : G_(G),
        m_(m),
        described_(G.col_start != nullptr && G.rw != nullptr && G.n >= count &&
                   G.col_start[G.n] == G.nz + 1),
        half_(described_ ? count / 2 : std::min(m, count / 2)) {}

  /// Columns of either side.
  int32_t half() const { return half_; }

  /// Linking row, from 0, that column j bounds; -1 when it bounds none any more.
  int32_t row(int32_t j) const {
    if (described_) return box_column_row(G_, j, m_);
    return j < half_ ? j : j - half_;
  }

  /// The second of the two entries of column j.
  double *cost(int32_t j) const {
    return &G_.elt[described_ ? G_.col_start[j] : 2 * int64_t{j} + 1];
  }

 private:
  const QUARN_SMatrix_CW &G_;
  int32_t m_;
  bool described_;
  int32_t half_;
};

// The rules

WideningFactors widening_factors(int32_t ncols_last) {
  if (ncols_last > 99) return {1.1, 1.5, 2.0};
  return {1.01, 1.1, 1.5};
}

bool may_widen(double bound, double limit) { return bound > -kBoundTolerance && limit > bound; }

WidenedBound widened_bound(double bound, double limit, double dual,
                           const WideningFactors &factors) {
  double factor;
  if (dual > 0.8 * bound) {
    factor = factors.close;
  } else if (dual > 0.5 * bound) {
    factor = factors.inside;
  } else if (dual > 0.3 * bound) {
    factor = factors.far;
  } else {
    return {limit, true};
  }
  const double widened = bound * factor;
  if (widened > limit) return {limit, false};
  return {widened, true};
}

double boxed_lower(double limit, double wanted) {
  if (limit < wanted) return wanted;
  return limit < 0.0 ? limit : 0.0;
}

double boxed_upper(double limit, double wanted) {
  if (limit > wanted) return wanted;
  return limit > 0.0 ? limit : 0.0;
}

// The record

/// The bounds were proved for a narrower box: neither holds for the wider one.
static void forget_bounds(QUARN_env *env) {
  env->upperBnd = kInfinity;
  env->lowerBnd = -kInfinity;
}

/// Opens the upper side of the row that box column j bounds, when the matrix holds it short of its
/// limit: box and matrix differ after the box was narrowed.
static void open_upper_side(QUARN_env *env, const BoxColumns &box, int32_t j) {
  const int32_t i = box.row(j);
  if (i < 0 || !(env->u_UB_user[i] > *box.cost(j))) return;
  *box.cost(j) = env->u_UB[i] = env->u_UB_user[i];
  forget_bounds(env);
}

static void open_lower_side(QUARN_env *env, const BoxColumns &box, int32_t j) {
  const int32_t i = box.row(j);
  if (i < 0 || !(env->u_LB_user[i] < -*box.cost(j))) return;
  *box.cost(j) = -env->u_LB_user[i];
  env->u_LB[i] = env->u_LB_user[i];
  forget_bounds(env);
}

/// One step (9) for the upper side of the row that box column j bounds.
static void widen_upper_side(QUARN_env *env, const BoxColumns &box, int32_t j, const double *u) {
  const int32_t i = box.row(j);
  if (i < 0 || !may_widen(env->u_UB[i], env->u_UB_user[i])) return;
  const WidenedBound widened =
      widened_bound(env->u_UB[i], env->u_UB_user[i], u[i], widening_factors(env->ncols_last));
  *box.cost(j) = env->u_UB[i] = widened.bound;
  if (widened.unfinished) env->exp_BD = 0;
  env->upperBnd = kInfinity;
}

/// The mirror image of (9): negation is exact, so that the rule is the same with its signs turned.
static void widen_lower_side(QUARN_env *env, const BoxColumns &box, int32_t j, const double *u) {
  const int32_t i = box.row(j);
  if (i < 0 || !may_widen(-env->u_LB[i], -env->u_LB_user[i])) return;
  const WidenedBound widened =
      widened_bound(-env->u_LB[i], -env->u_LB_user[i], -u[i], widening_factors(env->ncols_last));
  env->u_LB[i] = -widened.bound;
  *box.cost(j) = widened.bound;
  if (widened.unfinished) env->exp_BD = 0;
  env->upperBnd = kInfinity;
}

}  // namespace quarn

void QUARN_expand_bounds(QUARN_env *env, QUARN_SMatrix_CW *G, int32_t m, const double *u) {
  const quarn::BoxColumns box(*G, m, env->ncols_box);
  if (env->rel_gap < quarn::kOpenBoxGap) {
    env->exp_BD = 1;
    for (int32_t j = 0; j < box.half(); ++j) {
      quarn::open_upper_side(env, box, box.half() + j);
      quarn::open_lower_side(env, box, j);
    }
  } else if (env->outer_iterations > quarn::kSettlingSolves && u != nullptr) {
    env->exp_BD = 1;
    for (int32_t j = 0; j < box.half(); ++j) {
      quarn::widen_upper_side(env, box, box.half() + j, u);
      quarn::widen_lower_side(env, box, j, u);
    }
  }
}

void QUARN_set_dual_box(QUARN_env *env, double lower, double upper) {
  if (std::isnan(lower) || std::isnan(upper)) {
    quarn::complaints::refused_number(quarn::Log(*env), __func__);
    return;
  }
  env->exp_BD = 0;
  for (int32_t i = 0; i < env->m; ++i) {
    env->u_LB[i] = quarn::boxed_lower(env->u_LB_user[i], lower);
    env->u_UB[i] = quarn::boxed_upper(env->u_UB_user[i], upper);
  }
}
