/**
 * The linear programming solver behind the library: nine operations on an opaque problem.
 *
 * A problem is loaded once, solved one or more times, asked for its results, and released:
 *
 *   load_Pb -> preproc_Pb -> solve_Pb or acpdm_Pb (any number of times)
 *           -> get_dual_solution, get_opt_solution -> free_Pb
 *
 * The point that a solve ended with can be kept in a save record and start a later solve:
 *
 *   save_Pb -> solve_Pb or acpdm_Pb with start mode 1 or 2 -> free_Pb_save
 *
 * The problem is   minimise c'x   subject to the rows of A (=, >= or <=, with ranges) and
 * col_lb <= x <= col_ub,   where the last row of the matrix holds the costs c.
 *
 * Any solver that defines these nine functions can take the place of the one in this folder.
 */
#ifndef INTERIOR_POINT_INTERIOR_POINT_H
#define INTERIOR_POINT_INTERIOR_POINT_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/**
 * The visible head of a problem handle. The solver's own problem starts with it, so that a caller
 * can size the buffers of get_opt_solution; everything behind it is the solver's.
 */
typedef struct IP_problem {
  int32_t ncols; /**< columns of the matrix as it was loaded */
} IP_problem;

/**
 * A point kept for a later start: exactly 48 bytes, empty when zero-filled. The caller owns the
 * block; what hangs from it belongs to the solver and is released by free_Pb_save. Only
 * `holds_point` is for others to read.
 */
typedef struct IP_save_record {
  void *point;         /**< the solver's copy of the point, null when empty */
  void *reserved_1;    /**< unused, null */
  int32_t holds_point; /**< non-zero while a point is held */
  int32_t reserved_2;  /**< unused, zero */
  int64_t reserved_3;  /**< unused, zero */
  int64_t reserved_4;  /**< unused, zero */
  int64_t reserved_5;  /**< unused, zero */
} IP_save_record;

#ifdef __cplusplus
static_assert(sizeof(IP_save_record) == 48, "callers allocate 48 bytes");
static_assert(offsetof(IP_save_record, holds_point) == 16, "callers read the word at byte 16");
#else
_Static_assert(sizeof(IP_save_record) == 48, "callers allocate 48 bytes");
_Static_assert(offsetof(IP_save_record, holds_point) == 16, "callers read the word at byte 16");
#endif

/**
 * Loads a problem: minimise c'x over the rows of A and col_lb <= x <= col_ub.
 *
 *   extra1, extra2  in   not used, may be null
 *   row_type        in   int32[m]: 1 equality, 2 greater-or-equal, 3 less-or-equal; a row of any
 *                   other code constrains nothing
 *   col_start       in   int32[n + 1], positions counted from 1: column j (from 0) has the
 *                   entries at positions col_start[j] .. col_start[j + 1] - 1
 *   rw, elt         in   int32[nz], double[nz]: row (from 1) and value of each entry; a row named
 *                   twice in a column means the sum; an entry in row m is the column's cost
 *   RHS             in   double[m]: right-hand side b
 *   row_range       in   double[m]: r, 1e30 for none; a row of type 2 then means [b, b + |r|],
 *                   one of type 3 [b - |r|, b], one of type 1 [b, b + r], or [b + r, b] where r
 *                   is negative
 *   col_lb, col_ub  in   double[n]; -1e30 and 1e30 for none
 *   m, n, nz        in   rows (the cost row, the last, included), columns, entries
 *   blas_threads    in   threads of OpenBLAS in the solves of a problem of 1000 rows or more, 0 or
 *                   1 for one; solves at once in other threads of the process all run with the
 *                   number of the one that began first. The last bits of a solution depend on it
 *   the others      in   not used by this solver
 *
 * Entries of row m in row_type, RHS and row_range mean nothing. The arrays are copied: the caller
 * may change or release them as soon as the call returns. Returns the handle, which the caller
 * releases with free_Pb, or null when memory is short; all operations accept a null handle.
 */
IP_problem *load_Pb(void *extra1, void *extra2, const int32_t *row_type, const int32_t *col_start,
                    const int32_t *rw, const double *elt, const double *RHS,
                    const double *row_range, const double *col_lb, const double *col_ub, int32_t m,
                    int32_t n, int32_t nz, int32_t blas_threads, int32_t arg15, double arg16,
                    int32_t arg17, int32_t arg18, int32_t arg19, int32_t arg20, int32_t reload,
                    int32_t cost_row, int32_t arg23, double arg24, int32_t arg25);

/**
 * Prepares a loaded problem for its solves: work space. How to factorise its normal equations is
 * chosen by the first solve that needs it. Cost: linear in rows and columns.
 * Returns 0; 3 when memory is short (a later solve tries again); 6 for a null handle.
 */
int32_t preproc_Pb(IP_problem *Pb);

/**
 * Solves the problem to a relative duality gap.
 *
 *   start_mode  in   0: from the solver's own starting point; 1: from the point in `saved`, which
 *               may belong to an earlier problem over the same rows (columns may have been added,
 *               removed and reordered since, costs of columns raised); 2: from the point of this
 *               problem's last solve. 1 and 2 turn into 0 where the point is not to be had or
 *               does not pay.
 *   saved       in/out  save record, may be empty; not looked at in mode 0. Its point stays. A
 *               solution that mode 2 with option 0 ends with is kept beside it (vectors alone), and
 *               handed on to what is saved after a solve from it: later solves of that kind go from
 *               their centre towards it. Solves at the same time need a record each
 *   opt_tol     in   relative gap to reach, above 0; more than 1 is taken for 1; not changed
 *   option      in/out  non-zero: keep to the middle of the central path; out: the code returned
 *   primal      out  max_i |b - Ax|_i / (1 + max|b| + 0.01 max_j |a_ij x_j|), slacks of rows
 *               included
 *   bounds      out  violation of column widths, relative to 1 + width
 *   dual        out  max_j |c - A'y - z|_j / (1 + |c_j| + 0.01 max_i |a_ij y_i|)
 *   asmall      out  smallest product x_j z_j over the mean of all products
 *   alarge      out  largest product over the mean
 *   iterations  out  interior-point iterations of this call, those of abandoned starts included
 *
 * The measures are those of the problem as it was loaded; where those of rows and columns meet the
 * tolerance without their last terms, they are given without. At code 0 the gap is at most opt_tol,
 * the infeasibilities of rows and bounds at most max(1e-9, min(1e-6, opt_tol / 10)), and the dual
 * one at most max(1e-9, min(1e-6, opt_tol / 1000)). Otherwise they belong to the best point met,
 * which is kept; all outputs are finite.
 *
 * With p = c'x and d the dual value of the same point, the bounds of x included, the gap is
 * |p - d| / M, M = max(|p|, f), where f = 1e-10 min(1, least |c_j| above 0) never grows with the
 * costs. At 1 or less p and d have one sign. p misses the value of a feasible point by at most
 * 1e-8 M, d that of a dual feasible one by at most M / 10. Rounding sets limits to that:
 *
 * - of |p - d| up to 2e-15 times the sum of the absolute terms of p and d is forgiven, at most
 *   1e-7 M; d may lie that far above p;
 * - where `primal` is 1e-14 or less, what it makes p miss is a rounding error too: it is forgiven
 *   in the same way and has no other limit;
 * - where the solve finds no more digits of p, since those of d = b'y cancel as they do for an
 *   optimum of 0, f = 1e-5 min(least |c_j| above 0, that sum) is enough;
 * - f is at least 1e-6 of what finite bounds, to which columns are shifted, add to p.
 *
 * The codes:
 *
 *   0     solved
 *   -1    stalled at a usable point: primal and dual at most 1e-5, gap at most ten times opt_tol
 *         and at most 1, of which the dual infeasibility makes at most 0.1
 *   1     iteration limit
 *   2     no progress or no factorisation
 *   3     memory is short
 *   4     infeasible: proven, by multipliers that get_dual_solution hands out
 *   5     unbounded, or infeasible as well: proven, by a ray that get_opt_solution hands out
 *   6     a null handle, or opt_tol not above 0
 *
 * 4 and 5 come before the first iteration where a row without columns or the bounds of a column
 * contradict themselves, and where a column alone can go on for ever at a gain. Otherwise a solve
 * that fails, or whose presolve meets a contradiction, or whose y or x is out of all proportion,
 * looks for a proof by two further solves, which count as iterations. A proof shows that every x
 * misses a row (or every y a column) by more than 1e-8 relative to 1 + |b_i| (or 1 + |c_j|), for x
 * and y up to 1e8 times what right-hand sides and costs give reason for. A problem without an
 * optimum that is closer than this to having one may end in code 2, or in 0.
 *
 * A solve from mode 0 with option 0 first makes the problem smaller where a look at it promises
 * something, and completes the solution of the smaller one; where that misses the tolerance it goes
 * on without. Where the look promised nothing and the problem is not solved it is tried after all,
 * which may double the time to a code other than 0. Such a point lies on the boundary: asmall is 0
 * as a rule, and a start from it (mode 2, or a record saved after it) is one from mode 0.
 *
 * A column whose bounds are -1e6 or less and 1e6 or more is solved as a free one first, which keeps
 * the digits of x; where that fails or leaves the bounds, once more with them.
 *
 * Method: infeasible primal-dual predictor-corrector (S. Mehrotra, SIAM J. Optimization 2 (1992)
 * 575-601) with multiple centrality correctors (J. Gondzio, Comput. Optim. Appl. 6 (1996)
 * 137-156).
 */
int32_t solve_Pb(IP_problem *Pb, int32_t start_mode, IP_save_record *saved, double *opt_tol,
                 int32_t *option, double *primal, double *bounds, double *dual, double *asmall,
                 double *alarge, int32_t *iterations);

/**
 * As solve_Pb, and with a non-zero option it seeks a mu-centre: at code 0 asmall is then at least
 * 0.1 and alarge at most 10. Where the saved point asks for a way by smaller penalties they are
 * those of the centre found there, which has the same y; of the x handed out its penalty columns
 * are cleared. `work` is not used by this solver and may be null.
 */
int32_t acpdm_Pb(IP_problem *Pb, int32_t start_mode, IP_save_record *saved, double *opt_tol,
                 int32_t *option, double *primal, double *bounds, double *dual, double *asmall,
                 double *alarge, int32_t *iterations, int32_t *work);

/**
 * Copies the point of the last solve into `saved`; what the record held before is released.
 * Returns 0; 3 when memory is short and 6 when there is no point: the record is then as it was.
 */
int32_t save_Pb(IP_problem *Pb, IP_save_record *saved);

/** Releases a problem; null is ignored. */
void free_Pb(IP_problem *Pb);

/**
 * Releases what the record holds, not the record, and leaves it empty and ready for another
 * save_Pb; null is ignored.
 */
void free_Pb_save(IP_save_record *saved);

/**
 * Reads the solution of the last solve.
 *
 *   s1, s2        out  primal and dual objective; null to skip
 *   x             out  double[ncols]: the columns' values, in the order they were loaded; null to
 *                 skip
 *   slot5, slot6  not used
 *   z             out  double[ncols]: reduced costs as the point has them, positive at a lower
 *                 and negative at an upper bound; null to skip
 *
 * After code 5 x is a ray instead: adding any multiple of it to a feasible point leaves that
 * feasible and makes it cheaper. Its largest entry is 1 or -1, and where one column is to blame it
 * is that column's, the only one that is not 0. z is then 0. Before the first solve the values are
 * finite and mean nothing. Returns 0, or 6 for a null handle (nothing is written) or a problem that
 * was not prepared (x and z are then zero).
 */
int32_t get_opt_solution(IP_problem *Pb, double *s1, double *s2, double *x, double *slot5,
                         double *slot6, double *z);

/**
 * Reads the duals of the last solve: u[i - 1] for row i, and the objective value in the cost
 * row's entry u[m - 1]. The dual of a row of type 2 without a range is at least 0, that of one of
 * type 3 at most 0: what the point has on the wrong side, no more than its dual infeasibility, is
 * cut off. A row that constrains nothing has dual 0. After code 4 u[0] .. u[m - 2] are multipliers
 * instead, the largest of them 1 or -1: the sum of the rows with them cannot be satisfied within
 * the bounds of the columns. They are 0 where the bounds of a column cross. Returns 0, or 6 as
 * above with u untouched.
 */
int32_t get_dual_solution(IP_problem *Pb, double *u);

#ifdef __cplusplus
}
#endif

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#endif
