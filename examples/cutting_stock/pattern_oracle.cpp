#include "examples/cutting_stock/pattern_oracle.h"

#include <algorithm>
#include <limits>
#include <vector>

namespace cutting_stock {

constexpr double kBoxMargin = 1.5;
// With random instances of 1 to 15 types, none of up to 15000 rolls ended with status 5, a third of
// those with ten times as many did.
constexpr double kManyRolls = 1000.0;
// A pattern worth less than this has a reduced cost that is mere rounding error.
constexpr double kLeastWorth = 1.0 + 1e-9;

PatternOracle::PatternOracle(const Instance &instance, const MasterSettings &settings)
    : instance_(instance),
      pricer_(instance),
      most_(settings.columns_per_call),
      integer_(settings.integer),
      starts_with_pieces_(settings.integer && !settings.covering) {}

static void add(examples::ColumnBatch &batch, const Pattern &pattern) {
  batch.start_column(1.0);
  for (const Piece &piece : pattern) {
    batch.add_entry(piece.type, static_cast<double>(piece.copies));
  }
}

void PatternOracle::prepare(QUARN_env &env) const {
  QUARN_set_max_number_columns(&env, std::numeric_limits<int32_t>::max());
  if (!integer_) start(env);
}

void PatternOracle::start(QUARN_env &env) const {
  std::vector<double> u;
  std::vector<int64_t> demand;
  for (const ItemType &type : instance_.types) {
    u.push_back(static_cast<double>(type.size) / static_cast<double>(instance_.length));
    demand.push_back(type.demand);
  }
  examples::ColumnBatch batch(*env.G);
  for (const Cut &cut : pricer_.fill(u.data(), demand)) add(batch, cut.pattern);
  batch.send(env);
}

/// With these the equations (4) can be met whatever pieces remain.
void PatternOracle::add_single_pieces(examples::ColumnBatch &batch) {
  for (int32_t i = 0; i < instance_.size(); ++i) add(batch, {{i, 1}});
  starts_with_pieces_ = false;
}

/// The lower bound (2).
double PatternOracle::proven_bound(const double *u, double best_value) const {
  double worth = 0.0;
  for (size_t i = 0; i < instance_.types.size(); ++i) {
    worth += static_cast<double>(instance_.types[i].demand) * std::max(u[i], 0.0);
  }
  return worth > 0.0 ? worth / best_value : 0.0;
}

examples::Answer PatternOracle::price(QUARN_env &env) {
  examples::ColumnBatch batch(*env.G);
  if (starts_with_pieces_) add_single_pieces(batch);
  const Pricing pricing = pricer_.price(env.u, kLeastWorth, most_);
  for (const Pattern &pattern : pricing.patterns) add(batch, pattern);
  batch.send(env);
  return {1, proven_bound(env.u, pricing.best_value) - examples::rmp_dual_value(env)};
}

static double least_rolls(const Instance &instance) {
  double rolls = 0.0;
  for (const ItemType &type : instance.types) {
    rolls += static_cast<double>(type.size) * static_cast<double>(type.demand);
  }
  return rolls / static_cast<double>(instance.length);
}

examples::MasterRows make_rows(const Instance &instance, const MasterSettings &settings) {
  examples::MasterRows rows;
  const bool default_box = settings.default_box || least_rolls(instance) > kManyRolls;
  for (int32_t i = 0; i < instance.size(); ++i) {
    const auto demand = static_cast<double>(instance.types[static_cast<size_t>(i)].demand);
    if (settings.integer) {
      rows.add_linking_row(settings.covering ? examples::kAtLeast : examples::kEqual, demand);
    } else if (default_box) {
      rows.add_linking_row(examples::kAtLeast, demand);
    } else {
      rows.add_linking_row(examples::kAtLeast, demand, 0.0,
                           kBoxMargin / static_cast<double>(instance.most_copies(i)));
    }
  }
  return rows;
}

}  // namespace cutting_stock
