/**
 * The arrays of a record while its columns or rows are chosen anew: prepared beside the old ones,
 * filled from them, and installed when nothing can fail any more.
 */
#ifndef QUARN_EDIT_ARRAYS_H
#define QUARN_EDIT_ARRAYS_H

#include <cstdint>
#include <cstdlib>

#include "quarn/internal.h"

namespace quarn {

constexpr double kNoRange = 1e30;
constexpr int32_t kNoRowTag = -1;

template <typename T>
void replace(T **array, Scratch<T> *prepared) {
  std::free(*array);
  *array = prepared->release();
}

/// The arrays by column of a record whose columns are chosen anew.
struct ColumnArrays {
  Scratch<int32_t> col_tag;
  Scratch<double> col_lb;
  Scratch<double> col_ub;

  explicit ColumnArrays(int32_t length) : col_tag(length), col_lb(length), col_ub(length) {}
  explicit operator bool() const { return col_tag && col_lb && col_ub; }

  void carry_bounds(const QUARN_env &env, int32_t from, int32_t to) {
    col_lb[to] = env.col_lb[from];
    col_ub[to] = env.col_ub[from];
  }
};

/// What the caller of QUARN_add_rows supplies.
struct NewRows {
  const QUARN_SMatrix_RW *R;
  const double *rhs;
  const int32_t *types;
  const double *dual_lower;
  const double *dual_upper;
  const int32_t *tags;
};

/// The arrays by row, and those by linking row, of a record whose rows are chosen anew.
struct RowArrays {
  Scratch<double> u, RHS, row_range;
  Scratch<int32_t> row_type, row_tag;
  Scratch<double> u_LB, u_UB, u_LB_user, u_UB_user;
  Scratch<int32_t> row_added;

  RowArrays(int32_t rows, int32_t linking)
      : u(rows),
        RHS(rows),
        row_range(rows),
        row_type(rows),
        row_tag(rows),
        u_LB(linking),
        u_UB(linking),
        u_LB_user(linking),
        u_UB_user(linking),
        row_added(linking) {}

  explicit operator bool() const {
    return u && RHS && row_range && row_type && row_tag && u_LB && u_UB && u_LB_user && u_UB_user &&
           row_added;
  }

  void carry_row(const QUARN_env &env, int32_t from, int32_t to) {
    if (env.u != nullptr) u[to] = env.u[from];
    if (env.row_tag != nullptr) row_tag[to] = env.row_tag[from];
    RHS[to] = env.RHS[from];
    row_range[to] = env.row_range[from];
    row_type[to] = env.row_type[from];
  }

  void carry_linking_row(const QUARN_env &env, int32_t from, int32_t to) {
    carry_row(env, from, to);
    u_LB[to] = env.u_LB[from];
    u_UB[to] = env.u_UB[from];
    u_LB_user[to] = env.u_LB_user[from];
    u_UB_user[to] = env.u_UB_user[from];
    if (env.row_added != nullptr) row_added[to] = env.row_added[from];
  }

  void set_new_row(const NewRows &rows, int32_t i, int32_t to) {
    RHS[to] = rows.rhs[i];
    row_type[to] = rows.types[i];
    row_range[to] = kNoRange;
    row_tag[to] = rows.tags != nullptr ? rows.tags[i] : kNoRowTag;
    u_LB[to] = u_LB_user[to] = rows.dual_lower[i];
    u_UB[to] = u_UB_user[to] = rows.dual_upper[i];
    row_added[to] = 1;
  }

  /// Everything but row_tag, which the two edits treat differently.
  void install(QUARN_env *env) {
    if (env->u != nullptr) replace(&env->u, &u);
    replace(&env->RHS, &RHS);
    replace(&env->row_range, &row_range);
    replace(&env->row_type, &row_type);
    replace(&env->u_LB, &u_LB);
    replace(&env->u_UB, &u_UB);
    replace(&env->u_LB_user, &u_LB_user);
    replace(&env->u_UB_user, &u_UB_user);
    replace(&env->row_added, &row_added);
  }
};

}  // namespace quarn

#endif
