#include "examples/common/integer_search.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

#include "examples/common/master_solve.h"
#include "examples/common/output.h"
#ifdef QUARN_HAVE_CBC
#include "branch_and_price/cbc.hpp"
#endif

namespace examples {

namespace bp = quarn::branch_and_price;

static const std::vector<std::string> kSearchParts = {
    "cut-off", "early-branching", "node-tolerance", "dives", "own-heuristic",
    "cuts",    "trimming",        "reliability"};

void add_search_options(CLI::App &app, SearchOptions &options) {
  CLI::Option *optimal =
      app.add_flag("--optimal", options.optimal, "search for an integer solution with a proof");
  app.add_option("--nodes", options.nodes, "with --optimal: most nodes; 0: no limit")
      ->check(CLI::NonNegativeNumber)
      ->needs(optimal);
  app.add_option("--candidates", options.candidates,
                 "with --optimal: candidates that strong branching compares; 0: the default")
      ->check(CLI::NonNegativeNumber)
      ->needs(optimal);
  app.add_flag("--depth-first", options.depth_first, "with --optimal: the latest node first")
      ->needs(optimal);
  app.add_flag("--from-pool", options.from_pool,
               "with --optimal: nodes start from all columns, not from their parents'")
      ->needs(optimal);
#ifdef QUARN_HAVE_CBC
  app.add_flag("--integer-solver", options.integer_solver,
               "with --optimal: Cbc looks for solutions among the known columns")
      ->needs(optimal);
#endif
  app.add_option("--without", options.without, "with --optimal: parts of the search to leave out")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->check(CLI::IsMember(kSearchParts))
      ->needs(optimal);
}

bp::Settings search_settings(const Options &options, const SearchOptions &search,
                             bp::Settings settings) {
  const auto has = [&search](const char *part) {
    return std::find(search.without.begin(), search.without.end(), part) == search.without.end();
  };
  settings.master = settings_of(options);
  settings.tolerance = options.tolerance;
  settings.time_limit = options.time_limit;
  if (search.nodes > 0) settings.max_nodes = search.nodes;
  if (search.candidates > 0) settings.candidates = search.candidates;
  if (search.depth_first) settings.order = bp::Order::depth_first;
  if (search.from_pool) settings.start = bp::Start::pool;
  if (!has("cut-off")) settings.cut_off_early = false;
  if (!has("early-branching")) settings.branch_early = false;
  if (!has("node-tolerance")) settings.share_of_distance = 0.0;
  if (!has("dives")) settings.dive_every = 0;
  if (!has("own-heuristic")) settings.own_heuristic = false;
  if (!has("cuts")) settings.cut_rounds = 0;
  if (!has("trimming")) settings.trim_columns = false;
  if (!has("reliability")) settings.reliable_after = 0;
#ifdef QUARN_HAVE_CBC
  if (search.integer_solver) settings.integer_solver = bp::solve_by_cbc;
#endif
  settings.log = &std::cout;
  settings.save_file = options.save_file;
  settings.save_every = options.save_every;
  if (!options.save_file.empty()) settings.interrupt = stopped_by_signals();
  return settings;
}

bp::Outcome run_search(bp::Search &search, const Options &options, const bp::Settings &settings,
                       const std::function<std::any(const std::string &)> &read) {
  if (!options.resume_file.empty()) search.resume(options.resume_file, read);
  // Found out now, a mistake in the path costs no run.
  if (!options.save_file.empty()) search.save(options.save_file, settings.save_data);
  return search.run(settings);
}

void print_summary(const bp::Outcome &outcome) {
  std::printf("\nstatus          %s (%s)\n", to_string(outcome.status), outcome.message.c_str());
  if (outcome.has_solution) std::printf("value           %.10g\n", outcome.value);
  std::printf("bound           %.10g\n", outcome.bound);
  std::printf("root            %.10g after %.3f s\n", outcome.root_bound, outcome.root_seconds);
  if (outcome.cuts > 0) {
    std::printf("cuts            %lld, root with cuts %.10g\n",
                static_cast<long long>(outcome.cuts), outcome.root_cut_bound);
  }
  std::printf("nodes           %lld, %lld open, %lld probes\n",
              static_cast<long long>(outcome.nodes), static_cast<long long>(outcome.open),
              static_cast<long long>(outcome.probes));
  std::printf("early stops     %lld cut off, %lld branched\n",
              static_cast<long long>(outcome.cut_off_early),
              static_cast<long long>(outcome.branched_early));
  for (const bp::HeuristicReport &report : outcome.heuristics) {
    std::printf("%-15s %d calls, %d solutions, %d improved, %.3f s\n", report.name.c_str(),
                report.calls, report.found, report.improved, report.seconds);
  }
  std::printf("iterations      %lld\n", static_cast<long long>(outcome.iterations));
  std::printf("columns         %d\n", outcome.columns);
  std::printf("time            %.3f s\n", outcome.seconds);
  std::fflush(stdout);
}

// JSON

using Json = nlohmann::ordered_json;

/// JSON has no infinity.
static Json number(double value) {
  return std::fabs(value) < quarn::kInfinity ? Json(value) : Json(nullptr);
}

static Json heuristics(const bp::Outcome &outcome) {
  Json list = Json::array();
  for (const bp::HeuristicReport &report : outcome.heuristics) {
    list.push_back({{"name", report.name},
                    {"calls", report.calls},
                    {"found", report.found},
                    {"improved", report.improved},
                    {"best", number(report.best)},
                    {"seconds", report.seconds}});
  }
  return list;
}

static Json finds(const bp::Outcome &outcome) {
  Json list = Json::array();
  for (const bp::Find &find : outcome.finds) {
    list.push_back({{"by", find.by},
                    {"value", find.value},
                    {"seconds", find.seconds},
                    {"bound", number(find.bound)}});
  }
  return list;
}

static Json history(const bp::Outcome &outcome) {
  Json list = Json::array();
  for (const bp::NodeRecord &node : outcome.history) {
    list.push_back({{"node", node.node},
                    {"parent", node.parent},
                    {"depth", node.depth},
                    {"decisions", node.decisions},
                    {"fate", to_string(node.fate)},
                    {"bound", number(node.bound)},
                    {"value", number(node.value)},
                    {"early", node.ended_early},
                    {"iterations", node.iterations},
                    {"columns", node.columns},
                    {"cuts", node.cuts},
                    {"seconds", node.seconds},
                    {"tree_bound", number(node.tree_bound)},
                    {"incumbent", number(node.incumbent)},
                    {"open", node.open}});
  }
  return list;
}

static bool is_solved(bp::Status status) {
  return status == bp::Status::optimal || status == bp::Status::gap_limit ||
         status == bp::Status::time_limit || status == bp::Status::node_limit;
}

/// As the C library numbers them, see docs/statuses.md.
static int library_status(const bp::Outcome &outcome) {
  if (is_solved(outcome.status)) return 0;
  if (outcome.status == bp::Status::infeasible) return 5;
  return outcome.status == bp::Status::stopped ? 2 : 3;
}

void write_json(const std::string &instance, const bp::Outcome &outcome, const std::string &path) {
  const Json value = outcome.has_solution ? Json(outcome.value) : Json(nullptr);
  const Json object = {{"instance", instance},
                       {"status", library_status(outcome)},
                       {"search_status", to_string(outcome.status)},
                       {"lower_bound", number(outcome.bound)},
                       {"upper_bound", value},
                       {"relative_gap", number(outcome.gap)},
                       {"outer_iterations", outcome.iterations},
                       {"columns", outcome.columns},
                       {"time_total", outcome.seconds},
                       {"integer_value", value},
                       {"nodes", outcome.nodes},
                       {"open_nodes", outcome.open},
                       {"probes", outcome.probes},
                       {"cut_off_early", outcome.cut_off_early},
                       {"branched_early", outcome.branched_early},
                       {"root_bound", number(outcome.root_bound)},
                       {"root_seconds", outcome.root_seconds},
                       {"root_cut_bound", number(outcome.root_cut_bound)},
                       {"cuts", outcome.cuts},
                       {"heuristics", heuristics(outcome)},
                       {"finds", finds(outcome)},
                       {"history", history(outcome)}};
  write_json_file(object, path);
}

int exit_status(const bp::Outcome &outcome) {
  return is_solved(outcome.status) ? kSolved : kNotSolved;
}

}  // namespace examples
