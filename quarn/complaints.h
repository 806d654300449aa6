/**
 * One sentence for each mistake of a caller: which column, which row, what is wrong. They go to a
 * sink that the caller has set, at every verbosity; the text on standard output has none of them.
 * What happens in the runs of a sound oracle too is no mistake and gets none: a column offered
 * again beside new ones, an answer without columns to loose duals, bounds that cross by a rounding
 * error, a residual problem of the rounding heuristic that has no solution.
 */
#ifndef QUARN_COMPLAINTS_H
#define QUARN_COMPLAINTS_H

#include <algorithm>
#include <cstdint>

#include "quarn/edit_checks.h"
#include "quarn/internal.h"
#include "quarn/log.h"

namespace quarn {
namespace complaints {

/// What a batch is of, and what its entries are in: "column" and "row", or the other way round.
struct Words {
  const char *function;
  const char *list;
  const char *index;
};

/// How column j of G is named to the caller: by its kind, and its number among those.
inline const char *kind_of(int32_t j, int32_t auxiliary) {
  return j < auxiliary ? "auxiliary" : "generated";
}
inline int32_t number_of(int32_t j, int32_t auxiliary) { return j < auxiliary ? j : j - auxiliary; }

/// List of a batch, from 0, that holds the entry.
inline int32_t list_of(const Lists &batch, int32_t entry) {
  const int32_t *end = batch.start + batch.count + 1;
  return static_cast<int32_t>(std::upper_bound(batch.start, end, entry + 1) - batch.start) - 1;
}

/// Why a batch is refused. Lists and indices count from 1, as in the records.
inline void batch(const Log &log, const Words &words, const Lists &batch, const Fault &fault,
                  int32_t max_index) {
  if (!log.is_callers()) return;
  const int32_t at = fault.position;
  switch (fault.flaw) {
    case Flaw::kFirstStart:
      log.print("%s: the starts are missing, or do not begin at 1\n", words.function);
      return;
    case Flaw::kFallingStart:
      log.print("%s: %s %d ends before it starts\n", words.function, words.list, at + 1);
      return;
    case Flaw::kLastStart:
      log.print("%s: the last start is %d, not the number of entries and 1 more\n", words.function,
                batch.start[batch.count]);
      return;
    case Flaw::kNoEntries:
      log.print("%s: the array of indices or of values is null\n", words.function);
      return;
    case Flaw::kIndex:
      log.print("%s: %s %d has an entry in %s %d, the last %s is %d\n", words.function, words.list,
                list_of(batch, at) + 1, words.index, batch.index[at], words.index, max_index);
      return;
    case Flaw::kValue:
      log.print("%s: the entry of %s %d in %s %d is %g\n", words.function, words.list,
                list_of(batch, at) + 1, words.index, batch.index[at], batch.elt[at]);
      return;
    default:
      return;
  }
}

/// Entry (i, j) of a dense array, from 0, that is not finite or below the last row.
inline void dense_entry(const Log &log, const char *function, int32_t i, int32_t j, double value,
                        int32_t rows) {
  if (!log.is_callers()) return;
  log.print("%s: the entry of column %d in row %d is %g, the last row is %d\n", function, j + 1,
            i + 1, value, rows);
}

/// A list of what is to be kept, from 0: one out of range or named twice.
inline void keep_list(const Log &log, const char *function, const char *what, const int32_t *keep,
                      int32_t position, int32_t count) {
  if (!log.is_callers()) return;
  if (position < 0 || keep == nullptr) {
    log.print("%s: the list cannot be one of %ss\n", function, what);
  } else if (keep[position] < 0 || keep[position] >= count) {
    log.print("%s: there is no %s %d, they are 0 to %d\n", function, what, keep[position],
              count - 1);
  } else {
    log.print("%s: %s %d is named twice\n", function, what, keep[position]);
  }
}

inline void row_layout(const Log &log, int32_t linking, int32_t further) {
  if (!log.is_callers()) return;
  log.print(
      "QUARN_remove_rows: the list is not of %d linking rows, %d further rows, the cost row\n",
      linking, further);
}

/// A number of new row i, from 0, that is none.
inline void row_number(const Log &log, const char *what, int32_t i) {
  if (!log.is_callers()) return;
  log.print("QUARN_add_rows: the %s of row %d is not a number\n", what, i + 1);
}

inline void refused_number(const Log &log, const char *function) {
  if (!log.is_callers()) return;
  log.print("%s: not a number, nothing is changed\n", function);
}

/// A batch all of whose columns the record has already: its first equals column `known` of G, from
/// 0, and `others` more are known too.
inline void known_columns(const Log &log, int32_t known, int32_t auxiliary, int32_t others) {
  if (!log.is_callers()) return;
  log.print("QUARN_add_columns: column 1 is there already, as %s column %d from 0, no dearer",
            kind_of(known, auxiliary), number_of(known, auxiliary));
  if (others > 0) log.print(", and %d more are", others);
  log.print("\n");
}

// Answers of the oracle

inline void oracle_gave_up(const Log &log, int32_t iteration, int32_t status) {
  if (!log.is_callers()) return;
  log.print("iteration %d: the oracle returned %d, which ends the run\n", iteration, status);
}

inline void term_is_no_number(const Log &log, int32_t iteration, const char *term) {
  if (!log.is_callers()) return;
  log.print("iteration %d: the oracle's %s is not a number\n", iteration, term);
}

/// Answers without a column, all with the same lb_term, that left the gap where it was.
inline void empty_answers(const Log &log, int32_t iteration, int32_t count, double lb_term,
                          double gap) {
  if (!log.is_callers()) return;
  log.print(
      "iteration %d: the last %d answers added no column and left lb_term at %g, the gap at %g\n",
      iteration, count, lb_term, gap);
}

/// The same of answers that offered what is there, such as column `known` of G, from 0.
inline void known_answers(const Log &log, int32_t iteration, int32_t count, int32_t known,
                          int32_t auxiliary, double gap) {
  if (!log.is_callers()) return;
  log.print(
      "iteration %d: the last %d answers brought only what is there, such as %s column %d from 0, "
      "and left the gap at %g\n",
      iteration, count, kind_of(known, auxiliary), number_of(known, auxiliary), gap);
}

/// A lower bound that an answer has proved, and a restricted master refutes.
inline void crossing_bounds(const Log &log, int32_t iteration, double lower, double upper) {
  if (!log.is_callers()) return;
  log.print("iteration %d: the lower bound %.8g contradicts the upper bound %.8g\n", iteration,
            lower, upper);
}

// Masters without a solution

/// A linking row whose dual stays at a limit; `missed` is what its box column makes up for.
inline void unmet_row(const Log &log, int32_t i, double missed) {
  if (!log.is_callers()) return;
  log.print("the row of u[%d] is missed by %g: no columns satisfy it, or its dual's limits cut\n",
            i, missed);
}

/// Multipliers of rows that contradict each other, after the solver's code 4.
inline void contradictory_rows(const Log &log, const double *multipliers, int32_t rows) {
  constexpr int32_t kMostNamed = 5;
  double largest = 0.0;
  for (int32_t i = 0; i < rows; ++i) largest = std::max(largest, std::fabs(multipliers[i]));
  log.print("no columns satisfy the rows of");
  int32_t named = 0;
  for (int32_t i = 0; i < rows && named <= kMostNamed; ++i) {
    // Smaller ones are what the solver's tolerance leaves.
    if (!(std::fabs(multipliers[i]) > 1e-6 * largest)) continue;
    if (named < kMostNamed) log.print("%s u[%d]", named > 0 ? "," : "", i);
    if (named == kMostNamed) log.print(" and others");
    ++named;
  }
  log.print("\n");
}

/// A ray of the restricted master, after the solver's code 5: its largest entry is the first to
/// look at.
inline void unbounded_column(const Log &log, const double *ray, int32_t count, int32_t auxiliary) {
  int32_t largest = 0;
  for (int32_t j = 1; j < count; ++j) {
    if (std::fabs(ray[j]) > std::fabs(ray[largest])) largest = j;
  }
  log.print("the restricted master is unbounded along %s column %d from 0\n",
            kind_of(largest, auxiliary), number_of(largest, auxiliary));
}

inline void unsolved(const Log &log, int32_t code) {
  log.print("a restricted master was not solved, the solver's code is %d\n", code);
}

}  // namespace complaints
}  // namespace quarn

#endif
