/// What is compared: master problems of the examples, each made afresh for every run.
#ifndef BENCHMARKS_COMPARE_MASTER_H
#define BENCHMARKS_COMPARE_MASTER_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "quarn_cpp/quarn.hpp"

namespace benchmarks {

/// Everything that one run needs, in the state before its first restricted master problem.
struct MasterSetup {
  std::shared_ptr<quarn::Master> master;  ///< with its first columns; the oracle refers to it
  quarn::Oracle oracle;                   ///< owns what it prices with
  quarn::Settings settings;               ///< the example's defaults, with the overrides
};

/// What replaces the examples' defaults, for all methods alike; 0: nothing.
struct Overrides {
  int32_t columns_per_call = 0;
  int32_t prices = 0;         ///< price vectors of an answer, where the example has them
  double box = 0.0;           ///< explicit columns: half the width of the dual box
  int32_t first_columns = 0;  ///< explicit columns: so many for each row
  double divisor = -1.0;      ///< negative: the default; 0: the tolerance dial
  double tolerance = 1e-6;
  double time_limit = 120.0;  ///< seconds of processor time for each run
};

using MasterMaker = std::function<MasterSetup(const Overrides &)>;

/// An instance of a family.
struct Case {
  std::string size;  ///< instances of one size share a median
  std::string name;
  bool small = false;                 ///< one of those that --quick keeps to
  std::function<MasterMaker()> load;  ///< reads or generates the instance
  std::optional<double> known;        ///< optimal value of the master problem
  /// Only an upper bound is known: pricing relaxes what `known` was computed for.
  bool known_is_bound = false;
};

/// The families' names: those of the examples, and `explicit_columns`.
const std::vector<std::string> &family_names();

/// The instances that a family is compared on: some of the published ones below `folder`, as far as
/// they are there, and generated ones. With a seed other than 1: generated ones alone, as many of
/// the same sizes. Throws std::invalid_argument for a name that is not one.
std::vector<Case> default_cases(const std::string &family, const std::string &folder, int64_t seed);

/// The instances in `files`, in the example's format, as one size.
std::vector<Case> file_cases(const std::string &family, const std::vector<std::string> &files);

}  // namespace benchmarks

#endif
