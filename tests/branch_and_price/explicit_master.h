/// Tiny masters whose columns are all written down, with their optima by dynamic programming.
#ifndef TESTS_BRANCH_AND_PRICE_EXPLICIT_MASTER_H
#define TESTS_BRANCH_AND_PRICE_EXPLICIT_MASTER_H

#include <cstdint>
#include <optional>
#include <random>
#include <vector>

#include "branch_and_price/branch_and_price.hpp"

namespace explicit_master {

namespace bp = quarn::branch_and_price;

enum class Family { bin_packing, partitioning, covering, packing, blocks };
constexpr Family kFamilies[] = {Family::bin_packing, Family::partitioning, Family::covering,
                                Family::packing, Family::blocks};

struct ExplicitRow {
  quarn::RowSense sense;
  int rhs;
  bool block;
};

struct ExplicitColumn {
  double cost;
  std::vector<int> entries;  ///< of each row, not negative
};

struct Program {
  quarn::Sense sense = quarn::Sense::minimize;
  bool pairs = false;  ///< branch on pairs of rows, else on the columns
  double granularity = 0.0;
  std::vector<ExplicitRow> rows;
  std::vector<ExplicitColumn> columns;
};

Program random_program(Family family, uint32_t seed);

/// Value of the best solution; nothing when there is none.
std::optional<double> best_value(const Program &program);

/// Prices the columns by looking at each.
class ExplicitProblem : public bp::Problem {
 public:
  explicit ExplicitProblem(const Program &program);

  const quarn::Master &master() const { return master_; }

  quarn::Answer price(const bp::Subproblem &at, const quarn::Duals &duals,
                      quarn::Columns &columns) override;
  bool allows(const bp::Decision &decision, const quarn::Column &column,
              const std::vector<quarn::Entry> &entries) const override;
  double coefficient(const bp::Decision &decision, const quarn::Column &column,
                     const std::vector<quarn::Entry> &entries) const override;
  std::vector<bp::Branching> branch(const bp::Relaxation &relaxation) override;
  double granularity() const override { return program_.granularity; }
  /// Half the sum of three rows, rounded down, where all columns keep to it.
  std::vector<bp::Decision> cuts(const bp::Relaxation &relaxation) override;

  bool ignores_decisions = false;  ///< a fault: prices as if there were none

 private:
  double entry_in(const bp::Decision &decision, size_t j) const;
  bool allows_number(const bp::Decision &decision, size_t j,
                     const std::vector<quarn::Entry> &entries) const;
  double most_uses(const bp::Subproblem &at, size_t j) const;

  Program program_;
  quarn::Master master_;
  std::vector<quarn::Row> rows_;
};

}  // namespace explicit_master

#endif
