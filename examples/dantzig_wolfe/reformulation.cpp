#include "examples/dantzig_wolfe/reformulation.h"

#include <algorithm>
#include <cmath>

namespace dantzig_wolfe {

static size_t at(int32_t index) { return static_cast<size_t>(index); }

Reformulation::Reformulation(const Model &model, const Decomposition &decomposition,
                             std::vector<Block> blocks)
    : model_(model),
      blocks_(std::move(blocks)),
      base_(model.variables.size(), 0.0),
      constant_(model.sign() * model.constant),
      master_(model.maximize ? quarn::Sense::maximize : quarn::Sense::minimize) {
  std::vector<std::vector<Entry>> entries(model.variables.size());
  for (const int32_t i : decomposition.linking) {
    const Constraint &row = model.rows[at(i)];
    for (const Entry &entry : row.entries) {
      entries[at(entry.index)].push_back({static_cast<int32_t>(rows_.size()), entry.value});
    }
    rows_.push_back({i, row.lower, row.upper});
  }
  for (const int32_t j : free_of_blocks(model, blocks_)) place_outside_variable(j, entries[at(j)]);
  add_rows();
  add_outside_columns();
}

/// A part that starts from the variable's bound, two for a free variable; none for a variable in no
/// row, which stays at its better bound.
void Reformulation::place_outside_variable(int32_t j, const std::vector<Entry> &entries) {
  const Variable &variable = model_.variables[at(j)];
  const double cost = model_.sign() * variable.cost;
  const bool has_upper = variable.upper<kInfinite, has_lower = variable.lower> - kInfinite;
  const bool from_upper = has_upper && (!has_lower || (entries.empty() && cost < 0.0));
  const double base = from_upper ? variable.upper : has_lower ? variable.lower : 0.0;
  base_[at(j)] = base;
  constant_ += cost * base;
  for (const Entry &entry : entries) {
    rows_[at(entry.index)].lower -= entry.value * base;
    rows_[at(entry.index)].upper -= entry.value * base;
  }
  const double room = variable.upper - variable.lower;
  if (entries.empty() || room <= 0.0) return;
  add_part({j, base, from_upper ? -1.0 : 1.0, room}, cost, entries);
  if (!has_lower && !has_upper) add_part({j, base, -1.0, room}, cost, entries);
}

/// The master takes no column twice, so variables that look alike share one.
void Reformulation::add_part(const OutsideVariable &part, double cost,
                             const std::vector<Entry> &entries) {
  OutsideColumn column;
  column.cost = cost * part.direction;
  for (const Entry &entry : entries) {
    column.entries.push_back({entry.index, entry.value * part.direction});
  }
  const auto same = std::find_if(outside_.begin(), outside_.end(), [&](const OutsideColumn &other) {
    return other.cost == column.cost && other.entries == column.entries;
  });
  OutsideColumn &place = same != outside_.end() ? *same : outside_.emplace_back(column);
  place.upper += part.upper;
  place.parts.push_back(part);
}

/// Whether a ray may have cost and entries of a bounded column.
bool Reformulation::rays_look_bounded() const {
  const bool rays = std::any_of(blocks_.begin(), blocks_.end(), [](const Block &block) {
    return std::any_of(block.variables.begin(), block.variables.end(), [](const auto &variable) {
      return std::isinf(variable.lower) || std::isinf(variable.upper);
    });
  });
  return rays && std::any_of(outside_.begin(), outside_.end(),
                             [](const OutsideColumn &column) { return column.upper < kInfinite; });
}

/// The master would take a ray for the bounded column that has its cost and entries. A row that
/// demands nothing tells them apart.
void Reformulation::add_rows() {
  for (LinkingRow &row : rows_) {
    const Constraint &constraint = model_.rows[at(row.row)];
    const bool binds = row.lower > -kInfinite || row.upper < kInfinite;
    if (!binds || constraint.entries.empty()) continue;
    const quarn::RowOptions options = {constraint.name};
    row.master =
        (row.lower == row.upper ? master_.add_row(quarn::RowSense::equal, row.lower, options)
                                : master_.add_range(std::max(row.lower, -quarn::kInfinity),
                                                    std::min(row.upper, quarn::kInfinity), options))
            .index();
  }
  if (rays_look_bounded()) ray_row_ = master_.add_row(quarn::RowSense::at_least, 0.0).index();
  for (const Block &block : blocks_) {
    convexity_.push_back(master_.add_block(quarn::RowSense::equal, block.times()).index());
  }
}

void Reformulation::add_outside_columns() {
  const std::vector<quarn::Row> handles = master_.rows();
  for (size_t k = 0; k < outside_.size(); ++k) {
    const MasterColumn column = {MasterColumn::Kind::outside, k, {}};
    const Coefficients found = master_coefficients(column);
    std::vector<quarn::Entry> entries;
    for (const Entry &entry : found.entries) {
      entries.push_back({handles[at(entry.index)], entry.value});
    }
    const double upper = std::min(outside_[k].upper, quarn::kInfinity);
    master_.add_column(found.cost, entries, {0.0, upper}, to_text(column));
  }
}

Coefficients Reformulation::master_coefficients(const MasterColumn &column) const {
  const bool is_outside = column.kind == MasterColumn::Kind::outside;
  Coefficients result;
  if (is_outside) result = {outside_[column.owner].cost, outside_[column.owner].entries};
  if (!is_outside) result = coefficients(blocks_[column.owner], column);
  const bool is_point = column.kind == MasterColumn::Kind::point;
  if (is_point && column.owner == 0) result.cost += constant_ / blocks_[0].times();
  result.cost *= model_.sign();
  std::vector<Entry> entries;
  for (const Entry &entry : result.entries) {
    const int32_t row = rows_[at(entry.index)].master;
    if (row >= 0) entries.push_back({row, entry.value});
  }
  if (is_point) entries.push_back({convexity_[column.owner], 1.0});
  if (column.kind == MasterColumn::Kind::ray && ray_row_ >= 0) entries.push_back({ray_row_, 1.0});
  result.entries = std::move(entries);
  return result;
}

double Reformulation::valid_dual(size_t i, const std::vector<double> &duals) const {
  const LinkingRow &row = rows_[i];
  if (row.master < 0) return 0.0;
  const double dual = model_.sign() * duals[at(row.master)];
  if (row.lower <= -kInfinite) return std::min(dual, 0.0);
  return row.upper >= kInfinite ? std::max(dual, 0.0) : dual;
}

double Reformulation::outside_bound(const std::vector<double> &duals,
                                    const std::map<size_t, Range> &ranges) const {
  constexpr double kRounding = 1e-9;
  std::vector<double> u(rows_.size());
  double value = constant_;
  for (size_t i = 0; i < rows_.size(); ++i) {
    u[i] = valid_dual(i, duals);
    if (u[i] != 0.0) value += u[i] * (u[i] > 0.0 ? rows_[i].lower : rows_[i].upper);
  }
  for (size_t k = 0; k < outside_.size(); ++k) {
    const OutsideColumn &column = outside_[k];
    const auto found = ranges.find(k);
    const Range range = found != ranges.end() ? found->second : Range{0.0, column.upper};
    double reduced = column.cost, scale = 1.0 + std::fabs(column.cost);
    for (const Entry &entry : column.entries) {
      reduced -= u[at(entry.index)] * entry.value;
      scale += std::fabs(u[at(entry.index)] * entry.value);
    }
    if (reduced >= 0.0) {
      value += reduced * range.lower;
    } else if (range.upper < kInfinite) {
      value += reduced * range.upper;
    } else if (reduced < -kRounding * scale) {
      return -kInfinite;
    }
  }
  return value;
}

std::vector<double> Reformulation::master_duals(const std::vector<double> &file_duals) const {
  std::vector<double> duals(master_.rows().size(), 0.0);
  for (const LinkingRow &row : rows_) {
    if (row.master >= 0) duals[at(row.master)] = model_.sign() * file_duals[at(row.row)];
  }
  return duals;
}

// Back to the file

namespace {

/// Fills the copies of the blocks.
class Filling {
 public:
  Filling(const std::vector<Block> &blocks, std::vector<double> x)
      : blocks_(blocks), filled_(blocks.size(), 0.0), x_(std::move(x)) {}

  void add_ray(const MasterColumn &ray, double value) { add(ray, 0, value); }

  void add_point(const MasterColumn &point, double value) {
    constexpr double kFull = 1e-9;
    double &filled = filled_[point.owner];
    const double last = blocks_[point.owner].times() - 1.0;
    while (value > 0.0) {
      const double copy = std::min(std::floor(filled + kFull), last);
      const double share = copy < last ? std::min(value, copy + 1.0 - filled) : value;
      add(point, static_cast<size_t>(copy), share);
      filled += share;
      value -= share;
    }
  }

  std::vector<double> take() { return std::move(x_); }

 private:
  void add(const MasterColumn &column, size_t copy, double value) {
    for (const Entry &entry : column.values) {
      x_[at(blocks_[column.owner].copies[copy][at(entry.index)])] += value * entry.value;
    }
  }

  const std::vector<Block> &blocks_;
  std::vector<double> filled_;  ///< of each block, in copies
  std::vector<double> x_;
};

}  // namespace

std::vector<double> Reformulation::file_solution(const std::vector<MasterColumn> &columns,
                                                 const std::vector<double> &values) const {
  std::vector<double> x = base_;
  for (size_t k = 0; k < columns.size(); ++k) {
    if (columns[k].kind != MasterColumn::Kind::outside) continue;
    double left = values[k];
    for (const OutsideVariable &part : outside_[columns[k].owner].parts) {
      const double share = std::min(left, part.upper);
      x[at(part.variable)] += part.direction * share;
      left -= share;
    }
  }
  Filling filling(blocks_, std::move(x));
  for (size_t k = 0; k < columns.size(); ++k) {
    if (columns[k].kind == MasterColumn::Kind::point) filling.add_point(columns[k], values[k]);
    if (columns[k].kind == MasterColumn::Kind::ray) filling.add_ray(columns[k], values[k]);
  }
  return filling.take();
}

}  // namespace dantzig_wolfe
