/// Master problems with a known optimal value, and the oracle that prices them by looking at every
/// column.
#ifndef TESTS_CPP_RANDOM_MASTERS_H
#define TESTS_CPP_RANDOM_MASTERS_H

#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "quarn_cpp/quarn.hpp"

namespace masters {

struct ProgramRow {
  quarn::Bounds sides;
  bool block = false;
};

struct ProgramColumn {
  double cost = 0.0;
  std::vector<std::pair<size_t, double>> entries;
  quarn::Bounds bounds;
  int block = -1;  ///< row of its block; -1: a ray
};

/// A whole linear program; the columns come out one after the other when it is solved.
struct Program {
  quarn::Sense sense = quarn::Sense::minimize;
  std::vector<ProgramRow> rows;  ///< linking ones first
  std::vector<ProgramColumn> columns;
  std::vector<double> solution;  ///< an optimal one
  double value = 0.0;
};

/// What random programs may have.
struct Features {
  bool ranges = true, rays = true, bounds = true;
  int blocks = 0;  ///< 0: one to five
};

/// Made around an optimal pair: reduced costs are 0 where the solution is between its bounds, rows
/// are tight where the dual is not 0.
Program random_program(uint32_t seed, quarn::Sense sense, const Features &features = {});

/// The program as a master: as first columns it has those with bounds of their own.
class ProgramMaster {
 public:
  /// Without the rows that are `left_out`, until they are added.
  explicit ProgramMaster(const Program &program, const std::vector<size_t> &left_out = {});

  /// Goes on with a master that was made from the program before.
  ProgramMaster(const Program &program, quarn::Master master);

  /// Adds a row that was left out, with its entries in all columns that are there.
  void add_row(size_t row);

  quarn::Master &master() { return master_; }
  const std::vector<quarn::Row> &rows() const { return rows_; }

  /// Prices `program` at the duals; at most `most` columns of a block a call.
  quarn::Oracle oracle(size_t most = 2) const;

 private:
  const Program &program_;
  quarn::Master master_;
  std::vector<quarn::Row> rows_;
};

}  // namespace masters

#endif
