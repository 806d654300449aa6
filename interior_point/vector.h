/**
 * The sequence that the solver's units hold their numbers in.
 */
#ifndef INTERIOR_POINT_VECTOR_H
#define INTERIOR_POINT_VECTOR_H

#include <cstddef>
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

}  // namespace interior_point

#endif
