#include "tests/branch_and_price/explicit_master.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace explicit_master {

namespace {

class Maker {
 public:
  Maker(Family family, uint32_t seed) : random_(seed), family_(family) {}

  Program make() {
    if (family_ == Family::bin_packing) {
      make_bins();
    } else if (family_ == Family::blocks) {
      make_blocks();
    } else {
      make_rows();
    }
    return program_;
  }

 private:
  int whole(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }
  double cost() {
    const double whole_cost = whole(1, 20);
    return program_.granularity > 0.0 ? program_.granularity * whole_cost
                                      : whole_cost + 0.37 * whole(0, 9);
  }

  /// All subsets that fit.
  void make_bins() {
    program_.pairs = true;
    program_.granularity = 1.0;
    const int items = whole(3, 8), capacity = whole(10, 30);
    std::vector<int> sizes;
    for (int i = 0; i < items; ++i) {
      sizes.push_back(whole(capacity / 5, capacity * 2 / 3));
      program_.rows.push_back({quarn::RowSense::equal, 1, false});
    }
    for (int set = 1; set < 1 << items; ++set) {
      ExplicitColumn column = {1.0, std::vector<int>(sizes.size(), 0)};
      int used = 0;
      for (size_t i = 0; i < sizes.size(); ++i) {
        column.entries[i] = set >> i & 1;
        used += column.entries[i] * sizes[i];
      }
      if (used <= capacity) program_.columns.push_back(column);
    }
  }

  void make_rows() {
    const bool covers = family_ == Family::covering, packs = family_ == Family::packing;
    program_.sense = packs ? quarn::Sense::maximize : quarn::Sense::minimize;
    program_.pairs = family_ == Family::partitioning && whole(0, 1) == 0;
    program_.granularity = whole(0, 1) == 0 ? 0.0 : whole(0, 1) == 0 ? 1.0 : 0.5;
    const int rows = whole(2, covers ? 4 : 7);
    for (int i = 0; i < rows; ++i) {
      const auto sense = covers  ? quarn::RowSense::at_least
                         : packs ? quarn::RowSense::at_most
                                 : quarn::RowSense::equal;
      program_.rows.push_back(
          {sense, program_.pairs || !(covers || packs) ? 1 : whole(1, 5), false});
    }
    for (int j = whole(4, 25); j > 0; --j) {
      ExplicitColumn column = {cost(), {}};
      for (int i = 0; i < rows; ++i) {
        column.entries.push_back(whole(0, 2) > 0 ? 0 : covers || packs ? whole(1, 3) : 1);
      }
      column.entries[static_cast<size_t>(whole(0, rows - 1))] = 1;
      program_.columns.push_back(column);
    }
  }

  /// An assignment of jobs to agents, each agent with a few of the sets that it could take.
  void make_blocks() {
    program_.granularity = whole(0, 1);
    const int jobs = whole(2, 5), agents = whole(1, 3);
    for (int i = 0; i < jobs; ++i) program_.rows.push_back({quarn::RowSense::equal, 1, false});
    const auto sense = whole(0, 1) == 0 ? quarn::RowSense::equal : quarn::RowSense::at_most;
    for (int k = 0; k < agents; ++k) program_.rows.push_back({sense, whole(1, 2), true});
    for (int k = 0; k < agents; ++k) {
      for (int j = whole(3, 10); j > 0; --j) {
        ExplicitColumn column = {cost(), std::vector<int>(program_.rows.size(), 0)};
        for (int i = 0; i < jobs; ++i) column.entries[static_cast<size_t>(i)] = whole(0, 1);
        column.entries[static_cast<size_t>(jobs + k)] = 1;
        program_.columns.push_back(column);
      }
    }
  }

  std::mt19937 random_;
  Family family_;
  Program program_;
};

}  // namespace

Program random_program(Family family, uint32_t seed) { return Maker(family, seed).make(); }

// The reference: over what is left of the right-hand sides.

namespace {

class Reference {
 public:
  explicit Reference(const Program &program) : program_(program) {}

  /// Least signed cost to serve what is left with columns from j on.
  double least(size_t j, const std::vector<int> &left) {
    if (j == program_.columns.size()) return is_served(left) ? 0.0 : HUGE_VAL;
    const auto known = known_.find({j, left});
    if (known != known_.end()) return known->second;
    const double sign = program_.sense == quarn::Sense::minimize ? 1.0 : -1.0;
    double best = least(j + 1, left);
    std::vector<int> rest = left;
    if (take(program_.columns[j], &rest) && rest != left) {
      best = std::min(best, sign * program_.columns[j].cost + least(j, rest));
    }
    return known_[{j, left}] = best;
  }

 private:
  bool is_served(const std::vector<int> &left) const {
    for (size_t i = 0; i < left.size(); ++i) {
      if (left[i] > 0 && program_.rows[i].sense != quarn::RowSense::at_most) return false;
    }
    return true;
  }
  bool take(const ExplicitColumn &column, std::vector<int> *left) const {
    for (size_t i = 0; i < left->size(); ++i) {
      int &rest = (*left)[i];
      rest -= column.entries[i];
      if (rest >= 0) continue;
      if (program_.rows[i].sense != quarn::RowSense::at_least) return false;
      rest = 0;
    }
    return true;
  }

  const Program &program_;
  std::map<std::pair<size_t, std::vector<int>>, double> known_;
};

}  // namespace

std::optional<double> best_value(const Program &program) {
  std::vector<int> left;
  for (const ExplicitRow &row : program.rows) left.push_back(row.rhs);
  const double least = Reference(program).least(0, left);
  if (least == HUGE_VAL) return std::nullopt;
  return program.sense == quarn::Sense::minimize ? least : -least;
}

// The problem

ExplicitProblem::ExplicitProblem(const Program &program)
    : program_(program), master_(program.sense) {
  for (const ExplicitRow &row : program.rows) {
    quarn::RowOptions options;
    options.block = row.block;
    rows_.push_back(master_.add_row(row.sense, row.rhs, options));
  }
}

bool ExplicitProblem::allows_number(const bp::Decision &decision, size_t j,
                                    const std::vector<quarn::Entry> &entries) const {
  if (decision.kind == bp::kWithout && !decision.row) {
    return decision.numbers.front() != static_cast<int64_t>(j);
  }
  return bp::pair_allows(decision, entries);
}

bool ExplicitProblem::allows(const bp::Decision &decision, const quarn::Column &column,
                             const std::vector<quarn::Entry> &entries) const {
  return allows_number(decision, column.get<size_t>(), entries);
}

constexpr const char *kCut = "cut";  // numbers: three rows

double ExplicitProblem::entry_in(const bp::Decision &decision, size_t j) const {
  if (decision.kind != kCut) {
    return decision.numbers.front() == static_cast<int64_t>(j) ? 1.0 : 0.0;
  }
  int sum = 0;
  for (const int64_t i : decision.numbers) {
    sum += program_.columns[j].entries[static_cast<size_t>(i)];
  }
  const int half = sum / 2;
  return half;
}

double ExplicitProblem::coefficient(const bp::Decision &decision, const quarn::Column &column,
                                    const std::vector<quarn::Entry> &) const {
  return entry_in(decision, column.get<size_t>());
}

std::vector<bp::Decision> ExplicitProblem::cuts(const bp::Relaxation &) {
  std::vector<bp::Decision> cuts;
  const auto rows = static_cast<int64_t>(program_.rows.size());
  for (int64_t i = 0; i < rows; ++i) {
    for (int64_t j = i + 1; j < rows; ++j) {
      for (int64_t k = j + 1; k < rows; ++k) {
        int sum = 0;
        bool holds = true;
        for (const int64_t row : {i, j, k}) {
          const ExplicitRow &of = program_.rows[static_cast<size_t>(row)];
          holds = holds && of.sense != quarn::RowSense::at_least && !of.block;
          sum += of.rhs;
        }
        const int rhs = sum / 2;
        // Those that are not violated as well: the search has to leave them out.
        if (holds) {
          cuts.push_back({kCut,
                          {i, j, k},
                          bp::DecisionRow{quarn::RowSense::at_most, static_cast<double>(rhs)}});
        }
      }
    }
  }
  return cuts;
}

/// No solution that is worth anything uses the column more often.
double ExplicitProblem::most_uses(const bp::Subproblem &at, size_t j) const {
  double most = 0.0;
  for (size_t i = 0; i < rows_.size(); ++i) {
    const quarn::Bounds sides = at.master.range(rows_[i]);
    const double side = sides.upper < quarn::kInfinity ? sides.upper : sides.lower;
    if (program_.columns[j].entries[i] > 0) most = std::max(most, side);
  }
  for (const bp::Decision &decision : at.decisions) {
    if (decision.row && decision.kind != kCut) most = std::max(most, decision.row->rhs);
  }
  return most;
}

quarn::Answer ExplicitProblem::price(const bp::Subproblem &at, const quarn::Duals &duals,
                                     quarn::Columns &columns) {
  const double sign = program_.sense == quarn::Sense::minimize ? 1.0 : -1.0;
  double bound = 0.0;
  for (const quarn::Row &row : at.master.rows()) {
    const quarn::Bounds sides = at.master.range(row);
    const double dual = duals[row];
    bound += dual * (sides.lower > -quarn::kInfinity ? sides.lower : sides.upper);
  }
  std::map<int32_t, double> best;  // of each block
  for (size_t j = 0; j < program_.columns.size(); ++j) {
    const ExplicitColumn &column = program_.columns[j];
    std::vector<quarn::Entry> entries;
    int32_t block = -1;
    for (size_t i = 0; i < rows_.size(); ++i) {
      if (column.entries[i] == 0) continue;
      entries.push_back({rows_[i], column.entries[i]});
      if (program_.rows[i].block) block = rows_[i].index();
    }
    bool allowed = true;
    for (size_t k = 0; k < at.decisions.size() && !ignores_decisions; ++k) {
      const bp::Decision &decision = at.decisions[k];
      allowed = allowed && allows_number(decision, j, entries);
      const double entry = decision.row ? entry_in(decision, j) : 0.0;
      if (entry > 0.0) entries.push_back({at.rows[k], entry});
    }
    if (!allowed) continue;
    const double reduced = sign * duals.reduced_cost(column.cost, entries);
    if (block >= 0) {
      const auto [found, added] = best.insert({block, reduced});
      if (!added) found->second = std::min(found->second, reduced);
    } else if (reduced < 0.0) {
      bound += sign * reduced * most_uses(at, j);
    }
    if (reduced < 1e-9) columns.add(column.cost, entries, std::any(j));
  }
  if (program_.rows.back().block) {
    std::vector<std::pair<quarn::Row, double>> values;
    for (const quarn::Row &row : rows_) {
      if (!row.is_block()) continue;
      const auto found = best.find(row.index());
      values.push_back({row, sign * (found != best.end() ? found->second : 1e7)});
    }
    return quarn::Answer::best_reduced_costs(values);
  }
  return quarn::Answer::bound(bound);
}

std::vector<bp::Branching> ExplicitProblem::branch(const bp::Relaxation &relaxation) {
  if (program_.pairs) {
    std::vector<bp::Branching> pairs = bp::branch_on_pairs(relaxation, rows_);
    if (!pairs.empty()) return pairs;
  }
  return bp::branch_on_features(relaxation, [](const quarn::Column &column) {
    return std::vector<bp::Feature>{{{static_cast<int64_t>(column.get<size_t>())}, 1.0}};
  });
}

}  // namespace explicit_master
