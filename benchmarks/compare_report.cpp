#include "benchmarks/compare_report.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace benchmarks {

constexpr double kAgreement = 1e-5;
constexpr double kLeastSeconds = 1e-3;
constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

const std::vector<std::string> &method_names() {
  static const std::vector<std::string> names = {"ours", "textbook", "smoothed", "standard"};
  return names;
}

const std::string &name_of(Method method) { return method_names()[static_cast<size_t>(method)]; }

bool is_ours(Method method) { return method == Method::kOurs || method == Method::kStandard; }

/// Whether a lower and an upper bound of the same value contradict each other.
static bool crossed(double lower, double upper) {
  return lower > upper + kAgreement * std::fabs(upper);
}

static std::string bounds_text(const MethodRun &run) {
  return name_of(run.method) + " [" + cell(run.result.lower, 12) + ", " +
         cell(run.result.upper, 12) + "]";
}

std::vector<std::string> disagreements(const Comparison &comparison) {
  std::vector<std::string> result;
  const std::string &name = comparison.instance.name;
  for (const MethodRun &run : comparison.runs) {
    if (!run.result.failure.empty()) {
      result.push_back(name + ": " + name_of(run.method) + ": " + run.result.failure);
    }
    for (const MethodRun &other : comparison.runs) {
      if (crossed(run.result.lower, other.result.upper)) {
        result.push_back(name + ": " + bounds_text(run) + " against " + bounds_text(other));
      }
    }
    if (!comparison.instance.known) continue;
    const double known = *comparison.instance.known;
    const bool too_low = !comparison.instance.known_is_bound && crossed(known, run.result.upper);
    if (too_low || crossed(run.result.lower, known)) {
      result.push_back(name + ": " + bounds_text(run) + ", the known value is " + cell(known, 12));
    }
  }
  return result;
}

Figures figures_of(const RunResult &result) {
  return {static_cast<double>(result.rounds),
          static_cast<double>(result.inner),
          static_cast<double>(result.columns),
          result.rmp_seconds,
          result.oracle_seconds,
          result.seconds()};
}

double median(std::vector<double> values) {
  values.erase(std::remove_if(values.begin(), values.end(), [](double x) { return std::isnan(x); }),
               values.end());
  if (values.empty()) return kNone;
  std::sort(values.begin(), values.end());
  const size_t half = values.size() / 2;
  return values.size() % 2 == 1 ? values[half] : 0.5 * (values[half - 1] + values[half]);
}

/// The run's `measure` over the least of the other methods.
template <typename Measure>
static double ratio(const Comparison &comparison, const MethodRun &run, double least_measure,
                    const Measure &measure) {
  double best = kNone;
  for (const MethodRun &other : comparison.runs) {
    if (!is_ours(other.method) && other.result.closed) {
      best = std::fmin(best, measure(figures_of(other.result)));
    }
  }
  if (std::isnan(best)) return kNone;
  if (!run.result.closed) return std::numeric_limits<double>::infinity();
  return std::max(least_measure, measure(figures_of(run.result))) / std::max(least_measure, best);
}

Ratios ratios_of(const Comparison &comparison, const MethodRun &run) {
  if (!is_ours(run.method)) return {kNone, kNone, kNone};
  return {ratio(comparison, run, 1.0, [](const Figures &f) { return f.rounds; }),
          ratio(comparison, run, kLeastSeconds, [](const Figures &f) { return f.rmp_seconds; }),
          ratio(comparison, run, kLeastSeconds, [](const Figures &f) { return f.seconds; })};
}

Report::Report(bool csv)
    : csv_(csv),
      table_({"instance", "size", "method", "rounds", "inner", "columns", "rmp_s", "oracle_s",
              "total_s", "gap", "value", "x_rounds", "x_rmp", "x_total"},
             csv) {}

/// Empty for what is not there.
static std::string cell_or_blank(double value, int digits = 4) {
  return std::isnan(value) ? std::string() : cell(value, digits);
}

static std::vector<std::string> cells(const Figures &f) {
  return {cell(f.rounds, 6),      cell(f.inner, 6),          cell(f.columns, 8),
          cell(f.rmp_seconds, 3), cell(f.oracle_seconds, 3), cell(f.seconds, 3)};
}

static void append(const Ratios &r, std::vector<std::string> &line) {
  for (const double x : {r.rounds, r.rmp_seconds, r.seconds}) line.push_back(cell_or_blank(x, 3));
}

void Report::add(const Comparison &comparison) {
  for (const MethodRun &run : comparison.runs) {
    std::vector<std::string> line = {comparison.instance.name, comparison.instance.size,
                                     name_of(run.method)};
    for (std::string &text : cells(figures_of(run.result))) line.push_back(std::move(text));
    // Whoever reads the numbers by program has the gap to tell.
    if (!run.result.closed && !csv_) line.back().insert(0, ">");
    line.push_back(cell(run.result.gap(), 2));
    line.push_back(cell(run.result.upper, 10));
    append(ratios_of(comparison, run), line);
    table_.add(line);
  }
}

void Report::add_median(const std::string &size, const std::vector<const Comparison *> &comparisons,
                        Method method) {
  std::vector<double> of[9];
  for (const Comparison *comparison : comparisons) {
    for (const MethodRun &run : comparison->runs) {
      if (run.method != method) continue;
      const Figures f = figures_of(run.result);
      const Ratios r = ratios_of(*comparison, run);
      const double values[] = {f.rounds,  f.inner,  f.columns,     f.rmp_seconds, f.oracle_seconds,
                               f.seconds, r.rounds, r.rmp_seconds, r.seconds};
      for (size_t k = 0; k < 9; ++k) of[k].push_back(values[k]);
    }
  }
  if (of[0].empty()) return;
  std::vector<std::string> line = {"median", size, name_of(method)};
  for (std::string &text : cells({median(of[0]), median(of[1]), median(of[2]), median(of[3]),
                                  median(of[4]), median(of[5])})) {
    line.push_back(std::move(text));
  }
  line.insert(line.end(), 2, std::string());  // gap and value
  append({median(of[6]), median(of[7]), median(of[8])}, line);
  table_.add(line);
}

void Report::add_medians(const std::vector<Comparison> &comparisons) {
  std::vector<std::string> sizes;
  for (const Comparison &c : comparisons) {
    if (std::find(sizes.begin(), sizes.end(), c.instance.size) == sizes.end()) {
      sizes.push_back(c.instance.size);
    }
  }
  if (sizes.size() > 1) sizes.emplace_back("all");
  for (const std::string &size : sizes) {
    std::vector<const Comparison *> chosen;
    for (const Comparison &c : comparisons) {
      if (size == "all" || c.instance.size == size) chosen.push_back(&c);
    }
    for (size_t k = 0; k < method_names().size(); ++k) {
      add_median(size, chosen, static_cast<Method>(k));
    }
  }
}

}  // namespace benchmarks
