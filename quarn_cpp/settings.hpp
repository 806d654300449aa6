#ifndef QUARN_CPP_SETTINGS_HPP
#define QUARN_CPP_SETTINGS_HPP

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <limits>
#include <string>
#include <vector>

#include "quarn_cpp/visibility.hpp"

struct QUARN_env;

namespace quarn {
inline namespace v1 {

/// One line of the history of a run. Bounds are in the sense of the master, lower <= upper.
struct Iteration {
  int32_t iteration = 0;         ///< from 1
  double lower_bound = 0.0;      ///< -kInfinity while there is none
  double upper_bound = 0.0;      ///< kInfinity while there is none
  double gap = 0.0;              ///< relative, at most 10
  int32_t columns = 0;           ///< in the restricted master, the oracle's last ones included
  int32_t inner_iterations = 0;  ///< of the interior-point method in this iteration
  double tolerance = 0.0;        ///< to which the restricted master was solved
  double rmp_seconds = 0.0;      ///< wall-clock of this iteration: restricted master, columns, cuts
  double oracle_seconds = 0.0;   ///< wall-clock of this iteration: the oracle
};

/// How restricted masters are solved, see docs/parameters.md.
enum class Strategy { warm_start = -1, centred = 0, standard = -2 };

/// How a master is solved. The defaults suit most.
struct Settings {
  /// Relative gap at which the run ends, as optimal.
  double tolerance = 1e-6;
  /// Limits of this run: seconds of wall-clock, iterations.
  double time_limit = std::numeric_limits<double>::infinity();
  int32_t max_iterations = std::numeric_limits<int32_t>::max();

  /// Columns above which those with large reduced costs leave the restricted master. Their handles
  /// stay valid, and the oracle may add them again. Columns of Master::add_column always stay.
  int32_t max_columns = std::numeric_limits<int32_t>::max();
  Strategy strategy = Strategy::warm_start;
  /// Adapt the tolerance of each restricted master to how fast the answers close the gap. Without,
  /// it is the gap divided by `degree_of_optimality`.
  bool tolerance_dial = true;
  double degree_of_optimality = 2.0;
  /// Cost of violating a row by a unit, which no dual exceeds; at least 1e10 once rows would stay
  /// unmet otherwise. Of 200 pricing problems (linear programs of 6 variables and 3 rows) HiGHS
  /// failed on none with costs up to 1e7, on 16 at 1e8 and on 56 at 1e9.
  double penalty = 1e6;
  /// When not empty, by Row::index(): the oracle is called with these duals before the first
  /// restricted master is solved. Zeros ask for the columns that are cheapest by themselves.
  std::vector<double> first_duals;

  /// After an optimal run, look for an integer solution by the library's rounding heuristic. It
  /// meets the linking rows; block rows may be exceeded.
  bool rounding = false;

  /// Called after each iteration with its line of the history.
  std::function<void(const Iteration &)> on_iteration;
  /// Looked at between iterations, and by Duals::out_of_time(): true ends the run, as stopped.
  std::function<bool()> interrupt;
  /// When not null, a table with a line for each iteration goes there.
  std::ostream *progress = nullptr;
  /// When set, takes the text of the C library underneath, piece by piece; it must not throw.
  std::function<void(const char *)> log;
  /// How much text that is, 0 to 3.
  int16_t verbosity = 0;

  /// Threads of OpenBLAS for restricted masters of 1000 rows or more, where most of the work is
  /// dense algebra. One gives the same bits each time. Runs at once in one process should leave it
  /// at one.
  int32_t blas_threads = 1;

  /// When not empty, the master is written to this file at the end of the run and every
  /// `save_every` seconds between two iterations, see Master::save. A run that is killed loses what
  /// came after the last save.
  std::string save_file;
  double save_every = 60.0;
  /// Turns the objects of columns into text for the file; without it they are left out.
  std::function<std::string(const class Column &)> save_data;

  /// Called with each record of the C interface that the run makes, before it is used: for
  /// parameters that have no name here. Rows, columns, duals, bounds and log must be left alone.
  std::function<void(QUARN_env &)> configure;
};

}  // namespace v1
}  // namespace quarn

#endif
