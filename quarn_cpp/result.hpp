#ifndef QUARN_CPP_RESULT_HPP
#define QUARN_CPP_RESULT_HPP

#include <cstdint>
#include <string>
#include <vector>

#include "quarn_cpp/handles.hpp"
#include "quarn_cpp/pricing.hpp"
#include "quarn_cpp/settings.hpp"

namespace quarn {
inline namespace v1 {

/// Why a run ended.
enum class Status {
  optimal,          ///< the gap is closed to the tolerance
  time_limit,       ///< Settings::time_limit is over
  iteration_limit,  ///< Settings::max_iterations are done
  infeasible,       ///< no columns satisfy all rows: Result::unmet_rows
  stopped,          ///< interrupted, see Settings::interrupt
  failed            ///< see Result::message
};

/// "optimal", "time_limit", ...
QUARN_CPP_PUBLIC const char *to_string(Status status);

/// What a run found. It stays valid when the master changes or ends.
struct Result {
  Status status = Status::failed;
  /// One sentence on how the run ended, with names and figures.
  std::string message;

  /// lower_bound <= upper_bound in either sense. When minimising the upper one is what the columns
  /// reach and the lower one what pricing proved, when maximising the other way round.
  double lower_bound = -kInfinity;
  double upper_bound = kInfinity;
  /// (upper - lower) / |what the columns reach|, at most 10.
  double gap = 10.0;

  /// Duals of the last restricted master.
  Duals duals;
  /// The columns whose value in the last restricted master is above 1e-9.
  std::vector<ColumnValue> values;
  std::vector<Iteration> history;

  /// With Settings::rounding: the columns of an integer solution and how often each is used; empty
  /// when none was found.
  std::vector<ColumnValue> integer_values;
  double integer_value = 0.0;  ///< what they cost

  /// With Status::infeasible: the rows that cannot be met together, with by how much the last
  /// restricted master missed them.
  std::vector<std::pair<Row, double>> unmet_rows;
  /// With Status::infeasible, by Row::index(): multipliers of the rows, the largest 1, that add up
  /// to a row which no known column and no rounding can satisfy. Empty when there are none.
  std::vector<double> certificate;

  int32_t columns = 0;           ///< in the restricted master
  int32_t inner_iterations = 0;  ///< of the interior-point method
  double seconds = 0.0;          ///< wall-clock of the whole run
  double rmp_seconds = 0.0;      ///< of which outside the oracle
  double oracle_seconds = 0.0;   ///< of which in the oracle
};

}  // namespace v1
}  // namespace quarn

#endif
