/**
 * Measures the interior-point layer through its nine operations.
 *
 * - rmp: restricted master problems of real runs: iterations cold and warm, time, the shares of
 *   loading and factorisation, and Clp's three methods on the same problems
 * - runs: whole runs of column generation: iterations per RMP, fallbacks, what a wide box costs
 * - growth: time per iteration against rows and columns, with fitted exponents
 * - large: large masters and networks, with memory and threads of the BLAS
 * - programs: linear programs in MPS files against Clp's three methods
 *
 * Times are medians of --repeats runs on one thread. Values are compared first: `deviation` is the
 * largest relative difference of our objective from a known value or from Clp's dual simplex.
 */
#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "benchmarks/clp_reference.h"
#include "benchmarks/large_programs.h"
#include "benchmarks/master_problems.h"
#include "benchmarks/measurements.h"
#include "benchmarks/mps_reader.h"
#include "benchmarks/table.h"

namespace {

using namespace benchmarks;

struct Options {
  bool csv = false;
  bool quick = false;
  int32_t repeats = 5;
  double clp_seconds = 60.0;
  std::vector<std::string> files;
  std::string kind = "dense";
  std::vector<int32_t> sizes;
  int32_t blas_threads = 1;
};

using Maker = std::function<std::unique_ptr<MasterProblem>()>;

std::vector<Maker> families(bool quick) {
  const auto stock = [](int32_t types, int32_t per_call) {
    return [=] { return cutting_stock(types, 1, per_call); };
  };
  const auto agents = [](char problem_class, int32_t tasks, int32_t count) {
    return [=] { return assignment(problem_class, tasks, count, 1); };
  };
  std::vector<Maker> result = {stock(50, 1), stock(100, 10), agents('D', 100, 10),
                               agents('E', 100, 10)};
  if (quick) return result;
  result.insert(result.end(), {stock(200, 1), stock(200, 10), stock(500, 50), stock(1000, 50),
                               agents('D', 200, 20), agents('E', 400, 40)});
  return result;
}

/// Clp's three methods on one program, as cells.
struct Comparison {
  std::vector<std::string> cells;  ///< seconds and ratios to ours: barrier, primal, dual
  double deviation;                ///< of our objective from the dual simplex, relative
};

Comparison compare_with_clp(const LinearProgram &program, double our_seconds, double our_objective,
                            const Options &options) {
  Comparison result = {{}, 0.0};
  std::vector<std::string> ratios;
  for (const ClpMethod method : {ClpMethod::kBarrier, ClpMethod::kPrimal, ClpMethod::kDual}) {
    ClpResult clp = {};
    const auto solve = [&] {
      clp = solve_with_clp(program, method, 1e-8, options.clp_seconds);
      return clp.seconds;
    };
    double seconds = solve();
    // Long ones hardly vary, and there are many of them.
    if (seconds > 0.0 && seconds < 1.0) seconds = median_seconds(options.repeats, solve);
    const bool solved = clp.status == ClpStatus::kOptimal;
    const bool died = !solved && clp.seconds == 0.0;
    result.cells.push_back(died ? "died" : (solved ? "" : ">") + cell(seconds));
    ratios.push_back(died ? "-" : cell(seconds / our_seconds, 3));
    if (method == ClpMethod::kDual && solved) {
      result.deviation =
          std::fabs(our_objective - clp.objective) / std::max(std::fabs(clp.objective), 1e-10);
    }
  }
  result.cells.insert(result.cells.end(), ratios.begin(), ratios.end());
  return result;
}

const std::vector<std::string> kClpHeader = {"clp_barrier",   "clp_primal",   "clp_dual",
                                             "barrier_ratio", "primal_ratio", "dual_ratio",
                                             "deviation"};

std::vector<std::string> joined(std::vector<std::string> first,
                                const std::vector<std::string> &second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

std::string rmp_name(const MasterProblem &problem, const RmpPair &pair) {
  return problem.name + "/" + std::to_string(pair.outer_iteration);
}

void add_rmp(const std::string &name, const RmpPair &pair, double dgemm, const Options &options,
             Table *table, std::vector<std::vector<std::string>> *comparisons) {
  const LinearProgram &rmp = pair.after;
  const ColdStarts cold = measure_cold(rmp, options.repeats);
  const WarmStarts warm = measure_warm(pair, options.repeats);
  const FactorisationCost factor = measure_factorisation(rmp, options.repeats);
  const double factor_share =
      factor.seconds * std::max(cold.iterations[2], 0) / std::max(cold.seconds, 1e-12);
  table->add({name, cell(rmp.rows()), cell(rmp.columns()), cell(rmp.entries()),
              cell(cold.iterations[0]), cell(cold.iterations[1]), cell(cold.iterations[2]),
              cell(pair.tolerance_after, 2), cell(warm.in_run), cell(warm.iterations[0]),
              cell(warm.iterations[1]), cell(warm.iterations[2]), cell(cold.seconds),
              cell(warm.in_run_seconds),
              cell((cold.load_seconds + factor.choice_seconds) / cold.seconds, 3),
              cell(factor_share, 3), cell(factor.flops / factor.seconds / 1e9, 3),
              cell(factor.flops / factor.seconds / dgemm, 3)});
  if (!clp_available()) return;
  const Comparison comparison = compare_with_clp(rmp, cold.seconds, cold.objective, options);
  comparisons->push_back(joined({name, cell(rmp.rows()), cell(rmp.columns()), cell(cold.seconds)},
                                joined(comparison.cells, {cell(comparison.deviation, 2)})));
}

void benchmark_rmps(const Options &options) {
  const double dgemm = dgemm_rate();
  std::printf("# dgemm %.2f Gflop/s on one thread\n", dgemm / 1e9);
  Table table({"rmp", "rows", "columns", "nonzeros", "cold_0.1", "cold_1e-3", "cold_1e-8",
               "run_tol", "warm_run", "warm_0.1", "warm_1e-3", "warm_1e-8", "seconds",
               "warm_seconds", "load_share", "factor_share", "gflops", "of_dgemm"},
              options.csv);
  std::vector<std::vector<std::string>> comparisons;
  for (const Maker &make : families(options.quick)) {
    const auto problem = make();
    std::vector<RmpPair> pairs;
    run(problem.get(), {}, &pairs);
    for (const RmpPair &pair : pairs) {
      add_rmp(rmp_name(*problem, pair), pair, dgemm, options, &table, &comparisons);
    }
  }
  if (!clp_available()) return;
  std::printf("\n");
  Table against(joined({"rmp", "rows", "columns", "seconds"}, kClpHeader), options.csv);
  for (const auto &cells : comparisons) against.add(cells);
}

void benchmark_runs(const Options &options) {
  Table table({"run", "box", "status", "outer", "inner", "per_rmp", "fallbacks", "columns",
               "rmp_seconds", "ms_per_inner", "oracle_seconds", "gap", "deviation"},
              options.csv);
  for (const Maker &make : families(options.quick)) {
    const auto problem = make();
    for (const double box : {0.0, 10.0, 1e10}) {
      // A box of 10 cuts off the optimal duals of assignment, whose tasks cost up to 1000.
      if (box == 10.0 && problem->convexity_rows > 0) continue;
      RunOptions run_options;
      run_options.box = box;
      const RunReport r = run(problem.get(), run_options, nullptr);
      const double known = problem->known_value;
      table.add({problem->name, box == 0.0 ? "own" : cell(box), cell(r.status), cell(r.outer),
                 cell(r.inner), cell(static_cast<double>(r.inner) / std::max(r.outer, 1), 3),
                 cell(r.fallbacks), cell(r.columns), cell(r.seconds_rmp),
                 cell(1e3 * r.seconds_rmp / std::max(r.inner, 1), 3), cell(r.seconds_oracle),
                 cell((r.upper - r.lower) / std::fabs(r.upper), 2),
                 known > 0.0 ? cell(std::fabs(r.upper - known) / known, 2) : "-"});
    }
  }
}

/// Adds the line of one random RMP and returns its milliseconds per iteration.
double add_growth(int32_t rows, int32_t columns, const Options &options, Table *table) {
  const LinearProgram program = random_rmp(rows, columns, 1);
  const ColdStarts cold = measure_cold(program, rows > 1000 ? 1 : options.repeats);
  const double ms = 1e3 * (cold.seconds - cold.load_seconds) / std::max(cold.iterations[2], 1);
  table->add({"rows " + std::to_string(rows), cell(program.rows()), cell(program.columns()),
              cell(program.entries()), cell(cold.iterations[2]), cell(cold.seconds), cell(ms)});
  return ms;
}

void benchmark_growth(const Options &options) {
  Table table(
      {"problem", "rows", "columns", "nonzeros", "iterations", "seconds", "ms_per_iteration"},
      options.csv);
  std::vector<int32_t> rows = {50, 100, 200, 400, 800};
  std::vector<int32_t> columns = {1000, 3000, 10000, 30000};
  if (!options.quick) {
    rows.insert(rows.end(), {1500, 3000});
    columns.push_back(100000);
  }
  std::vector<double> x, y;
  for (const int32_t m : rows) {
    x.push_back(m);
    y.push_back(add_growth(m, 5 * m, options, &table));
  }
  std::printf("# time per iteration grows with rows^%.2f at five columns a row\n",
              fitted_exponent(x, y));
  x.clear();
  y.clear();
  for (const int32_t n : columns) {
    x.push_back(n);
    y.push_back(add_growth(200, n, options, &table));
  }
  std::printf("# time per iteration grows with columns^%.2f at 200 rows\n", fitted_exponent(x, y));
}

/// Largest memory of the process so far, in megabytes.
double peak_megabytes() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

double wall_seconds() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

LinearProgram large_program(const std::string &kind, int32_t size) {
  if (kind == "paths") return path_master(size, 2 * size, 1);
  if (kind == "network") return network_over_time(size, 1);
  if (kind == "columns") return random_rmp(200, size, 1);
  return dense_master(size, 2 * size, std::min(size, 100), 1);
}

/// Half of the columns from scratch to a centred point, and all of them from there: one after the
/// other, as in a run, where the saved point outlives the problem that it is from.
void benchmark_large(const Options &options) {
  Table table({"program", "rows", "columns", "nonzeros", "code", "cold", "warm_code", "warm",
               "processor_s", "wall_s", "ms_per_iteration", "factor_s", "of_dgemm", "peak_MB"},
              options.csv);
  const double dgemm = dgemm_rate();
  std::vector<double> x, y;
  for (const int32_t size : options.sizes) {
    const LinearProgram program = large_program(options.kind, size);
    std::vector<int32_t> kept;
    for (int32_t j = 0; j < program.columns(); ++j) {
      if (j < program.rows() || j % 20 != 0) kept.push_back(j);
    }
    const double processor = processor_seconds(), wall = wall_seconds();
    SavedPoint saved;
    SolveReport cold = {};
    {
      LoadedProblem before(program.with_columns(kept), options.blas_threads);
      cold = before.centre(kTolerances[0]);
      before.save(&saved);
    }
    LoadedProblem after(program, options.blas_threads);
    const SolveReport warm = after.centre(kTolerances[1], 1, &saved);
    const double elapsed = wall_seconds() - wall;
    const int32_t iterations = cold.iterations + warm.iterations;
    const double used = processor_seconds() - processor, peak = peak_megabytes();
    const double seconds = options.blas_threads == 1 ? used : elapsed;
    const FactorisationCost factor = measure_factorisation(program, 1);
    table.add({program.name, cell(program.rows()), cell(program.columns()), cell(program.entries()),
               cell(cold.code), cell(cold.iterations), cell(warm.code), cell(warm.iterations),
               cell(used), cell(elapsed), cell(1e3 * seconds / std::max(iterations, 1)),
               cell(factor.seconds), cell(factor.flops / factor.seconds / dgemm, 3), cell(peak)});
    x.push_back(size);
    y.push_back(seconds / std::max(iterations, 1));
  }
  if (x.size() > 1) {
    std::printf("# time per iteration grows with size^%.2f\n", fitted_exponent(x, y));
  }
}

int benchmark_programs(const Options &options) {
  std::vector<std::string> header = {"program", "rows", "columns", "code", "iterations", "seconds"};
  if (clp_available()) header = joined(header, kClpHeader);
  Table table(header, options.csv);
  int exit_status = 0;
  for (const std::string &file : options.files) {
    try {
      const LinearProgram program = read_mps(file);
      SolveReport report = {};
      double objective = 0.0;
      const double seconds = median_seconds(options.repeats, [&] {
        LoadedProblem problem(program);
        report = problem.solve(1e-8);
        objective = problem.objective() + program.objective_constant;
        return problem.load_seconds() + report.seconds;
      });
      std::vector<std::string> cells = {program.name.substr(0, 8), cell(program.rows()),
                                        cell(program.columns()),   cell(report.code),
                                        cell(report.iterations),   cell(seconds)};
      if (clp_available()) {
        const Comparison comparison = compare_with_clp(program, seconds, objective, options);
        cells = joined(joined(cells, comparison.cells), {cell(comparison.deviation, 2)});
      }
      table.add(cells);
    } catch (const MpsError &error) {
      std::fprintf(stderr, "%s\n", error.what());
      exit_status = 2;
    }
  }
  return exit_status;
}

}  // namespace

int main(int argc, char **argv) {
  Options options;
  CLI::App app("Measures the interior-point layer; without a subcommand: rmp, runs and growth");
  app.add_flag("--csv", options.csv, "Comma-separated values");
  app.add_flag("--quick", options.quick, "The small problems only");
  app.add_option("--repeats", options.repeats, "Runs of which the median counts")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  app.add_option("--clp-seconds", options.clp_seconds, "Limit of one Clp solve")
      ->capture_default_str();
  app.fallthrough();
  const CLI::App *rmp = app.add_subcommand("rmp", "Restricted master problems of real runs");
  const CLI::App *runs = app.add_subcommand("runs", "Whole runs of column generation");
  const CLI::App *growth = app.add_subcommand("growth", "Time per iteration against size");
  CLI::App *large = app.add_subcommand("large", "Large masters: memory, threads, growth");
  large->add_option("SIZE", options.sizes, "Rows; of columns: columns; of network: periods")
      ->required();
  large->add_option("--kind", options.kind, "dense, paths, network or columns")
      ->check(CLI::IsMember({"dense", "paths", "network", "columns"}))
      ->capture_default_str();
  large->add_option("--blas-threads", options.blas_threads, "Threads of OpenBLAS")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  CLI::App *programs = app.add_subcommand("programs", "Linear programs in MPS files");
  programs->add_option("FILE", options.files, "Files in fixed MPS format")->required();
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  const bool all = app.get_subcommands().empty();
  if (all || rmp->parsed()) benchmark_rmps(options);
  if (all || runs->parsed()) benchmark_runs(options);
  if (all || growth->parsed()) benchmark_growth(options);
  if (large->parsed()) benchmark_large(options);
  return programs->parsed() ? benchmark_programs(options) : 0;
}
