#include "examples/cutting_stock/master.h"

#include <algorithm>
#include <cmath>

namespace cutting_stock {

constexpr double kBoxMargin = 1.5;
// A pattern worth less than this has a reduced cost that is mere rounding error.
constexpr double kLeastWorth = 1.0 + 1e-9;

std::vector<quarn::Entry> entries_of(const Pattern &pattern, const std::vector<quarn::Row> &rows) {
  std::vector<quarn::Entry> entries;
  for (const Piece &piece : pattern) {
    entries.push_back({rows[static_cast<size_t>(piece.type)], static_cast<double>(piece.copies)});
  }
  return entries;
}

Pattern pattern_of(const quarn::Master &master, const quarn::Column &column) {
  Pattern pattern;
  for (const auto &[row, copies] : master.entries(column)) {
    pattern.push_back({row.index(), std::llround(copies)});
  }
  return pattern;
}

// Formulation

/// The patterns of a complete solution that wastes little: with lengths as prices.
static std::vector<Pattern> thrifty_patterns(const Instance &instance,
                                             const PatternPricer &pricer) {
  std::vector<double> u;
  std::vector<int64_t> demand;
  for (const ItemType &type : instance.types) {
    u.push_back(static_cast<double>(type.size) / static_cast<double>(instance.length));
    demand.push_back(type.demand);
  }
  std::vector<Pattern> patterns;
  for (const Cut &cut : pricer.fill(u.data(), demand)) patterns.push_back(cut.pattern);
  return patterns;
}

static std::vector<Pattern> first_patterns(const Instance &instance, const PatternPricer &pricer,
                                           const MasterSettings &settings) {
  if (!settings.integer) return thrifty_patterns(instance, pricer);
  std::vector<Pattern> patterns;
  for (int32_t i = 0; !settings.covering && i < instance.size(); ++i) patterns.push_back({{i, 1}});
  return patterns;
}

quarn::Master make_master(const Instance &instance, const PatternPricer &pricer,
                          const MasterSettings &settings) {
  const bool equations = settings.integer && !settings.covering;
  quarn::Master master;
  for (int32_t i = 0; i < instance.size(); ++i) {
    quarn::RowOptions options;
    if (!settings.integer && !settings.default_box) {
      options.dual_bounds = {0.0, kBoxMargin / static_cast<double>(instance.most_copies(i))};
    }
    master.add_row(equations ? quarn::RowSense::equal : quarn::RowSense::at_least,
                   static_cast<double>(instance.types[static_cast<size_t>(i)].demand), options);
  }
  const std::vector<quarn::Row> rows = master.rows();
  for (const Pattern &pattern : first_patterns(instance, pricer, settings)) {
    master.add_column(1.0, entries_of(pattern, rows));
  }
  return master;
}

// Pricing

quarn::Answer Oracle::operator()(const quarn::Duals &duals, quarn::Columns &columns) const {
  const std::vector<double> &u = duals.values();
  const Pricing pricing = pricer_.price(u.data(), kLeastWorth, most_);
  for (const Pattern &pattern : pricing.patterns) columns.add(1.0, entries_of(pattern, rows_));
  return quarn::Answer::bound(proven_bound(u, pricing.best_value));
}

// Bound

/// The lower bound (2).
double Oracle::proven_bound(const std::vector<double> &u, double best_value) const {
  double worth = 0.0;
  for (size_t i = 0; i < instance_.types.size(); ++i) {
    worth += static_cast<double>(instance_.types[i].demand) * std::max(u[i], 0.0);
  }
  return worth > 0.0 ? worth / best_value : 0.0;
}

}  // namespace cutting_stock
