#include "conversions.h"

#include <limits>
#include <string>

namespace quarn_python {

std::any to_any(int64_t object) { return object == kNoObject ? std::any() : std::any(object); }

int64_t object_of(const quarn::Column &column) {
  const auto *object = std::any_cast<int64_t>(&column.data());
  return object == nullptr ? kNoObject : *object;
}

static std::string text_of(const py::handle &object) { return py::repr(object); }

const quarn::Row &to_row(const py::handle &object) {
  if (!py::isinstance<quarn::Row>(object)) throw py::type_error(text_of(object) + " is no row");
  return object.cast<const quarn::Row &>();
}

std::vector<quarn::Entry> to_entries(const py::dict &entries) {
  std::vector<quarn::Entry> result;
  result.reserve(entries.size());
  for (const auto &[row, value] : entries) {
    if (!py::isinstance<quarn::Row>(row)) {
      throw py::type_error("entries are {row: value}, and " + text_of(row) + " is no row");
    }
    const double number = PyFloat_AsDouble(value.ptr());
    if (number == -1.0 && PyErr_Occurred() != nullptr) {
      PyErr_Clear();
      throw py::type_error("the entry in " + text_of(row) + " is no number: " + text_of(value));
    }
    result.emplace_back(row.cast<const quarn::Row &>(), number);
  }
  return result;
}

py::dict to_dict(const std::vector<quarn::Entry> &entries) {
  py::dict result;
  for (const quarn::Entry &entry : entries) result[py::cast(entry.first)] = entry.second;
  return result;
}

static double to_infinity(double bound) {
  if (bound >= quarn::kInfinity) return std::numeric_limits<double>::infinity();
  if (bound <= -quarn::kInfinity) return -std::numeric_limits<double>::infinity();
  return bound;
}

py::tuple to_tuple(const quarn::Bounds &bounds) {
  return py::make_tuple(to_infinity(bounds.lower), to_infinity(bounds.upper));
}

/// The object as an array of one dimension. numpy would cut fractions off and read text as numbers;
/// neither is meant.
static py::array checked_array(const py::object &object, const char *name, const char *kinds) {
  const py::array array = py::array::ensure(object);
  if (!array || array.ndim() != 1) {
    PyErr_Clear();
    throw quarn::Mistake(std::string(name) + " has to be an array of one dimension");
  }
  const char kind = array.dtype().kind();
  // An empty list becomes an array of floating-point numbers.
  if (array.size() > 0 && std::string(kinds).find(kind) == std::string::npos) {
    throw py::type_error(std::string(name) + " has to be an array of " +
                         (std::string(kinds) == "iu" ? "whole numbers" : "numbers") + ", not of " +
                         text_of(array.dtype()));
  }
  return array;
}

static std::vector<int32_t> narrowed(const int64_t *rows, size_t count) {
  std::vector<int32_t> result(count);
  for (size_t t = 0; t < count; ++t) {
    // -1 is no row either, and what does not fit must not become one that is.
    const bool fits = rows[t] >= 0 && rows[t] <= std::numeric_limits<int32_t>::max();
    result[t] = fits ? static_cast<int32_t>(rows[t]) : -1;
  }
  return result;
}

ColumnArrays::ColumnArrays(const py::object &costs, const py::object &starts,
                           const py::object &rows, const py::object &values, int64_t first_object)
    : costs_(checked_array(costs, "costs", "fiub")),
      values_(checked_array(values, "values", "fiub")),
      rows_(checked_array(rows, "rows", "iu")),
      first_object_(first_object) {
  const Integers first(checked_array(starts, "starts", "iu"));
  starts_.assign(first.data(), first.data() + first.size());
  if (starts_.size() == count()) starts_.push_back(values_.size());
  const auto fail = [](const std::string &what, py::ssize_t one, py::ssize_t other) {
    throw quarn::Mistake(what + ": " + std::to_string(one) + " and " + std::to_string(other));
  };
  if (starts_.size() != count() + 1) {
    fail("starts has to have an entry for each cost, or one more", first.size(), costs_.size());
  }
  if (rows_.size() != values_.size()) {
    fail("rows and values have to be of the same length", rows_.size(), values_.size());
  }
  if (starts_.back() != values_.size()) {
    fail("the last start has to be the number of values", static_cast<py::ssize_t>(starts_.back()),
         values_.size());
  }
  narrow_rows_ = narrowed(rows_.data(), static_cast<size_t>(rows_.size()));
}

std::vector<std::any> ColumnArrays::objects() const {
  std::vector<std::any> result;
  if (first_object_ == kNoObject) return result;
  result.reserve(count());
  for (size_t k = 0; k < count(); ++k) {
    result.emplace_back(first_object_ + static_cast<int64_t>(k));
  }
  return result;
}

}  // namespace quarn_python
