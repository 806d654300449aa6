#ifndef QUARN_CPP_HANDLES_HPP
#define QUARN_CPP_HANDLES_HPP

#include <any>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "quarn_cpp/errors.hpp"
#include "quarn_cpp/visibility.hpp"

namespace quarn {
inline namespace v1 {

namespace detail {
struct RowIdentity;
struct Batch;
struct State;
}  // namespace detail

/// What a master looks for.
enum class Sense { minimize, maximize };

/// Relation of a row's left side to its right side.
enum class RowSense { equal = 1, at_least = 2, at_most = 3 };

/// No bound: larger than any number that counts.
constexpr double kInfinity = 1e30;

/**
 * Handle of a row. It belongs to the master that made it and to the copies made of that master
 * afterwards; any other master refuses it. A default-made handle belongs to none.
 */
class QUARN_CPP_PUBLIC Row {
 public:
  Row() = default;

  /// The name given when the row was made, else "row <index>".
  std::string name() const;
  /// Number of the row: rows count from 0 in the order in which they were added, and keep their
  /// number when others are removed. -1 for a handle of no row.
  int32_t index() const;
  /// Whether it is a block row, in C a further row; otherwise it is linking.
  bool is_block() const;

  explicit operator bool() const { return identity_ != nullptr; }
  friend bool operator==(const Row &a, const Row &b) { return a.identity_ == b.identity_; }
  friend bool operator!=(const Row &a, const Row &b) { return !(a == b); }
  friend bool operator<(const Row &a, const Row &b) {
    return std::less<const void *>()(a.identity_.get(), b.identity_.get());
  }

 private:
  friend struct detail::State;
  friend class Duals;
  explicit Row(std::shared_ptr<const detail::RowIdentity> identity)
      : identity_(std::move(identity)) {}

  std::shared_ptr<const detail::RowIdentity> identity_;
};

/// An entry of a column.
using Entry = std::pair<Row, double>;

/**
 * Handle of a column. It stays valid when other columns, or this one, are removed, and belongs to
 * the master that made it and to the copies made of it afterwards.
 */
class QUARN_CPP_PUBLIC Column {
 public:
  Column() = default;

  /// Number of the column: from 0 in the order added, never used again. -1 for a handle of none.
  int32_t index() const;
  /// Cost, in the sense of the master.
  double cost() const;
  /// The caller's object; an empty one when none was given.
  const std::any &data() const;
  /// The caller's object as a T. Throws Mistake when it is none.
  template <typename T>
  const T &get() const {
    const T *object = std::any_cast<T>(&data());
    if (object == nullptr) {
      throw Mistake("column " + std::to_string(index()) + " carries no object of this type");
    }
    return *object;
  }

  explicit operator bool() const { return batch_ != nullptr; }
  friend bool operator==(const Column &a, const Column &b) {
    return a.batch_ == b.batch_ && a.position_ == b.position_;
  }
  friend bool operator!=(const Column &a, const Column &b) { return !(a == b); }

 private:
  friend struct detail::State;
  Column(std::shared_ptr<const detail::Batch> batch, int32_t position)
      : batch_(std::move(batch)), position_(position) {}

  std::shared_ptr<const detail::Batch> batch_;
  int32_t position_ = 0;
};

/// A column with its value in a solution.
struct ColumnValue {
  Column column;
  double value = 0.0;
};

/// Lower and upper bound: of a column, of a dual, of a row.
struct Bounds {
  double lower = 0.0;
  double upper = kInfinity;
};

}  // namespace v1
}  // namespace quarn

#endif
