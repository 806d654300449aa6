/**
 * Compares the library with column generation by the simplex method on the examples' master
 * problems: the same oracles, first columns and tolerance for each method.
 *
 * - ours: the library, with the example's settings
 * - textbook: restricted master problems to optimality by Clp's primal simplex, from the last basis
 * - smoothed: the same, with self-adjusting smoothing of the duals that are priced
 * - standard: the library with WS_strategy -2: no centring, no warm starts
 *
 * The methods have to agree on the value before anything else is worth reading.
 */
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <string>
#include <utility>
#include <vector>

#include "benchmarks/compare_master.h"
#include "benchmarks/compare_picture.h"
#include "benchmarks/compare_report.h"
#include "benchmarks/compare_run.h"
#include "benchmarks/compare_simplex.h"
#include "benchmarks/compare_simplex_run.h"
#include "examples/common/options.h"

namespace {

using namespace benchmarks;

constexpr int kDisagreement = 1, kBadInput = 2;
// The times of a run this long vary by little, and its repetitions would take long.
constexpr double kLongRun = 10.0;

struct Options {
  std::string family, data = "../shared/data", picture, picture_instance;
  std::vector<std::string> files, methods = method_names(), sizes;
  bool csv = false, quick = false;
  size_t repeats = 3;
  int64_t seed = 1;
  Overrides overrides;
};

RunResult run(Method method, const MasterMaker &make, const Overrides &overrides) {
  switch (method) {
    case Method::kOurs:
      return run_library(make, overrides, quarn::Strategy::warm_start);
    case Method::kStandard:
      return run_library(make, overrides, quarn::Strategy::standard);
    default:
      return run_simplex(make, overrides, method == Method::kSmoothed);
  }
}

std::vector<Method> chosen_methods(const Options &options) {
  std::vector<Method> methods;
  for (size_t k = 0; k < method_names().size(); ++k) {
    const auto &names = options.methods;
    if (std::find(names.begin(), names.end(), method_names()[k]) == names.end()) continue;
    const auto method = static_cast<Method>(k);
    if (!is_ours(method) && !simplex_available()) {
      std::fprintf(stderr, "this build has no Clp: going on without %s\n", name_of(method).c_str());
    } else {
      methods.push_back(method);
    }
  }
  return methods;
}

std::vector<Case> chosen_cases(const Options &options) {
  if (!options.files.empty()) return file_cases(options.family, options.files);
  std::vector<Case> cases;
  for (Case &instance : default_cases(options.family, options.data, options.seed)) {
    const auto &sizes = options.sizes;
    const bool wanted =
        sizes.empty() || std::find(sizes.begin(), sizes.end(), instance.size) != sizes.end();
    if (wanted && (instance.small || !options.quick)) cases.push_back(std::move(instance));
  }
  return cases;
}

/// The run of median time: everything else is the same in all of them.
RunResult median_run(std::vector<RunResult> runs) {
  const auto middle = runs.begin() + static_cast<std::ptrdiff_t>((runs.size() - 1) / 2);
  std::nth_element(runs.begin(), middle, runs.end(), [](const RunResult &a, const RunResult &b) {
    return a.seconds() < b.seconds();
  });
  return *middle;
}

/// The methods take turns, so that none always has the cold start or the busy minute.
Comparison compare(const Case &instance, const std::vector<Method> &methods,
                   const Options &options) {
  const MasterMaker make = instance.load();
  std::vector<std::vector<RunResult>> runs(methods.size());
  for (size_t repeat = 0; repeat < options.repeats; ++repeat) {
    for (size_t k = 0; k < methods.size(); ++k) {
      if (!runs[k].empty() && runs[k].front().seconds() > kLongRun) continue;
      runs[k].push_back(run(methods[k], make, options.overrides));
    }
  }
  Comparison comparison = {instance, {}};
  for (size_t k = 0; k < methods.size(); ++k) {
    comparison.runs.push_back({methods[k], median_run(std::move(runs[k]))});
  }
  return comparison;
}

int run_all(const Options &options) {
  const std::vector<Method> methods = chosen_methods(options);
  Report report(options.csv);
  std::vector<Comparison> comparisons;
  bool agree = true;
  for (const Case &instance : chosen_cases(options)) {
    comparisons.push_back(compare(instance, methods, options));
    for (const std::string &line : disagreements(comparisons.back())) {
      std::fprintf(stderr, "error: %s\n", line.c_str());
      agree = false;
    }
    report.add(comparisons.back());
  }
  report.add_medians(comparisons);
  if (!options.picture.empty()) {
    draw_bounds(picture_comparison(comparisons, options.picture_instance), options.picture);
  }
  return agree ? 0 : kDisagreement;
}

void add_options(CLI::App &app, Options &options) {
  app.add_option("FAMILY", options.family, "whose oracle and instances")
      ->required()
      ->check(CLI::IsMember(family_names()));
  app.add_option("FILE", options.files, "instances in the example's format; none: a default set")
      ->check(CLI::ExistingFile);
  app.add_flag("--csv", options.csv, "comma-separated values");
  app.add_flag("--quick", options.quick, "the small instances of the default set only");
  // Without extra arguments: what follows a list of names is a file.
  app.add_option("--sizes", options.sizes, "these sizes of the default set only")
      ->delimiter(',')
      ->allow_extra_args(false);
  app.add_option("--data", options.data, "folder of the published instances")
      ->capture_default_str();
  app.add_option("--seed", options.seed, "of the generated instances of the default set")
      ->check(CLI::Range(1, 1000))
      ->capture_default_str();
  app.add_option("--methods", options.methods, "the methods to run")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->check(CLI::IsMember(method_names()))
      ->capture_default_str();
  app.add_option("--columns-per-call", options.overrides.columns_per_call,
                 "most columns of an answer; 0: the example's default");
  app.add_option("--prices", options.overrides.prices,
                 "price vectors of an answer, where the example has them; 0: its default");
  app.add_option("--box", options.overrides.box,
                 "explicit columns: half the width of the dual box; 0: the library's default")
      ->check(CLI::NonNegativeNumber);
  app.add_option("--first-columns", options.overrides.first_columns,
                 "explicit columns: so many for each row from the start")
      ->check(CLI::NonNegativeNumber);
  app.add_option("--divisor", options.overrides.divisor,
                 "of the gap, for the library's tolerances; 0: the tolerance dial; negative: the "
                 "example's default")
      ->capture_default_str();
  app.add_option("--tolerance", options.overrides.tolerance, "relative gap to stop at")
      ->capture_default_str();
  app.add_option("--time-limit", options.overrides.time_limit,
                 "seconds of processor time for each run")
      ->capture_default_str();
  app.add_option(
         "--repeats", options.repeats,
         "runs of each method, of which the one of median time is shown; long ones run once")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  app.add_option("--picture", options.picture, "draw the bounds of one instance to this PNG file");
  app.add_option("--picture-instance", options.picture_instance,
                 "which one; default: the longest one that all methods finished");
}

}  // namespace

int main(int argc, char **argv) {
  CLI::App app("Column generation compared with the simplex method", "compare_column_generation");
  Options options;
  add_options(app, options);
  if (const auto status = examples::parse(app, argc, argv)) return *status;
  try {
    return run_all(options);
  } catch (const std::exception &error) {
    std::fprintf(stderr, "%s\n", error.what());
    return kBadInput;
  }
}
