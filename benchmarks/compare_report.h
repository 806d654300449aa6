/// What the comparison prints, and the checks that come first.
#ifndef BENCHMARKS_COMPARE_REPORT_H
#define BENCHMARKS_COMPARE_REPORT_H

#include <string>
#include <vector>

#include "benchmarks/compare_master.h"
#include "benchmarks/compare_run.h"
#include "benchmarks/table.h"

namespace benchmarks {

enum class Method { kOurs, kTextbook, kSmoothed, kStandard };

/// Names as on the command line, in the order of the enumeration.
const std::vector<std::string> &method_names();
const std::string &name_of(Method method);

/// Whether the library solves the restricted master problems.
bool is_ours(Method method);

struct MethodRun {
  Method method;
  RunResult result;
};

/// The runs of one instance.
struct Comparison {
  Case instance;
  std::vector<MethodRun> runs;
};

/// What is wrong with the runs, a line each: a lower bound of one above the upper bound of another,
/// a known value outside the bounds (to 1e-5, relative), a run that failed.
std::vector<std::string> disagreements(const Comparison &comparison);

/// The measures of a run that are compared.
struct Figures {
  double rounds, inner, columns, rmp_seconds, oracle_seconds, seconds;
};
Figures figures_of(const RunResult &result);

/// The measures of a run of ours over the best of the others', which are not ours and closed the
/// gap; not numbers where there are none, infinite where the run itself did not close it. Times
/// below a millisecond count as one: no ratio has an absurd denominator.
struct Ratios {
  double rounds, rmp_seconds, seconds;
};
Ratios ratios_of(const Comparison &comparison, const MethodRun &run);

/// The middle value, or the mean of the two in the middle; not a number when there are none. Values
/// that are not numbers are left out.
double median(std::vector<double> values);

/// The table: a line for each run, and medians.
class Report {
 public:
  explicit Report(bool csv);

  void add(const Comparison &comparison);
  /// Medians of every size, then of all.
  void add_medians(const std::vector<Comparison> &comparisons);

 private:
  void add_median(const std::string &size, const std::vector<const Comparison *> &comparisons,
                  Method method);
  bool csv_;
  Table table_;
};

}  // namespace benchmarks

#endif
