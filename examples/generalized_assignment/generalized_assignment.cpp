#include <CLI/CLI.hpp>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "examples/common/integer_search.h"
#include "examples/common/job.h"
#include "examples/common/master_solve.h"
#include "examples/common/options.h"
#include "examples/common/report.h"
#include "examples/common/text_reader.h"
#include "examples/generalized_assignment/agent_blocks.h"
#include "examples/generalized_assignment/instance.h"
#include "examples/generalized_assignment/integer_assignment.h"
#include "examples/generalized_assignment/master.h"

namespace generalized_assignment {

// The master problem, its pricing and its bound are derived in README.md.

constexpr double kLeastShare = 1e-4;  // of a bundle that is printed

namespace bp = quarn::branch_and_price;

struct Settings : MasterSettings {
  examples::SearchOptions search;
  std::string generate;  ///< what to generate; empty: read the file
  bool bundles = false;  ///< print the bundles in use at the end
};

constexpr const char *kGenerator = "CLASS,TASKS,AGENTS,SEED";

static Instance load(const Settings &settings) {
  if (settings.generate.empty()) return read_instance(settings.file);
  const examples::Line fields = examples::generator_fields(settings.generate, kGenerator);
  const std::string &kind = fields.text(0);
  if (kind.size() != 1 || std::string("CDEK").find(kind) == std::string::npos) {
    fields.fail("the class must be C, D, E or K, not " + kind);
  }
  const int64_t tasks = fields.integer(1, "the number of tasks", 1, 10000);
  const int64_t agents = fields.integer(2, "the number of agents", 1, 10000);
  return generate_instance(kind[0], static_cast<int32_t>(tasks), static_cast<int32_t>(agents),
                           fields.integer(3, "the seed", 1, 2147483646));
}

static void print_bundles(const quarn::Master &master, const quarn::Result &result, size_t tasks) {
  std::puts("\n    agent     share        cost  tasks");
  for (const auto &[column, share] : result.values) {
    if (share <= kLeastShare) continue;
    std::vector<int> rows;
    for (const auto &[row, one] : master.entries(column)) rows.push_back(row.index());
    std::printf("%9d %9.6f %11g ", rows.back() - static_cast<int>(tasks) + 1, share, column.cost());
    rows.pop_back();
    for (const int row : rows) std::printf(" %d", row + 1);
    std::printf("\n");
  }
}

static int solve(const Settings &settings, const Instance &instance, quarn::BlockPricer *pricer) {
  quarn::Master master = examples::resumed(make_master(instance), settings);
  Oracle oracle(instance, master, settings, pricer);
  quarn::Settings how = examples::settings_of(settings, first_duals(instance));
  how.penalty = first_penalty(instance);
  const quarn::Result result = examples::solve(master, std::ref(oracle), settings, how);
  const int status = examples::exit_status(result);
  if (settings.bundles && status == examples::kSolved) {
    print_bundles(master, result, instance.tasks());
  }
  examples::print_summary(result);
  const std::string &name = settings.generate.empty() ? settings.file : settings.generate;
  examples::write_json({name, result, std::nullopt}, settings.json_file);
  return status;
}

static void print_assignment(const Instance &instance, const Assignment &assignment) {
  std::puts("\n    agent        load    capacity  tasks");
  for (size_t i = 0; i < instance.agents.size(); ++i) {
    int64_t weight = 0;
    for (size_t j = 0; j < assignment.size(); ++j) {
      if (assignment[j] == i) weight += instance.agents[i].weight[j];
    }
    std::printf("%9zu %11lld %11lld ", i + 1, static_cast<long long>(weight),
                static_cast<long long>(instance.agents[i].capacity));
    for (size_t j = 0; j < assignment.size(); ++j) {
      if (assignment[j] == i) std::printf(" %zu", j + 1);
    }
    std::printf("\n");
  }
}

/// To the integer optimum.
static int search(const Settings &settings, const Instance &instance) {
  const std::string &name = settings.generate.empty() ? settings.file : settings.generate;
  if (instance.optional) {
    throw examples::InputError(name, 0, "--optimal is for classes in which every task is done");
  }
  const quarn::Master master = make_master(instance);
  IntegerAssignment problem(instance, master, settings.dual_vectors);
  bp::Search tree(problem, master);
  bp::Settings how;
  how.dive_every = 0;  // a bundle is too large a step
  how = examples::search_settings(settings, settings.search, how);
  how.master.penalty = first_penalty(instance);
  how.master.first_duals = first_duals(instance);
  const bp::Outcome outcome = examples::run_search(tree, settings, how);
  examples::print_summary(outcome);
  if (outcome.has_solution) print_assignment(instance, problem.assignment_of(outcome.solution));
  examples::write_json(name, outcome, settings.json_file);
  return examples::exit_status(outcome);
}

static int run(const Settings &settings, examples::Job &job) {
  const Instance instance = load(settings);
  if (settings.search.optimal) return search(settings, instance);
  AgentBlocks blocks(instance);
  return job.run(blocks,
                 [&](quarn::BlockPricer *pricer) { return solve(settings, instance, pricer); });
}

static void add_options(CLI::App &app, Settings &settings) {
  examples::add_options(app, settings);
  examples::add_generator(app, settings.generate, kGenerator,
                          "make an instance instead; CLASS is one of the published classes C, D "
                          "and E, or K for a multiple knapsack problem");
  app.add_option("--prices", settings.dual_vectors,
                 "dual vectors at which an answer looks for bundles, the master's own included")
      ->check(CLI::Range(1, 1000))
      ->capture_default_str();
  examples::add_search_options(app, settings.search);
  app.add_flag("--bundles", settings.bundles, "print the bundles in use at the end");
}

}  // namespace generalized_assignment

int main(int argc, char **argv) {
  examples::Job job(argc, argv);
  CLI::App app("Generalized assignment by column generation", "generalized_assignment");
  generalized_assignment::Settings settings;
  generalized_assignment::add_options(app, settings);
  job.add_options(app);
  if (const auto status = examples::parse(app, argc, argv)) return job.finish(*status);
  return job.finish(
      examples::run_guarded([&] { return generalized_assignment::run(settings, job); }));
}
