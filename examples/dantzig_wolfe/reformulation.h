#ifndef EXAMPLES_DANTZIG_WOLFE_REFORMULATION_H
#define EXAMPLES_DANTZIG_WOLFE_REFORMULATION_H

#include <cstdint>
#include <map>
#include <quarn_cpp/quarn.hpp>
#include <vector>

#include "examples/dantzig_wolfe/blocks.h"
#include "examples/dantzig_wolfe/decomposition.h"
#include "examples/dantzig_wolfe/master_column.h"
#include "examples/dantzig_wolfe/model.h"
#include "examples/dantzig_wolfe/point_sets.h"

namespace dantzig_wolfe {

/// A linking row, less what the variables outside of the blocks have at their bases.
struct LinkingRow {
  int32_t row;  ///< of the file
  double lower, upper;
  int32_t master = -1;  ///< index in the master; -1 for a row that demands nothing
};

/// A variable outside of the blocks as a part of a column:  base + direction * share.
struct OutsideVariable {
  int32_t variable;  ///< of the file
  double base, direction;
  double upper;  ///< of its share
};

/// A column of variables outside of the blocks that have the same cost and entries, as most have
/// alone; its value is what their shares add up to.
struct OutsideColumn {
  double cost = 0.0;           ///< of the program that minimises
  double upper = 0.0;          ///< of the column's value
  std::vector<Entry> entries;  ///< in linking rows
  std::vector<OutsideVariable> parts;
};

/**
 * The reformulation of a model by its blocks (G. B. Dantzig, P. Wolfe, Decomposition principle for
 * linear programs, Operations Research 8 (1960)). With A_k the linking rows' coefficients of block
 * k, of which there are n_k equal ones, P_k its points and R_k its rays, y the variables outside
 * of the blocks:
 *
 *     min  d y + sum_k sum_p (c_k p) x_p (1) s.t. L <= B y + sum_k sum_p (A_k p) x_p <= U duals u
 *          sum_{p in P_k} x_p = n_k   for all k                duals v
 *          x >= 0,  y within its bounds.
 *
 * Pricing finds  z_k(u) = min { (c_k - u A_k) p : p in block k },  and for all u with u_i >= 0
 * where row i has no upper side, u_i <= 0 where it has no lower one,
 *
 *     sum_i side_i(u_i) + sum_k n_k z_k(u) + min { (d - u B) y : y within its bounds } (2)
 *
 * is a lower bound; side_i(u_i) is u_i L_i for u_i >= 0 and u_i U_i otherwise. It needs no v, and
 * holds with a bound in place of z_k as well.
 *
 * A program that maximises becomes a master that maximises; all that is said here is about the one
 * with costs of the other sign. The objective's constant is in the costs of the points of
 * the first block, so that the master's value is the file's.
 */
class Reformulation {
 public:
  /// `model` has to outlive the object. There is at least one block.
  Reformulation(const Model &model, const Decomposition &decomposition, std::vector<Block> blocks);

  const Model &model() const { return model_; }
  const std::vector<Block> &blocks() const { return blocks_; }
  const std::vector<LinkingRow> &rows() const { return rows_; }
  const std::vector<OutsideColumn> &outside() const { return outside_; }
  /// Index in the master of a block's convexity row.
  int32_t convexity(size_t block) const { return convexity_[block]; }

  /// The master with its rows and the columns of the variables outside.
  const quarn::Master &master() const { return master_; }

  /// A block's column as the master takes it: cost in its sense, entries by index of its rows.
  Coefficients master_coefficients(const MasterColumn &column) const;

  /// u_i of the program that minimises from the master's dual of linking row i, with the sign that
  /// (2) asks for; `duals` by index of the master's rows.
  double valid_dual(size_t i, const std::vector<double> &duals) const;
  /// The first and the last sum of (2), -kInfinite where there is no minimum. Reduced costs of
  /// unbounded columns that are below 0 by no more than rounding errors count as 0. `ranges` are
  /// those of columns of variables outside whose value is not just within 0 and its upper bound.
  double outside_bound(const std::vector<double> &duals,
                       const std::map<size_t, Range> &ranges = {}) const;
  /// What the objective has besides columns and blocks' variables.
  double constant() const { return constant_; }

  /// The master's duals, by index of its rows, from those of the file's rows in the program that
  /// minimises; 0 for convexity rows.
  std::vector<double> master_duals(const std::vector<double> &file_duals) const;

  /// Variables of the file from columns and their values. Copies of a block are filled one after
  /// the other, so that whole values make whole blocks.
  std::vector<double> file_solution(const std::vector<MasterColumn> &columns,
                                    const std::vector<double> &values) const;

 private:
  void place_outside_variable(int32_t j, const std::vector<Entry> &entries);
  void add_part(const OutsideVariable &part, double cost, const std::vector<Entry> &entries);
  void add_rows();
  bool rays_look_bounded() const;
  void add_outside_columns();

  const Model &model_;
  const std::vector<Block> blocks_;
  std::vector<LinkingRow> rows_;
  std::vector<OutsideColumn> outside_;
  std::vector<double> base_;  ///< by variable of the file; 0 in blocks
  double constant_;
  std::vector<int32_t> convexity_;
  int32_t ray_row_ = -1;  ///< index in the master, see add_rows; -1: none
  quarn::Master master_;
};

}  // namespace dantzig_wolfe

#endif
