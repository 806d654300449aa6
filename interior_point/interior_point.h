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

IP_problem *load_Pb(void *extra1, void *extra2, const int32_t *row_type, const int32_t *col_start,
                    const int32_t *rw, const double *elt, const double *RHS,
                    const double *row_range, const double *col_lb, const double *col_ub, int32_t m,
                    int32_t n, int32_t nz, int32_t arg14, int32_t arg15, double arg16,
                    int32_t arg17, int32_t arg18, int32_t arg19, int32_t arg20, int32_t reload,
                    int32_t cost_row, int32_t arg23, double arg24, int32_t arg25);

int32_t preproc_Pb(IP_problem *Pb);

int32_t solve_Pb(IP_problem *Pb, int32_t start_mode, IP_save_record *saved, double *opt_tol,
                 int32_t *option, double *primal, double *bounds, double *dual, double *asmall,
                 double *alarge, int32_t *iterations);

int32_t acpdm_Pb(IP_problem *Pb, int32_t start_mode, IP_save_record *saved, double *opt_tol,
                 int32_t *option, double *primal, double *bounds, double *dual, double *asmall,
                 double *alarge, int32_t *iterations, int32_t *work);

int32_t save_Pb(IP_problem *Pb, IP_save_record *saved);

void free_Pb(IP_problem *Pb);

void free_Pb_save(IP_save_record *saved);

int32_t get_opt_solution(IP_problem *Pb, double *s1, double *s2, double *x, double *slot5,
                         double *slot6, double *z);

int32_t get_dual_solution(IP_problem *Pb, double *u);

#ifdef __cplusplus
}
#endif

#endif
