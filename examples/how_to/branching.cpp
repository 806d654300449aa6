// Agents and jobs, every job to one agent, by branch and bound: each node is a copy of its parent.
// The cheapest assignment, by trying all of them, costs 76.
#include <cmath>
#include <cstdio>
#include <quarn_cpp/quarn.hpp>

#include "exit_status.h"

const size_t kAgents = 3, kJobs = 7;
const int kHours[kAgents][kJobs] = {
    {7, 9, 4, 8, 6, 9, 5}, {8, 5, 7, 6, 9, 4, 8}, {6, 8, 9, 5, 7, 8, 6}};
const int kCost[kAgents][kJobs] = {
    {12, 9, 14, 8, 11, 10, 13}, {9, 15, 8, 12, 10, 14, 9}, {13, 11, 10, 9, 15, 8, 12}};
const int kAvailable[kAgents] = {16, 15, 17};

/// A node: its master, and which agent may do which job in it.
struct Node {
  quarn::Master master;
  bool allowed[kAgents][kJobs];
};

/// The jobs of a column as bits, and the agent who does them.
struct Bundle {
  size_t agent;
  unsigned jobs;
};

/// What a node's oracle offers: all bundles are few enough to be looked at.
quarn::Answer price(Node &node, const quarn::Duals &duals, quarn::Columns &columns) {
  const std::vector<quarn::Row> rows = node.master.rows();  // the jobs, then the agents
  std::vector<std::pair<quarn::Row, double>> best;
  for (size_t k = 0; k < kAgents; ++k) {
    const quarn::Row agent = rows[kJobs + k];
    best.push_back({agent, 1e9});
    for (unsigned jobs = 0; jobs < 1u << kJobs; ++jobs) {
      int hours = 0, cost = 0;
      bool fits = true;
      std::vector<quarn::Entry> entries = {{agent, 1.0}};
      for (size_t j = 0; j < kJobs; ++j) {
        if ((jobs >> j & 1u) == 0) continue;
        hours += kHours[k][j], cost += kCost[k][j];
        fits = fits && node.allowed[k][j];
        entries.push_back({rows[j], 1.0});
      }
      if (!fits || hours > kAvailable[k]) continue;
      const double reduced = duals.reduced_cost(cost, entries);
      if (reduced < best[k].second) best[k].second = reduced;
      if (reduced < -1e-9) columns.add(cost, entries, Bundle{k, jobs});
    }
  }
  return quarn::Answer::best_reduced_costs(best);
}

/// Share of job j that agent k does in the solution.
double share(const quarn::Result &result, size_t k, size_t j) {
  double sum = 0.0;
  for (const auto &[column, value] : result.values) {
    const auto &bundle = column.get<Bundle>();
    if (bundle.agent == k && (bundle.jobs >> j & 1u) != 0) sum += value;
  }
  return sum;
}

/// The node with a job that one agent must do, or must not.
Node child(const Node &parent, size_t agent, size_t job, bool must) {
  Node node = parent;
  for (size_t k = 0; k < kAgents; ++k) {
    if ((k == agent) != must) node.allowed[k][job] = false;
  }
  node.master.remove_columns([&](const quarn::Column &column) {
    const auto &bundle = column.get<Bundle>();
    return (bundle.jobs >> job & 1u) != 0 && !node.allowed[bundle.agent][job];
  });
  return node;
}

/// Improves `best`, the cost of the cheapest assignment so far, by those of the node.
void branch(Node &node, double &best, int &nodes) {
  ++nodes;
  const quarn::Result result =
      node.master.solve([&](const quarn::Duals &duals, quarn::Columns &columns) {
        return price(node, duals, columns);
      });
  if (result.status != quarn::Status::optimal || result.lower_bound > best - 1.0 + 1e-3) return;
  for (size_t k = 0; k < kAgents; ++k) {
    for (size_t j = 0; j < kJobs; ++j) {
      if (std::fabs(share(result, k, j) - 0.5) > 0.49) continue;
      for (const bool must : {true, false}) {
        Node next = child(node, k, j, must);
        branch(next, best, nodes);
      }
      return;
    }
  }
  best = result.upper_bound;
}

int main() {
  Node root = {quarn::Master(quarn::Sense::minimize), {}};
  for (size_t j = 0; j < kJobs; ++j) root.master.add_row(quarn::RowSense::equal, 1.0);
  for (size_t k = 0; k < kAgents; ++k) root.master.add_block();
  for (auto &agent : root.allowed) std::fill(std::begin(agent), std::end(agent), true);

  double best = 1e9;
  int nodes = 0;
  branch(root, best, nodes);
  std::printf("cost %.3f after %d nodes\n", best, nodes);
  return exit_status(nodes > 1 && std::fabs(best - 76.0) < 1e-2);
}
