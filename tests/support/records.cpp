#include "tests/support/records.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "interior_point/interior_point.h"
#include "quarn/internal.h"
#include "tests/support/allocation.h"
#include "tests/support/captured_output.h"

namespace support {
namespace {

void flatten(const Columns &lines, std::vector<double> *elt, std::vector<int32_t> *index,
             std::vector<int32_t> *start) {
  start->assign(1, 1);
  for (const Column &line : lines) {
    for (const Entry &entry : line) {
      index->push_back(entry.first);
      elt->push_back(entry.second);
    }
    start->push_back(static_cast<int32_t>(elt->size()) + 1);
  }
}

std::string number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.17g", value);
  return text;
}

template <typename T>
std::string array(const T *values, int32_t count) {
  if (values == nullptr) return "none";
  std::string text;
  for (int32_t k = 0; k < count; ++k) text += (k > 0 ? " " : "") + number(double(values[k]));
  return text;
}

template <typename T>
void expect_length(const char *name, const T *block, int32_t entries, std::string *broken) {
  if (block_size(block) < sizeof(T) * static_cast<size_t>(entries)) {
    *broken += std::string(name) + " is shorter than " + std::to_string(entries) + "\n";
  }
}

}  // namespace

Batch::Batch(int32_t m, const Columns &columns) {
  flatten(columns, &elt_, &rw_, &col_start_);
  const auto n = static_cast<int32_t>(columns.size());
  const auto nz = static_cast<int32_t>(elt_.size());
  record_ = {m, n, nz, m, n, nz, elt_.data(), rw_.data(), col_start_.data(), nullptr, nullptr};
}

RowBatch::RowBatch(int32_t n, const Columns &rows) {
  flatten(rows, &elt_, &cl_, &row_start_);
  const auto m = static_cast<int32_t>(rows.size());
  const auto nz = static_cast<int32_t>(elt_.size());
  record_ = {m, n, nz, m, n, nz, elt_.data(), row_start_.data(), cl_.data(), nullptr, nullptr};
}

Columns columns_of(const QUARN_SMatrix_CW &A) {
  Columns columns(static_cast<size_t>(A.n));
  for (int32_t j = 0; j < A.n; ++j) {
    for (int32_t t = A.col_start[j] - 1; t < A.col_start[j + 1] - 1; ++t) {
      columns[static_cast<size_t>(j)].emplace_back(A.rw[t], A.elt[t]);
    }
  }
  return columns;
}

QUARN_env *set_up(const ProblemData &setup) {
  const auto rows = static_cast<size_t>(setup.m + setup.p + 1);
  const auto given = [](const std::vector<double> &values) {
    return values.empty() ? nullptr : values.data();
  };
  const std::vector<double> rhs = setup.rhs.empty() ? std::vector<double>(rows, 1.0) : setup.rhs;
  const std::vector<int16_t> types =
      setup.row_types.empty() ? std::vector<int16_t>(rows, 1) : setup.row_types;
  return QUARN_set_data(setup.m, setup.p, setup.nrows, setup.option, setup.max_outer_iterations,
                        given(setup.warm_duals), rhs.data(), types.data(), given(setup.dual_lower),
                        given(setup.dual_upper), setup.user_data);
}

Environment::~Environment() {
  if (env_ == nullptr) return;
  QUARN_free(env_);
  std::free(env_);
}

Environment Environment::zero_filled() {
  return Environment(static_cast<QUARN_env *>(std::calloc(1, sizeof(QUARN_env))));
}

void add_columns(QUARN_env *env, const Columns &columns, const int32_t *tags) {
  const int32_t accepted = QUARN_add_columns(env, Batch(env->G->m, columns).get(), tags);
  ASSERT_EQ(accepted, static_cast<int32_t>(columns.size()));
}

int32_t remove_rows(QUARN_env *env, const std::vector<int32_t> &keep, int32_t new_m,
                    int32_t new_p) {
  int32_t result = 0;
  const std::string text = flushed_output([&] {
    result = QUARN_remove_rows(env, keep.data(), static_cast<int32_t>(keep.size()), new_m, new_p);
  });
  EXPECT_EQ(text, "\nHello from QUARN_remove_rows()");
  return result;
}

void solve_once(QUARN_env *env) {
  const QUARN_env before = *env;
  if (env->u == nullptr) env->u = quarn::allocate<double>(env->G->m);
  env->WS_strategy = -2;
  double dual_value, primal_value;
  flushed_output([&] {
    QUARN_solve_RMP(env, env->G, env->RHS, env->row_range, env->row_type, env->col_lb, env->col_ub,
                    &dual_value, &primal_value);
  });
  env->WS_strategy = before.WS_strategy;
  env->WS_point_saved = before.WS_point_saved;
  env->opt_tol = before.opt_tol;
  env->inner_iterations = before.inner_iterations;
}

int16_t call_oracle(double *ub_term, double *lb_term, QUARN_env *env, void *user_data) {
  return (*static_cast<Oracle *>(user_data))(ub_term, lb_term, env);
}

std::string dump(const QUARN_env &env) {
  const QUARN_SMatrix_CW &G = *env.G;
  const int32_t rows = G.m, n = G.n, generated = n - env.ncols_aux;
  std::ostringstream out;
  const auto line = [&](const char *name, const std::string &text) {
    out << name << " = " << text << "\n";
  };
#define VALUE(field) line(#field, number(double(env.field)))
#define ARRAY(field, count) line(#field, array(env.field, count))
  line("user_data", env.user_data == nullptr ? "none" : "set");
  line("Pb", env.Pb == nullptr ? "none" : "loaded");
  line("Pb_save", env.Pb_save->holds_point != 0 ? "point" : "empty");
  VALUE(m), VALUE(p), VALUE(ncuts), VALUE(nrows);
  VALUE(ncols_total), VALUE(ncols_box), VALUE(ncols_aux), VALUE(ncols_aux_prev), VALUE(ncols_last);
  line("G", array(&G.m, 6));
  line("G.col_start", array(G.col_start, n + 1));
  line("G.rw", array(G.rw, G.nz));
  line("G.elt", array(G.elt, G.nz));
  ARRAY(col_lb, n), ARRAY(col_ub, n), ARRAY(col_tag, generated);
  ARRAY(u, rows), ARRAY(RHS, rows), ARRAY(row_range, rows);
  ARRAY(row_type, rows), ARRAY(row_tag, rows);
  ARRAY(u_LB, env.m), ARRAY(u_UB, env.m), ARRAY(u_LB_user, env.m), ARRAY(u_UB_user, env.m);
  line("lambda", env.lambda == nullptr ? "none" : "filled");
  line("dual_slacks", env.dual_slacks == nullptr ? "none" : "filled");
  VALUE(lambda_LB), VALUE(lambda_UB), VALUE(objective_LB), VALUE(objective_UB);
  VALUE(delta), VALUE(opt_tol), VALUE(max_opt_tol), VALUE(degree_of_optimality);
  VALUE(upperBnd), VALUE(lowerBnd), VALUE(upperBnd_prev), VALUE(lowerBnd_actual);
  VALUE(IP_obj_value), VALUE(IP_ncols), VALUE(IP_size), VALUE(n_seeds);
  ARRAY(IP_lambda, env.IP_ncols), ARRAY(IP_cols, env.IP_ncols);
  VALUE(max_number_columns), VALUE(solver_option), VALUE(max_outer_iterations);
  VALUE(max_cputime), VALUE(reduce_fraction), VALUE(reduce_gap);
  VALUE(last_reduce), VALUE(reduce_mode), VALUE(WS_strategy), VALUE(WS_point_saved);
  VALUE(exp_BD), VALUE(change_bounds), VALUE(oracle_status), VALUE(reliable_answer);
  VALUE(centrality_value), VALUE(difficult_problem), VALUE(restart);
  VALUE(rel_gap), VALUE(rel_gap_prev), VALUE(abs_gap), VALUE(abs_gap_prev), VALUE(gap_ratio);
  VALUE(outer_iterations), VALUE(inner_iterations), VALUE(inner_iterations_ws);
  VALUE(cputime), VALUE(cputime_oracle), VALUE(cputime_RMP);
  VALUE(verbosity), VALUE(matrix_changed), VALUE(column_elimination), VALUE(BLAS_threads);
#undef VALUE
#undef ARRAY
  return out.str();
}

std::string changed_lines(const std::string &before, const std::string &after) {
  std::istringstream old_text(before), new_text(after);
  std::string old_line, new_line, changed;
  while (std::getline(new_text, new_line)) {
    std::getline(old_text, old_line);
    if (new_line != old_line) changed += (changed.empty() ? "" : "\n") + new_line;
  }
  return changed;
}

std::string broken_invariants(const QUARN_env &env) {
  const QUARN_SMatrix_CW &G = *env.G;
  std::string broken;
  const auto demand = [&](bool holds, const char *what) {
    if (!holds) broken += std::string(what) + "\n";
  };
  demand(G.m == env.m + env.p + 1, "G has m+p+1 rows");
  demand(env.ncols_aux <= G.n, "auxiliary columns are columns of G");
  demand(G.n <= G.max_n && G.nz <= G.max_nz && G.m <= G.max_m, "sizes fit the capacities");
  demand(G.col_start[0] == 1 && G.col_start[G.n] == G.nz + 1, "starts run from 1 to nz+1");
  for (int32_t j = 0; j < G.n; ++j) demand(G.col_start[j] <= G.col_start[j + 1], "starts rise");
  for (int32_t t = 0; t < G.nz; ++t) demand(G.rw[t] >= 1 && G.rw[t] <= G.m, "rows of G");
  expect_length("col_start", G.col_start, G.max_n + 1, &broken);
  expect_length("elt", G.elt, G.max_nz, &broken);
  expect_length("rw", G.rw, G.max_nz, &broken);
  if (env.u != nullptr) expect_length("u", env.u, G.max_m, &broken);
  for (const double *rows : {env.RHS, env.row_range}) {
    expect_length("RHS or row_range", rows, G.max_m, &broken);
  }
  expect_length("row_type", env.row_type, G.max_m, &broken);
  expect_length("row_tag", env.row_tag, G.max_m, &broken);
  expect_length("col_lb", env.col_lb, G.max_n, &broken);
  expect_length("col_ub", env.col_ub, G.max_n, &broken);
  expect_length("col_tag", env.col_tag, G.max_n, &broken);
  expect_length("acpdm_work", env.acpdm_work, G.max_n, &broken);
  for (const double *box : {env.u_LB, env.u_UB, env.u_LB_user, env.u_UB_user}) {
    expect_length("dual box", box, env.m, &broken);
  }
  return broken;
}

std::string to_text(const std::vector<double> &values) {
  return array(values.data(), static_cast<int32_t>(values.size()));
}

std::string without_times(const std::string &text) {
  std::string masked;
  bool in_times = false;
  for (size_t k = 0; k < text.size(); ++k) {
    if (text.compare(k, 9, "CPU time:") == 0) in_times = true;
    if (text[k] == '\n') in_times = false;
    const bool numeric = std::isdigit(static_cast<unsigned char>(text[k])) || text[k] == '.';
    if (!in_times || !numeric) {
      masked += text[k];
    } else if (masked.back() != '*') {
      masked += '*';
    }
  }
  return masked;
}

}  // namespace support
