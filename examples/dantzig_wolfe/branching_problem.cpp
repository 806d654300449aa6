#include "examples/dantzig_wolfe/branching_problem.h"

#include <algorithm>
#include <any>
#include <cmath>
#include <string>
#include <utility>

#include "examples/dantzig_wolfe/objective_step.h"
#include "examples/dantzig_wolfe/relaxation.h"
#include "examples/dantzig_wolfe/restricted_master.h"

namespace dantzig_wolfe {

namespace bp = quarn::branch_and_price;

constexpr const char *kAtMost = "at_most";
constexpr const char *kAtLeast = "at_least";
constexpr const char *kOutside = "outside";
// A value this close to a whole number is not branched on, as check() does not object to it.
constexpr double kWhole = 1e-6;
// One this close is rounded; what comes of it is checked.
constexpr double kNearlyWhole = 1e-4;
// The search takes a child to exclude what loses 1e-6 of its columns.
constexpr double kExcluded = 2e-6;
constexpr size_t kMostCandidates = 16;
// Cbc looks at this node's columns, and again whenever there have been twice as many; for so many
// seconds.
constexpr int64_t kFirstHeuristic = 10;
constexpr double kHeuristicSeconds = 2.0;

static size_t at(int64_t index) { return static_cast<size_t>(index); }

/// Rays are scaled, so their costs are multiples of nothing.
bool has_rays(const std::vector<Block> &blocks) {
  return std::any_of(blocks.begin(), blocks.end(), [](const Block &block) {
    return std::any_of(block.variables.begin(), block.variables.end(), [](const auto &variable) {
      return std::isinf(variable.lower) || std::isinf(variable.upper);
    });
  });
}

BranchingProblem::BranchingProblem(const Reformulation &reformulation, BlockPricing &pricing,
                                   quarn::BlockPricer &pricer)
    : reformulation_(reformulation),
      merged_(reformulation),
      pricing_(pricing),
      pricer_(pricer),
      rows_(reformulation.master().rows()),
      next_heuristic_(kFirstHeuristic) {
  if (has_rays(reformulation.blocks())) return;
  granularity_ = objective_step(reformulation.model());
  // The points of the first block have their share of the constant.
  if (reformulation.constant() != 0.0) granularity_ /= reformulation.blocks()[0].times();
}

std::vector<Block> kept_apart(const std::vector<Block> &blocks) {
  std::vector<Block> result;
  for (const Block &block : blocks) {
    for (const std::vector<int32_t> &copy : block.copies) {
      result.push_back(block);
      result.back().copies = {copy};
    }
  }
  return result;
}

// Columns

/// Columns of variables outside of blocks carry their text, all others the object itself.
BranchingProblem::Content BranchingProblem::content(const quarn::Column &column) {
  if (const auto *found = std::any_cast<Content>(&column.data())) return *found;
  return std::make_shared<const MasterColumn>(from_text(column.get<std::string>()));
}

std::string BranchingProblem::data_to_text(const std::any &data) {
  if (const auto *found = std::any_cast<Content>(&data)) return to_text(**found);
  return std::any_cast<std::string>(data);
}

std::any BranchingProblem::data_from_text(const std::string &text) {
  return Content(std::make_shared<const MasterColumn>(from_text(text)));
}

std::vector<quarn::Entry> BranchingProblem::handles(const std::vector<Entry> &entries) const {
  std::vector<quarn::Entry> result;
  for (const Entry &entry : entries) result.push_back({rows_[at(entry.index)], entry.value});
  return result;
}

void BranchingProblem::add_columns(const std::vector<MasterColumn> &found,
                                   quarn::Master &master) const {
  std::vector<double> costs, values;
  std::vector<int64_t> starts = {0};
  std::vector<int32_t> rows;
  std::vector<std::any> data;
  for (const MasterColumn &column : found) {
    const Coefficients made = reformulation_.master_coefficients(column);
    for (const Entry &entry : made.entries) {
      rows.push_back(entry.index);
      values.push_back(entry.value);
    }
    costs.push_back(made.cost);
    starts.push_back(static_cast<int64_t>(rows.size()));
    data.emplace_back(Content(std::make_shared<const MasterColumn>(column)));
  }
  if (!costs.empty()) master.add_columns(costs, starts, rows, values, std::move(data));
}

// Pricing

void BranchingProblem::bound_by(const bp::Decision &decision) {
  if (merged_.is_mine(decision)) return;
  if (decision.kind == kOutside) {
    const auto &[sense, rhs] = *decision.row;
    pricing_.tighten_outside(at(decision.numbers[0]),
                             sense == quarn::RowSense::at_least ? rhs : -kInfinite,
                             sense == quarn::RowSense::at_most ? rhs : kInfinite);
    return;
  }
  const auto bound = static_cast<double>(decision.numbers[2]);
  pricing_.tighten(at(decision.numbers[0]), static_cast<int32_t>(decision.numbers[1]),
                   decision.kind == kAtLeast ? bound : -kInfinite,
                   decision.kind == kAtMost ? bound : kInfinite);
}

/// No point takes more of a row than a dive has left.
void BranchingProblem::bound_by_what_is_left(const quarn::Master &master) {
  const std::vector<Block> &blocks = reformulation_.blocks();
  for (size_t k = 0; k < blocks.size(); ++k) {
    for (size_t j = 0; j < blocks[k].variables.size(); ++j) {
      const BlockVariable &variable = blocks[k].variables[j];
      double most = variable.upper;
      for (const Entry &entry : variable.linking) {
        const int32_t row = reformulation_.rows()[at(entry.index)].master;
        if (row < 0 || entry.value <= 0.0) continue;
        most =
            std::min(most, std::floor(master.range(rows_[at(row)]).upper / entry.value + kWhole));
      }
      if (most < variable.upper) {
        pricing_.tighten(k, static_cast<int32_t>(j), -kInfinite, std::max(most, variable.lower));
      }
    }
  }
}

void BranchingProblem::set_bounds(const bp::Subproblem &node) {
  if (!node.dive && applied_ == node.decisions) return;
  pricing_.loosen();
  for (const bp::Decision &decision : node.decisions) bound_by(decision);
  if (node.dive) bound_by_what_is_left(node.master);
  applied_.reset();
  if (!node.dive) applied_ = node.decisions;
}

/// Tells pricing of the decisions on merged blocks; returns what their rows add to the bound.
double BranchingProblem::set_prices(const bp::Subproblem &node, const quarn::Duals &duals) {
  const size_t blocks = reformulation_.blocks().size();
  BlockPricing::NodePrices prices = {{}, std::vector<std::vector<PricedSet>>(blocks), {}};
  double sum = 0.0;
  for (size_t d = 0; d < node.decisions.size(); ++d) {
    const bp::Decision &decision = node.decisions[d];
    if (!merged_.is_mine(decision)) continue;
    double dual = 0.0;
    if (decision.row) {
      dual = reformulation_.model().sign() * duals[node.rows[d]];
      if (decision.row->sense == quarn::RowSense::at_least) dual = std::max(0.0, dual);
      if (decision.row->sense == quarn::RowSense::at_most) dual = std::min(0.0, dual);
      sum += dual * decision.row->rhs;
    }
    merged_.price(decision, dual, &prices);
  }
  for (size_t k = 0; k < blocks; ++k) {
    const quarn::Row &row = rows_[at(reformulation_.convexity(k))];
    prices.closed.push_back(node.dive && node.master.range(row).upper < 0.5 ? 1 : 0);
  }
  pricing_.set_node(std::move(prices));
  return sum;
}

double BranchingProblem::entry_of(const bp::Decision &decision, const MasterColumn &column) const {
  if (decision.kind != kOutside) return merged_.coefficient(decision, column);
  const bool counts = column.kind == MasterColumn::Kind::outside &&
                      static_cast<int64_t>(column.owner) == decision.numbers[0];
  return counts ? 1.0 : 0.0;
}

void BranchingProblem::add_columns(const bp::Subproblem &node, const quarn::BlockRound &round,
                                   quarn::Columns &columns) const {
  for (size_t j = 0; j < round.columns.size(); ++j) {
    const quarn::BlockColumn column = round.columns[j];
    std::vector<quarn::Entry> entries;
    for (size_t t = 0; t < column.length; ++t) {
      entries.push_back({rows_[at(column.rows[t])], column.values[t]});
    }
    const auto made = std::make_shared<const MasterColumn>(from_text(std::string(column.data)));
    for (size_t d = 0; d < node.decisions.size(); ++d) {
      const double entry = node.decisions[d].row ? entry_of(node.decisions[d], *made) : 0.0;
      if (entry != 0.0) entries.push_back({node.rows[d], entry});
    }
    columns.add(column.cost, entries, Content(made));
  }
}

/// The right-hand sides are not those of the bound (2) there.
quarn::Answer BranchingProblem::answer_in_dive(const quarn::Duals &duals,
                                               const quarn::BlockRound &round) const {
  const double sign = reformulation_.model().sign();
  std::vector<std::pair<quarn::Row, double>> best;
  for (size_t k = 0; k < round.answers.size(); ++k) {
    const double times = reformulation_.blocks()[k].times();
    const quarn::Row &row = rows_[at(reformulation_.convexity(k))];
    const double constant = k == 0 ? reformulation_.constant() : 0.0;
    best.emplace_back(row, sign * (round.answers[k].value + constant) / times - duals[row]);
  }
  return quarn::Answer::best_reduced_costs(std::move(best));
}

quarn::Answer BranchingProblem::price(const bp::Subproblem &node, const quarn::Duals &duals,
                                      quarn::Columns &columns) {
  set_bounds(node);
  const double rows = set_prices(node, duals);
  const quarn::BlockRound round =
      pricer_.price(quarn::BlockDuals(duals), [&duals] { return duals.out_of_time(); });
  // Every number is a bound of what has no solution; this one closes the gap.
  if (pricing_.found_empty_block()) return quarn::Answer::bound(duals.objective());
  add_columns(node, round, columns);
  if (!round.proved) return quarn::Answer::heuristic();
  if (node.dive) return answer_in_dive(duals, round);
  const double value = pricing_.bound(duals.values(), round) + rows;
  if (value <= -kInfinite) return quarn::Answer::heuristic();
  return quarn::Answer::bound(reformulation_.model().sign() * value);
}

// Branching

bool BranchingProblem::allows(const bp::Decision &decision, const quarn::Column &column,
                              const std::vector<quarn::Entry> &) const {
  if (decision.kind == kOutside) return true;
  const Content made = content(column);
  if (merged_.is_mine(decision)) return merged_.allows(decision, *made);
  if (made->kind == MasterColumn::Kind::outside) return true;
  if (static_cast<int64_t>(made->owner) != decision.numbers[0]) return true;
  const double value = value_of(*made, static_cast<int32_t>(decision.numbers[1]));
  const bool is_ray = made->kind == MasterColumn::Kind::ray;
  const double bound = is_ray ? 0.0 : static_cast<double>(decision.numbers[2]);
  return decision.kind == kAtMost ? value <= bound : value >= bound;
}

double BranchingProblem::coefficient(const bp::Decision &decision, const quarn::Column &column,
                                     const std::vector<quarn::Entry> &) const {
  return entry_of(decision, *content(column));
}

/// Whether all of the column's parts are integer variables: its value is to be whole.
bool BranchingProblem::is_whole_outside(const OutsideColumn &column) const {
  return std::all_of(column.parts.begin(), column.parts.end(), [this](const auto &part) {
    return reformulation_.model().variables[at(part.variable)].integer;
  });
}

static bp::Branching children(size_t block, size_t variable, double value) {
  const auto below = static_cast<int64_t>(std::floor(value));
  const auto k = static_cast<int64_t>(block), j = static_cast<int64_t>(variable);
  return {{{kAtLeast, {k, j, below + 1}}}, {{kAtMost, {k, j, below}}}};
}

static bp::Branching children(size_t outside, double value) {
  const double below = std::floor(value);
  const auto k = static_cast<int64_t>(outside);
  return {{{kOutside, {k}, bp::DecisionRow{quarn::RowSense::at_least, below + 1.0}}},
          {{kOutside, {k}, bp::DecisionRow{quarn::RowSense::at_most, below}}}};
}

/// How many variables of the block a bound of one restricts further, by its rows one at a time.
static int restricted_by(const Block &block, size_t variable, const Range &bound) {
  int count = 0;
  const auto range_of = [&](const Entry &entry) {
    const BlockVariable &own = block.variables[at(entry.index)];
    return at(entry.index) == variable ? bound : Range{own.lower, own.upper};
  };
  for (const BlockRow &row : block.rows) {
    double least = 0.0, most = 0.0;
    bool touches = false;
    for (const Entry &entry : row.entries) {
      const Range range = range_of(entry);
      touches = touches || at(entry.index) == variable;
      least += entry.value * (entry.value > 0.0 ? range.lower : range.upper);
      most += entry.value * (entry.value > 0.0 ? range.upper : range.lower);
    }
    if (!touches) continue;
    const double room = std::min(row.upper - least, most - row.lower);
    for (const Entry &entry : row.entries) {
      const Range range = range_of(entry);
      const double span = std::fabs(entry.value) * (range.upper - range.lower);
      if (at(entry.index) != variable && span > room + kWhole) ++count;
    }
  }
  return count;
}

/// What a branching promises: how far the value is from whole ones, times what follows of it. A
/// value that is nearly whole may be so for the restricted master is not solved to the end.
static double promise(const Block &block, size_t variable, double value) {
  constexpr double kClearlyFractional = 0.1;
  const double below = std::floor(value);
  const double distance = std::min(value - below, below + 1.0 - value);
  if (distance < kClearlyFractional) return distance;
  const BlockVariable &own = block.variables[variable];
  const int follows = restricted_by(block, variable, {own.lower, below}) +
                      restricted_by(block, variable, {below + 1.0, own.upper});
  return distance * (1.0 + follows);
}

/// Whether a child loses so much of the fractional solution that the search sees it.
bool BranchingProblem::excludes(const bp::Relaxation &relaxation, const bp::Branch &child) const {
  if (child.front().row) return true;
  double lost = 0.0;
  for (const auto &[column, value] : relaxation.values) {
    if (!allows(child.front(), column, {})) lost += value;
  }
  return lost > kExcluded;
}

/// All variables that have to be whole and are not, those that promise most first.
std::vector<bp::Branching> BranchingProblem::fractional(const bp::Relaxation &relaxation) const {
  const std::vector<Block> &blocks = reformulation_.blocks();
  std::vector<ValuedColumn> columns;
  std::vector<std::vector<double>> sums;
  for (const Block &block : blocks) sums.emplace_back(block.variables.size(), 0.0);
  std::vector<std::pair<double, bp::Branching>> order;
  // Rounded, so that ties are not decided by a solver's last digits.
  const auto note = [&order](double promised, bp::Branching children) {
    order.emplace_back(-std::round(promised * 1e4), std::move(children));
  };
  for (const auto &[column, value] : relaxation.values) {
    const Content made = content(column);
    columns.emplace_back(made, value);
    if (made->kind == MasterColumn::Kind::outside) {
      const bool whole = std::fabs(value - std::round(value)) <= kExcluded;
      if (whole || !is_whole_outside(reformulation_.outside()[made->owner])) continue;
      note(std::fabs(value - std::round(value)), children(made->owner, value));
      continue;
    }
    for (const Entry &entry : made->values) {
      sums[made->owner][at(entry.index)] += value * entry.value;
    }
  }
  for (size_t k = 0; k < blocks.size(); ++k) {
    if (blocks[k].copies.size() > 1) continue;
    for (size_t j = 0; j < sums[k].size(); ++j) {
      const double value = sums[k][j];
      if (!blocks[k].variables[j].integer || std::fabs(value - std::round(value)) <= kWhole) {
        continue;
      }
      note(promise(blocks[k], j, value), children(k, j, value));
    }
  }
  std::stable_sort(order.begin(), order.end(),
                   [](const auto &a, const auto &b) { return a.first < b.first; });
  std::vector<bp::Branching> result = merged_.candidates(columns);
  for (auto &choice : order) result.push_back(std::move(choice.second));
  return result;
}

std::vector<bp::Branching> BranchingProblem::branch(const bp::Relaxation &relaxation) {
  std::vector<bp::Branching> candidates;
  for (bp::Branching &choice : fractional(relaxation)) {
    const bool counts = std::all_of(choice.begin(), choice.end(), [&](const bp::Branch &child) {
      return excludes(relaxation, child);
    });
    if (counts) candidates.push_back(std::move(choice));
    if (candidates.size() == kMostCandidates) break;
  }
  return candidates;
}

// Solutions

bool BranchingProblem::can_dive() const {
  const std::vector<Block> &blocks = reformulation_.blocks();
  const auto only_takes = [this](const Entry &entry) {
    return entry.value >= 0.0 || reformulation_.rows()[at(entry.index)].upper >= kInfinite;
  };
  return reformulation_.outside().empty() && !has_rays(blocks) &&
         std::all_of(blocks.begin(), blocks.end(), [&](const Block &block) {
           return std::all_of(
               block.variables.begin(), block.variables.end(), [&](const BlockVariable &variable) {
                 return variable.integer && variable.lower >= 0.0 &&
                        std::all_of(variable.linking.begin(), variable.linking.end(), only_takes);
               });
         });
}

/// Points of a merged block that differ in no integer variable come together, so that those of
/// whole values in all fill copies of their own.
std::vector<double> BranchingProblem::file_solution(const bp::Relaxation &relaxation) const {
  std::vector<std::pair<std::vector<Entry>, ValuedColumn>> order;
  for (const auto &[column, value] : relaxation.values) {
    const Content made = content(column);
    order.push_back({{}, {made, value}});
    if (made->kind != MasterColumn::Kind::point) continue;
    const Block &block = reformulation_.blocks()[made->owner];
    for (const Entry &entry : made->values) {
      if (block.variables[at(entry.index)].integer) order.back().first.push_back(entry);
    }
  }
  const auto before = [](const auto &a, const auto &b) {
    return std::lexicographical_compare(a.first.begin(), a.first.end(), b.first.begin(),
                                        b.first.end(), [](const Entry &x, const Entry &y) {
                                          return std::pair(x.index, x.value) <
                                                 std::pair(y.index, y.value);
                                        });
  };
  if (merged_.has_merged()) std::stable_sort(order.begin(), order.end(), before);
  std::vector<MasterColumn> columns;
  std::vector<double> values;
  for (const auto &[key, column] : order) {
    columns.push_back(*column.first);
    values.push_back(column.second);
  }
  return reformulation_.file_solution(columns, values);
}

std::vector<double> BranchingProblem::file_solution(const bp::Solution &solution) const {
  std::vector<MasterColumn> columns;
  std::vector<double> values;
  for (const bp::SolutionColumn &column : solution) {
    columns.push_back(*std::any_cast<const Content &>(column.data));
    values.push_back(column.value);
  }
  return reformulation_.file_solution(columns, values);
}

bp::Solution BranchingProblem::solution_of(const std::vector<double> &x) const {
  bp::Solution solution;
  const auto add = [&](MasterColumn column, double value) {
    const Coefficients made = reformulation_.master_coefficients(column);
    solution.push_back({made.cost, handles(made.entries),
                        Content(std::make_shared<const MasterColumn>(std::move(column))), value});
  };
  const std::vector<Block> &blocks = reformulation_.blocks();
  for (size_t k = 0; k < blocks.size(); ++k) {
    for (const std::vector<int32_t> &copy : blocks[k].copies) {
      std::vector<double> point;
      for (const int32_t j : copy) point.push_back(x[at(j)]);
      add(block_column(k, point, MasterColumn::Kind::point), 1.0);
    }
  }
  for (size_t k = 0; k < reformulation_.outside().size(); ++k) {
    double value = 0.0;
    for (const OutsideVariable &part : reformulation_.outside()[k].parts) {
      value += std::max(0.0, part.direction * (x[at(part.variable)] - part.base));
    }
    if (value > 0.0) add({MasterColumn::Kind::outside, k, {}}, value);
  }
  return solution;
}

/// With the best values of the variables that need not be whole; nothing where that is no solution.
std::optional<bp::Solution> BranchingProblem::completed(const std::vector<double> &x) const {
  const Model &model = reformulation_.model();
  for (size_t j = 0; j < x.size(); ++j) {
    if (model.variables[j].integer && std::fabs(x[j] - std::round(x[j])) > kNearlyWhole) return {};
  }
  LinearSolution best = solve_with_integers_fixed(model, x);
  if (best.outcome != LinearSolution::Outcome::solved) return std::nullopt;
  tidy(model, best.x);
  const Violation violation = check(model, best.x);
  if (!violation.integral || violation.largest > kFeasible) return std::nullopt;
  return solution_of(best.x);
}

/// Only of a node that is done with it: others are branched on, and the solution is the
/// heuristic's.
std::optional<bp::Solution> BranchingProblem::integer_solution(
    const bp::Relaxation &relaxation) const {
  std::optional<bp::Solution> solution = completed(file_solution(relaxation));
  if (!solution) return solution;
  double value = 0.0;
  for (const bp::SolutionColumn &column : *solution) value += column.cost * column.value;
  const double bound = rounded_bound(reformulation_.model(), granularity_, relaxation.bound);
  if (is_closed(reformulation_.model(), value, bound, 1e-7)) return solution;
  for (const bp::Branching &choice : fractional(relaxation)) {
    if (excludes(relaxation, choice[0]) && excludes(relaxation, choice[1])) return std::nullopt;
  }
  return solution;
}

std::optional<bp::Solution> BranchingProblem::heuristic(const bp::Relaxation &relaxation) {
  if (auto nearly = completed(file_solution(relaxation))) return nearly;
  if (++calls_ != next_heuristic_) return std::nullopt;
  next_heuristic_ *= 2;
  RestrictedMaster restricted(reformulation_);
  for (const quarn::Column &column : relaxation.at.master.columns()) {
    restricted.add(*content(column));
  }
  if (!restricted.solve()) return std::nullopt;
  const std::vector<double> values = restricted.solve_in_integers(kHeuristicSeconds);
  if (values.empty()) return std::nullopt;
  return completed(reformulation_.file_solution(restricted.columns(), values));
}

}  // namespace dantzig_wolfe
