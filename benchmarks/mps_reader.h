/**
 * Reads linear programs in fixed MPS format, plain or, where zlib was found when the build was
 * configured, compressed by gzip.
 *
 * Fields go by columns: 2-3, 5-12, 15-22, 25-36, 40-47, 50-61, so names may hold blanks. Sections
 * NAME, ROWS, COLUMNS, RHS, RANGES, BOUNDS and ENDATA; lines that begin with * are comments.
 *
 *   - The first N row is the objective, to be minimised; the others are left out.
 *   - A right-hand side b on the objective is the constant -b.
 *   - A range R on a row with right-hand side b means [b - |R|, b] on L, [b, b + |R|] on G, and
 * from b to b + R on E.
 *   - Bounds are 0 and infinity by default. UP, LO, FX, FR, MI, PL, BV, and UI and LI like UP and
 *     LO. A negative UP on a column without a lower bound of its own frees it below. Magnitudes
 * from 1e30 on are infinite.
 *   - Of several right-hand side, range or bound sets the first is read. Their names may be blank.
 *   - MARKER lines are skipped: integer columns are read as continuous ones.
 *   - An entry given twice counts twice.
 */
#ifndef BENCHMARKS_MPS_READER_H
#define BENCHMARKS_MPS_READER_H

#include <stdexcept>
#include <string>

#include "benchmarks/linear_program.h"

namespace benchmarks {

/// "FILE:LINE: what is wrong", or "FILE: what is wrong" when no line is to blame.
class MpsError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The program in the file; its name is that of the NAME line. Throws MpsError.
LinearProgram read_mps(const std::string &path);

}  // namespace benchmarks

#endif
