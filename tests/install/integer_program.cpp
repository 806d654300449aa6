#include <branch_and_price/branch_and_price.hpp>
#include <iostream>

namespace bp = quarn::branch_and_price;

// Items of these sizes into as few bins of size 10 as possible.
const std::vector<int> kSizes = {6, 5, 5, 4, 4, 3, 3};

class BinPacking : public bp::Problem {
 public:
  quarn::Master master{quarn::Sense::minimize};
  std::vector<quarn::Row> rows;

  BinPacking() {
    for (size_t i = 0; i < kSizes.size(); ++i) {
      rows.push_back(master.add_row(quarn::RowSense::equal, 1.0));
    }
  }

  // Looks at all sets of items that fit and that the decisions allow; adds those worth their bin.
  quarn::Answer price(const bp::Subproblem &at, const quarn::Duals &duals,
                      quarn::Columns &columns) override {
    double best = 1.0, sum = 0.0;
    for (unsigned set = 1; set < 1U << kSizes.size(); ++set) {
      int size = 0;
      double worth = 0.0;
      std::vector<quarn::Entry> entries;
      for (size_t i = 0; i < kSizes.size(); ++i) {
        if ((set >> i & 1U) == 0) continue;
        size += kSizes[i];
        worth += duals[rows[i]];
        entries.push_back({rows[i], 1.0});
      }
      bool allowed = size <= 10 && worth > 1.0;
      for (const bp::Decision &decision : at.decisions) {
        allowed = allowed && bp::pair_allows(decision, entries);
      }
      if (!allowed) continue;
      columns.add(1.0, entries);
      best = std::max(best, worth);
    }
    for (const quarn::Row &row : rows) sum += duals[row] * at.master.range(row).upper;
    return quarn::Answer::bound(sum > 0.0 ? sum / best : sum);
  }

  bool allows(const bp::Decision &decision, const quarn::Column &,
              const std::vector<quarn::Entry> &entries) const override {
    return bp::pair_allows(decision, entries);
  }
  std::vector<bp::Branching> branch(const bp::Relaxation &relaxation) override {
    return bp::branch_on_pairs(relaxation, rows);
  }
  double granularity() const override { return 1.0; }  // bounds are rounded up
};

int main() {
  BinPacking problem;
  bp::Search search(problem, problem.master);
  const bp::Outcome outcome = search.run();
  std::cout << to_string(outcome.status) << ": " << outcome.value << " bins\n";
}
