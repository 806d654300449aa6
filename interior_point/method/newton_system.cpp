#include "interior_point/method/newton_system.h"

#include <algorithm>
#include <cmath>

#include "interior_point/method/options.h"
#include "interior_point/vector.h"

namespace interior_point {

namespace {

constexpr const RegularisationOptions &kRegularisation = kOptions.regularisation;
constexpr const FreeColumnOptions &kFreeColumns = kOptions.free_columns;
constexpr const LinearSolveOptions &kLinearSolve = kOptions.linear_solve;

// mu may underflow where the last product vanishes.
constexpr double kLeastMu = 1e-300;

double largest(const Vector<double> &v) {
  double most = 0.0;
  for (const double e : v) most = std::max(most, std::fabs(e));
  return most;
}

bool are_finite(const Vector<double> &v) {
  return std::all_of(v.begin(), v.end(), [](double e) { return std::isfinite(e); });
}

}  // namespace

void Products::resize(const ProblemForm &form) {
  xz.assign(static_cast<size_t>(form.columns()), 0.0);
  wv.assign(form.boxed.size(), 0.0);
}

NewtonSystem::NewtonSystem(const ProblemForm &form) : form_(form), products_(form.A) {
  reset_regularisation();
  const size_t rows = static_cast<size_t>(form.rows());
  const size_t columns = static_cast<size_t>(form.columns());
  largest_entry_.resize(columns);
  for (int32_t j = 0; j < form.columns(); ++j) {
    for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
      largest_entry_[j] = std::max(largest_entry_[j], std::fabs(form.A.value[t]));
    }
  }
  theta_.resize(columns);
  gradient_.resize(columns);
  product_.resize(columns);
  weighted_.resize(columns);
  inverse_x_.resize(columns);
  inverse_w_.resize(form.boxed.size());
  rhs_.resize(rows);
  residual_.resize(rows);
  search_.resize(rows);
  image_.resize(rows);
  search_x_.resize(columns);
  diagonal_.resize(rows);
  added_.resize(rows);
}

void NewtonSystem::analyse(const Factorisation *last) {
  if (!factorisation_) factorisation_ = make_factorisation(form_.A, last, &form_.is_free);
  if (!listed_) list_columns();
}

void NewtonSystem::list_columns() {
  plain_.clear();
  multiplied_.clear();
  const Vector<int32_t> &augmented = factorisation_->augmented_columns();
  auto next = augmented.begin();
  for (int32_t j = 0; j < form_.columns(); ++j) {
    const bool is_augmented = next != augmented.end() && *next == j;
    if (is_augmented) ++next;
    if (!is_augmented) plain_.push_back(j);
    if (!is_augmented || std::isfinite(form_.width[j])) multiplied_.push_back(j);
  }
  listed_ = true;
}

void NewtonSystem::analyse_as(const NewtonSystem &other) {
  if (other.factorisation_) factorisation_ = other.factorisation_->sibling();
}

void NewtonSystem::reset_regularisation() {
  delta_factor_ = 1.0;
  least_free_theta_.assign(static_cast<size_t>(form_.columns()), kFreeColumns.least_theta);
  rho_.assign(static_cast<size_t>(form_.columns()),
              form_.has_penalties ? kRegularisation.rho_of_penalties : kRegularisation.rho);
}

void NewtonSystem::lower_dual_regularisation(const Direction &direction, double largest_residual) {
  if (delta_ * largest(direction.y) > kRegularisation.dominant_share * largest_residual) {
    delta_factor_ *= kRegularisation.lowering;
  }
}

void NewtonSystem::raise_primal_regularisation() {
  for (double &e : rho_) e = std::max(e, kRegularisation.raised_rho);
}

void NewtonSystem::lower_primal_regularisation(const Residuals &residuals, const Point &point,
                                               const Direction &direction,
                                               const DualViolation &violation) {
  if (std::isinf(violation.residual) && std::isinf(violation.defect)) return;
  for (int32_t j = 0; j < form_.columns(); ++j) {
    const double left = std::fabs(residuals.dual[j]);
    if (left > kRegularisation.dominant_share * violation.residual ||
        left * std::fabs(point.x[j]) > kRegularisation.dominant_share * violation.defect) {
      if (rho_[j] * std::fabs(direction.x[j]) > kRegularisation.responsible_share * left)
        rho_[j] *= kRegularisation.lowering;
    }
  }
}

void NewtonSystem::raise_free_theta(const Point &point, const Direction &direction,
                                    const DualViolation &violation) {
  for (int32_t j = 0; j < form_.columns(); ++j) {
    if (!form_.is_free[j]) continue;
    const double left = std::fabs(direction.x[j]) / theta_[j];
    if (left > kFreeColumns.leaving_share * violation.residual ||
        left * std::fabs(point.x[j]) > kFreeColumns.leaving_share * violation.defect) {
      least_free_theta_[j] = std::min(kFreeColumns.growth * theta_[j], kFreeColumns.last_theta);
    }
  }
}

double NewtonSystem::unfelt_delta(const Point &point) const {
  double most = 0.0;
  for (int32_t j = 0; j < form_.columns(); ++j) {
    most = std::max(most, largest_entry_[j] * std::fabs(point.x[j]));
  }
  const double y = largest(point.y);
  return y > 0.0 ? kRegularisation.rounded_share * most / y : 0.0;
}

void NewtonSystem::form_diagonal() {
  std::fill(diagonal_.begin(), diagonal_.end(), 0.0);
  products_.add_squares(theta_.data(), diagonal_.data());
}

bool NewtonSystem::prepare(const Point &point, double mu) {
  for (int32_t j = 0; j < form_.columns(); ++j) {
    inverse_x_[j] = form_.is_free[j] ? 0.0 : 1.0 / point.x[j];
    theta_[j] = point.z[j] * inverse_x_[j];
  }
  for (size_t k = 0; k < form_.boxed.size(); ++k) {
    inverse_w_[k] = 1.0 / point.w[k];
    theta_[form_.boxed[k]] += point.v[k] * inverse_w_[k];
  }
  for (int32_t j = 0; j < form_.columns(); ++j) {
    if (form_.is_free[j]) {
      const double natural = point.x[j] * point.x[j] / std::max(mu, kLeastMu);
      theta_[j] = std::max(std::min(natural, kFreeColumns.largest_theta), least_free_theta_[j]);
    } else {
      theta_[j] = 1.0 / (theta_[j] + rho_[j]);
    }
  }
  least_delta_ = std::min(unfelt_delta(point), kRegularisation.largest_delta);
  return factorise();
}

bool NewtonSystem::prepare_least_squares(const Vector<uint8_t> &huge) {
  least_delta_ = 0.0;
  std::fill(theta_.begin(), theta_.end(), 1.0);
  for (size_t k = 0; k < huge.size(); ++k) {
    if (!huge[k]) theta_[form_.boxed[k]] = 0.5;
  }
  const bool done = factorise();
  factorised_ = false;  // of no point
  return done;
}

/// The shift is relative to the diagonal: it bounds the condition of M scaled to a unit diagonal,
/// whose Cholesky factorisation has the same rounding errors.
bool NewtonSystem::factorise() {
  trusted_ = factorised_ = false;
  analyse();
  if (form_.rows() == 0) return factorised_ = true;
  form_diagonal();
  added_ = diagonal_;
  const auto middle = added_.begin() + static_cast<int64_t>(added_.size() / 2);
  std::nth_element(added_.begin(), middle, added_.end());
  delta_ = std::min(kRegularisation.delta_share * *middle, kRegularisation.largest_delta) *
           delta_factor_;
  if (form_.has_penalties) {
    const double least = *std::min_element(diagonal_.begin(), diagonal_.end());
    delta_ = std::min(delta_, kRegularisation.delta_of_least * least);
  }
  delta_ = std::max(delta_, least_delta_);
  // Numbers that are held elsewhere stay as they are: they get new ones of their own.
  if (factorisation_.use_count() > 1) factorisation_ = factorisation_->sibling();
  double shift = factorisation_->needs_shift() ? kRegularisation.first_shift : 0.0;
  for (; shift <= kRegularisation.last_shift;
       shift = std::max(shift * kRegularisation.shift_growth, kRegularisation.first_shift)) {
    for (size_t i = 0; i < added_.size(); ++i) added_[i] = delta_ + shift * diagonal_[i];
    factorised_ = factorisation_->compute(theta_.data(), added_.data());
    if (factorised_) return true;
  }
  return false;
}

double NewtonSystem::residual_of(const Residuals *residuals, const Direction &direction) {
  std::fill(image_.begin(), image_.end(), 0.0);
  products_.add_product(1.0, direction.x.data(), image_.data());
  double most = 0.0;
  for (size_t i = 0; i < residual_.size(); ++i) {
    const double wanted = residuals ? residuals->primal[i] : 0.0;
    residual_[i] = wanted - image_[i] - delta_ * direction.y[i];
    const double size = std::fabs(residual_[i]) * form_.row_unit[i];
    if (!(size <= most)) most = size;  // not a number stays what it is
  }
  return most;
}

bool NewtonSystem::is_clean(double error, const Point &point) const {
  if (error <= accuracy_.aim) return true;
  if (error > accuracy_.rows) return false;
  double defect = 0.0;
  for (size_t i = 0; i < residual_.size(); ++i) defect += std::fabs(point.y[i] * residual_[i]);
  return defect <= accuracy_.defect;
}

/// Corrections of (9) with the factorisation as approximate inverse. They are added to dx itself: a
/// small dy gives them with full relative accuracy, while theta (A'dy - g) anew would bring back
/// the rounding error of the large dy.
bool NewtonSystem::refine(const Point &point, const Residuals *residuals, Direction *direction) {
  double error = residual_of(residuals, *direction);
  if (is_clean(error, point)) return true;
  for (int round = 0; round < kLinearSolve.refinements && error > accuracy_.aim; ++round) {
    if (!find_correction()) return false;
    add_search(1.0, direction);
    const double next_error = residual_of(residuals, *direction);
    if (!(next_error < error)) {
      add_search(-1.0, direction);
      return false;
    }
    if (next_error > kLinearSolve.slow_refinement * error) return false;
    error = next_error;
  }
  return false;
}

bool NewtonSystem::find_correction() {
  for (size_t i = 0; i < residual_.size(); ++i) residual_[i] *= form_.row_unit[i];
  if (!corrections_.start(residual_)) return false;
  const size_t rows = residual_.size();
  search_.resize(rows + factorisation_->augmented_columns().size());
  do {
    for (size_t i = 0; i < rows; ++i) search_[i] = corrections_.next()[i] * form_.row_scale[i];
    std::fill(search_.begin() + static_cast<int64_t>(rows), search_.end(), 0.0);
    factorisation_->solve_augmented(search_.data(), search_.data() + rows);
    form_image();
  } while (corrections_.add(search_, image_) &&
           corrections_.residual_norm() > kLinearSolve.overshoot * accuracy_.aim);
  if (corrections_.size() == 0) return false;
  corrections_.combine(&search_);
  form_search_x();
  return are_finite(search_) && are_finite(search_x_);
}

void NewtonSystem::form_search_x() {
  form_product(search_.data());
  for (size_t j = 0; j < search_x_.size(); ++j) search_x_[j] = theta_[j] * product_[j];
  set_augmented(search_.data() + residual_.size(), &search_x_);
}

void NewtonSystem::form_image() {
  form_search_x();
  for (size_t i = 0; i < image_.size(); ++i) image_[i] = delta_ * search_[i];
  products_.add_product(1.0, search_x_.data(), image_.data());
  for (size_t i = 0; i < image_.size(); ++i) image_[i] *= form_.row_unit[i];
}

void NewtonSystem::set_augmented(const double *augmented_x, Vector<double> *x) const {
  for (const int32_t j : factorisation_->augmented_columns()) (*x)[j] = *augmented_x++;
}

void NewtonSystem::add_search(double length, Direction *direction) {
  for (size_t j = 0; j < search_x_.size(); ++j) direction->x[j] += length * search_x_[j];
  for (size_t i = 0; i < direction->y.size(); ++i) direction->y[i] += length * search_[i];
}

void NewtonSystem::form_gradient(const Point &point, const Residuals *residuals,
                                 const Products &products) {
  for (size_t j = 0; j < gradient_.size(); ++j) gradient_[j] = -products.xz[j] * inverse_x_[j];
  if (residuals) {
    for (size_t j = 0; j < gradient_.size(); ++j) gradient_[j] += residuals->dual[j];
  }
  for (size_t k = 0; k < form_.boxed.size(); ++k) {
    const double width = residuals ? residuals->width[k] : 0.0;
    gradient_[form_.boxed[k]] += (products.wv[k] - point.v[k] * width) * inverse_w_[k];
  }
}

void NewtonSystem::solve_normal_equations(const Residuals *residuals, Direction *direction) {
  const Vector<int32_t> &augmented = factorisation_->augmented_columns();
  std::fill(rhs_.begin(), rhs_.end(), 0.0);
  if (residuals) rhs_ = residuals->primal;
  augmented_x_.resize(augmented.size());
  for (size_t k = 0; k < augmented.size(); ++k) augmented_x_[k] = gradient_[augmented[k]];
  add_weighted_gradient();
  direction->y = rhs_;
  if (form_.rows() > 0) factorisation_->solve_augmented(direction->y.data(), augmented_x_.data());
  form_product(direction->y.data());
  for (size_t j = 0; j < product_.size(); ++j) {
    direction->x[j] = theta_[j] * (product_[j] - gradient_[j]);
  }
  set_augmented(augmented_x_.data(), &direction->x);
}

void NewtonSystem::add_weighted_gradient() {
  if (!factorisation_->augmented_columns().empty()) {
    for (const int32_t j : plain_) add_column(form_.A, j, theta_[j] * gradient_[j], rhs_.data());
    return;
  }
  for (size_t j = 0; j < weighted_.size(); ++j) weighted_[j] = theta_[j] * gradient_[j];
  products_.add_product(1.0, weighted_.data(), rhs_.data());
}

void NewtonSystem::form_product(const double *y) {
  if (factorisation_->augmented_columns().empty()) return products_.multiply(y, product_.data());
  for (const int32_t j : multiplied_) product_[j] = column_product(form_.A, j, y);
}

void NewtonSystem::solve(const Point &point, const Residuals *residuals, const Products &products,
                         Direction *direction) {
  form_gradient(point, residuals, products);
  solve_normal_equations(residuals, direction);
  if (!trusted_) {
    trusted_ = refine(point, residuals, direction);
    if (!trusted_) form_product(direction->y.data());
  }
  // 0 for a free column.
  for (size_t j = 0; j < direction->z.size(); ++j) {
    direction->z[j] = (products.xz[j] - point.z[j] * direction->x[j]) * inverse_x_[j];
  }
  for (size_t k = 0; k < form_.boxed.size(); ++k) {
    const int32_t j = form_.boxed[k];
    const double width = residuals ? residuals->width[k] : 0.0;
    const double dual = residuals ? residuals->dual[j] : 0.0;
    direction->w[k] = width - direction->x[j];
    direction->v[k] = (products.wv[k] - point.v[k] * direction->w[k]) * inverse_w_[k];
    if (point.z[j] < point.x[j] && point.v[k] < point.w[k]) continue;  // basic
    if (point.z[j] * point.w[k] > point.v[k] * point.x[j]) {
      direction->z[j] = dual - product_[j] + direction->v[k];
    } else {
      direction->v[k] = direction->z[j] + product_[j] - dual;
    }
  }
}

}  // namespace interior_point
