/// Small matrices, an owning environment, oracles as lambdas, and records as comparable text.
#ifndef TESTS_SUPPORT_RECORDS_H
#define TESTS_SUPPORT_RECORDS_H

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "quarn/quarn.h"

namespace support {

using Entry = std::pair<int32_t, double>;  ///< row from 1 and value; column from 1 in row batches
using Column = std::vector<Entry>;
using Columns = std::vector<Column>;

/// A column-wise record over its own arrays, as a caller hands it to the library.
class Batch {
 public:
  Batch(int32_t m, const Columns &columns);
  const QUARN_SMatrix_CW *get() const { return &record_; }

 private:
  std::vector<double> elt_;
  std::vector<int32_t> rw_, col_start_;
  QUARN_SMatrix_CW record_;
};

/// The same row by row.
class RowBatch {
 public:
  RowBatch(int32_t n, const Columns &rows);
  const QUARN_SMatrix_RW *get() const { return &record_; }

 private:
  std::vector<double> elt_;
  std::vector<int32_t> cl_, row_start_;
  QUARN_SMatrix_RW record_;
};

/// The columns of a record, entries in stored order.
Columns columns_of(const QUARN_SMatrix_CW &A);

using Shorts = std::initializer_list<int16_t>;

/// The arguments of QUARN_set_data.
struct ProblemData {
  int32_t m = 2, p = 0;
  int32_t nrows = 100;
  int32_t option = 0, max_outer_iterations = 100;
  std::vector<double> warm_duals, rhs, dual_lower, dual_upper;  ///< rhs: ones when empty
  std::vector<int16_t> row_types;                               ///< equalities when empty
  void *user_data = nullptr;
};

/// The record of QUARN_set_data, or a null pointer.
QUARN_env *set_up(const ProblemData &setup);

/// Owns a record: set up, or zero-filled as the destination of a copy.
class Environment {
 public:
  explicit Environment(const ProblemData &setup = {}) : env_(set_up(setup)) {}
  Environment(Environment &&other) noexcept : env_(std::exchange(other.env_, nullptr)) {}
  Environment &operator=(Environment &&other) noexcept {
    std::swap(env_, other.env_);
    return *this;
  }
  ~Environment();
  static Environment zero_filled();

  QUARN_env *get() const { return env_; }
  QUARN_env *operator->() const { return env_; }

 private:
  explicit Environment(QUARN_env *env) : env_(env) {}
  QUARN_env *env_;
};

/// Appends columns with a check that all were taken.
void add_columns(QUARN_env *env, const Columns &columns, const int32_t *tags = nullptr);

/// QUARN_remove_rows without its greeting on the terminal.
int32_t remove_rows(QUARN_env *env, const std::vector<int32_t> &keep, int32_t new_m, int32_t new_p);

/// Loads and solves the current RMP by the standard strategy; everything but Pb and u is kept.
void solve_once(QUARN_env *env);

/// An oracle as a closure: `user_data` of the environment points to it and `call_oracle` is passed.
using Oracle = std::function<int16_t(double *ub_term, double *lb_term, QUARN_env *env)>;
int16_t call_oracle(double *ub_term, double *lb_term, QUARN_env *env, void *user_data);

/// Every field of the record with its arrays, one line each, timers included.
std::string dump(const QUARN_env &env);

/// The lines of `after` that differ from `before`, joined by newlines.
std::string changed_lines(const std::string &before, const std::string &after);

/// What must hold of every record at any time, and array lengths: empty when it does.
std::string broken_invariants(const QUARN_env &env);

std::string to_text(const std::vector<double> &values);

/// Seeded draws.
class Random {
 public:
  explicit Random(uint32_t seed) : engine_(seed) {}
  int32_t integer(int32_t low, int32_t high) {
    return std::uniform_int_distribution<int32_t>(low, high)(engine_);
  }
  double real(double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(engine_);
  }
  bool chance(double probability) { return real(0.0, 1.0) < probability; }
  template <typename T>
  T one_of(const std::vector<T> &choices) {
    return choices[static_cast<size_t>(integer(0, static_cast<int32_t>(choices.size()) - 1))];
  }
  std::mt19937 &engine() { return engine_; }

 private:
  std::mt19937 engine_;
};

}  // namespace support

#endif
