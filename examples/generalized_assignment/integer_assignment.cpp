#include "examples/generalized_assignment/integer_assignment.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "examples/generalized_assignment/annealing.h"

namespace generalized_assignment {

namespace bp = quarn::branch_and_price;

// A share this close to 0 or 1 is whole.
constexpr double kWhole = 1e-5;
constexpr size_t kMostCandidates = 16;
// Strong branching comes back to a node's children: their pricing is kept for as many.
constexpr size_t kKeptNodes = 4;
// Of annealing: half a second at the root, a hundredth later.
constexpr int64_t kMovesAtRoot = 4000000, kMoves = 100000;

// Rounding

namespace {

/// An assignment that is being changed, with the room that each agent has left.
class Workshop {
 public:
  explicit Workshop(const Instance &instance)
      : instance_(instance), assignment_(instance.tasks(), instance.agents.size()) {
    for (const Agent &agent : instance.agents) room_.push_back(agent.capacity);
  }

  const Assignment &assignment() const { return assignment_; }

  bool give(size_t task, const std::vector<std::vector<double>> &shares) {
    const size_t agents = instance_.agents.size();
    size_t best = agents;
    for (size_t i = 0; i < agents; ++i) {
      if (weight(i, task) > room_[i]) continue;
      if (best == agents || shares[i][task] > shares[best][task] + kWhole ||
          (shares[i][task] > shares[best][task] - kWhole && cost(i, task) < cost(best, task))) {
        best = i;
      }
    }
    if (best == agents) return false;
    put(task, best);
    return true;
  }

  void improve() {
    while (move_one() || exchange_two()) {
    }
  }

 private:
  int64_t weight(size_t i, size_t j) const { return instance_.agents[i].weight[j]; }
  double cost(size_t i, size_t j) const { return instance_.agents[i].cost[j]; }

  void put(size_t task, size_t agent) {
    if (assignment_[task] < room_.size())
      room_[assignment_[task]] += weight(assignment_[task], task);
    assignment_[task] = agent;
    room_[agent] -= weight(agent, task);
  }

  bool move_one() {
    for (size_t j = 0; j < assignment_.size(); ++j) {
      for (size_t i = 0; i < room_.size(); ++i) {
        if (cost(i, j) >= cost(assignment_[j], j) || weight(i, j) > room_[i]) continue;
        put(j, i);
        return true;
      }
    }
    return false;
  }

  bool exchange_two() {
    for (size_t j = 0; j < assignment_.size(); ++j) {
      for (size_t k = 0; k < j; ++k) {
        const size_t a = assignment_[j], b = assignment_[k];
        if (a == b || cost(a, k) + cost(b, j) >= cost(a, j) + cost(b, k)) continue;
        if (weight(a, k) > room_[a] + weight(a, j) || weight(b, j) > room_[b] + weight(b, k)) {
          continue;
        }
        put(j, b);
        put(k, a);
        return true;
      }
    }
    return false;
  }

  const Instance &instance_;
  Assignment assignment_;
  std::vector<int64_t> room_;
};

}  // namespace

std::optional<Assignment> assign_near(const Instance &instance,
                                      const std::vector<std::vector<double>> &shares) {
  std::vector<double> clearest(instance.tasks(), 0.0);
  for (const std::vector<double> &agent : shares) {
    for (size_t j = 0; j < clearest.size(); ++j) clearest[j] = std::max(clearest[j], agent[j]);
  }
  std::vector<size_t> order(instance.tasks());
  std::iota(order.begin(), order.end(), size_t{0});
  std::stable_sort(order.begin(), order.end(), [&](size_t j, size_t k) {
    return std::round(clearest[j] * 1e4) > std::round(clearest[k] * 1e4);
  });
  Workshop workshop(instance);
  for (const size_t task : order) {
    if (!workshop.give(task, shares)) return std::nullopt;
  }
  workshop.improve();
  return workshop.assignment();
}

double cost_of(const Instance &instance, const Assignment &assignment) {
  double sum = 0.0;
  for (size_t j = 0; j < assignment.size(); ++j) sum += instance.agents[assignment[j]].cost[j];
  return sum;
}

// Pricing

IntegerAssignment::IntegerAssignment(const Instance &instance, const quarn::Master &master,
                                     int32_t dual_vectors)
    : instance_(instance), rows_(master.rows()), dual_vectors_(dual_vectors) {
  bool whole = true;
  for (size_t j = 0; j < instance.tasks(); ++j) {
    double dearest = instance.agents.front().cost[j];
    for (const Agent &agent : instance.agents) {
      dearest = std::max(dearest, agent.cost[j]);
      whole = whole && agent.cost[j] == std::round(agent.cost[j]);
    }
    worst_cost_ += dearest;
  }
  granularity_ = whole ? 1.0 : 0.0;
}

/// Tasks that a decision takes from an agent are heavier than its capacity.
Instance IntegerAssignment::restricted(const std::vector<bp::Decision> &decisions) const {
  Instance instance = instance_;
  for (const bp::Decision &decision : decisions) {
    const auto agent = static_cast<size_t>(decision.numbers[0]);
    const auto task = static_cast<size_t>(decision.numbers[1]);
    for (size_t i = 0; i < instance.agents.size(); ++i) {
      if ((i == agent) == (decision.kind == bp::kWith)) continue;
      instance.agents[i].weight[task] = instance.agents[i].capacity + 1;
    }
  }
  return instance;
}

IntegerAssignment::Node &IntegerAssignment::node_of(const std::vector<bp::Decision> &decisions) {
  for (Node &node : nodes_) {
    if (node.decisions == decisions) return node;
  }
  if (nodes_.size() == kKeptNodes) nodes_.pop_front();
  nodes_.push_back({decisions, restricted(decisions), nullptr});
  return nodes_.back();
}

void IntegerAssignment::add(const std::vector<Bundle> &bundles, quarn::Columns &columns) const {
  for (const Bundle &bundle : bundles) {
    std::vector<quarn::Entry> entries;
    for (const int32_t task : bundle.tasks) {
      entries.push_back({rows_[static_cast<size_t>(task)], 1.0});
    }
    entries.push_back({rows_[instance_.tasks() + bundle.agent], 1.0});
    columns.add(bundle.cost, entries);
  }
}

quarn::Answer IntegerAssignment::price(const bp::Subproblem &at, const quarn::Duals &duals,
                                       quarn::Columns &columns) {
  if (at.dive) return price_rest(at, duals, columns);
  Node &node = node_of(at.decisions);
  if (node.search == nullptr) {
    node.search = std::make_unique<BundleSearch>(node.instance, dual_vectors_);
  }
  const double upper = std::min({duals.upper_bound(), duals.objective(), 2.0 * worst_cost_});
  const bool first = duals.iteration() == 0;
  const Findings findings = node.search->search(duals.values().data(), upper, first);
  add(findings.bundles, columns);
  return quarn::Answer::bound(findings.lower_bound);
}

/// In a dive some agents and tasks are done with: nobody takes such a task.
quarn::Answer IntegerAssignment::price_rest(const bp::Subproblem &at, const quarn::Duals &duals,
                                            quarn::Columns &columns) {
  Instance rest = restricted(at.decisions);
  std::vector<double> u = duals.values();
  for (size_t j = 0; j < rest.tasks(); ++j) {
    if (at.master.range(rows_[j]).lower > 0.5) continue;
    u[j] = 0.0;
    for (Agent &agent : rest.agents) agent.weight[j] = agent.capacity + 1;
  }
  for (size_t i = 0; i < rest.agents.size(); ++i) {
    if (at.master.range(rows_[rest.tasks() + i]).upper > 0.5) continue;
    Agent &agent = rest.agents[i];
    std::fill(agent.weight.begin(), agent.weight.end(), agent.capacity + 1);
  }
  const Findings findings = BundleSearch(rest, 1).search(u.data(), worst_cost_, false);
  add(findings.bundles, columns);
  return quarn::Answer::bound(findings.lower_bound);
}

// Branching

size_t IntegerAssignment::agent_of(const std::vector<quarn::Entry> &entries) const {
  for (const auto &[row, one] : entries) {
    if (row.is_block()) return static_cast<size_t>(row.index()) - instance_.tasks();
  }
  return instance_.agents.size();
}

bool IntegerAssignment::allows(const bp::Decision &decision, const quarn::Column &,
                               const std::vector<quarn::Entry> &entries) const {
  const bool same = agent_of(entries) == static_cast<size_t>(decision.numbers[0]);
  if (same == (decision.kind == bp::kWith)) return true;
  return std::none_of(entries.begin(), entries.end(), [&](const quarn::Entry &entry) {
    return entry.first.index() == decision.numbers[1];
  });
}

std::vector<std::vector<double>> IntegerAssignment::shares(const bp::Relaxation &relaxation) const {
  std::vector<std::vector<double>> shares(instance_.agents.size(),
                                          std::vector<double>(instance_.tasks(), 0.0));
  for (const auto &[column, value] : relaxation.values) {
    const std::vector<quarn::Entry> entries = relaxation.at.master.entries(column);
    std::vector<double> &agent = shares[agent_of(entries)];
    for (const auto &[row, one] : entries) {
      if (!row.is_block()) agent[static_cast<size_t>(row.index())] += value;
    }
  }
  return shares;
}

/// The shares nearest to one half.
std::vector<bp::Branching> IntegerAssignment::branch(const bp::Relaxation &relaxation) {
  const std::vector<std::vector<double>> part = shares(relaxation);
  std::vector<std::pair<double, std::vector<int64_t>>> order;
  for (size_t i = 0; i < part.size(); ++i) {
    for (size_t j = 0; j < part[i].size(); ++j) {
      if (part[i][j] < kWhole || part[i][j] > 1.0 - kWhole) continue;
      // Rounded, so that ties are not decided by a solver's last digits.
      order.push_back({std::round(std::fabs(part[i][j] - 0.5) * 1e4),
                       {static_cast<int64_t>(i), static_cast<int64_t>(j)}});
    }
  }
  std::sort(order.begin(), order.end());
  if (order.size() > kMostCandidates) order.resize(kMostCandidates);
  std::vector<bp::Branching> candidates;
  for (const auto &[distance, numbers] : order) {
    candidates.push_back({{{bp::kWith, numbers}}, {{bp::kWithout, numbers}}});
  }
  return candidates;
}

// Solutions

/// Whatever the agents can do.
static Assignment largest_shares(const std::vector<std::vector<double>> &shares) {
  Assignment assignment(shares[0].size(), 0);
  for (size_t j = 0; j < assignment.size(); ++j) {
    for (size_t i = 1; i < shares.size(); ++i) {
      if (shares[i][j] > shares[assignment[j]][j]) assignment[j] = i;
    }
  }
  return assignment;
}

std::optional<bp::Solution> IntegerAssignment::heuristic(const bp::Relaxation &relaxation) {
  const std::vector<std::vector<double>> part = shares(relaxation);
  std::optional<Assignment> found = assign_near(instance_, part);
  const int64_t moves = calls_ == 0 ? kMovesAtRoot : kMoves;
  const Assignment start = found ? *found : largest_shares(part);
  const std::optional<Assignment> better = anneal(instance_, start, moves, ++calls_);
  if (better && (!found || cost_of(instance_, *better) < cost_of(instance_, *found)))
    found = better;
  if (!found) return std::nullopt;
  bp::Solution solution;
  for (size_t i = 0; i < instance_.agents.size(); ++i) {
    bp::SolutionColumn column;
    for (size_t j = 0; j < found->size(); ++j) {
      if ((*found)[j] != i) continue;
      column.cost += instance_.agents[i].cost[j];
      column.entries.push_back({rows_[j], 1.0});
    }
    if (column.entries.empty()) continue;
    column.entries.push_back({rows_[instance_.tasks() + i], 1.0});
    column.value = 1.0;
    solution.push_back(std::move(column));
  }
  return solution;
}

Assignment IntegerAssignment::assignment_of(const bp::Solution &solution) const {
  Assignment assignment(instance_.tasks(), instance_.agents.size());
  for (const bp::SolutionColumn &column : solution) {
    const size_t agent = agent_of(column.entries);
    for (const auto &[row, one] : column.entries) {
      if (row.is_block()) continue;
      size_t &holder = assignment[static_cast<size_t>(row.index())];
      if (holder == instance_.agents.size()) holder = agent;
    }
  }
  return assignment;
}

}  // namespace generalized_assignment
