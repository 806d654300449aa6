#include "interior_point/newton_system.h"

#include <algorithm>
#include <cmath>

namespace interior_point {

namespace {

// delta is this fraction of the median of the diagonal of A Theta A', and never above the second
// value. An absolute constant fails where penalty columns make all of theta tiny.
constexpr double kDeltaFraction = 1e-12;
constexpr double kLargestDelta = 1e-8;
// rho bounds theta, and with it the condition of M, where x grows without limit because the dual
// has no interior. Penalty columns that carry weight have a theta beyond it in their small unit.
constexpr double kRho = 1e-10;
constexpr double kRhoOfPenalties = 1e-13;
// A proximal term that takes back this share of the residual which a step removes is weakened.
constexpr double kDominantShare = 0.1;
constexpr double kWeaken = 0.01;
// A free column has no barrier; theta = x^2 / mu within these limits takes its place. A full step
// leaves dx / theta of its dual residual: with a theta of the other columns' size the residuals of
// many free columns would come back with every step.
constexpr double kLeastFreeTheta = 1e4;
constexpr double kMostFreeTheta = 1e10;
// A column that leaves this share of the largest dual residual gets a theta larger by the factor,
// at most the last value. Random programs of 400 and 2000 rows with 15 % free columns and entries
// from 1e-4 to 1e2, which hung at dual infeasibilities above 1e-5, take 36 and 56 iterations. A
// factor of 100 worsens the condition for columns that settle without (11 instead of 8 failures
// among 175 transformed netlib programs).
constexpr double kLeavingShare = 0.1;
constexpr double kLoosen = 10.0;
constexpr double kLoosestTheta = 1e14;
// Shift of the diagonal before Cholesky, its growth on a breakdown, and the last one tried.
constexpr double kFirstShift = 1e-13;
constexpr double kShiftGrowth = 100.0;
constexpr double kLastShift = 1e-4;
constexpr int kRefinementSteps = 12;
// The largest residual may rise from one step of conjugate gradients to the next, but not by more.
constexpr double kGrowingError = 4.0;

double largest(const std::vector<double> &v) {
  double most = 0.0;
  for (const double e : v) most = std::max(most, std::fabs(e));
  return most;
}

double dot(const std::vector<double> &a, const std::vector<double> &b) {
  double sum = 0.0;
  for (size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}

}  // namespace

void Products::resize(const ProblemForm &form) {
  xz.assign(static_cast<size_t>(form.columns()), 0.0);
  wv.assign(form.boxed.size(), 0.0);
}

NewtonSystem::NewtonSystem(const ProblemForm &form) : form_(form) {
  reset_terms();
  const size_t rows = static_cast<size_t>(form.rows());
  const size_t columns = static_cast<size_t>(form.columns());
  theta_.resize(columns);
  gradient_.resize(columns);
  product_.resize(columns);
  rhs_.resize(rows);
  residual_.resize(rows);
  search_.resize(rows);
  image_.resize(rows);
  preconditioned_.resize(rows);
  search_x_.resize(columns);
  diagonal_.resize(rows);
  added_.resize(rows);
}

void NewtonSystem::analyse(const Factorisation *last) {
  if (!factorisation_) factorisation_ = make_factorisation(form_.A, last, &form_.is_free);
}

void NewtonSystem::reset_terms() {
  delta_factor_ = 1.0;
  least_free_theta_.assign(static_cast<size_t>(form_.columns()), kLeastFreeTheta);
  rho_ = form_.has_penalties ? kRhoOfPenalties : kRho;
}

void NewtonSystem::weaken_dominant_terms(const Direction &direction, double largest_primal,
                                         double largest_dual) {
  if (delta_ * largest(direction.y) > kDominantShare * largest_primal) delta_factor_ *= kWeaken;
  if (form_.has_penalties && rho_ * largest(direction.x) > kDominantShare * largest_dual) {
    rho_ *= kWeaken;
  }
}

void NewtonSystem::loosen_free_columns(const Direction &direction, double largest_dual) {
  for (int32_t j = 0; j < form_.columns(); ++j) {
    if (form_.is_free[j] && std::fabs(direction.x[j]) > kLeavingShare * largest_dual * theta_[j]) {
      least_free_theta_[j] = std::min(kLoosen * theta_[j], kLoosestTheta);
    }
  }
}

void NewtonSystem::form_diagonal() {
  std::fill(diagonal_.begin(), diagonal_.end(), 0.0);
  for (int32_t j = 0; j < form_.columns(); ++j) {
    for (int32_t t = form_.A.start[j]; t < form_.A.start[j + 1]; ++t) {
      diagonal_[form_.A.row[t]] += theta_[j] * form_.A.value[t] * form_.A.value[t];
    }
  }
}

bool NewtonSystem::prepare(const Point &point, double mu) {
  for (int32_t j = 0; j < form_.columns(); ++j) {
    theta_[j] = form_.is_free[j] ? 0.0 : point.z[j] / point.x[j];
  }
  for (size_t k = 0; k < form_.boxed.size(); ++k) theta_[form_.boxed[k]] += point.v[k] / point.w[k];
  for (int32_t j = 0; j < form_.columns(); ++j) {
    if (form_.is_free[j]) {
      const double natural = point.x[j] * point.x[j] / std::max(mu, 1e-300);
      theta_[j] = std::max(std::min(natural, kMostFreeTheta), least_free_theta_[j]);
    } else {
      theta_[j] = 1.0 / (theta_[j] + rho_);
    }
  }
  return factorise();
}

bool NewtonSystem::prepare_least_squares(const std::vector<uint8_t> &far) {
  std::fill(theta_.begin(), theta_.end(), 1.0);
  for (size_t k = 0; k < far.size(); ++k) {
    if (!far[k]) theta_[form_.boxed[k]] = 0.5;
  }
  return factorise();
}

/// The shift is relative to the diagonal: it bounds the condition of M scaled to a unit diagonal,
/// whose Cholesky factorisation has the same rounding errors.
bool NewtonSystem::factorise() {
  trusted_ = false;
  analyse();
  if (form_.rows() == 0) return true;
  form_diagonal();
  added_ = diagonal_;
  const auto middle = added_.begin() + static_cast<int64_t>(added_.size() / 2);
  std::nth_element(added_.begin(), middle, added_.end());
  delta_ = std::min(kDeltaFraction * *middle, kLargestDelta) * delta_factor_;
  // Numbers that somebody kept stay as they are: they get new ones of their own.
  if (factorisation_.use_count() > 1) factorisation_ = factorisation_->sibling();
  for (double shift = kFirstShift; shift <= kLastShift; shift *= kShiftGrowth) {
    for (size_t i = 0; i < added_.size(); ++i) added_[i] = delta_ + shift * diagonal_[i];
    if (factorisation_->compute(theta_.data(), added_.data())) return true;
  }
  return false;
}

/// residual_ = r_p - A dx - delta dy, and its largest entry in the caller's units
double NewtonSystem::residual_of(const Residuals *residuals, const Direction &direction) {
  std::fill(image_.begin(), image_.end(), 0.0);
  add_product(form_.A, direction.x.data(), image_.data());
  double most = 0.0;
  for (size_t i = 0; i < residual_.size(); ++i) {
    const double wanted = residuals ? residuals->primal[i] : 0.0;
    residual_[i] = wanted - image_[i] - delta_ * direction.y[i];
    most = std::max(most, std::fabs(residual_[i]) * form_.row_unit[i]);
  }
  return most;
}

/// Conjugate gradients on (9) with the factorisation as preconditioner. The corrections are added
/// to dx itself: a small dy gives them with full relative accuracy, while theta (A'dy - g) anew
/// would bring back the rounding error of the large dy. True when the direction was clean as it
/// came; it stays where no step improves it. M. R. Hestenes and E. Stiefel, J. Res. Nat. Bur.
/// Standards 49 (1952).
bool NewtonSystem::refine(const Residuals *residuals, Direction *direction) {
  double error = residual_of(residuals, *direction);
  if (error <= accuracy_) return true;
  std::fill(search_.begin(), search_.end(), 0.0);
  double inner = 1.0;
  for (int step = 0; step < kRefinementSteps && error > accuracy_; ++step) {
    preconditioned_ = residual_;
    factorisation_->solve(preconditioned_.data());
    const double next_inner = dot(preconditioned_, residual_);
    const double carry = step == 0 ? 0.0 : next_inner / inner;
    for (size_t i = 0; i < search_.size(); ++i) {
      search_[i] = preconditioned_[i] + carry * search_[i];
    }
    inner = next_inner;
    const double length = inner / curvature();
    if (!std::isfinite(length)) return false;
    add_search(length, direction);
    const double next_error = residual_of(residuals, *direction);
    if (!(next_error < kGrowingError * error)) {
      add_search(-length, direction);
      return false;
    }
    error = std::min(error, next_error);
  }
  return false;
}

/// search'M search; leaves theta A'search in search_x_.
double NewtonSystem::curvature() {
  double sum = delta_ * dot(search_, search_);
  for (int32_t j = 0; j < form_.columns(); ++j) {
    const double product = column_product(form_.A, j, search_.data());
    search_x_[j] = theta_[j] * product;
    sum += search_x_[j] * product;
  }
  return sum;
}

void NewtonSystem::add_search(double length, Direction *direction) {
  for (size_t j = 0; j < search_x_.size(); ++j) direction->x[j] += length * search_x_[j];
  for (size_t i = 0; i < search_.size(); ++i) direction->y[i] += length * search_[i];
}

/// g of (9).
void NewtonSystem::form_gradient(const Point &point, const Residuals *residuals,
                                 const Products &products) {
  for (int32_t j = 0; j < form_.columns(); ++j) {
    gradient_[j] = (residuals ? residuals->dual[j] : 0.0) -
                   (form_.is_free[j] ? 0.0 : products.xz[j] / point.x[j]);
  }
  for (size_t k = 0; k < form_.boxed.size(); ++k) {
    const double width = residuals ? residuals->width[k] : 0.0;
    gradient_[form_.boxed[k]] += (products.wv[k] - point.v[k] * width) / point.w[k];
  }
}

/// dy and dx of (9).
void NewtonSystem::solve_normal_equations(const Residuals *residuals, Direction *direction) {
  std::fill(rhs_.begin(), rhs_.end(), 0.0);
  if (residuals) rhs_ = residuals->primal;
  for (int32_t j = 0; j < form_.columns(); ++j) direction->x[j] = theta_[j] * gradient_[j];
  add_product(form_.A, direction->x.data(), rhs_.data());
  direction->y = rhs_;
  if (form_.rows() > 0) factorisation_->solve(direction->y.data());
  form_product(*direction);
  for (int32_t j = 0; j < form_.columns(); ++j) {
    direction->x[j] = theta_[j] * (product_[j] - gradient_[j]);
  }
}

/// product_ = A'dy
void NewtonSystem::form_product(const Direction &direction) {
  for (int32_t j = 0; j < form_.columns(); ++j) {
    product_[j] = column_product(form_.A, j, direction.y.data());
  }
}

void NewtonSystem::solve(const Point &point, const Residuals *residuals, const Products &products,
                         Direction *direction) {
  form_gradient(point, residuals, products);
  solve_normal_equations(residuals, direction);
  if (!trusted_) {
    trusted_ = refine(residuals, direction);
    if (!trusted_) form_product(*direction);
  }
  for (int32_t j = 0; j < form_.columns(); ++j) {
    direction->z[j] =
        form_.is_free[j] ? 0.0 : (products.xz[j] - point.z[j] * direction->x[j]) / point.x[j];
  }
  for (size_t k = 0; k < form_.boxed.size(); ++k) {
    const int32_t j = form_.boxed[k];
    const double width = residuals ? residuals->width[k] : 0.0;
    const double dual = residuals ? residuals->dual[j] : 0.0;
    direction->w[k] = width - direction->x[j];
    direction->v[k] = (products.wv[k] - point.v[k] * direction->w[k]) / point.w[k];
    if (point.z[j] < point.x[j] && point.v[k] < point.w[k]) continue;  // basic
    if (point.z[j] * point.w[k] > point.v[k] * point.x[j]) {
      direction->z[j] = dual - product_[j] + direction->v[k];
    } else {
      direction->v[k] = direction->z[j] + product_[j] - dual;
    }
  }
}

}  // namespace interior_point
