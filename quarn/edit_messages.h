/**
 * The text that the matrix edits and the listing write: functions of plain values. Only flush()
 * flushes, since an edit's report is written in several pieces; each edit ends its report with it.
 * The formats are part of the interface.
 */
#ifndef QUARN_EDIT_MESSAGES_H
#define QUARN_EDIT_MESSAGES_H

#include <cstdint>

#include "quarn/internal.h"
#include "quarn/log.h"

namespace quarn {
namespace edit_messages {

inline void flush(const Log &log) { log.flush(); }

inline void newline(const Log &log) { log.print("\n"); }

// Columns and rows as they are received

inline void columns_received(const Log &log, const char *function, int32_t count) {
  log.print("\n%s: received %d new column(s).\n", function, count);
}

inline void rows_received(const Log &log, int32_t count) {
  log.print("\nQUARN_add_rows: received %d new row(s).\n", count);
}

inline void column_head(const Log &log, int32_t number, int32_t length) {
  log.print("Column %d has %ld nonzero entries (rw,elt): \n", number, static_cast<long>(length));
}

inline void auxiliary_column_head(const Log &log, int32_t number, int32_t length) {
  log.print("Column %d has %ld nonzero entries: \n", number, static_cast<long>(length));
}

inline void row_head(const Log &log, int32_t number, int32_t length) {
  log.print("Row %d has %ld nonzero entries: \n", number, static_cast<long>(length));
}

inline void entries(const Log &log, const int32_t *index, const double *elt, int32_t length) {
  for (int32_t t = 0; t < length; ++t) {
    log.print("(%ld, %.4f), ", static_cast<long>(index[t]), elt[t]);
  }
  newline(log);
}

/// Prints the heading of one column or row.
using HeadMessage = void (*)(const Log &log, int32_t number, int32_t length);

/// Every list of a batch under its heading, and an empty line.
inline void lists(const Log &log, const Lists &batch, HeadMessage head) {
  for (int32_t t = 0; t < batch.count; ++t) {
    const int32_t first = batch.start[t] - 1;
    const int32_t length = batch.start[t + 1] - batch.start[t];
    head(log, t + 1, length);
    entries(log, batch.index + first, batch.elt + first, length);
  }
  newline(log);
}

// Sizes before an edit

inline void new_columns_size(const Log &log, int32_t m, int32_t n, int32_t nz) {
  log.print("QUARN_add_auxiliary_columns: G_new->m = %d, G_new->n = %d, G_new->nz = %d\n", m, n,
            nz);
}

inline void new_rows_size(const Log &log, int32_t m, int32_t n, int32_t nz) {
  log.print("QUARN_add_rows: R_new->m = %d, R_new->n = %d, R_new->nz = %d\n", m, n, nz);
}

inline void matrix_size(const Log &log, const char *function, int32_t dim,
                        const QUARN_SMatrix_CW &G) {
  log.print("%s: dim = %d, G->m = %d, G->n = %d, G->nz = %d\n", function, dim, G.m, G.n, G.nz);
  log.print("%s: G->max_m = %d, G->max_n = %d, G->max_nz = %d \n", function, G.max_m, G.max_n,
            G.max_nz);
}

// Growth and removal: these flush at once

inline void column_growth(const Log &log, int32_t from, int32_t to) {
  log.print("QUARN_reset_Matrix: G->max_n %d to %d \n", from, to);
  flush(log);
}

inline void entry_growth(const Log &log, int32_t from, int32_t to) {
  log.print("QUARN_reset_Matrix: G->max_nz %d to %d \n", from, to);
  flush(log);
}

inline void row_removal(const Log &log) {
  log.print("\nHello from QUARN_remove_rows()");
  flush(log);
}

// The listing: a column as an inequality of the dual problem

inline void inequality_number(const Log &log, int32_t j) { log.print("%d: ", j); }

inline void term(const Log &log, bool plus, double value, char letter, int32_t index) {
  log.print(plus ? " + " : "   ");
  if (value == 1.0) {
    log.print("%c_%ld", letter, static_cast<long>(index));
  } else {
    log.print("%g*%c_%ld", value, letter, static_cast<long>(index));
  }
}

inline void right_hand_side(const Log &log, double cost) { log.print(" <=  %g\n", cost); }

inline void no_right_hand_side(const Log &log) { log.print(" <=  0\n"); }

}  // namespace edit_messages
}  // namespace quarn

#endif
