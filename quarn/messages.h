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

#include "quarn/log.h"

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
inline void bounds(const Log &log, const BoundFigures &lower, const BoundFigures &upper) {
  log.print("> LB=%.7e (%.7e, %.7e, %.7e)\n", lower.bound, lower.rmp_value, lower.term,
            lower.candidate);
  log.print("> UB=%.7e (%.7e, %.7e, %.7e)\n", upper.bound, upper.rmp_value, upper.term,
            upper.candidate);
}

/// The tail of both reports, with their flush.
inline void run_figures(const Log &log, const RunFigures &figures) {
  log.print("> opt_tol=%.7lf\n> exp_BD=%d\n> ncols=%d\n> ncols_last=%d\n> ncuts=%d\n",
            figures.opt_tol, figures.exp_BD, figures.ncols, figures.ncols_last, figures.ncuts);
  log.print("> last_reduce=%d\n> CPU time: %lf (%lf))\n", figures.last_reduce, figures.elapsed,
            figures.cputime);
  log.flush();
}

/// The iteration report; `iteration` counts within the call, `outer_iterations` over all calls.
inline void outer_iteration(const Log &log, int32_t outer_iterations, int32_t iteration,
                            const BoundFigures &lower, const BoundFigures &upper, double rel_gap,
                            double delta, const RunFigures &figures) {
  log.print("\n[OUTER: %d (%d)]\n", outer_iterations, iteration);
  bounds(log, lower, upper);
  log.print("> rel_gap=%.7lf (delta=%.7lf)\n", rel_gap, delta);
  run_figures(log, figures);
}

inline void after_oracle(const Log &log, const BoundFigures &lower, const BoundFigures &upper,
                         double rel_gap, const RunFigures &figures) {
  log.print("\n[AFTER CALLING THE ORACLE]\n");
  bounds(log, lower, upper);
  log.print("> rel_gap=%.7lf\n", rel_gap);
  run_figures(log, figures);
}

/// The heading of the listing of the restricted master.
inline void rmp_listing_begins(const Log &log) {
  log.print("\nRMP before calling the oracle:\n");
  log.flush();
}

inline void rmp_listing_ends(const Log &log) {
  log.print("\n");
  log.flush();
}

inline void warm_start(const Log &log) {
  log.print("\nStarting with a warm dual solution!\n");
  log.flush();
}

inline void warm_lower_bound_conflict(const Log &log, double lower_bound, double objective_UB) {
  log.print(
      "\n -- The current lower bound (%1.10E) is greater than the upper bound imposed by the user "
      "(%1.10E) -- \n",
      lower_bound, objective_UB);
  log.flush();
}

inline void upper_bound_conflict(const Log &log, double upper_bound, double objective_LB) {
  log.print(
      "\n -- The current UPPer bound (%1.10E) is less than the lower bound imposed by the user "
      "(%1.10E) -- \n",
      upper_bound, objective_LB);
  log.flush();
}

inline void lower_bound_conflict(const Log &log, double lower_bound, double objective_UB) {
  log.print(
      "\n -- The current (actual) LOWer bound (%1.10E) is greater than the upper bound imposed by "
      "the user (%1.10E) -- \n",
      lower_bound, objective_UB);
  log.flush();
}

// Bounds and column elimination

inline void bounds_reset(const Log &log, double upper_before, double upper_now, double lower_before,
                         double lower_now) {
  log.print("\n[RESET UB] %lf --> %lf ", upper_before, upper_now);
  log.print("\n[RESET LB] %lf --> %lf ", lower_before, lower_now);
  log.flush();
}

inline void matrix_not_reduced(const Log &log, int32_t marked) {
  log.print("\n### The matrix was not reduced (t=%d) ###\n\n", marked);
  log.flush();
}

inline void matrix_reduced(const Log &log, int32_t ncols_before, int32_t ncols_now) {
  log.print("\n### The coefficient matrix was reduced from %d to %d columns ###\n\n", ncols_before,
            ncols_now);
  log.flush();
}

// The master drivers

/// The heading of the summary; the four reports follow it.
inline void summary_begins(const Log &log) {
  log.print("\nQUARN info:\n");
  log.flush();
}

inline void summary_ends(const Log &log) {
  log.print("\n");
  log.flush();
}

/// A dual close to its box, seen in the weight of the box column: product and threshold as well.
inline void dual_at_its_bound(const Log &log, int32_t row, double dual, int32_t column,
                              double value, double product, double threshold) {
  log.print(
      "\n -- QUARN has detected that the problem may be infeasible. -- \nThe dual variable "
      "u[%d]=%lf approaches one of its bounds (lambda[%d]=%lf). [%lf,%lf]\n",
      row, dual, column, value, product, threshold);
  log.flush();
}

/// The shorter form of the integer driver.
inline void dual_at_its_bound(const Log &log, int32_t row, double dual, int32_t column,
                              double value) {
  log.print(
      "\n -- QUARN has detected that the problem may be infeasible. -- \nThe dual variable "
      "u[%d]=%lf approaches one of its bounds (lambda[%d]=%lf).\n",
      row, dual, column, value);
  log.flush();
}

inline void iteration_limit(const Log &log) {
  log.print("\n -- Maximum number of outer iterations exceeded -- \n");
  log.flush();
}

// The restricted master

/// Left in the buffer: a line of the run's text, flushed with the next report.
inline void difficult_start(const Log &log, int32_t outer_iterations,
                            int32_t difficult_iterations) {
  log.print("\n### outer = %d, difficult_iters reset to  %ld\n", outer_iterations,
            static_cast<long>(difficult_iterations));
}

/// No flush: the centrality line follows. Labels carry their punctuation: "STD:", "CWS II -".
inline void infeasibilities(const Log &log, const char *label, double primal, double bound,
                            double dual) {
  log.print("%s infeasibilities:  primal= %8.2e,  bounds= %8.2e,  dual= %8.2e\n", label, primal,
            bound, dual);
}

inline void centrality(const Log &log, const char *label, double asmall, double alarge) {
  log.print("%s centrality:       asmall= %8.2e,  alarge= %8.2e\n", label, asmall, alarge);
  log.flush();
}

/// With the tolerance under its name, "opt_tol" or "opt_tol_WS".
inline void centrality(const Log &log, const char *label, double asmall, double alarge,
                       const char *name, double tolerance) {
  log.print("%s centrality:       asmall= %8.2e,  alarge= %8.2e (%s= %8.2e)\n", label, asmall,
            alarge, name, tolerance);
  log.flush();
}

/// With the solver's exit indicator.
inline void centrality(const Log &log, const char *label, double asmall, double alarge,
                       int32_t exit_indicator, double tolerance) {
  log.print("%s centrality:       asmall= %8.2e,  alarge= %8.2e   iexit= %ld (opt_tol= %8.2e)\n",
            label, asmall, alarge, static_cast<long>(exit_indicator), tolerance);
  log.flush();
}

/// Left in the buffer; every caller but the standard strategy uses `tolerance_missed`.
inline void tolerance_missed_unflushed(const Log &log, const char *label, int32_t code) {
  log.print(
      "## %s ERROR ON SOLVING THE RMP: Could not find a solution with opt_tol required "
      "(code=%d)\n",
      label, code);
}

inline void tolerance_missed(const Log &log, const char *label, int32_t code) {
  tolerance_missed_unflushed(log, label, code);
  log.flush();
}

inline void no_centre_found(const Log &log, int32_t code) {
  log.print("## I - ERROR ON SOLVING THE RMP: Could not find a mu-center (code=%d)\n", code);
  log.flush();
}

// The rounding heuristic and its driver

inline void integer_driver_begins(const Log &log) {
  log.print("Hello from IQUARN_solve_MP()\n");
  log.flush();
}

inline void rounding_begins(const Log &log) {
  log.print("Hello from IQUARN_residual_rounding()\n");
  log.flush();
}

inline void rounding_memory_allocated(const Log &log) {
  log.print("Memory allocated!\n");
  log.flush();
}

inline void all_values_zero(const Log &log) {
  log.print("\nAll the lambdas are zero!\n");
  log.flush();
}

/// The columns fixed so far: `columns` and `fixed` hold `count` entries, and `values` the current
/// solution by column.
inline void fixed_columns(const Log &log, double cost, int32_t count, const int32_t *columns,
                          const double *fixed, const double *values) {
  log.print("\nIP_obj_value: %lf ", cost);
  for (int32_t k = 0; k < count; ++k) {
    log.print("\nIP_lambda[%d] = %lf (%lf)", columns[k], fixed[k], values[columns[k]]);
  }
  log.flush();
}

inline void integer_solution_stored(const Log &log, double cost, int32_t seed, int32_t n_seeds) {
  log.print(
      "\nNEW INTEGER SOLUTION STORED ON THE ENVIRONMENT. P->IP_obj_value: %lf, seed: %d, "
      "n_seeds: %d ",
      cost, seed, n_seeds);
  log.flush();
}

inline void residual_solve_begins(const Log &log) {
  log.print("Going to IQUARN_solve_RMP();");
  log.flush();
}

inline void residual_solution_is_read(const Log &log) {
  log.print("Going to QUARN_get_pointer_to_master_solution();");
  log.flush();
}

inline void residual_problem_infeasible(const Log &log) {
  log.print("\n -- QUARN has detected that the problem is infeasible -- \n");
  log.flush();
}

/// A pass changed no open row, although it looked only at columns that could.
inline void rounding_stands_still(const Log &log) {
  log.print("\n -- The rounding ends: no column that fits changes an open row -- \n");
  log.flush();
}

inline void rounding_time_limit(const Log &log) {
  log.print("\n -- The rounding ends at the time limit -- \n");
  log.flush();
}

inline void rounding_ends(const Log &log, double gap, double integer_value, double lower_bound) {
  log.print("\n%lf %lf %lf \n", gap, integer_value, lower_bound);
  log.flush();
}

}  // namespace messages
}  // namespace quarn

#endif
