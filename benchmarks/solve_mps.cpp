/**
 * Solves linear programs in fixed MPS format from a cold start and reports how good the points are,
 * measured on the programs themselves.
 *
 * Status is the solver's code, 0 for solved. Rows and nonzeros leave out the objective; seconds are
 * those of loading and solving, without reading. With --transform the programs made from each file
 * follow it, and have to have the optimal value that they were made to have. Exit status: 0 when
 * all are solved, 1 when one is not or its value is another, 2 when a file cannot be read or the
 * command line is wrong.
 */
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "benchmarks/linear_program.h"
#include "benchmarks/mps_reader.h"
#include "benchmarks/table.h"
#include "benchmarks/transformed_programs.h"

namespace {

using benchmarks::cell;

/// The file's name without folders and endings.
std::string stem(const std::string &path) {
  const size_t slash = path.find_last_of('/');
  const std::string file = slash == std::string::npos ? path : path.substr(slash + 1);
  const size_t ending = file.rfind(".mps");
  return ending == std::string::npos || ending == 0 ? file : file.substr(0, ending);
}

constexpr int kNotSolved = 1, kBadInput = 2;
// Both values may be off by the solver's tolerance, and scaling moves where it is measured.
constexpr double kAgreement = 1e-5;

struct Options {
  bool csv = false;
  double tolerance = 1e-8;
  std::vector<std::string> transformations;
  int32_t seeds = 1;
  std::vector<std::string> files;
};

struct Program {
  std::string name;
  benchmarks::LinearProgram program;
  std::optional<double> value;  ///< once it is solved
};

/// Solves one program and adds its line. No value: the solver failed.
std::optional<double> solve(const benchmarks::LinearProgram &program, const std::string &name,
                            double tolerance, benchmarks::Table *table) {
  benchmarks::LoadedProblem problem(program);
  const benchmarks::SolveReport report = problem.solve(tolerance);
  const benchmarks::Measures m = benchmarks::measure(program, problem.x(), problem.duals());
  table->add({name, cell(program.rows()), cell(program.columns()), cell(program.entries()),
              cell(report.code), cell(report.iterations),
              cell(problem.load_seconds() + report.seconds), cell(m.objective, 12),
              cell(m.primal_infeasibility, 3), cell(m.dual_infeasibility, 3)});
  if (report.code != 0) return std::nullopt;
  return m.objective;
}

/// Whether the program made from `original` is solved to the value that follows from the
/// originals'.
bool solve_transformed(const Program &original, const Program &second, const std::string &how,
                       int32_t seed, const Options &options, benchmarks::Table *table) {
  const std::string name = original.name + "/" + how + "/" + std::to_string(seed);
  const std::optional<double> value =
      solve(benchmarks::transformed(original.program, how, seed, second.program), name,
            options.tolerance, table);
  if (!value) return false;
  if (!original.value || (how == "union" && !second.value)) return true;
  const double expected =
      benchmarks::transformed_value(how, *original.value, second.value.value_or(0.0));
  if (std::fabs(*value - expected) <= kAgreement * std::max(1.0, std::fabs(expected))) return true;
  std::fprintf(stderr, "%s: the value is %.12g, not %.12g\n", name.c_str(), *value, expected);
  return false;
}

/// All programs made from programs[k]; a union's second one is the seed-th after it.
bool solve_all_transformed(const std::vector<Program> &programs, size_t k, const Options &options,
                           benchmarks::Table *table) {
  bool solved = true;
  for (const std::string &how : options.transformations) {
    for (int32_t seed = 1; seed <= options.seeds; ++seed) {
      const Program &second = programs[(k + static_cast<size_t>(seed)) % programs.size()];
      if (!solve_transformed(programs[k], second, how, seed, options, table)) solved = false;
    }
  }
  return solved;
}

int solve_files(const Options &options) {
  benchmarks::Table table({"name", "rows", "columns", "nonzeros", "status", "iterations", "seconds",
                           "objective", "primal_infeasibility", "dual_infeasibility"},
                          options.csv);
  std::vector<Program> programs;
  int exit_status = 0;
  for (const std::string &file : options.files) {
    try {
      Program next = {stem(file), benchmarks::read_mps(file), {}};
      next.value = solve(next.program, next.name, options.tolerance, &table);
      if (!next.value && exit_status == 0) exit_status = kNotSolved;
      if (!options.transformations.empty()) programs.push_back(std::move(next));
    } catch (const benchmarks::MpsError &error) {
      std::fprintf(stderr, "%s\n", error.what());
      exit_status = kBadInput;
    }
  }
  for (size_t k = 0; k < programs.size(); ++k) {
    if (!solve_all_transformed(programs, k, options, &table) && exit_status == 0) {
      exit_status = kNotSolved;
    }
  }
  return exit_status;
}

}  // namespace

int main(int argc, char **argv) {
  CLI::App app("Solves linear programs in fixed MPS format (gzip where zlib was found)");
  Options options;
  std::vector<std::string> choices = benchmarks::transformation_names();
  choices.emplace_back("all");
  app.add_flag("--csv", options.csv, "Comma-separated values");
  app.add_option("--tolerance", options.tolerance, "Relative gap to reach")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  app.add_option("--transform", options.transformations,
                 "Also solve the programs that these transformations make of each")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->check(CLI::IsMember(choices));
  app.add_option("--seeds", options.seeds, "Of each transformation, from 1 on")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  app.add_option("FILE", options.files, "Files in fixed MPS format")->required();
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    return app.exit(error) == 0 ? 0 : kBadInput;
  }
  auto &names = options.transformations;
  if (std::find(names.begin(), names.end(), "all") != names.end()) {
    names = benchmarks::transformation_names();
  }
  return solve_files(options);
}
