/**
 * One loaded problem and the way its solves go: presolve first, later or not, from which start,
 * with huge bounds or without, and what is looked for after a failure.
 *
 *   1. A plain cold solve goes by way of a smaller problem where presolve promises much of it
 *      (presolve.h).
 *   2. Otherwise, and where that failed or lost digits, the problem is solved as it is.
 *   3. A plain cold solve that failed without a presolve, or lost digits in it, is made smaller at
 *      last.
 *   4. After a point that lies far down the path, beside penalty columns that carry nothing, a
 *      start from it goes by way of smaller penalties (capped_penalties.h), and so do all later
 *      ones. So does a failure beside penalty columns for which 6 finds no certificate.
 *   5. A solution that breaks a huge bound, or a failure beside huge bounds, repeats 1 to 3 with
 *      these bounds in the form (huge_bounds.h).
 *   6. A failure, or a solution that hides a residual, is held against certificates (27) and (28).
 *
 * Everything is in the units of the scaled form; interior_point.cpp translates.
 */
#ifndef INTERIOR_POINT_SESSION_H
#define INTERIOR_POINT_SESSION_H

#include <memory>

#include "interior_point/form/problem_form.h"
#include "interior_point/method/capped_penalties.h"
#include "interior_point/method/certificate_search.h"
#include "interior_point/method/solver.h"

namespace interior_point {

class Session {
 public:
  /// Takes the form over. Solves of many rows use so many threads of the BLAS, others one. Throws
  /// std::bad_alloc.
  explicit Session(ProblemForm form, int32_t blas_threads = 1);

  /// Makes the solver's work space, unless it is there. Throws std::bad_alloc.
  void prepare();

  /// Solves the problem; the BLAS is kept to its threads meanwhile. kCurrent without a current
  /// point means kSaved, and `saved` may be null. The solution that a plain solve from the current
  /// point ends with goes into `saved`. `iterations` grows by all that were spent, on whatever
  /// problem. Throws std::bad_alloc.
  Code solve(const Request &request, Start start, SavedPoint *saved, int32_t *iterations);

  /// The point of the last solve for a later start; there must be one. Throws std::bad_alloc.
  SavedPoint save() const;
  bool has_point() const { return solver_ && solver_->has_point(); }

  /// The solver with the point and measures of the last solve; null before prepare.
  const Solver *solver() const { return solver_.get(); }
  /// What proves code 4 or 5 of the last solve; open after any other, and where the form itself
  /// has the verdict.
  const Certificate &certificate() const { return certificate_; }
  /// True when the last solve, or loading, found that a ray leads without end to lower costs.
  bool has_ray() const { return has_verdict(Verdict::kUnbounded); }
  /// True when the last solve, or loading, found multipliers that prove infeasibility.
  bool has_multipliers() const { return has_verdict(Verdict::kInfeasible); }

 private:
  bool has_verdict(Verdict verdict) const {
    return certificate_.verdict == verdict || form_->verdict == verdict;
  }
  /// Steps 1 to 4.
  Code solve_form(const Request &request, Start start, const SavedPoint *saved,
                  int32_t *iterations);
  /// True when a solve from the saved point goes by way of smaller penalties.
  bool caps_penalties(const SavedPoint &saved) const;
  /// From a start that is given, and by way of smaller penalties where that is due.
  Code solve_from(const Request &request, Start start, const SavedPoint *saved,
                  int32_t *iterations);
  /// After a failure that has no certificate: duals of the penalties' size, where nothing carries
  /// penalties, may have cost the digits.
  Code try_smaller_penalties(const Request &request, Code code, int32_t *iterations);
  /// Keeps the point of the last solve as a solution for later problems, here and in `saved`.
  void keep_solution(SavedPoint *saved);
  /// By way of a smaller problem. The code is that of a failure where there is none or its solution
  /// does not meet the request.
  Code solve_reduced(const Request &request, int32_t *iterations);
  /// True when the last solve says nothing of the problem with its huge bounds.
  bool huge_bounds_matter(Code code) const;
  /// Puts the huge bounds into the form; what was solved before is gone.
  void tighten();
  /// The last word on a code: a problem without an optimum may also look like a failure, or at a
  /// loose tolerance like one that is solved. What stays open gets its last start here: those
  /// without an optimum would fail in it at a cost.
  Code judge(const Request &request, Code code, int32_t *iterations);
  /// Looks for proofs that the problem has no optimum, first for that of one verdict. Without one
  /// the code stays what it is.
  Code look_for_certificate(Verdict first, Code code, int32_t *iterations);

  std::shared_ptr<const ProblemForm> form_;
  int32_t blas_threads_;
  bool looked_at_ = false;  // by a plain cold solve, for what presolve could do
  bool reducible_ = false;  // plain cold solves are worth a presolve
  std::unique_ptr<Solver> solver_;
  std::unique_ptr<CappedPenalties> capped_;     // the way the last solve went, if it did
  Certificate certificate_;                     // of the last solve
  std::shared_ptr<const SavedPoint> solution_;  // of this problem or an earlier one
};

}  // namespace interior_point

#endif
