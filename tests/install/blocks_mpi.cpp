// The program of blocks.cpp as one for mpirun.
#include <block_pricing/block_pricer.hpp>
#include <block_pricing/mpi_team.hpp>
#include <cmath>
#include <quarn_cpp/quarn.hpp>

struct Supplier : quarn::BlockOracle {
  size_t blocks() const override { return 1; }
  quarn::BlockAnswer price(size_t, const quarn::BlockDuals &duals,
                           quarn::BlockColumns &columns) override {
    columns.add(2.0, {{0, 1.0}, {1, 1.0}});
    return quarn::BlockAnswer::best_reduced_cost(2.0 - duals.values[0] - duals.values[1]);
  }
};

int main(int argc, char **argv) {
  quarn::MpiSession session(argc, argv);
  Supplier supplier;
  quarn::MpiTeam team(session);
  if (team.rank() != 0) return team.serve(supplier) ? 0 : 1;
  quarn::BlockPricer pricer(supplier, team);
  quarn::Master master;
  master.add_row(quarn::RowSense::at_least, 3.0);
  const quarn::Row block = master.add_block(quarn::RowSense::at_most, 4.0);
  const quarn::Result result = master.solve(pricer.oracle({block}, quarn::Sense::minimize));
  return std::fabs(result.upper_bound - 6.0) < 1e-4 ? 0 : 1;
}
