/**
 * What the solver's units hold their numbers in.
 */
#ifndef INTERIOR_POINT_VECTOR_H
#define INTERIOR_POINT_VECTOR_H

#include <cstddef>
#include <memory>
#include <vector>

namespace interior_point {

/// A std::vector whose entries are named by any integer. Rows, columns and positions are int32_t
/// here as in the interface; with the unsigned index of the standard each use of one would be a
/// change of sign.
template <class T>
class Vector : public std::vector<T> {
 public:
  using std::vector<T>::vector;

  template <class Index>
  typename std::vector<T>::reference operator[](Index i) {
    return std::vector<T>::operator[](static_cast<std::size_t>(i));
  }
  template <class Index>
  typename std::vector<T>::const_reference operator[](Index i) const {
    return std::vector<T>::operator[](static_cast<std::size_t>(i));
  }
};

/// A capacity for at least so many entries, up to an eighth more. What grows by a column at a time
/// asks for blocks of one size then: each larger one would be fresh pages.
inline std::size_t roomy(std::size_t size) {
  std::size_t step = 16;
  while (16 * step <= size) step *= 2;
  return (size + step - 1) / step * step;
}

/// Room for numbers that are written before they are read.
class Room {
 public:
  /// What was held is gone. Throws std::bad_alloc.
  void resize(std::size_t size) {
    if (size <= capacity_) return;
    numbers_.reset();
    capacity_ = 0;
    numbers_.reset(new double[roomy(size)]);
    capacity_ = roomy(size);
  }

  double *data() { return numbers_.get(); }
  const double *data() const { return numbers_.get(); }

 private:
  std::unique_ptr<double[]> numbers_;
  std::size_t capacity_ = 0;
};

}  // namespace interior_point

#endif
