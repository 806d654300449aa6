#include "examples/common/polyak_step.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace examples {

bool polyak_step(std::vector<double> &x, const std::vector<double> &s, double distance,
                 double least, double most) {
  double norm = 0.0;
  for (size_t k = 0; k < x.size(); ++k) {
    const bool leaves = (s[k] < 0.0 && x[k] <= least) || (s[k] > 0.0 && x[k] >= most);
    if (!leaves) norm += s[k] * s[k];
  }
  if (!(norm > 0.0) || !(distance > 0.0) || !std::isfinite(distance)) return false;
  for (size_t k = 0; k < x.size(); ++k) {
    x[k] = std::clamp(x[k] + distance / norm * s[k], least, most);
  }
  return true;
}

}  // namespace examples
