#include "examples/dantzig_wolfe/solution_search.h"

#include <unordered_map>

#include "examples/dantzig_wolfe/file_solution.h"
#include "examples/dantzig_wolfe/relaxation.h"
#include "examples/dantzig_wolfe/restricted_master.h"

namespace dantzig_wolfe {

namespace {

class Search {
 public:
  Search(const Reformulation &reformulation, const RestrictedMaster &restricted)
      : reformulation_(reformulation),
        model_(reformulation.model()),
        columns_(restricted.columns()) {}

  /// Values of the library's master.
  void consider(const std::vector<quarn::ColumnValue> &values, const char *source) {
    std::unordered_map<std::string, double> by_text;
    for (const auto &[column, value] : values) by_text[column.get<std::string>()] = value;
    std::vector<double> in_order;
    for (const MasterColumn &column : columns_) {
      const auto found = by_text.find(to_text(column));
      in_order.push_back(found == by_text.end() ? 0.0 : found->second);
    }
    if (!values.empty()) consider(in_order, source);
  }

  /// Takes values of the master's columns for the best solution if they are one, and better.
  void consider(const std::vector<double> &values, const char *source) {
    if (values.empty()) return;
    std::vector<double> x = reformulation_.file_solution(columns_, values);
    tidy(model_, x);
    Violation violation = check(model_, x);
    if (violation.integral && model_.has_integers()) violation = complete(x);
    const double value = model_.objective(x);
    if (violation.largest > kFeasible || !is_better(violation.integral, value)) return;
    best_ = {std::move(x), violation.integral, value, source};
  }

  FileSolution take() { return std::move(best_); }

 private:
  /// The best values of the other variables beside those of the integer ones.
  Violation complete(std::vector<double> &x) const {
    LinearSolution completed = solve_with_integers_fixed(model_, x);
    if (completed.outcome == LinearSolution::Outcome::solved) {
      x = std::move(completed.x);
      tidy(model_, x);
    }
    return check(model_, x);
  }

  bool is_better(bool integral, double value) const {
    if (best_.x.empty() || integral != best_.integral) return best_.x.empty() || integral;
    return model_.sign() * value < model_.sign() * best_.value;
  }

  const Reformulation &reformulation_;
  const Model &model_;
  const std::vector<MasterColumn> &columns_;
  FileSolution best_;
};

}  // namespace

FileSolution find_solution(const Reformulation &reformulation, const RestrictedMaster &restricted,
                           const quarn::Result &result, double seconds) {
  Search search(reformulation, restricted);
  search.consider(restricted.values(), "the master's");
  if (!reformulation.model().has_integers()) return search.take();
  search.consider(result.integer_values, "by rounding");
  if (seconds > 0.0) {
    search.consider(restricted.solve_in_integers(seconds), "by Cbc over the columns");
  }
  return search.take();
}

}  // namespace dantzig_wolfe
