// Two blocks of one column each share a row that asks for 3: block 0 serves it at cost 2, block 1
// at cost 5, each at most twice. The value is 2 * 2 + 5 = 9.
#include <block_pricing/block_pricer.hpp>
#include <cmath>
#include <iostream>
#include <quarn_cpp/quarn.hpp>

struct Suppliers : quarn::BlockOracle {
  size_t blocks() const override { return 2; }
  quarn::BlockAnswer price(size_t block, const quarn::BlockDuals &duals,
                           quarn::BlockColumns &columns) override {
    const double cost = block == 0 ? 2.0 : 5.0;
    const auto own = static_cast<int32_t>(block) + 1;
    columns.add(cost, {{0, 1.0}, {own, 1.0}});
    return quarn::BlockAnswer::best_reduced_cost(cost - duals.values[0] -
                                                 duals.values[static_cast<size_t>(own)]);
  }
};

int main() {
  quarn::Master master;
  master.add_row(quarn::RowSense::at_least, 3.0);
  const quarn::Row first = master.add_block(quarn::RowSense::at_most, 2.0);
  const quarn::Row second = master.add_block(quarn::RowSense::at_most, 2.0);
  Suppliers suppliers;
  quarn::LocalTeam team(quarn::has_block_threads() ? 2 : 1);
  quarn::BlockPricer pricer(suppliers, team);
  const quarn::Result result = master.solve(pricer.oracle({first, second}, quarn::Sense::minimize));
  std::cout << quarn::to_string(result.status) << " " << result.upper_bound << "\n";
  return result.status == quarn::Status::optimal && std::fabs(result.upper_bound - 9.0) < 1e-4 ? 0
                                                                                               : 1;
}
