#include "interior_point/form/problem_form.h"

#include <algorithm>
#include <cmath>

namespace interior_point {

void ProblemForm::derive() {
  boxed.clear();
  for (int32_t j = 0; j < columns(); ++j) {
    if (std::isfinite(width[j])) boxed.push_back(j);
  }
  pairs = static_cast<int32_t>(boxed.size()) + columns();
  for (const uint8_t f : is_free) pairs -= f;
  largest_rhs = 0.0;
  for (size_t i = 0; i < b.size(); ++i) {
    largest_rhs = std::max(largest_rhs, std::fabs(b[i]) * row_unit[i]);
  }
}

void write_user_x(const ProblemForm &form, const Vector<double> &x, double *user_x) {
  for (int32_t j = 0; j < form.structurals; ++j) {
    user_x[form.user_column[j]] = form.shift[j] + form.sign[j] * x[j] * form.column_scale[j];
  }
  for (size_t k = 0; k < form.removed_user.size(); ++k) {
    user_x[form.removed_user[k]] = form.removed_value[k];
  }
}

}  // namespace interior_point
