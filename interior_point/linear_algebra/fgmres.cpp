#include "interior_point/linear_algebra/fgmres.h"

#include <cmath>

#include "interior_point/vector.h"

namespace interior_point {

namespace {

double dot(const Vector<double> &a, const Vector<double> &b) {
  double sum = 0.0;
  for (size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}

void add_scaled(double factor, const Vector<double> &b, Vector<double> *a) {
  for (size_t i = 0; i < b.size(); ++i) (*a)[i] += factor * b[i];
}

void divide(double by, Vector<double> *a) {
  for (double &e : *a) e /= by;
}

}  // namespace

bool Fgmres::start(const Vector<double> &residual) {
  size_ = 0;
  const double norm = std::sqrt(dot(residual, residual));
  if (!(norm > 0.0) || !std::isfinite(norm)) return false;
  basis_[0] = residual;
  divide(norm, &basis_[0]);
  rhs_[0] = norm;
  return true;
}

/// Modified Gram-Schmidt on the image.
bool Fgmres::add(const Vector<double> &direction, const Vector<double> &image) {
  const size_t k = static_cast<size_t>(size_);
  Vector<double> &left = basis_[k + 1];
  left = image;
  for (int i = 0; i <= size_; ++i) {
    const Vector<double> &unit = basis_[static_cast<size_t>(i)];
    hessenberg(i, size_) = dot(left, unit);
    add_scaled(-hessenberg(i, size_), unit, &left);
  }
  const double below = std::sqrt(dot(left, left));
  if (!std::isfinite(below)) return false;
  rotate(below);
  if (!(std::fabs(hessenberg(size_, size_)) > 0.0)) return false;
  directions_[k] = direction;
  ++size_;
  if (!(below > 0.0)) return false;
  divide(below, &left);
  return size_ < kMaxDimension;
}

/// The earlier rotations on the new column, and the one that clears the entry below its diagonal.
void Fgmres::rotate(double below) {
  for (int i = 0; i < size_; ++i) {
    const double c = cosine_[static_cast<size_t>(i)];
    const double s = sine_[static_cast<size_t>(i)];
    const double upper = hessenberg(i, size_);
    const double lower = hessenberg(i + 1, size_);
    hessenberg(i, size_) = c * upper + s * lower;
    hessenberg(i + 1, size_) = c * lower - s * upper;
  }
  const size_t k = static_cast<size_t>(size_);
  const double length = std::hypot(hessenberg(size_, size_), below);
  if (!(length > 0.0)) return;
  cosine_[k] = hessenberg(size_, size_) / length;
  sine_[k] = below / length;
  hessenberg(size_, size_) = length;
  rhs_[k + 1] = -sine_[k] * rhs_[k];
  rhs_[k] *= cosine_[k];
}

double Fgmres::residual_norm() const { return std::fabs(rhs_[static_cast<size_t>(size_)]); }

void Fgmres::combine(Vector<double> *sum) const {
  std::array<double, kMaxDimension> weight = {};
  sum->assign(size_ > 0 ? directions_[0].size() : 0, 0.0);
  for (int i = size_ - 1; i >= 0; --i) {
    const size_t k = static_cast<size_t>(i);
    weight[k] = rhs_[k];
    for (int q = i + 1; q < size_; ++q)
      weight[k] -= hessenberg(i, q) * weight[static_cast<size_t>(q)];
    weight[k] /= hessenberg(i, i);
    add_scaled(weight[k], directions_[k], sum);
  }
}

}  // namespace interior_point
