#ifndef EXAMPLES_COMMON_MASTER_SOLVE_H
#define EXAMPLES_COMMON_MASTER_SOLVE_H

#include <any>
#include <functional>
#include <string>

#include "examples/common/options.h"
#include "quarn_cpp/quarn.hpp"

namespace examples {

/// Turns the objects of columns into text for a file, and back. Empty for columns without objects.
struct ColumnText {
  std::function<std::string(const quarn::Column &)> write = {};
  std::function<std::any(const std::string &)> read = {};
};

/**
 * The master that --resume names in place of `fresh`; without --resume, `fresh`.
 *
 * Throws quarn::FileError for a file that cannot be read as a master, and InputError when it does
 * not begin with the rows and columns of `fresh`: then it is of another instance or formulation.
 */
quarn::Master resumed(quarn::Master fresh, const Options &options, const ColumnText &text = {});

/// Tolerance, limits, strategy and first duals as the options say. With --resume the first duals
/// are left out: the columns that they ask for are there.
quarn::Settings settings_of(const Options &options, std::vector<double> first_duals = {});

/**
 * Solves the master. Prints the table of progress, writes the lines of --history as they come, and
 * saves the master at once, every --every seconds and at the end; a signal to interrupt or to
 * terminate ends a run that is being saved in good order, a second one at once.
 *
 * What oracle and library throw comes out unchanged. Throws OutputError when the history cannot be
 * written, quarn::FileError when the master cannot be saved.
 */
quarn::Result solve(quarn::Master &master, const quarn::Oracle &oracle, const Options &options,
                    quarn::Settings settings, const ColumnText &text = {});

/// Catches the first signal to interrupt or to terminate; says whether there was one.
std::function<bool()> stopped_by_signals();

}  // namespace examples

#endif
