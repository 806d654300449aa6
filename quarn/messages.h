/**
 * Every text that a solve writes to standard output: one function per message.
 *
 * A function takes plain values, prints and flushes; the two that leave the text in the buffer say
 * so. Whether a message is wanted is the caller's decision. The formats are part of the interface:
 * callers read these lines.
 */
#ifndef QUARN_MESSAGES_H
#define QUARN_MESSAGES_H

#include <cstdint>
#include <cstdio>

namespace quarn {
namespace messages {

// The outer loop

/// How one of the two bounds came about: its value, and the candidate rmp_value + term.
struct BoundFigures {
  double bound;
  double rmp_value;
  double term;
  double candidate;
};

/// What both reports of an outer iteration show behind the bounds.
struct RunFigures {
  double opt_tol;
  int32_t exp_BD;
  int32_t ncols;
  int32_t ncols_last;
  int32_t ncuts;
  int32_t last_reduce;
  double elapsed;
  double cputime;
};

/// No flush: the reports below end with one.
inline void bounds(const BoundFigures &lower, const BoundFigures &upper) {
  std::printf("> LB=%.7e (%.7e, %.7e, %.7e)\n", lower.bound, lower.rmp_value, lower.term,
              lower.candidate);
  std::printf("> UB=%.7e (%.7e, %.7e, %.7e)\n", upper.bound, upper.rmp_value, upper.term,
              upper.candidate);
}

/// The tail of both reports, with their flush.
inline void run_figures(const RunFigures &figures) {
  std::printf("> opt_tol=%.7lf\n> exp_BD=%d\n> ncols=%d\n> ncols_last=%d\n> ncuts=%d\n",
              figures.opt_tol, figures.exp_BD, figures.ncols, figures.ncols_last, figures.ncuts);
  std::printf("> last_reduce=%d\n> CPU time: %lf (%lf))\n", figures.last_reduce, figures.elapsed,
              figures.cputime);
  std::fflush(stdout);
}

/// The iteration report; `iteration` counts within the call, `outer_iterations` over all calls.
inline void outer_iteration(int32_t outer_iterations, int32_t iteration, const BoundFigures &lower,
                            const BoundFigures &upper, double rel_gap, double delta,
                            const RunFigures &figures) {
  std::printf("\n[OUTER: %d (%d)]\n", outer_iterations, iteration);
  bounds(lower, upper);
  std::printf("> rel_gap=%.7lf (delta=%.7lf)\n", rel_gap, delta);
  run_figures(figures);
}

inline void after_oracle(const BoundFigures &lower, const BoundFigures &upper, double rel_gap,
                         const RunFigures &figures) {
  std::printf("\n[AFTER CALLING THE ORACLE]\n");
  bounds(lower, upper);
  std::printf("> rel_gap=%.7lf\n", rel_gap);
  run_figures(figures);
}

/// The heading of the listing of the restricted master.
inline void rmp_listing_begins() {
  std::printf("\nRMP before calling the oracle:\n");
  std::fflush(stdout);
}

inline void rmp_listing_ends() {
  std::printf("\n");
  std::fflush(stdout);
}

inline void warm_start() {
  std::printf("\nStarting with a warm dual solution!\n");
  std::fflush(stdout);
}

inline void warm_lower_bound_conflict(double lower_bound, double objective_UB) {
  std::printf(
      "\n -- The current lower bound (%1.10E) is greater than the upper bound imposed by the user "
      "(%1.10E) -- \n",
      lower_bound, objective_UB);
  std::fflush(stdout);
}

inline void upper_bound_conflict(double upper_bound, double objective_LB) {
  std::printf(
      "\n -- The current UPPer bound (%1.10E) is less than the lower bound imposed by the user "
      "(%1.10E) -- \n",
      upper_bound, objective_LB);
  std::fflush(stdout);
}

inline void lower_bound_conflict(double lower_bound, double objective_UB) {
  std::printf(
      "\n -- The current (actual) LOWer bound (%1.10E) is greater than the upper bound imposed by "
      "the user (%1.10E) -- \n",
      lower_bound, objective_UB);
  std::fflush(stdout);
}

// Bounds and column elimination

inline void bounds_reset(double upper_before, double upper_now, double lower_before,
                         double lower_now) {
  std::printf("\n[RESET UB] %lf --> %lf ", upper_before, upper_now);
  std::printf("\n[RESET LB] %lf --> %lf ", lower_before, lower_now);
  std::fflush(stdout);
}

inline void matrix_not_reduced(int32_t marked) {
  std::printf("\n### The matrix was not reduced (t=%d) ###\n\n", marked);
  std::fflush(stdout);
}

inline void matrix_reduced(int32_t ncols_before, int32_t ncols_now) {
  std::printf("\n### The coefficient matrix was reduced from %d to %d columns ###\n\n",
              ncols_before, ncols_now);
  std::fflush(stdout);
}

// The master drivers

/// The heading of the summary; the four reports follow it.
inline void summary_begins() {
  std::printf("\nQUARN info:\n");
  std::fflush(stdout);
}

inline void summary_ends() {
  std::printf("\n");
  std::fflush(stdout);
}

/// A dual close to its box, seen in the weight of the box column: product and threshold as well.
inline void dual_at_its_bound(int32_t row, double dual, int32_t column, double value,
                              double product, double threshold) {
  std::printf(
      "\n -- QUARN has detected that the problem may be infeasible. -- \nThe dual variable "
      "u[%d]=%lf approaches one of its bounds (lambda[%d]=%lf). [%lf,%lf]\n",
      row, dual, column, value, product, threshold);
  std::fflush(stdout);
}

/// The shorter form of the integer driver.
inline void dual_at_its_bound(int32_t row, double dual, int32_t column, double value) {
  std::printf(
      "\n -- QUARN has detected that the problem may be infeasible. -- \nThe dual variable "
      "u[%d]=%lf approaches one of its bounds (lambda[%d]=%lf).\n",
      row, dual, column, value);
  std::fflush(stdout);
}

inline void iteration_limit() {
  std::printf("\n -- Maximum number of outer iterations exceeded -- \n");
  std::fflush(stdout);
}

// The restricted master

/// Left in the buffer: a line of the run's text, flushed with the next report.
inline void difficult_start(int32_t outer_iterations, int32_t difficult_iterations) {
  std::printf("\n### outer = %d, difficult_iters reset to  %ld\n", outer_iterations,
              static_cast<long>(difficult_iterations));
}

/// No flush: the centrality line follows. Labels carry their punctuation: "STD:", "CWS II -".
inline void infeasibilities(const char *label, double primal, double bound, double dual) {
  std::printf("%s infeasibilities:  primal= %8.2e,  bounds= %8.2e,  dual= %8.2e\n", label, primal,
              bound, dual);
}

inline void centrality(const char *label, double asmall, double alarge) {
  std::printf("%s centrality:       asmall= %8.2e,  alarge= %8.2e\n", label, asmall, alarge);
  std::fflush(stdout);
}

/// With the tolerance under its name, "opt_tol" or "opt_tol_WS".
inline void centrality(const char *label, double asmall, double alarge, const char *name,
                       double tolerance) {
  std::printf("%s centrality:       asmall= %8.2e,  alarge= %8.2e (%s= %8.2e)\n", label, asmall,
              alarge, name, tolerance);
  std::fflush(stdout);
}

/// With the solver's exit indicator.
inline void centrality(const char *label, double asmall, double alarge, int32_t exit_indicator,
                       double tolerance) {
  std::printf("%s centrality:       asmall= %8.2e,  alarge= %8.2e   iexit= %ld (opt_tol= %8.2e)\n",
              label, asmall, alarge, static_cast<long>(exit_indicator), tolerance);
  std::fflush(stdout);
}

/// Left in the buffer; every caller but the standard strategy uses `tolerance_missed`.
inline void tolerance_missed_unflushed(const char *label, int32_t code) {
  std::printf(
      "## %s ERROR ON SOLVING THE RMP: Could not find a solution with opt_tol required "
      "(code=%d)\n",
      label, code);
}

inline void tolerance_missed(const char *label, int32_t code) {
  tolerance_missed_unflushed(label, code);
  std::fflush(stdout);
}

inline void no_centre_found(int32_t code) {
  std::printf("## I - ERROR ON SOLVING THE RMP: Could not find a mu-center (code=%d)\n", code);
  std::fflush(stdout);
}

// The rounding heuristic and its driver

inline void integer_driver_begins() {
  std::printf("Hello from IQUARN_solve_MP()\n");
  std::fflush(stdout);
}

inline void rounding_begins() {
  std::printf("Hello from IQUARN_residual_rounding()\n");
  std::fflush(stdout);
}

inline void rounding_memory_allocated() {
  std::printf("Memory allocated!\n");
  std::fflush(stdout);
}

inline void all_values_zero() {
  std::printf("\nAll the lambdas are zero!\n");
  std::fflush(stdout);
}

/// The columns fixed so far: `columns` and `fixed` hold `count` entries, and `values` the current
/// solution by column.
inline void fixed_columns(double cost, int32_t count, const int32_t *columns, const double *fixed,
                          const double *values) {
  std::printf("\nIP_obj_value: %lf ", cost);
  for (int32_t k = 0; k < count; ++k) {
    std::printf("\nIP_lambda[%d] = %lf (%lf)", columns[k], fixed[k], values[columns[k]]);
  }
  std::fflush(stdout);
}

inline void integer_solution_stored(double cost, int32_t seed, int32_t n_seeds) {
  std::printf(
      "\nNEW INTEGER SOLUTION STORED ON THE ENVIRONMENT. P->IP_obj_value: %lf, seed: %d, "
      "n_seeds: %d ",
      cost, seed, n_seeds);
  std::fflush(stdout);
}

inline void residual_solve_begins() {
  std::printf("Going to IQUARN_solve_RMP();");
  std::fflush(stdout);
}

inline void residual_solution_is_read() {
  std::printf("Going to QUARN_get_pointer_to_master_solution();");
  std::fflush(stdout);
}

inline void residual_problem_infeasible() {
  std::printf("\n -- QUARN has detected that the problem is infeasible -- \n");
  std::fflush(stdout);
}

/// A pass changed no open row, although it looked only at columns that could.
inline void rounding_stands_still() {
  std::printf("\n -- The rounding ends: no column that fits changes an open row -- \n");
  std::fflush(stdout);
}

inline void rounding_time_limit() {
  std::printf("\n -- The rounding ends at the time limit -- \n");
  std::fflush(stdout);
}

inline void rounding_ends(double gap, double integer_value, double lower_bound) {
  std::printf("\n%lf %lf %lf \n", gap, integer_value, lower_bound);
  std::fflush(stdout);
}

}  // namespace messages
}  // namespace quarn

#endif
