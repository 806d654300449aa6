#include <CLI/CLI.hpp>
#include <algorithm>
#include <any>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include "examples/common/job.h"
#include "examples/common/master_solve.h"
#include "examples/common/options.h"
#include "examples/common/report.h"
#include "examples/dantzig_wolfe/block_pricing.h"
#include "examples/dantzig_wolfe/blocks.h"
#include "examples/dantzig_wolfe/decomposition.h"
#include "examples/dantzig_wolfe/file_solution.h"
#include "examples/dantzig_wolfe/integer_tree.h"
#include "examples/dantzig_wolfe/model.h"
#include "examples/dantzig_wolfe/objective_step.h"
#include "examples/dantzig_wolfe/reformulation.h"
#include "examples/dantzig_wolfe/relaxation.h"
#include "examples/dantzig_wolfe/root.h"
#include "examples/dantzig_wolfe/solution_search.h"

namespace dantzig_wolfe {

// The reformulation, its pricing and its bound are derived in README.md.

struct Settings : examples::Options {
  std::string decomposition;    ///< the .dec file; empty: see load_decomposition
  std::string linking_rows;     ///< regular expression; empty: none
  std::string solution_file;    ///< where the solution goes; empty: standard output
  bool root = false;            ///< the bound at the root alone
  bool keep_equal = false;      ///< price equal blocks one by one
  double integer_seconds = 10;  ///< for Cbc on the columns
  int64_t nodes = 0;            ///< of the search, most of them; 0: no limit
  int32_t candidates = 16;      ///< for strong branching
  int threads = 1;              ///< that price blocks in the search
  PricingLimits limits;
};

// Up to ten a block; ten of each of 50 blocks take twice the time.
constexpr int32_t kPointsOfARound = 100;

/// Seconds since the last look.
class Stopwatch {
 public:
  double seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - last_).count();
  }

  double lap() {
    const auto now = std::chrono::steady_clock::now();
    const double seconds = std::chrono::duration<double>(now - last_).count();
    last_ = now;
    return seconds;
  }

 private:
  std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

/// The file of the same name with the ending .dec.
static std::string beside(std::string path) {
  if (path.size() > 3 && path.compare(path.size() - 3, 3, ".gz") == 0) path.resize(path.size() - 3);
  return path.substr(0, path.rfind('.')) + ".dec";
}

static Decomposition load_decomposition(const Settings &settings, const Model &model) {
  if (!settings.decomposition.empty()) return read_decomposition(settings.decomposition, model);
  if (!settings.linking_rows.empty()) return match_linking_rows(settings.linking_rows, model);
  const std::string file = beside(settings.file);
  if (std::ifstream(file).good()) return read_decomposition(file, model);
  return find_decomposition(settings.file, model);
}

static void print_model(const Model &model, const Decomposition &decomposition,
                        const Reformulation &reformulation) {
  size_t integers = 0, coefficients = 0;
  for (const Variable &variable : model.variables) integers += variable.integer ? 1 : 0;
  for (const Constraint &row : model.rows) coefficients += row.entries.size();
  std::printf("model           %zu rows, %zu variables (%zu integer), %zu coefficients\n",
              model.rows.size(), model.variables.size(), integers, coefficients);
  std::printf("decomposition   %s\n", decomposition.source.c_str());
  std::printf("                %zu linking rows, %zu blocks (%zu distinct), %zu columns outside\n",
              decomposition.linking.size(), decomposition.blocks.size(),
              reformulation.blocks().size(), reformulation.outside().size());
}

/// Seconds of the parts that the master's run does not count.
struct Seconds {
  double reading = 0.0, relaxation = 0.0, first_columns = 0.0, finish = 0.0, solutions = 0.0,
         tree = 0.0;
};

/// The share of the way from the relaxation to an integer value that the root bound covers.
static std::optional<double> gap_closed(double relaxation, double root, double integer) {
  const double whole = std::fabs(integer - relaxation);
  if (whole <= 1e-9 * (1.0 + std::fabs(integer))) return std::nullopt;
  return std::fabs(root - relaxation) / whole;
}

/// What is proved of the program with its integers.
struct Proof {
  double bound = 0.0;  ///< no solution is better
  bool optimal = false;
  int64_t nodes = 1;
  bool failed =
      false;  ///< the search found a mistake, or that there is no solution, or was stopped
  bool infeasible = false;  ///< it found that there is no solution
};

static Proof prove(const Model &model, const quarn::Result &result, const FileSolution &solution,
                   double tolerance) {
  const double root = model.maximize ? result.upper_bound : result.lower_bound;
  if (!model.has_integers()) return {root, result.status == quarn::Status::optimal};
  Proof proof = {rounded_bound(model, objective_step(model), root)};
  proof.optimal = solution.integral && is_closed(model, solution.value, proof.bound, tolerance);
  return proof;
}

/// Goes on from the root where that leaves a gap; proof and solution become those of the search.
static void search(const Settings &settings, const RootResult &root, double seconds,
                   FileSolution &solution, Proof &proof) {
  quarn::branch_and_price::Settings how;
  how.master = examples::settings_of(settings);
  how.tolerance = settings.tolerance;
  how.time_limit = std::max(0.0, settings.time_limit - seconds);
  how.candidates = settings.candidates;
  how.log = &std::cout;
  how.save_file = settings.save_file;
  how.save_every = settings.save_every;
  if (!settings.save_file.empty()) how.interrupt = examples::stopped_by_signals();
  if (settings.nodes > 0) how.max_nodes = settings.nodes;
  std::cout << '\n';
  TreeResult tree = search_tree(root, settings.limits, std::move(how));
  std::cout << "\nsearch          " << to_string(tree.outcome.status) << " ("
            << tree.outcome.message << ")" << std::endl;
  solution = std::move(tree.solution);
  const Model &model = root.reformulation.model();
  proof.bound =
      model.sign() * std::max(model.sign() * proof.bound, model.sign() * tree.outcome.bound);
  proof.nodes = tree.outcome.nodes;
  using quarn::branch_and_price::Status;
  proof.infeasible = tree.outcome.status == Status::infeasible;
  proof.failed = proof.infeasible || tree.outcome.status == Status::failed ||
                 tree.outcome.status == Status::stopped;
  proof.optimal =
      solution.integral && is_closed(model, solution.value, proof.bound, settings.tolerance);
}

static void print_outcome(const Model &model, double relaxation, const quarn::Result &result,
                          const FileSolution &solution, const Proof &proof,
                          const Seconds &seconds) {
  const double root = model.maximize ? result.upper_bound : result.lower_bound;
  examples::print_summary(result);
  std::printf(
      "                reading %.3f s, relaxation %.3f s, first columns %.3f s, last rounds %.3f "
      "s, "
      "solutions %.3f s, search %.3f s\n",
      seconds.reading, seconds.relaxation, seconds.first_columns, seconds.finish, seconds.solutions,
      seconds.tree);
  std::printf("relaxation      %.10g\n", relaxation);
  std::printf("root bound      %.10g\n", root);
  if (!model.has_integers()) return;
  if (!solution.integral) {
    std::puts("integer value   none found");
    return;
  }
  std::printf("integer value   %.10g (%s)\n", solution.value, solution.source.c_str());
  std::printf("best bound      %.10g%s\n", proof.bound, proof.optimal ? " (optimal)" : "");
  if (const auto share = gap_closed(relaxation, root, solution.value)) {
    std::printf("gap closed      %.1f %% of that between relaxation and integer value\n",
                100.0 * *share);
  }
}

static void print_solution(const Settings &settings, const Model &model,
                           const FileSolution &solution) {
  if (solution.x.empty()) {
    std::puts("solution        none that satisfies the rows and bounds of the file");
    return;
  }
  std::printf("solution        %s, %s; rows and bounds checked\n", solution.source.c_str(),
              solution.integral || !model.has_integers() ? "integral" : "not integral");
  if (settings.solution_file.empty()) {
    std::puts("\nVariables that are not 0:");
    write_solution(model, solution.x, stdout);
  } else {
    write_solution(model, solution.x, settings.solution_file);
  }
}

/// There is no solution.
class Infeasible : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

static LinearSolution relax(const Model &model) {
  LinearSolution relaxation = solve_relaxation(model);
  if (relaxation.outcome == LinearSolution::Outcome::infeasible) {
    throw Infeasible("the program is infeasible: its relaxation has no solution");
  }
  if (relaxation.outcome == LinearSolution::Outcome::unbounded) {
    throw std::runtime_error("the relaxation is unbounded: there is no bound");
  }
  return relaxation;
}

/// Whether --resume names a search, not the root's master.
static bool resumes_search(const Settings &settings) {
  std::string word;
  std::ifstream(settings.resume_file) >> word;
  return word == "quarn-branch-and-price";
}

/// Of the root's run: in place of a saved search it is done again, which gives the same columns.
static Settings for_root(Settings settings) {
  if (!resumes_search(settings)) return settings;
  settings.resume_file.clear();
  settings.save_file.clear();
  return settings;
}

/// The blocks' pricing with all that it needs, as every process of a job has it.
struct Problem {
  const Model model;
  const Decomposition decomposition;
  const Reformulation reformulation;
  BlockPricing pricing;

  explicit Problem(const Settings &settings)
      : model(read_model(settings.file)),
        decomposition(load_decomposition(settings, model)),
        reformulation(
            model, decomposition,
            make_blocks(with_tight_integer_bounds(model), decomposition, !settings.keep_equal)),
        pricing(reformulation, BlockPricing::for_all_blocks(settings.limits, kPointsOfARound,
                                                            reformulation.blocks().size())) {}
};

/// Columns carry their text.
static examples::ColumnText column_text() {
  return {[](const quarn::Column &column) { return column.get<std::string>(); },
          [](const std::string &text) { return std::any(text); }};
}

static quarn::Result solve_root(const Settings &settings, Problem &problem,
                                const LinearSolution &relaxation, quarn::BlockPricer &pricer,
                                quarn::Master &master, Seconds &seconds) {
  Stopwatch watch;
  quarn::Settings how = examples::settings_of(settings);
  how.rounding = problem.model.has_integers() && settings.integer_seconds > 0.0;
  // A master that is resumed has its first columns, and more would cost it its bounds.
  quarn::Master unused = problem.reformulation.master();
  prepare_root(problem.reformulation, problem.pricing, relaxation,
               settings.resume_file.empty() ? master : unused, how);
  seconds.first_columns = watch.lap();
  const auto answer = [&](const quarn::Duals &duals, const quarn::BlockRound &round) {
    return problem.pricing.answer(duals, round);
  };
  std::putchar('\n');
  std::fflush(stdout);
  return examples::solve(master, pricer.oracle(answer), settings, std::move(how), column_text());
}

static int solve(const Settings &settings, Problem &problem, quarn::BlockPricer &pricer,
                 Seconds seconds) {
  const Model &model = problem.model;
  const Reformulation &reformulation = problem.reformulation;
  print_model(model, problem.decomposition, reformulation);
  Stopwatch watch;
  const Stopwatch all;
  const LinearSolution relaxation = relax(model);
  seconds.relaxation = watch.lap();
  const Settings root = for_root(settings);
  quarn::Master master = examples::resumed(reformulation.master(), root, column_text());
  quarn::Result result = solve_root(root, problem, relaxation, pricer, master, seconds);
  watch.lap();
  const auto out_of_time = [&] { return result.seconds + watch.seconds() > settings.time_limit; };
  const RestrictedMaster restricted = finish_root(reformulation, problem.pricing, master, pricer,
                                                  out_of_time, settings.tolerance, &result);
  seconds.finish = watch.lap();
  FileSolution solution;
  if (result.status != quarn::Status::infeasible) {
    solution = find_solution(reformulation, restricted, result, settings.integer_seconds);
  }
  seconds.solutions = watch.lap();

  Proof proof = prove(model, result, solution, settings.tolerance);
  if (!settings.root && !proof.optimal && result.status == quarn::Status::optimal) {
    const FileSolution found = solution;
    // Others are in no better solution, and pricing finds again what branching may still ask for.
    const std::vector<MasterColumn> columns = restricted.columns_within(
        found.integral ? std::fabs(found.value - proof.bound) : kInfinite);
    search(settings,
           {reformulation, problem.decomposition, relaxation, columns, found, settings.threads,
            resumes_search(settings) ? settings.resume_file : ""},
           all.seconds(), solution, proof);
    seconds.tree = watch.lap();
    if (proof.infeasible) result.status = quarn::Status::infeasible;
  }
  print_outcome(model, relaxation.value, result, solution, proof, seconds);
  print_solution(settings, model, solution);
  std::optional<double> integer_value;
  if (solution.integral && model.has_integers()) integer_value = solution.value;
  examples::write_json({settings.file,
                        result,
                        integer_value,
                        {{"relaxation", relaxation.value},
                         {"blocks", static_cast<int64_t>(problem.decomposition.blocks.size())},
                         {"distinct_blocks", static_cast<int64_t>(reformulation.blocks().size())},
                         {"best_bound", proof.bound},
                         {"optimal", proof.optimal},
                         {"nodes", proof.nodes}}},
                       settings.json_file);
  return proof.failed ? static_cast<int>(examples::kNotSolved) : examples::exit_status(result);
}

/// The report of a program whose relaxation, or one of whose blocks, has no solution.
static void report_infeasible(const Settings &settings) {
  quarn::Result result;
  result.status = quarn::Status::infeasible;
  result.lower_bound = -quarn::kInfinity;
  result.upper_bound = quarn::kInfinity;
  examples::write_json({settings.file, result, std::nullopt, {{"optimal", false}}},
                       settings.json_file);
}

static int run(Settings settings, examples::Job &job) {
  settings.threads = job.threads();
  Stopwatch watch;
  Problem problem(settings);
  Seconds seconds;
  seconds.reading = watch.lap();
  const auto report_and_solve = [&](quarn::BlockPricer &pricer) {
    try {
      return solve(settings, problem, pricer, seconds);
    } catch (const Infeasible &) {
      report_infeasible(settings);
      throw;
    } catch (const EmptyBlock &) {
      report_infeasible(settings);
      throw;
    }
  };
  return job.run(problem.pricing, [&](quarn::BlockPricer *pricer) {
    if (pricer != nullptr) return report_and_solve(*pricer);
    quarn::LocalTeam alone(1);
    quarn::BlockPricer own(problem.pricing, alone);
    return report_and_solve(own);
  });
}

static void add_options(CLI::App &app, Settings &settings) {
  examples::add_options(app, settings);
  app.get_option("FILE")->required();
  CLI::Option *file = app.add_option("--decomposition", settings.decomposition,
                                     "the blocks, as a .dec file; without one of these two "
                                     "options that beside FILE, or blocks are looked for")
                          ->type_name("FILE.dec");
  app.add_option("--linking-rows", settings.linking_rows,
                 "rows in whose names this is found are linking")
      ->type_name("REGEX")
      ->excludes(file);
  app.add_option("--solution", settings.solution_file,
                 "write the solution to this file, not to standard output")
      ->type_name("FILE");
  CLI::Option *root = app.add_flag("--root", settings.root, "the bound at the root alone");
  app.add_option("--nodes", settings.nodes, "of the search, most of them; 0: no limit")
      ->check(CLI::NonNegativeNumber)
      ->excludes(root);
  app.add_option("--candidates", settings.candidates, "for branching that the search compares")
      ->check(CLI::PositiveNumber)
      ->capture_default_str()
      ->excludes(root);
  app.add_flag("--keep-equal-blocks", settings.keep_equal, "price equal blocks one by one");
  app.add_option("--integer-seconds", settings.integer_seconds,
                 "for Cbc to find an integer solution made of the columns")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  app.add_option("--block-nodes", settings.limits.nodes,
                 "of Cbc's search for a block; what it has proved then is used")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  app.add_option("--block-seconds", settings.limits.seconds, "the same in seconds")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
}

/// Cbc and the interior-point solver ask again and again for the memory that they have just given
/// back. Returned to the system each time it takes half of the time of some programs.
static void keep_memory() {
#ifdef __GLIBC__
  mallopt(M_MMAP_THRESHOLD, 1 << 28);
  mallopt(M_TRIM_THRESHOLD, 1 << 29);
  mallopt(M_TOP_PAD, 1 << 24);
#endif
}

}  // namespace dantzig_wolfe

int main(int argc, char **argv) {
  dantzig_wolfe::keep_memory();
  examples::Job job(argc, argv);
  CLI::App app("Bounds and solutions of block-structured programs by column generation",
               "dantzig_wolfe");
  dantzig_wolfe::Settings settings;
  dantzig_wolfe::add_options(app, settings);
  job.add_options(app);
  if (const auto status = examples::parse(app, argc, argv)) return job.finish(*status);
  return job.finish(examples::run_guarded([&] { return dantzig_wolfe::run(settings, job); }));
}
