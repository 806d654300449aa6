// The elimination of columns: generated columns with the largest dual slacks leave the restricted
// master once it has grown too large. They are ranked all together while there are few further
// rows, otherwise within each further row, so that every block of a decomposition keeps columns.

#include "quarn/column_elimination.h"

#include <algorithm>
#include <cmath>

#include "quarn/internal.h"
#include "quarn/messages.h"
#include "quarn/ranking_queue.h"

namespace quarn {

constexpr int32_t kMaxRowsForGlobalRank = 2;  // beyond, every further row keeps columns of its own
constexpr int32_t kFewestRemovals = 10;       // a reload of the problem must be worth it
constexpr int32_t kMostRemovalsPerRow = 5;
constexpr int32_t kFewestColumnsPerRow = 3;

int32_t removal_limit(int32_t ncols, double keep) {
  const double removals = ncols - std::ceil(ncols * keep);
  if (!(removals > 0.0)) return 0;
  return removals < ncols ? static_cast<int32_t>(removals) : ncols;
}

int32_t row_removal_limit(int32_t candidates) {
  return std::clamp(candidates - kFewestColumnsPerRow, 0, kMostRemovalsPerRow);
}

/// The generated columns that column elimination may remove, with their dual slacks.
struct Candidates {
  const double *slack;  ///< of every generated column
  int32_t ncols;        ///< generated columns
  int32_t first, last;  ///< candidates are first .. last-1
};

/// The candidates of each further row: those of row k are column[start[k]] and the count[k]-1
/// behind it.
struct RowCandidates {
  int32_t rows;
  Scratch<int32_t> start;
  Scratch<int32_t> count;
  Scratch<int32_t> column;

  RowCandidates(const QUARN_env &env, const Candidates &candidates);
  explicit operator bool() const { return start && count && column; }
};

/// Further row, from 0, of a row index that counts from 1; anything else is outside 0 .. rows-1.
static int32_t further_row(const QUARN_env &env, int32_t row) { return row - env.m - 1; }

static int32_t further_rows(const QUARN_env &env) { return std::max(env.G->m - 1 - env.m, 0); }

/// Entries of the candidates, as room for all their entries in further rows.
static int64_t candidate_entries(const QUARN_env &env, const Candidates &candidates) {
  if (candidates.first >= candidates.last) return 0;
  const int32_t *start = env.G->col_start + env.ncols_aux;
  return start[candidates.last] - start[candidates.first];
}

RowCandidates::RowCandidates(const QUARN_env &env, const Candidates &candidates)
    : rows(further_rows(env)),
      start(static_cast<int64_t>(rows) + 1),
      count(rows),
      column(candidate_entries(env, candidates)) {
  if (!*this) return;
  for (int32_t g = candidates.first; g < candidates.last; ++g) {
    const ColumnView col = quarn::column(*env.G, env.ncols_aux + g);
    for (int32_t t = 0; t < col.length; ++t) {
      const int32_t k = further_row(env, col.rw[t]);
      if (k >= 0 && k < rows) ++start[k + 1];
    }
  }
  for (int32_t k = 0; k < rows; ++k) start[k + 1] += start[k];
  for (int32_t g = candidates.first; g < candidates.last; ++g) {
    const ColumnView col = quarn::column(*env.G, env.ncols_aux + g);
    for (int32_t t = 0; t < col.length; ++t) {
      const int32_t k = further_row(env, col.rw[t]);
      if (k < 0 || k >= rows) continue;
      // A column may name a row more than once.
      int32_t *row = &column[start[k]];
      if (count[k] == 0 || row[count[k] - 1] != g) row[count[k]++] = g;
    }
  }
}

constexpr int32_t kNotRanked = -1;

/// Takes up to `most` columns from the queue, largest slack first, and clears their flags.
static int32_t mark_largest(RankingQueue *queue, int32_t most, int8_t *keep) {
  int32_t marked = 0;
  int32_t column = 0;
  while (marked < most && queue->take(&column)) {
    keep[column] = 0;
    ++marked;
  }
  return marked;
}

/// Ranks all candidates together; returns how many were marked.
static int32_t mark_globally(const QUARN_env &env, const Candidates &candidates,
                             RankingQueue *queue, int8_t *keep) {
  for (int32_t g = candidates.first; g < candidates.last; ++g) {
    queue->insert(-candidates.slack[g], g);
  }
  if (queue->empty()) return kNotRanked;
  return mark_largest(queue, removal_limit(candidates.ncols, env.reduce_fraction), keep);
}

/// Ranks the candidates of each further row; a column marked in two rows counts twice.
static int32_t mark_by_row(const QUARN_env &env, const Candidates &candidates, RankingQueue *queue,
                           int8_t *keep) {
  const RowCandidates lists(env, candidates);
  if (!lists) return kNotRanked;
  int32_t marked = 0;
  for (int32_t k = 0; k < lists.rows; ++k) {
    queue->clear();
    for (int32_t t = 0; t < lists.count[k]; ++t) {
      const int32_t g = lists.column[lists.start[k] + t];
      queue->insert(-candidates.slack[g], g);
    }
    marked += mark_largest(queue, row_removal_limit(lists.count[k]), keep);
  }
  return marked;
}

/// Removes the columns whose flag is cleared, when there are enough of them.
static int32_t remove_marked(QUARN_env *env, int32_t ncols, const int8_t *keep, int32_t marked) {
  if (marked <= kFewestRemovals) {
    messages::matrix_not_reduced(Log(*env), marked);
    return 0;
  }
  Scratch<int32_t> kept(ncols);
  if (!kept) return 0;
  int32_t nkept = 0;
  for (int32_t g = 0; g < ncols; ++g) {
    if (keep[g] != 0) kept[nkept++] = g;
  }
  if (QUARN_remove_columns(env, kept.get(), nkept) != 1) return 0;
  messages::matrix_reduced(Log(*env), ncols, nkept);
  return 1;
}

}  // namespace quarn

int32_t QUARN_reduce_coefficient_matrix(QUARN_env *env, int32_t first, int32_t last) {
  quarn::Candidates candidates{nullptr, 0, std::max(first, 0), last};
  double *slack = nullptr;
  QUARN_get_pointer_to_dual_slacks(env, &slack, &candidates.ncols);
  if (slack == nullptr) return 0;
  candidates.slack = slack;
  candidates.last = std::min(last, candidates.ncols);

  quarn::RankingQueue queue(static_cast<int64_t>(candidates.ncols) + 1);
  if (!queue) return -1;
  quarn::Scratch<int8_t> keep(candidates.ncols);
  if (!keep) return 0;
  std::fill_n(keep.get(), candidates.ncols, static_cast<int8_t>(1));
  const int32_t marked = env->p <= quarn::kMaxRowsForGlobalRank
                             ? quarn::mark_globally(*env, candidates, &queue, keep.get())
                             : quarn::mark_by_row(*env, candidates, &queue, keep.get());
  if (marked == quarn::kNotRanked) return 0;
  return quarn::remove_marked(env, candidates.ncols, keep.get(), marked);
}
