// Looks inside the solver, as no other benchmark does: what a factorisation costs on its own.
#include <cmath>
#include <memory>

#include "benchmarks/measurements.h"
#include "examples/common/lehmer.h"
#include "interior_point/form/form_builder.h"
#include "interior_point/linear_algebra/factorisation_choice.h"

namespace benchmarks {
namespace {

interior_point::ProblemForm form_of(const LinearProgram &program) {
  const LoadArrays arrays(program);
  return interior_point::make_problem_form({arrays.row_type.data(), arrays.col_start.data(),
                                            arrays.rw.data(), arrays.elt.data(), arrays.rhs.data(),
                                            arrays.row_range.data(), arrays.lower.data(),
                                            arrays.upper.data(), arrays.m, arrays.n});
}

}  // namespace

FactorisationCost measure_factorisation(const LinearProgram &program, int32_t repeats) {
  const interior_point::ProblemForm form = form_of(program);
  std::unique_ptr<interior_point::Factorisation> factorisation;
  const double choice = median_seconds(repeats, [&] {
    const double before = processor_seconds();
    factorisation = interior_point::make_factorisation(form.A);
    return processor_seconds() - before;
  });
  // The work does not depend on theta; a range of 1e8 is that of an iteration in the middle.
  examples::Lehmer random(1);
  std::vector<double> theta(static_cast<size_t>(form.columns()));
  for (double &t : theta) t = std::pow(10.0, 1e-3 * static_cast<double>(random.draw(-4000, 4000)));
  const std::vector<double> added(static_cast<size_t>(form.rows()), 1e-8);
  const double seconds = median_seconds(repeats, [&] {
    const double before = processor_seconds();
    factorisation->compute(theta.data(), added.data());
    return processor_seconds() - before;
  });
  return {choice, seconds, 2.0 * factorisation->work()};
}

}  // namespace benchmarks
