/**
 * How many columns the elimination may take from the restricted master, as functions of plain
 * numbers.
 */
#ifndef QUARN_COLUMN_ELIMINATION_H
#define QUARN_COLUMN_ELIMINATION_H

#include <cstdint>

namespace quarn {

/// How many of `ncols` generated columns may go when the fraction `keep` has to stay.
int32_t removal_limit(int32_t ncols, double keep);

/// How many of the candidates of one further row may go: five at most, three have to stay.
int32_t row_removal_limit(int32_t candidates);

}  // namespace quarn

#endif
