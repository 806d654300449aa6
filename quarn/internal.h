/**
 * What the source units of the library share: scratch memory, resizing of owned arrays, 0-based
 * views of the 1-based matrix records, and the two dispatchers of the restricted master.
 */
#ifndef QUARN_INTERNAL_H
#define QUARN_INTERNAL_H

#include <cstdint>
#include <cstdlib>
#include <type_traits>

#include "interior_point/interior_point.h"
#include "quarn/quarn.h"

extern "C" {

/**
 * Solves the current restricted master once: sets env->opt_tol, loads the problem, runs the
 * strategy that WS_strategy names, falls back to the standard one, and reads the duals into env->u.
 *
 * Returns 0 and writes the two values when solved; -1, with u and both values untouched, when the
 * fallback failed too.
 */
int32_t QUARN_solve_RMP(QUARN_env *env, QUARN_SMatrix_CW *G, double *RHS, double *row_range,
                        int32_t *row_type, double *col_lb, double *col_ub, double *rmp_dual_value,
                        double *rmp_primal_value);

/** The same for the rounding heuristic: at env->opt_tol as it stands, centred or warm-started. */
int32_t IQUARN_solve_RMP(QUARN_env *env, QUARN_SMatrix_CW *G, double *RHS, double *row_range,
                         int32_t *row_type, double *col_lb, double *col_ub, double *rmp_dual_value,
                         double *rmp_primal_value);

}  // extern "C"

namespace quarn {

constexpr double kInfinity = 1e30;  ///< what the record calls unbounded

/// A zero-filled array of `count` entries from calloc; at least one entry is allocated, so that a
/// null result always means that memory ran out. A negative count counts as memory run out.
template <typename T>
T *allocate(int64_t count) {
  static_assert(std::is_trivial<T>::value, "arrays at the C boundary hold plain values");
  if (count < 0) return nullptr;
  return static_cast<T *>(std::calloc(static_cast<size_t>(count > 0 ? count : 1), sizeof(T)));
}

/// Changes the length of an owned array in place; on failure returns false and keeps the old array.
/// Entries beyond the old length are not initialised.
template <typename T>
bool resize(T **array, int64_t count) {
  if (count < 0 || static_cast<uint64_t>(count) > SIZE_MAX / sizeof(T)) return false;
  void *moved = std::realloc(*array, static_cast<size_t>(count > 0 ? count : 1) * sizeof(T));
  if (moved == nullptr) return false;
  *array = static_cast<T *>(moved);
  return true;
}

/// The same, with every entry from `from` on set to `value`; a null array is made anew, all
/// `value`.
template <typename T>
bool resize_filled(T **array, int64_t from, int64_t count, T value) {
  const int64_t first = *array == nullptr ? 0 : from;
  if (!resize(array, count)) return false;
  for (int64_t k = first; k < count; ++k) (*array)[k] = value;
  return true;
}

/// Scratch memory of one scope: zero-filled, false when memory ran out. `release` hands it over.
template <typename T>
class Scratch {
 public:
  explicit Scratch(int64_t count) : data_(allocate<T>(count)) {}
  ~Scratch() { std::free(data_); }
  Scratch(const Scratch &) = delete;
  Scratch &operator=(const Scratch &) = delete;

  explicit operator bool() const { return data_ != nullptr; }
  T &operator[](int64_t k) { return data_[k]; }
  const T &operator[](int64_t k) const { return data_[k]; }
  T *get() { return data_; }

  /// Gives the array to the caller, who frees it.
  T *release() {
    T *data = data_;
    data_ = nullptr;
    return data;
  }

 private:
  T *data_;
};

/// Column j (from 0) of a column-wise record: `rw` still counts rows from 1.
struct ColumnView {
  const double *elt;
  const int32_t *rw;
  int32_t length;
};

inline ColumnView column(const QUARN_SMatrix_CW &A, int32_t j) {
  const int32_t first = A.col_start[j] - 1;
  return {A.elt + first, A.rw + first, A.col_start[j + 1] - A.col_start[j]};
}

/// The entries of a record as `count` lists, whichever way they run.
struct Lists {
  const int32_t *start;
  const int32_t *index;
  const double *elt;
  int32_t count;
};

}  // namespace quarn

#endif
