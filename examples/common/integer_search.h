#ifndef EXAMPLES_COMMON_INTEGER_SEARCH_H
#define EXAMPLES_COMMON_INTEGER_SEARCH_H

#include <any>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "branch_and_price/branch_and_price.hpp"
#include "examples/common/options.h"

namespace examples {

/// The options of programs that search for integer solutions with a proof.
struct SearchOptions {
  bool optimal = false;         ///< search
  int64_t nodes = 0;            ///< most of them; 0: no limit
  int candidates = 0;           ///< for strong branching; 0: as the program thinks best
  bool depth_first = false;     ///< in place of best bound with dives
  bool from_pool = false;       ///< nodes start from all columns, not from their parents' masters
  bool integer_solver = false;  ///< Cbc over the known columns, in builds that have it
  /// What is left out, for measurements: early stops and heuristics.
  std::vector<std::string> without;
};

/// Declares `--optimal` and what goes with it.
void add_search_options(CLI::App &app, SearchOptions &options);

/// The settings that the options ask for; what a program changes in `settings` beforehand stays
/// where they ask for nothing. Nodes are printed as they come.
quarn::branch_and_price::Settings search_settings(const Options &options,
                                                  const SearchOptions &search,
                                                  quarn::branch_and_price::Settings settings = {});

/// Resumes the search from --resume, runs it, saves it to --save. `read` makes the objects of
/// columns from the text that `settings.save_data` has made of them.
quarn::branch_and_price::Outcome run_search(
    quarn::branch_and_price::Search &search, const Options &options,
    const quarn::branch_and_price::Settings &settings,
    const std::function<std::any(const std::string &)> &read = nullptr);

/// Prints how the search ended, with what each heuristic found.
void print_summary(const quarn::branch_and_price::Outcome &outcome);

/**
 * Writes the outcome as one JSON object: the keys of write_json() in report.h, where lower_bound is
 * that of the tree, upper_bound and integer_value the solution's value (null when there is none);
 * and search_status, nodes, open_nodes, root_bound, root_seconds, early stops, heuristics, finds
 * and history, a line for each node.
 */
void write_json(const std::string &instance, const quarn::branch_and_price::Outcome &outcome,
                const std::string &path);

/// kSolved when the search ended as optimal, or at a limit with the gap it reports.
int exit_status(const quarn::branch_and_price::Outcome &outcome);

}  // namespace examples

#endif
