#include "examples/dantzig_wolfe/root.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "examples/dantzig_wolfe/first_columns.h"

namespace dantzig_wolfe {

/// z_k(u) of a block's relaxation: the relaxation's x is optimal there for its duals u.
static double block_value(const Block &block, const Reformulation &reformulation,
                          const LinearSolution &relaxation) {
  double value = 0.0;
  for (size_t j = 0; j < block.variables.size(); ++j) {
    double reduced = block.variables[j].cost;
    for (const Entry &entry : block.variables[j].linking) {
      const int32_t row = reformulation.rows()[static_cast<size_t>(entry.index)].row;
      reduced -= relaxation.duals[static_cast<size_t>(row)] * entry.value;
    }
    value += reduced * relaxation.x[static_cast<size_t>(block.copies[0][j])];
  }
  return value;
}

static double penalty(const Reformulation &reformulation, const LinearSolution &relaxation) {
  double largest = 1.0;
  const auto note = [&largest](double value) { largest = std::max(largest, std::fabs(value)); };
  for (const Variable &variable : reformulation.model().variables) note(variable.cost);
  for (const double dual : relaxation.duals) note(dual);
  const std::vector<Block> &blocks = reformulation.blocks();
  for (const Block &block : blocks) note(block_value(block, reformulation, relaxation));
  note(reformulation.constant() / blocks[0].times());
  return 10.0 * largest;
}

static void add_first_columns(const Reformulation &reformulation, BlockPricing &pricing,
                              const std::vector<double> &file_duals, double push,
                              quarn::Master &master) {
  std::vector<double> u;
  for (const LinkingRow &row : reformulation.rows()) {
    u.push_back(file_duals[static_cast<size_t>(row.row)]);
  }
  const std::vector<quarn::Row> rows = master.rows();
  for (const MasterColumn &column : first_columns(reformulation, pricing, u, push)) {
    const Coefficients found = reformulation.master_coefficients(column);
    std::vector<int32_t> indices;
    std::vector<double> values;
    for (const Entry &entry : found.entries) {
      indices.push_back(entry.index);
      values.push_back(entry.value);
    }
    master.add_columns({found.cost}, {0, static_cast<int64_t>(indices.size())}, indices, values,
                       {to_text(column)});
  }
}

void prepare_root(const Reformulation &reformulation, BlockPricing &pricing,
                  const LinearSolution &relaxation, quarn::Master &master,
                  quarn::Settings &settings) {
  settings.first_duals = reformulation.master_duals(relaxation.duals);
  settings.penalty = penalty(reformulation, relaxation);
  add_first_columns(reformulation, pricing, relaxation.duals, settings.penalty, master);
}

namespace {

/// The last rounds.
class Finish {
 public:
  Finish(const Reformulation &reformulation, RestrictedMaster &restricted, quarn::Result *result)
      : sign_(reformulation.model().sign()),
        constant_(reformulation.constant()),
        restricted_(restricted),
        result_(result) {}

  /// What the restricted master reaches; in the sense of the file.
  void take_value() {
    const double value = sign_ * (restricted_.value() + constant_);
    if (sign_ > 0.0) result_->upper_bound = std::min(result_->upper_bound, value);
    if (sign_ < 0.0) result_->lower_bound = std::max(result_->lower_bound, value);
  }

  void take_bound(double bound) {
    if (bound <= -kInfinite) return;
    const double value = sign_ * bound;
    if (sign_ > 0.0) result_->lower_bound = std::max(result_->lower_bound, value);
    if (sign_ < 0.0) result_->upper_bound = std::min(result_->upper_bound, value);
  }

  double gap() const {
    constexpr double kRounding = 1e-9;  // absolute, for values near 0
    const double reached = sign_ > 0.0 ? result_->upper_bound : result_->lower_bound;
    const double open = result_->upper_bound - result_->lower_bound;
    return open <= kRounding ? 0.0 : std::min(open / (std::fabs(reached) + 1e-10), 10.0);
  }

  void put_in_order(double tolerance) {
    if (result_->lower_bound > result_->upper_bound) {
      // By the rounding errors of the pricers; the bound gives way.
      (sign_ > 0.0 ? result_->lower_bound : result_->upper_bound) =
          sign_ > 0.0 ? result_->upper_bound : result_->lower_bound;
    }
    result_->gap = gap();
    result_->columns = static_cast<int32_t>(restricted_.columns().size());
    if (result_->gap <= tolerance) result_->status = quarn::Status::optimal;
  }

 private:
  const double sign_, constant_;
  const RestrictedMaster &restricted_;
  quarn::Result *const result_;
};

}  // namespace

/// Adds the columns of a round; whether there was a new one.
static bool add_columns(const quarn::BlockRound &round, RestrictedMaster &restricted) {
  bool added = false;
  for (size_t j = 0; j < round.columns.size(); ++j) {
    added = restricted.add(from_text(std::string(round.columns[j].data))) || added;
  }
  return added;
}

RestrictedMaster finish_root(const Reformulation &reformulation, const BlockPricing &pricing,
                             const quarn::Master &master, quarn::BlockPricer &pricer,
                             const std::function<bool()> &out_of_time, double tolerance,
                             quarn::Result *result) {
  constexpr double kClosed = 1e-10;
  RestrictedMaster restricted(reformulation);
  for (const quarn::Column &column : master.columns()) {
    restricted.add(from_text(column.get<std::string>()));
  }
  if (!restricted.solve()) return restricted;
  if (result->status != quarn::Status::optimal && result->status != quarn::Status::failed) {
    return restricted;
  }
  Finish finish(reformulation, restricted, result);
  quarn::BlockDuals duals;
  duals.iteration = result->history.empty() ? 1 : result->history.back().iteration;
  bool solved = true;
  while (solved && !out_of_time()) {
    finish.take_value();
    if (finish.gap() <= kClosed) break;
    duals.values = restricted.master_duals();
    const quarn::BlockRound round = pricer.price(duals, out_of_time);
    if (round.proved) finish.take_bound(pricing.bound(duals.values, round));
    solved = add_columns(round, restricted) && restricted.solve();
  }
  finish.put_in_order(tolerance);
  return restricted;
}

}  // namespace dantzig_wolfe
