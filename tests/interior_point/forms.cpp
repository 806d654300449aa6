#include "tests/interior_point/forms.h"

#include "interior_point/form/form_builder.h"

namespace forms {

using interior_point::Point;
using interior_point::ProblemForm;

ProblemForm form_of(const benchmarks::LinearProgram &program) {
  const benchmarks::LoadArrays arrays(program);
  return interior_point::make_problem_form({arrays.row_type.data(), arrays.col_start.data(),
                                            arrays.rw.data(), arrays.elt.data(), arrays.rhs.data(),
                                            arrays.row_range.data(), arrays.lower.data(),
                                            arrays.upper.data(), arrays.m, arrays.n});
}

std::vector<double> caller_x(const ProblemForm &form, const Point &point) {
  std::vector<double> x(static_cast<size_t>(form.user_columns), 0.0);
  for (int32_t j = 0; j < form.structurals; ++j) {
    x[static_cast<size_t>(form.user_column[j])] =
        form.shift[j] + form.sign[j] * point.x[j] * form.column_scale[j];
  }
  for (size_t k = 0; k < form.removed_user.size(); ++k) {
    x[static_cast<size_t>(form.removed_user[k])] = form.removed_value[k];
  }
  return x;
}

std::vector<double> caller_y(const ProblemForm &form, const Point &point) {
  std::vector<double> y(static_cast<size_t>(form.user_rows) - 1, 0.0);
  for (int32_t i = 0; i < form.rows(); ++i) {
    y[static_cast<size_t>(form.user_row[i])] = point.y[i] * form.row_scale[i];
  }
  return y;
}

Point random_interior_point(const ProblemForm &form, random_programs::Random *random) {
  Point point;
  point.resize(form);
  for (auto *part : {&point.x, &point.w, &point.z, &point.v}) {
    for (double &e : *part) e = random->power_of_ten(-1.0, 1.0);
  }
  for (double &e : point.y) e = random->entry();
  for (int32_t j = 0; j < form.columns(); ++j) {
    if (!form.is_free[j]) continue;
    point.x[j] = random->entry();
    point.z[j] = 0.0;
  }
  return point;
}

}  // namespace forms
