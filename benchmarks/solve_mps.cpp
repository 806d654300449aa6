/**
 * Solves linear programs in fixed MPS format from a cold start and reports how good the points are,
 * measured on the programs themselves.
 *
 * Status is the solver's code, 0 for solved. Rows and nonzeros leave out the objective; seconds are
 * those of loading and solving, without reading. Exit status: 0 when all are solved, 1 when one is
 * not, 2 when a file cannot be read or the command line is wrong.
 */
#include <CLI/CLI.hpp>
#include <cstdio>
#include <string>
#include <vector>

#include "benchmarks/linear_program.h"
#include "benchmarks/mps_reader.h"
#include "benchmarks/table.h"

namespace {

using benchmarks::cell;

/// The file's name without folders and endings.
std::string stem(const std::string &path) {
  const size_t slash = path.find_last_of('/');
  const std::string file = slash == std::string::npos ? path : path.substr(slash + 1);
  const size_t ending = file.rfind(".mps");
  return ending == std::string::npos || ending == 0 ? file : file.substr(0, ending);
}

/// Solves one program, adds its line, and returns the solver's code.
int32_t solve(const benchmarks::LinearProgram &program, const std::string &name, double tolerance,
              benchmarks::Table *table) {
  benchmarks::LoadedProblem problem(program);
  const benchmarks::SolveReport report = problem.solve(tolerance);
  const benchmarks::Measures m = benchmarks::measure(program, problem.x(), problem.duals());
  table->add({name, cell(program.rows()), cell(program.columns()), cell(program.entries()),
              cell(report.code), cell(report.iterations),
              cell(problem.load_seconds() + report.seconds), cell(m.objective, 12),
              cell(m.primal_infeasibility, 3), cell(m.dual_infeasibility, 3)});
  return report.code;
}

}  // namespace

int main(int argc, char **argv) {
  CLI::App app("Solves linear programs in fixed MPS format (gzip where zlib was found)");
  bool csv = false;
  double tolerance = 1e-8;
  std::vector<std::string> files;
  app.add_flag("--csv", csv, "Comma-separated values");
  app.add_option("--tolerance", tolerance, "Relative gap to reach")
      ->check(CLI::PositiveNumber)
      ->capture_default_str();
  app.add_option("FILE", files, "Files in fixed MPS format")->required();
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError &error) {
    return app.exit(error) == 0 ? 0 : 2;
  }
  benchmarks::Table table({"name", "rows", "columns", "nonzeros", "status", "iterations", "seconds",
                           "objective", "primal_infeasibility", "dual_infeasibility"},
                          csv);
  int exit_status = 0;
  for (const std::string &file : files) {
    try {
      const int32_t code = solve(benchmarks::read_mps(file), stem(file), tolerance, &table);
      if (code != 0 && exit_status == 0) exit_status = 1;
    } catch (const benchmarks::MpsError &error) {
      std::fprintf(stderr, "%s\n", error.what());
      exit_status = 2;
    }
  }
  return exit_status;
}
