#include "branch_and_price/generation.hpp"

#include <algorithm>
#include <cmath>

namespace quarn {
namespace branch_and_price {

/// One run, and what stops it.
class GenerationRun {
 public:
  GenerationRun(Frame &frame, NodeMaster &at, const GenerationOptions &options)
      : frame_(frame), at_(at), options_(options), seen_(next_index()) {}

  Generation run() {
    const Oracle oracle = [this](const Duals &duals, Columns &columns) {
      return price(duals, columns);
    };
    Generation generation;
    generation.result = at_.master.solve(oracle, settings());
    frame_.iterations += static_cast<int64_t>(generation.result.history.size());
    generation.bound = std::max(options_.bound, bound());
    generation.value = value();
    generation.end = end_of(generation.result);
    generation.early = stop_ != End::finished;
    if (generation.end == End::infeasible) generation.bound = kNothing;
    return generation;
  }

 private:
  quarn::Settings settings() {
    quarn::Settings settings = frame_.settings.master;
    settings.tolerance = options_.tolerance;
    settings.time_limit = std::max(0.0, frame_.time_left());
    settings.max_iterations = options_.iterations;
    settings.rounding = options_.rounding;
    if (at_.master.number_of_columns() > 0) settings.first_duals.clear();
    settings.save_file.clear();
    settings.on_iteration = nullptr;
    settings.progress = nullptr;
    settings.interrupt = [this] { return must_end(); };
    return settings;
  }

  /// What the oracle has proved, in the sense of a master that minimises.
  double proved() const {
    return frame_.objective.sign > 0.0 ? at_.master.lower_bound() : -at_.master.upper_bound();
  }

  // With the offset. Duals near the penalty leave rounding errors in a bound, which would be
  // rounded up to the next multiple: what they may be is taken off, and no bound is above the
  // value.
  double bound() const {
    const double lower = proved();
    if (lower <= -kInfinity) return lower;
    const double noise = frame_.objective.granularity > 0.0 ? at_.noise : 0.0;
    return std::min(lower - noise + options_.offset, value());
  }
  double value() const {
    const Master &master = at_.master;
    const double upper = frame_.objective.sign > 0.0 ? master.upper_bound() : -master.lower_bound();
    return upper >= kInfinity ? kNothing : upper + options_.offset;
  }

  bool must_end() {
    if (stop_ != End::finished) return true;
    if (proved() > proved_) {
      proved_ = proved();
      at_.noise = noise_;
    }
    const double known = std::max(options_.bound, bound());
    if (frame_.settings.cut_off_early && frame_.is_cut_off(known)) {
      stop_ = End::cut_off;
    } else if (options_.may_settle && frame_.settings.branch_early && holds_no_multiple(known)) {
      stop_ = End::settled;
    } else if (frame_.must_stop()) {
      stop_ = End::interrupted;
    }
    return stop_ != End::finished;
  }

  /// Whether any value between bound and value is rounded up to the same.
  bool holds_no_multiple(double known) const {
    const double reached = value();
    return frame_.objective.granularity > 0.0 && reached < kInfinity && known > -kInfinity &&
           frame_.objective.rounded_up(known) >= frame_.objective.rounded_up(reached);
  }

  Answer price(const Duals &duals, Columns &columns) {
    if (options_.may_settle && frame_.settings.branch_early) note_branching(duals);
    Answer answer = frame_.problem.price(at_.subproblem(options_.dive), duals, columns);
    if (columns.added() > 0) check_new_columns();
    noise_ = rounding_error(duals);
    return answer;
  }

  /// Of a sum over the rows of dual times right-hand side.
  double rounding_error(const Duals &duals) const {
    double sum = 0.0;
    for (const Row &row : at_.master.rows()) {
      const Bounds sides = at_.master.range(row);
      const double side = sides.lower > -kInfinity ? sides.lower : sides.upper;
      sum += std::fabs(duals[row] * side);
    }
    return 4.0 * std::numeric_limits<double>::epsilon() * sum;
  }

  /// Compares the branching that this restricted master asks for with the last one's.
  void note_branching(const Duals &duals) {
    const double known = std::max(options_.bound, bound());
    if (duals.gap() > frame_.settings.early_gap || frame_.is_cut_off(value())) return;
    const std::vector<ColumnValue> values = duals.solution();
    const double sign = frame_.objective.sign;
    const Subproblem at = at_.subproblem(options_.dive);
    const Relaxation relaxation{at, values, duals, sign * known, sign * value()};
    if (frame_.problem.integer_solution(relaxation)) return;
    std::vector<Branching> candidates = frame_.problem.branch(relaxation);
    if (candidates.empty()) return;
    if (candidates.front() == branching_) stop_ = End::settled;
    branching_ = std::move(candidates.front());
  }

  void check_new_columns() {
    for (const Column &column : at_.master.columns()) {
      if (column.index() < seen_) continue;
      const std::string what = "the oracle's column " + std::to_string(column.index());
      frame_.check_cost(column.cost(), what);
      const std::vector<Entry> entries = at_.master.entries(column);
      for (const Decision &decision : at_.decisions) {
        if (frame_.problem.allows(decision, column, entries)) continue;
        throw Mistake(what + " is forbidden by the decision '" + to_string(decision) +
                      "' of its node, which the oracle ignores");
      }
    }
    seen_ = next_index();
  }

  int32_t next_index() const {
    const std::vector<Column> columns = at_.master.columns();
    return columns.empty() ? 0 : columns.back().index() + 1;
  }

  /// A bound near the value of the restricted master, penalties included, proves that it is
  /// infeasible; an oracle that merely found nothing does not.
  bool is_proved(const Result &result) const {
    const double objective = frame_.objective.sign * result.duals.objective();
    return bound() - options_.offset >= objective - 1e-3 * std::fabs(objective);
  }

  End end_of(const Result &result) const {
    switch (result.status) {
      case quarn::Status::optimal:
        return frame_.is_cut_off(std::max(options_.bound, bound())) ? End::cut_off : End::finished;
      case quarn::Status::infeasible:
        return is_proved(result) ? End::infeasible : End::failed;
      case quarn::Status::iteration_limit:
        return End::iterations;
      case quarn::Status::time_limit:
        return End::interrupted;
      case quarn::Status::stopped:
        return stop_;
      default:
        return End::failed;
    }
  }

  Frame &frame_;
  NodeMaster &at_;
  const GenerationOptions &options_;
  End stop_ = End::finished;  ///< why it was made to stop
  int32_t seen_;              ///< columns before this one are checked
  double proved_ = proved();  ///< when last looked at
  double noise_ = 0.0;        ///< of the last answer
  Branching branching_;
};

Generation generate(Frame &frame, NodeMaster &at, const GenerationOptions &options) {
  return GenerationRun(frame, at, options).run();
}

}  // namespace branch_and_price
}  // namespace quarn
