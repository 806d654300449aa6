/// Where to price: the duals of the restricted master problem, or smoothed ones.
#ifndef BENCHMARKS_COMPARE_SMOOTHING_H
#define BENCHMARKS_COMPARE_SMOOTHING_H

#include <cstdint>
#include <vector>

namespace benchmarks {

/**
 * Dual price smoothing that adjusts itself, without a directional part.
 *
 * Prices are taken at
 *
 *     sep = a in + (1 - a) out,                                                                 (1)
 *
 * between the duals `out` of the restricted master problem and the centre `in`, the prices with the
 * best Lagrangian bound so far. Where no column prices out at `out` (mis-pricing), the bound has
 * improved; the k-th trial of a round is made with
 *
 *     a_k = max(0, 1 - k (1 - a)),                                                              (2)
 *
 * so that `out` itself is the last. After the first trial of a round a follows the angle between
 * the Lagrangian function's subgradient g at sep and the way to `out`:
 *
 *     g'(out - in) > 0:  a falls to a / 1.1, or to max(0, a - (1 - a) / 10) from a below 1/2;
 *     otherwise          a rises by (1 - a) / 10;                                               (3)
 *
 * starting from 1/2. Sources: P. Wentges, Weighted Dantzig-Wolfe decomposition for linear
 * mixed-integer programming, International Transactions in Operational Research 4 (1997); A.
 * Pessoa, R. Sadykov, E. Uchoa, F. Vanderbeck, Automation and combination of linear-programming
 * based stabilization techniques in column generation, INFORMS Journal on Computing 30 (2018).
 */
class DualSmoothing {
 public:
  /// With `active` false a is 0: textbook column generation.
  explicit DualSmoothing(bool active) : active_(active) {}

  bool is_active() const { return active_; }

  /// Begins a round at new duals of the restricted master problem.
  void begin_round(const std::vector<double> &out);

  /// The prices (1) of the next trial.
  const std::vector<double> &next_trial();

  /// Whether the last trial was `out` itself.
  bool at_out() const { return weight_ == 0.0; }

  /// Takes in the subgradient at the last trial, one entry for each of the leading rows, and
  /// whether the bound improved; `centre` is where it is attained.
  void learn(const std::vector<double> &subgradient, bool improved,
             const std::vector<double> &centre);

  /// Rows were inserted before row `at`; their prices are 0.
  void insert_rows(int32_t at, int32_t count);

  const std::vector<double> &out() const { return out_; }

 private:
  bool active_;
  double alpha_ = 0.5;   ///< a
  double weight_ = 0.0;  ///< a_k of the last trial
  int32_t trial_ = 0;    ///< k
  std::vector<double> in_, out_, point_;
};

/// a after a trial with this product g'(out - in): (3).
double adjusted_alpha(double alpha, double product);

}  // namespace benchmarks

#endif
