#ifndef QUARN_PYTHON_CONVERSIONS_H
#define QUARN_PYTHON_CONVERSIONS_H

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <any>
#include <cstdint>
#include <vector>

#include "quarn_cpp/quarn.hpp"

namespace quarn_python {

namespace py = pybind11;

/// What stands for "no object" where a column's object is named by its number.
constexpr int64_t kNoObject = -1;

/**
 * The objects of columns stay in Python, where the garbage collector sees them: a column carries
 * only the number under which the master's Python side keeps its object. An empty `any` for
 * kNoObject.
 */
std::any to_any(int64_t object);
int64_t object_of(const quarn::Column &column);

/// The row that an object is. Throws py::type_error for what is none.
const quarn::Row &to_row(const py::handle &object);

/// Entries from a dict {Row: number}. Throws py::type_error, naming what is no row or no number.
std::vector<quarn::Entry> to_entries(const py::dict &entries);

/// The reverse.
py::dict to_dict(const std::vector<quarn::Entry> &entries);

/// A tuple (lower, upper); infinite for quarn::kInfinity.
py::tuple to_tuple(const quarn::Bounds &bounds);

/// Columns in arrays, as Python passes them: views where the types fit, else copies.
class ColumnArrays {
 public:
  /// `starts` has an entry for each column, or one more at the end. Throws py::type_error for
  /// arrays of other numbers than needed, quarn::Mistake for shapes that do not fit.
  ColumnArrays(const py::object &costs, const py::object &starts, const py::object &rows,
               const py::object &values, int64_t first_object);

  size_t count() const { return static_cast<size_t>(costs_.size()); }
  const double *costs() const { return costs_.data(); }
  const int64_t *starts() const { return starts_.data(); }
  const int32_t *rows() const { return narrow_rows_.data(); }
  const double *values() const { return values_.data(); }
  size_t entries() const { return static_cast<size_t>(values_.size()); }
  /// The numbers of the columns' objects: consecutive from the first one, none for kNoObject.
  std::vector<std::any> objects() const;

 private:
  using Doubles = py::array_t<double, py::array::c_style | py::array::forcecast>;
  using Integers = py::array_t<int64_t, py::array::c_style | py::array::forcecast>;

  Doubles costs_, values_;
  Integers rows_;
  std::vector<int64_t> starts_;
  std::vector<int32_t> narrow_rows_;
  int64_t first_object_;
};

}  // namespace quarn_python

#endif
