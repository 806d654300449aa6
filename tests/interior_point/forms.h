/**
 * Between a linear program of the tests and the form that is solved: there and back.
 */
#ifndef TESTS_INTERIOR_POINT_FORMS_H
#define TESTS_INTERIOR_POINT_FORMS_H

#include <vector>

#include "benchmarks/linear_program.h"
#include "interior_point/form/point.h"
#include "interior_point/form/problem_form.h"
#include "tests/interior_point/random_programs.h"

namespace forms {

interior_point::ProblemForm form_of(const benchmarks::LinearProgram &program);

/// The values of all the caller's columns, those that were taken out included, in his units.
std::vector<double> caller_x(const interior_point::ProblemForm &form,
                             const interior_point::Point &point);

/// The duals of all the caller's rows in his units; 0 for those that were taken out.
std::vector<double> caller_y(const interior_point::ProblemForm &form,
                             const interior_point::Point &point);

/// A point with positive x, w, z and v between 1/10 and 10 (free x of any sign, their z 0) that
/// has no reason to be feasible.
interior_point::Point random_interior_point(const interior_point::ProblemForm &form,
                                            random_programs::Random *random);

}  // namespace forms

#endif
