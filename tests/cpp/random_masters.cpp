#include "tests/cpp/random_masters.h"

#include <algorithm>
#include <cmath>

namespace masters {

namespace {

class Maker {
 public:
  Maker(uint32_t seed, quarn::Sense sense, const Features &features)
      : random_(seed), features_(features) {
    program_.sense = sense;
  }

  Program make() {
    linking_ = static_cast<size_t>(whole(2, 9));
    blocks_ = static_cast<size_t>(features_.blocks > 0 ? features_.blocks : whole(1, 5));
    for (size_t i = 0; i < linking_ + blocks_; ++i) duals_.push_back(0.0);
    make_columns();
    std::vector<double> left(duals_.size(), 0.0);
    for (size_t j = 0; j < program_.columns.size(); ++j) {
      for (const auto &[row, value] : program_.columns[j].entries) {
        left[row] += value * program_.solution[j];
      }
    }
    for (size_t i = 0; i < left.size(); ++i) make_row(i, left[i]);
    for (size_t j = 0; j < program_.columns.size(); ++j) make_cost(j);
    return program_;
  }

 private:
  double real(double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(random_);
  }
  int whole(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }
  bool chance(double share) { return real(0.0, 1.0) < share; }

  void make_columns() {
    const int count = std::max(whole(20, 80), 6 * static_cast<int>(blocks_));
    for (int j = 0; j < count; ++j) {
      ProgramColumn column;
      const bool ray = features_.rays && chance(0.1);
      for (size_t i = 0; i < linking_; ++i) {
        if (chance(0.5)) column.entries.push_back({i, real(-1.0, 3.0)});
      }
      if (!ray) {
        column.block = static_cast<int>(linking_ + static_cast<size_t>(j) % blocks_);
        column.entries.push_back({static_cast<size_t>(column.block), 1.0});
      }
      const bool bounded = features_.bounds && chance(0.1);
      if (bounded) column.bounds = {chance(0.5) ? 0.1 : 0.0, 0.6};
      double x = std::max(column.bounds.lower, chance(0.15) ? real(0.2, 0.5) : 0.0);
      if (bounded && chance(0.3)) x = column.bounds.upper;
      program_.solution.push_back(x);
      program_.columns.push_back(column);
    }
  }

  /// Sides around what the solution gives, a dual where it is on one.
  void make_row(size_t i, double left) {
    const bool block = i >= linking_;
    const double size = real(0.1, 2.0);
    ProgramRow row;
    row.block = block;
    if (block && left == 0.0) {
      row.sides = {-quarn::kInfinity, 0.5};
    } else if (chance(0.3) || block) {
      row.sides = {left, left};
      duals_[i] = real(-2.0, 2.0);
      if (block && chance(0.4)) {
        row.sides.lower = -quarn::kInfinity;
        duals_[i] = -size;
      }
    } else if (chance(0.5)) {
      row.sides = {left, features_.ranges && chance(0.4) ? left + 0.7 : quarn::kInfinity};
      duals_[i] = size;
    } else if (chance(0.5)) {
      row.sides = {features_.ranges && chance(0.4) ? left - 0.7 : -quarn::kInfinity, left};
      duals_[i] = -size;
    } else {
      row.sides = {left - 0.5, quarn::kInfinity};  // not tight
    }
    program_.rows.push_back(row);
  }

  void make_cost(size_t j) {
    ProgramColumn &column = program_.columns[j];
    const double x = program_.solution[j];
    const bool at_lower = x <= column.bounds.lower;
    double cost = at_lower ? real(0.0, 3.0) : x >= column.bounds.upper ? -real(0.0, 3.0) : 0.0;
    for (const auto &[row, value] : column.entries) cost += duals_[row] * value;
    column.cost = program_.sense == quarn::Sense::minimize ? cost : -cost;
    program_.value += column.cost * x;
  }

  std::mt19937 random_;
  Features features_;
  size_t linking_ = 0, blocks_ = 0;
  std::vector<double> duals_;
  Program program_;
};

}  // namespace

Program random_program(uint32_t seed, quarn::Sense sense, const Features &features) {
  return Maker(seed, sense, features).make();
}

static std::vector<quarn::Entry> entries_of(const ProgramColumn &column,
                                            const std::vector<quarn::Row> &rows) {
  std::vector<quarn::Entry> entries;
  for (const auto &[row, value] : column.entries) {
    if (rows[row]) entries.push_back({rows[row], value});
  }
  return entries;
}

static bool is_bounded(const ProgramColumn &column) {
  return column.bounds.lower != 0.0 || column.bounds.upper < quarn::kInfinity;
}

ProgramMaster::ProgramMaster(const Program &program, const std::vector<size_t> &left_out)
    : program_(program), master_(program.sense), rows_(program.rows.size()) {
  for (size_t i = 0; i < program.rows.size(); ++i) {
    if (std::count(left_out.begin(), left_out.end(), i) == 0) add_row(i);
  }
  for (size_t j = 0; j < program.columns.size(); ++j) {
    const ProgramColumn &column = program.columns[j];
    if (!is_bounded(column)) continue;
    master_.add_column(column.cost, entries_of(column, rows_), column.bounds, j);
  }
}

ProgramMaster::ProgramMaster(const Program &program, quarn::Master master)
    : program_(program), master_(std::move(master)), rows_(program.rows.size()) {
  for (const quarn::Row &row : master_.rows()) rows_[static_cast<size_t>(row.index())] = row;
}

void ProgramMaster::add_row(size_t row) {
  quarn::RowOptions options;
  options.block = program_.rows[row].block;
  for (const quarn::Column &column : master_.columns()) {
    for (const auto &[index, value] : program_.columns[column.get<size_t>()].entries) {
      if (index == row) options.entries.push_back({column, value});
    }
  }
  const quarn::Bounds &sides = program_.rows[row].sides;
  rows_[row] = master_.add_range(sides.lower, sides.upper, options);
}

quarn::Oracle ProgramMaster::oracle(size_t most) const {
  return [this, most](const quarn::Duals &duals, quarn::Columns &columns) {
    const double sign = program_.sense == quarn::Sense::minimize ? 1.0 : -1.0;
    bool ray_improves = false;
    std::vector<std::pair<quarn::Row, double>> best;
    std::vector<std::vector<std::pair<double, size_t>>> lists(program_.rows.size() + 1);
    for (size_t j = 0; j < program_.columns.size(); ++j) {
      const ProgramColumn &column = program_.columns[j];
      if (is_bounded(column)) continue;
      double reduced = column.cost;
      for (const auto &[row, value] : column.entries) {
        if (rows_[row]) reduced -= duals[rows_[row]] * value;
      }
      ray_improves = ray_improves || (column.block < 0 && sign * reduced < -1e-7);
      lists[static_cast<size_t>(column.block + 1)].push_back({sign * reduced, j});
    }
    for (size_t k = 0; k < lists.size(); ++k) {
      std::vector<std::pair<double, size_t>> &list = lists[k];
      std::sort(list.begin(), list.end());
      for (size_t t = 0; t < std::min(most, list.size()); ++t) {
        if (list[t].first >= -1e-9) break;
        const ProgramColumn &column = program_.columns[list[t].second];
        columns.add(column.cost, entries_of(column, rows_), list[t].second);
      }
      if (k > 0 && program_.rows[k - 1].block) {
        best.push_back({rows_[k - 1], list.empty() ? 0.0 : sign * list[0].first});
      }
    }
    return ray_improves ? quarn::Answer::heuristic()
                        : quarn::Answer::best_reduced_costs(std::move(best));
  };
}

}  // namespace masters
