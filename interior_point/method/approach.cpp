#include "interior_point/method/approach.h"

#include <algorithm>

#include "interior_point/method/options.h"
#include "interior_point/vector.h"

namespace interior_point {

namespace {

constexpr const ApproachOptions &kApproach = kOptions.approach;

double between(double solution, double centre, double lambda) {
  return solution + lambda * (centre - solution);
}

/// The sum of products after (34): constant + linear lambda + square lambda^2.
struct ProductSum {
  double constant = 0.0, linear = 0.0, square = 0.0;

  void add(double x, double z, double centre_x, double centre_z) {
    const double dx = centre_x - x;
    const double dz = centre_z - z;
    constant += x * z;
    linear += x * dz + z * dx;
    square += dx * dz;
  }
  double at(double lambda) const { return constant + lambda * (linear + lambda * square); }
};

ProductSum sum_products(const ProblemForm &form, const Point &solution, const Point &centre) {
  ProductSum sum;
  for (size_t j = 0; j < centre.x.size(); ++j) {
    if (!form.is_free[j]) sum.add(solution.x[j], solution.z[j], centre.x[j], centre.z[j]);
  }
  for (size_t k = 0; k < centre.w.size(); ++k) {
    sum.add(solution.w[k], solution.v[k], centre.w[k], centre.v[k]);
  }
  return sum;
}

/// True when all pairs are positive, with products of at least `least`.
bool keeps_products(const ProblemForm &form, const Point &solution, const Point &centre,
                    double lambda, double least) {
  const auto keeps = [=](double x, double z, double centre_x, double centre_z) {
    const double next = between(x, centre_x, lambda);
    return next > 0.0 && next * between(z, centre_z, lambda) >= least;
  };
  for (size_t j = 0; j < centre.x.size(); ++j) {
    if (form.is_free[j]) continue;
    if (!keeps(solution.x[j], solution.z[j], centre.x[j], centre.z[j])) return false;
  }
  for (size_t k = 0; k < centre.w.size(); ++k) {
    if (!keeps(solution.w[k], solution.v[k], centre.w[k], centre.v[k])) return false;
  }
  return true;
}

void move(const Vector<double> &solution, double lambda, Vector<double> *centre) {
  for (size_t i = 0; i < solution.size(); ++i) {
    (*centre)[i] = between(solution[i], (*centre)[i], lambda);
  }
}

}  // namespace

bool approach(const ProblemForm &form, const Point &solution, double least_mu, Point *point) {
  const ProductSum sum = sum_products(form, solution, *point);
  double lambda = 1.0;
  for (double next = kApproach.shrink; next > kApproach.least_lambda; next *= kApproach.shrink) {
    const double mu = sum.at(next) / std::max(form.pairs, 1);
    if (!(mu >= least_mu)) break;
    if (keeps_products(form, solution, *point, next, kApproach.least_product * mu)) {
      lambda = next;
    } else if (next < kApproach.given_up) {
      break;
    }
  }
  if (lambda == 1.0) return false;
  move(solution.x, lambda, &point->x);
  move(solution.w, lambda, &point->w);
  move(solution.y, lambda, &point->y);
  move(solution.z, lambda, &point->z);
  move(solution.v, lambda, &point->v);
  return true;
}

}  // namespace interior_point
