/**
 * Column generation by a primal-dual interior-point method: the public interface.
 *
 * The master problem. Its columns are so many that they are generated on demand:
 *
 *   minimise    sum_j c_j x_j
 *   subject to  sum_j a_ij x_j  (=, >=, <=)  b_i     rows 1 .. m      linking rows, duals u
 *               sum_j d_kj x_j  (=, >=, <=)  b_m+k   rows m+1 .. m+p  further rows, such as the
 *               lambda_LB <= x_j <= lambda_UB                         convexity rows of blocks
 *
 * A record of type QUARN_env keeps the restricted master problem (RMP), the columns known so far.
 * Each outer iteration solves it by an interior-point method, but only to a tolerance that follows
 * the relative gap: the duals of a well-centred point in the interior are more stable than those of
 * a vertex, and cheaper. The caller's oracle prices these duals and adds columns. From the RMP and
 * the oracle's answer come an upper and a lower bound; the run ends when they meet to `delta`.
 *
 * A run:
 *
 *   static int16_t oracle(double *ub_term, double *lb_term, QUARN_env *env, void *user_data) {
 *     ... price env->u, fill a batch with columns of negative reduced cost c_j - sum_i u_i a_ij ...
 *     if (QUARN_add_columns(env, &batch, NULL) < 0) return -1;
 *     *lb_term = ...;    what the smallest reduced costs prove, at most 0; *ub_term stays 0
 *     return 1;
 *   }
 *   QUARN_env *env = QUARN_set_data(m, p, m + p + 1, 0, 1000, NULL, rhs, types, lo, up, data);
 *   int16_t status = QUARN_solve_MP(env, oracle);
 *   QUARN_get_pointer_to_master_solution(env, &x, &n);
 *   QUARN_free(env);
 *   free(env);
 *
 * Numbering. Rows count from 1 in matrices, the cost row last: it is row m+p+1 and holds c. Arrays
 * indexed by row count from 0, so row r is entry r-1 and the cost row entry m+p. Columns count from
 * 0. The first `ncols_aux` columns are auxiliary; generated column k is column ncols_aux+k. Row
 * types: 1 equality, 2 greater-or-equal, 3 less-or-equal. 1e30 and -1e30 stand for unbounded.
 *
 * Dual box. Set-up makes two auxiliary columns per linking row i: column i-1 with -1 in row i and
 * cost -u_LB[i-1], column m+i-1 with +1 in row i and cost u_UB[i-1]. In the dual they read
 * u_LB[i-1] <= u_i <= u_UB[i-1], and they satisfy the linking rows before any column is generated
 * (further rows need first columns that meet them). A box column with weight in the final solution
 * means that the master problem may be infeasible, or the box too tight: status 5.
 *
 * Ownership. The caller owns the record, the library everything in it but `user_data`. What callers
 * pass in is copied. Pointers handed out point into the record and say how long they stay valid.
 * All storage comes from calloc and realloc.
 *
 * Conduct. Unless it says otherwise, a function takes a record made by QUARN_set_data or
 * QUARN_copy_environment and pointers that are not null. Nothing exits or throws; after any failure
 * the record can be used, or at least released. There is no global state: distinct records may be
 * used by distinct threads, a record only by one at a time (IQUARN_residual_rounding draws from
 * rand(), which the process shares). Progress text goes to standard output and is flushed, unless
 * QUARN_set_log says where else.
 */
#ifndef QUARN_QUARN_H
#define QUARN_QUARN_H

#include <stdint.h>

/* The version of this header; QUARN_version tells the library's. */
#define QUARN_VERSION_MAJOR 0
#define QUARN_VERSION_MINOR 2
#define QUARN_VERSION_PATCH 0

#if defined(__GNUC__)
#pragma GCC visibility push(default)
#endif

#ifdef __cplusplus
extern "C" {
#endif

struct IP_problem;     /* a problem loaded into the solver, see interior_point.h */
struct IP_save_record; /* a point that the solver keeps for a warm start */

/** Takes text of the library, ended by a zero byte and valid during the call; see QUARN_set_log. */
typedef void (*QUARN_log)(const char *text, void *data);

/**
 * Column-wise sparse matrix: the RMP, and batches, views and copies of columns. Column j (from 0)
 * has its entries at array indices col_start[j]-1 .. col_start[j+1]-2, in any row order; a row
 * named twice in a column means the sum. The record owns its arrays, extra1 and extra2 included.
 */
typedef struct QUARN_SMatrix_CW {
  int32_t m;          /**< rows */
  int32_t n;          /**< columns in use */
  int32_t nz;         /**< entries in use */
  int32_t max_m;      /**< capacity in rows; sizes no array */
  int32_t max_n;      /**< capacity in columns */
  int32_t max_nz;     /**< capacity in entries */
  double *elt;        /**< [max_nz] values, column after column */
  int32_t *rw;        /**< [max_nz] row of each entry, from 1 */
  int32_t *col_start; /**< [max_n+1] positions from 1, col_start[n] = nz+1 */
  void *extra1;       /**< passed on to the solver; null unless the caller sets it */
  void *extra2;       /**< likewise */
} QUARN_SMatrix_CW;

/** Row-wise sparse matrix: as the column-wise one with the parts of rows and columns exchanged. */
typedef struct QUARN_SMatrix_RW {
  int32_t m;          /**< rows in use */
  int32_t n;          /**< columns */
  int32_t nz;         /**< entries in use */
  int32_t max_m;      /**< capacity in rows */
  int32_t max_n;      /**< capacity in columns; sizes no array */
  int32_t max_nz;     /**< capacity in entries */
  double *elt;        /**< [max_nz] values, row after row */
  int32_t *row_start; /**< [max_m+1] positions from 1, row_start[m] = nz+1 */
  int32_t *cl;        /**< [max_nz] column of each entry, from 1 */
  void *extra1;       /**< as in the column-wise record */
  void *extra2;       /**< likewise */
} QUARN_SMatrix_RW;

/**
 * One master problem and all that is known of its solution. Lengths are in counters of the record:
 * max_m and max_n are capacities of G, R is m+p+1. In brackets: the value after set-up, then "set"
 * for fields that the user may write between and during runs; all others are to be read only.
 */
typedef struct QUARN_env {
  /* the problem */
  void *user_data;                /**< borrowed; the oracle's last argument [as given, set] */
  int32_t ncols_total;            /**< leading entries of col_lb, col_ub that are settled [2m] */
  int32_t ncols_box;              /**< dual-box columns made at set-up [2m] */
  int32_t m;                      /**< linking rows, rows 1 .. m of G */
  int32_t p;                      /**< further rows, rows m+1 .. m+p of G */
  int32_t ncuts;                  /**< linking rows that QUARN_add_rows made and that remain [0] */
  struct IP_problem *Pb;          /**< owned; the RMP in the solver, null when not loaded [null] */
  struct IP_save_record *Pb_save; /**< owned; the saved point [empty] */
  QUARN_SMatrix_CW *G;            /**< owned; the RMP, R rows; column removal replaces the record */

  /* solution buffers: filled on request, one entry per column of G */
  double *lambda;      /**< owned; primal solution [null] */
  double *dual_slacks; /**< owned; reduced costs [null] */

  /* bounds of columns and objective */
  double lambda_LB;    /**< lower bound of columns added from now on [0, set] */
  double lambda_UB;    /**< upper bound of columns added from now on [1e30, set] */
  double objective_LB; /**< an upper bound below it ends the run with 7 [-1e30, set] */
  double objective_UB; /**< a lower bound above it ends the run with 7 [1e30, set] */

  /* arrays by row and by column */
  double *u;              /**< owned [max_m]; duals, cost row last [warm duals or null, set] */
  double *col_lb;         /**< owned [>= max_n]; lower bounds of the columns [lambda_LB, set] */
  double *col_ub;         /**< owned [>= max_n]; upper bounds of the columns [lambda_UB, set] */
  double *RHS;            /**< owned [max_m]; right-hand sides [as given, set] */
  double *row_range;      /**< owned [max_m]; ranges, 1e30 for none [1e30] */
  int32_t *row_type;      /**< owned [max_m]; 1 equality, 2 >=, 3 <= [as given] */
  int32_t ncols_aux_prev; /**< ncols_aux before the last auxiliary columns [0] */
  int32_t ncols_aux;      /**< leading auxiliary columns of G [2m] */
  int32_t *col_tag;       /**< owned [>= max_n]; entry k: tag of generated column k [-1] */
  int32_t *row_tag;       /**< owned [max_m]; tags of the rows [-1] */

  /* tolerances and bounds of the run */
  double delta;           /**< the run ends when rel_gap falls to it [1e-6, set] */
  double opt_tol;         /**< relative tolerance asked of the next RMP solve [10] */
  double max_opt_tol;     /**< ceiling of opt_tol [1000, set] */
  double upperBnd;        /**< upper bound of the optimal value [1e30, set] */
  double lowerBnd;        /**< lower bound of the optimal value [-1e30, set] */
  double upperBnd_prev;   /**< upperBnd before the last RMP solve [1e30] */
  double lowerBnd_actual; /**< lowerBnd before the last update by the oracle [-1e30] */

  /* dual box, one entry per linking row */
  double *u_LB;      /**< owned [m]; current lower bounds [as given, or -1e10] */
  double *u_UB;      /**< owned [m]; current upper bounds [as given, or 1e10] */
  double *u_LB_user; /**< owned [m]; limits down to which the box may grow [as u_LB] */
  double *u_UB_user; /**< owned [m]; limits up to which the box may grow [as u_UB] */

  double degree_of_optimality; /**< divides rel_gap to give opt_tol [2, set] */

  /* best integer solution */
  double IP_obj_value; /**< its cost, 1e30 while there is none [1e30] */
  double *IP_lambda;   /**< owned [IP_size]; values of its columns [null] */
  int32_t *IP_cols;    /**< owned [IP_size]; generated columns as numbered when stored [null] */
  int32_t IP_ncols;    /**< entries in use of both [0] */
  int32_t IP_size;     /**< capacity of both [0] */
  int32_t n_seeds;     /**< printed when a solution is stored [0, set] */

  /* limits and column elimination */
  int32_t max_number_columns;   /**< generated columns above which columns go [10000, set] */
  int32_t solver_option;        /**< above 5: tighter RMPs when columns are few [as given, set] */
  int32_t nrows;                /**< rows that size the first matrix, R after row edits [given] */
  int32_t max_outer_iterations; /**< limit over all runs of the record [as given, set] */
  double max_cputime;           /**< limit of cputime in seconds [100000, set] */
  double reduce_fraction;       /**< share of the columns that elimination keeps [0.75, set] */
  double reduce_gap;            /**< no elimination once rel_gap is at or below it [0.001, set] */
  int32_t last_reduce;          /**< outer iteration of the last elimination, -1 for none [-1] */
  int32_t reduce_mode;          /**< first generated column that may go [0, set] */

  /* options and flags */
  int16_t WS_strategy;       /**< how RMPs are solved, see its setter [-1, set] */
  int16_t WS_point_saved;    /**< 1 while Pb_save may start a solve [0] */
  int16_t exp_BD;            /**< 0 while the dual box may still be widened [1] */
  int16_t change_bounds;     /**< how bounds follow the candidates, see its setter [0, set] */
  int16_t oracle_status;     /**< last return value of the oracle [0] */
  int16_t reliable_answer;   /**< whether the gap may end the run, see its setter [1, set] */
  int16_t centrality_value;  /**< centrality asked of the solver [1, set] */
  int16_t difficult_problem; /**< positive: the first RMPs are solved loosely [0, set] */
  int32_t ncols_last;        /**< columns accepted by the last QUARN_add_columns [0] */
  int32_t restart;           /**< 1 runs the outer loop again; user code must reset it [0, set] */

  /* gaps */
  double rel_gap;      /**< (upperBnd-lowerBnd) / (|upperBnd|+1e-10), at most 10 [10, set] */
  double rel_gap_prev; /**< rel_gap before the last update [0] */
  double abs_gap;      /**< upper minus lower candidate of the last iteration [0] */
  double abs_gap_prev; /**< abs_gap of the iteration before [0] */
  double gap_ratio;    /**< abs_gap / abs_gap_prev [0] */

  /* counters and timers, over all runs of the record; seconds of wall-clock time */
  int32_t outer_iterations;    /**< RMP and oracle rounds [0] */
  int32_t inner_iterations_ws; /**< interior-point iterations towards points to save [0] */
  int32_t inner_iterations;    /**< all interior-point iterations [0] */
  double cputime;              /**< in the outer loop [0] */
  double cputime_oracle;       /**< of which in the oracle [0] */
  double cputime_RMP;          /**< of which in RMP solves [0] */

  int16_t verbosity;          /**< 0 quiet, 1 reports, 2 batches, 3 matrices [0, set] */
  int32_t matrix_changed;     /**< 1 after most edits (see there), 0 before each oracle call [1] */
  int16_t column_elimination; /**< not 0: QUARN_add_columns drops duplicates [1, set] */
  int32_t *acpdm_work;        /**< owned [>= max_n]; work space of the solver [0] */

  /* private to the library */
  int32_t lambda_length; /**< entries of lambda */
  int32_t bounds_length; /**< entries of col_lb and col_ub */
  int32_t *row_added;    /**< owned [m]; 1 for rows of QUARN_add_rows; null while there were none */
  QUARN_log log_sink;    /**< takes the text; null: standard output does */
  void *log_data;        /**< borrowed; the sink's second argument */
  int32_t is_asking;     /**< 1 while the oracle is called */
  int32_t known_column;  /**< what the last answer offered again: a column of G, from 1; or 0 */
  int32_t BLAS_threads;  /**< threads of the solver's BLAS, 0 or 1 for one [0, set] */
} QUARN_env;

/**
 * The pricing routine of the caller, called once per outer iteration after the RMP was solved, and
 * once at the start of a run when duals are there. It reads env->u, adds columns by
 * QUARN_add_columns and may edit rows and columns, or set parameters.
 *
 *   ub_term, lb_term  in/out  terms of the bound candidates  z_P + *ub_term  and  z_D + *lb_term,
 *                             where z_P is the RMP's optimal value and z_D = sum of RHS[r] u[r]
 *                             over rows 1 .. m+p (linking rows only, at the start of a run). They
 *                             keep their last values, 0 at first. z_D plus the sum over all blocks
 *                             of (most negative reduced cost) x (most units of the block's columns
 *                             in any solution) is a lower bound; ub_term is 0 in most uses.
 *   env, user_data    in/out  the record, and its user_data.
 *
 * Returns 1 when the terms are valid; 2 or more likewise, and no column is to be eliminated in the
 * next iteration; 0 when the bounds are not to be updated from this answer; negative for an error,
 * which ends the run with status 2.
 */
typedef int16_t (*QUARN_oracle)(double *ub_term, double *lb_term, QUARN_env *env, void *user_data);

/* set-up, copy, release */

/**
 * Makes the record of a master problem, with the dual-box columns and no generated column.
 *
 *   m, p                    linking rows and further rows, not negative.
 *   nrows                   at least 1; the first matrix has room for columns of nrows rows, 5 %
 *                           dense. m+p+1 is a good value; growth is automatic.
 *   option                  stored in solver_option; 0 is a good value.
 *   max_outer_iterations    limit over all runs.
 *   warm_duals              in  double[m+p+1], cost row last, or null for a cold start.
 *   rhs, row_types          in  [m+p+1], cost row last (its type is passed to the solver unread).
 *                           Types are 16 bit here, 32 bit in QUARN_add_rows and in the record.
 *   dual_lower, dual_upper  in  double[m], the dual box; null means -1e10 or 1e10 for every row. An
 *                           infinite limit is stored as 1e30 or -1e30.
 *   user_data               stored, never followed.
 *
 * Returns the record, which the caller releases by QUARN_free and then free; null, with nothing
 * kept, when memory is short, nrows is below 1, m or p negative, rhs or row_types null, a count
 * passes 2^31-1, or a limit, right-hand side or warm dual is not a number. A good box holds the
 * duals to what the problem allows, such as [0, 1e10] for >= rows, or closer.
 */
QUARN_env *QUARN_set_data(int32_t m, int32_t p, int32_t nrows, int32_t option,
                          int32_t max_outer_iterations, const double *warm_duals, const double *rhs,
                          const int16_t *row_types, const double *dual_lower,
                          const double *dual_upper, void *user_data);

/**
 * Copies matrix, bounds, duals, lambda and parameters into dst; counters, timers, loaded problem
 * and integer solution start afresh. A problem loaded in src leaves its point in dst's save record.
 *
 *   src  in   a complete record.
 *   dst  out  the caller's, zero-filled (what it held is overwritten, not released; upperBnd_prev
 *             and lowerBnd_actual keep what they held).
 *
 * Returns 1, or -1 when a pointer is null, both are the same, or memory is short; dst then is
 * incomplete, and fit for QUARN_free if it was zero-filled. Linear in the size of src.
 */
int32_t QUARN_copy_environment(const QUARN_env *src, QUARN_env *dst);

/**
 * Releases what the record owns, the loaded problem and the saved point included, not the record
 * itself: one from QUARN_set_data is released with free afterwards. Null is ignored. Pointers that
 * the accessors handed out become invalid.
 */
void QUARN_free(QUARN_env *env);

/** As QUARN_free, and frees the record itself, with the library's own free. Null is ignored. */
void QUARN_destroy(QUARN_env *env);

/** The version of the library, "major.minor.patch"; a constant. */
const char *QUARN_version(void);

/* text */

/**
 * Where the text of this record goes from now on; copies inherit it.
 *
 *   function  called with each piece of text as it is written: part of a line, a line or several.
 *             The pieces one after the other are what standard output would show, and lines beside
 *             that name a mistake: the column or row that was refused, the answer that contradicts
 *             another. A run without a mistake has none of them. It must not throw or call the
 *             library. Null: standard output, without these lines; QUARN_log_nothing: nowhere.
 *   data      borrowed; the function's second argument.
 *
 * QUARN_print_Matrix has no record and always writes to standard output.
 */
void QUARN_set_log(QUARN_env *env, QUARN_log function, void *data);

/** A function for QUARN_set_log that drops the text. */
void QUARN_log_nothing(const char *text, void *data);

/* parameters: each setter stores its value and touches nothing else. It checks none, except that
   what is not a number is refused: nothing changes, and a sink of QUARN_set_log gets a line. */

/** Lower bound of columns added from now on. Default 0; columns that are there keep theirs. */
void QUARN_set_lambda_LB(QUARN_env *env, double value);

/** Upper bound of columns added from now on. Default 1e30 (none); 1 where convexity implies it. */
void QUARN_set_lambda_UB(QUARN_env *env, double value);

/**
 * Progress text: 0 (default) only what is always written, 1 a report per iteration, 2 also the
 * columns and rows received, 3 also the whole matrix. Negative values act like 1.
 */
void QUARN_set_verbosity(QUARN_env *env, int16_t value);

/**
 * Threads of OpenBLAS while RMPs of 1000 rows or more are solved; 0 and 1 stand for one, which
 * gives the same bits each time. For large dense masters alone: the others gain nothing. Of runs at
 * once in threads of one process the first to begin a solve decides; a second one should have one
 * thread.
 */
void QUARN_set_BLAS_threads(QUARN_env *env, int32_t value);

/**
 * Whether QUARN_add_columns recognises duplicates: 1 (default) yes; 0 no, for oracles that never
 * repeat a column or masters without further rows, where nothing is recognised.
 */
void QUARN_set_column_elimination(QUARN_env *env, int16_t value);

/**
 * Number of generated columns above which those with large reduced costs are removed. Default
 * 10000; a few times the number of columns that the RMP needs is sensible.
 */
void QUARN_set_max_number_columns(QUARN_env *env, int32_t value);

/**
 * Divisor from relative gap to RMP tolerance. Default 2; larger values up to 10 solve each RMP more
 * tightly, which pays when the oracle is expensive. Must be positive.
 */
void QUARN_set_degree_of_optimality(QUARN_env *env, double value);

/** Ceiling of the RMP tolerance. Default 1000, no ceiling in practice; 0.1 for tight early RMPs. */
void QUARN_set_max_opt_tol(QUARN_env *env, double value);

/**
 * How the bounds follow the candidates: 0 (default) they only improve; 1 the lower bound may fall
 * by 0.1 % a step, for oracles whose bounds are not safe; 2 they are the last candidates.
 */
void QUARN_set_change_bounds(QUARN_env *env, int16_t value);

/**
 * Trust in the oracle: 1 (default) a gap of delta ends the run, crossed objective bounds end it
 * with 7; 0 the gap never ends it and the lower bound is held back, for heuristic answers.
 */
void QUARN_set_reliable_answer(QUARN_env *env, int16_t value);

/**
 * Centrality asked of the solver by the centred and warm-start strategies. Default 1, well-centred
 * points; 0 asks for none.
 */
void QUARN_set_centrality_value(QUARN_env *env, int16_t value);

/**
 * How RMPs are solved: -1 (default) the first from scratch, then it becomes 1: each from a point
 * saved in the one before; 0 centred, each from scratch; -2 the plain method, without centring. A
 * failed solve falls back to the plain method.
 */
void QUARN_set_WS_strategy(QUARN_env *env, int16_t value);

/**
 * Limit of cputime, in seconds over all runs. Default 100000. Looked at once per outer iteration; a
 * run that meets it ends with status 0.
 */
void QUARN_set_max_cputime(QUARN_env *env, double value);

/** Relative gap at which the run ends. Default 1e-6; RMP tolerances go down to a tenth of it. */
void QUARN_set_delta(QUARN_env *env, double value);

/** Current relative gap. Default 10; a known gap lets a warm-started run begin with tight RMPs. */
void QUARN_set_rel_gap(QUARN_env *env, double value);

/**
 * A lower bound on the objective known from elsewhere; an upper bound below it ends the run with 7.
 * Default -1e30.
 */
void QUARN_set_objective_LB(QUARN_env *env, double value);

/**
 * An upper bound known from elsewhere: a lower bound above it ends the run with 7, which prunes a
 * node of a search tree. Also the cut-off of the rounding heuristic. Default 1e30.
 */
void QUARN_set_objective_UB(QUARN_env *env, double value);

/** Current lower bound of the optimal value. Default -1e30; set it only to a proven bound. */
void QUARN_set_lowerBnd(QUARN_env *env, double value);

/** Current upper bound of the optimal value. Default 1e30; set it only to a proven bound. */
void QUARN_set_upperBnd(QUARN_env *env, double value);

/**
 * Copies values[m] into the right-hand sides of the linking rows; the other rows keep theirs.
 * Refused as a whole, as by the setters above, when one is not a number.
 */
void QUARN_set_RHS(QUARN_env *env, const double *values);

/**
 * Puts bounds and gaps back to what they are after set-up. To be called after an edit that changes
 * the problem: old bounds would close the gap of the new one.
 */
void QUARN_forget_bounds(QUARN_env *env);

/* results */

/** Proven lower bound of the optimal value; -1e30 when there is none. */
double QUARN_get_lower_bound(const QUARN_env *env);

/** Upper bound of the optimal value; 1e30 when there is none. */
double QUARN_get_upper_bound(const QUARN_env *env);

/** Relative gap of the two, at most 10; see rel_gap. */
double QUARN_get_relative_gap(const QUARN_env *env);

/** Outer iterations over all runs of the record. */
int32_t QUARN_get_outer_iterations(const QUARN_env *env);

/** Interior-point iterations over all runs of the record. */
int32_t QUARN_get_inner_iterations(const QUARN_env *env);

/** Seconds of wall-clock time over all runs: in the outer loop. */
double QUARN_get_seconds(const QUARN_env *env);

/** Of these in the oracle. */
double QUARN_get_seconds_oracle(const QUARN_env *env);

/** Of these in RMP solves. */
double QUARN_get_seconds_RMP(const QUARN_env *env);

/** Number of generated columns, those that QUARN_get_column_... count from 0. */
int32_t QUARN_get_number_of_columns(const QUARN_env *env);

/** Tag of generated column k; -1 also when there is no such column. */
int32_t QUARN_get_column_tag(const QUARN_env *env, int32_t k);

/** Cost of generated column k, the sum of its entries in the cost row; 0 when there is no such
 * column. */
double QUARN_get_column_cost(const QUARN_env *env, int32_t k);

/**
 * Copies the entries of generated column k, the cost left out, in the order in which they are kept.
 *
 *   capacity      most entries that the arrays can take, not negative.
 *   rows, values  out  [capacity] rows, from 1, and values; may be null when capacity is 0.
 *
 * Returns the number of entries the column has, also when it is above capacity; -1 when there is no
 * such column.
 */
int32_t QUARN_get_column_entries(const QUARN_env *env, int32_t k, int32_t capacity, int32_t *rows,
                                 double *values);

/**
 * What a result of QUARN_solve_MP, QUARN_solve_MP_core or IQUARN_solve_MP means, as a phrase
 * without a full stop; "unknown status" for other numbers. A constant.
 */
const char *QUARN_status_text(int32_t status);

/**
 * The duals env->u, double[m+p+1] with the cost row last, the record's: the next solve rewrites
 * them, a row edit moves them. Null when neither warm duals nor a solved RMP are there.
 */
double *QUARN_get_dual_solution(const QUARN_env *env);

/**
 * The primal values of the generated columns in the RMP solved last.
 *
 *   x_out  out  double[*n_out] inside env->lambda, entry k for generated column k (from 0); valid
 *               until the next getter of a master solution, solve, or QUARN_free.
 *   n_out  out  number of generated columns; those added after that solve have the value 0.
 *
 * Without a loaded problem (nothing was solved, or an edit of rows or removal of columns came
 * since) null and 0. The same, with a line on standard output and env->lambda null, when memory is
 * short.
 */
void QUARN_get_pointer_to_master_solution(QUARN_env *env, double **x_out, int32_t *n_out);

/** The same for all columns of G, auxiliary ones first; when memory is short it writes no line. */
void QUARN_get_pointer_to_full_master_solution(QUARN_env *env, double **x_out, int32_t *n_out);

/**
 * As QUARN_get_pointer_to_master_solution, for the reduced costs of the generated columns in
 * env->dual_slacks; valid until the next call, a column elimination, or QUARN_free.
 */
void QUARN_get_pointer_to_dual_slacks(QUARN_env *env, double **z_out, int32_t *n_out);

/** Writes the relative gap, "> duality gap: %.8e". A null record writes nothing, here and below. */
void QUARN_print_gap_quarn(const QUARN_env *env);

/** Writes "> lower bound: %.8e" and "> upper bound: %.8e", a line each. */
void QUARN_print_bnd_quarn(const QUARN_env *env);

/**
 * Writes "> outer iterations: %d" and "> inner iterations: %d (%d)", those towards points to save
 * in parentheses.
 */
void QUARN_print_iterations(const QUARN_env *env);

/**
 * Writes "> CPU time: %.2lfs (%.2lfs, %.2lfs)": seconds in all, in RMP solves and in the oracle.
 */
void QUARN_print_cputime(const QUARN_env *env);

/* solving */

/**
 * Solves the master problem: runs the outer loop, again while env->restart is 1, writes the summary
 * (verbosity not 0), reads the solution into env->lambda and fits G's capacities to its sizes.
 *
 *   oracle  the pricing routine; null solves the RMP as it is.
 *
 * Returns, with bounds, duals, counters and RMP in the record for a further call that goes on:
 *   0  the gap is closed, or max_cputime is over
 *   2  the oracle reported an error, or memory is short
 *   3  an RMP could not be solved
 *   5  the problem may be infeasible: a box column carries weight in the final solution
 *   6  max_outer_iterations is reached
 *   7  the bounds contradict objective_LB or objective_UB
 *
 * The solution is that of the last RMP, to its tolerance. Where the gap closed with the upper bound
 * of an earlier RMP its cost may be above that bound, and 5 come from this alone. With opt_tol set
 * to delta QUARN_solve_RMP_STD solves the RMP again, to a solution that has the bound.
 */
int16_t QUARN_solve_MP(QUARN_env *env, QUARN_oracle oracle);

/**
 * One run of the outer loop alone: no summary, no test of the box columns, env->lambda not filled.
 * Goes on from the record's bounds, duals and counters; a cold start frees env->u and sets it to
 * null. Returns 0 when the gap is closed or a limit (iterations included) is met, and 2, 3, 7 as
 * above.
 */
int16_t QUARN_solve_MP_core(QUARN_env *env, QUARN_oracle oracle);

/**
 * Solves the master problem and, if asked, looks for an integer solution: outer loop, one residual
 * rounding, and the outer loop again from a cold start on the RMP as it was. With the gap closed,
 * which is the rule, the second loop ends before it solves anything, and u holds the duals of the
 * RMP as it was.
 *
 *   rounding  above 0 runs the heuristic and the second loop.
 *
 * Returns 0, 2, 3, 5, 6 or 7 as QUARN_solve_MP, here with 5 for a box column above 10 delta. The
 * integer solution is in IP_obj_value (1e30 for none), IP_cols, IP_lambda and IP_ncols. A heuristic
 * that fails does not change the result.
 */
int32_t IQUARN_solve_MP(QUARN_env *env, QUARN_oracle oracle, int32_t rounding);

/**
 * Rounds the master solution up, column by column, and solves the RMP again on the residual
 * right-hand side until every linking row is met. Needs a loaded, solved RMP. Near ties are broken
 * by rand().
 *
 *   oracle     not used.
 *   threshold  a pass fixes columns above this value, 0.9 for example ...
 *   min_fix    ... and so many columns in any case, at least 1: with fewer a pass may fix none.
 *
 * A pass that leaves every open row as it was is followed by passes that look at columns in open
 * rows alone; if one of these changes none either, or at max_cputime, looked at before each RMP,
 * the heuristic ends with a line that says so.
 *
 * Returns 1 when an integer solution was completed (it is stored when better than the stored one),
 * 0 when there is none, -1 when memory is short. RHS, row_type, bounds and WS_strategy leave as
 * they came, and the RMP is solved once more on them. Method: residual heuristics, see G. Waescher,
 * T. Gau, OR Spektrum 18 (1996) 131-144.
 */
int32_t IQUARN_residual_rounding(QUARN_env *env, QUARN_oracle oracle, double threshold,
                                 int32_t min_fix);

/**
 * Updates rel_gap, abs_gap, gap_ratio and their predecessors; crossed bounds are first reset to the
 * candidates, with a message. Returns 0.
 *
 *   lower, upper                in/out  the bounds, commonly &env->lowerBnd and &env->upperBnd.
 *   lb_candidate, ub_candidate  the bounds that this iteration's RMP and oracle give.
 *   k                           number of the iteration within the run, from 1.
 */
int32_t QUARN_calculate_gaps(QUARN_env *env, double *lower, double *upper, double lb_candidate,
                             double ub_candidate, int32_t k);

/**
 * Widens the dual box towards its limits, in u_LB, u_UB and the costs of the box columns: at once
 * when rel_gap is below 0.1; otherwise, after the third outer iteration, by factors of 1.01 to 2,
 * the less the nearer a dual is to its bound. exp_BD becomes 1 when the box is done. Bounds of the
 * objective that a wider box may break are reset to 1e30, -1e30.
 *
 *   G  in/out  the record's matrix.    m  linking rows; only those with box columns are looked at.
 *   u  in      double[m], the duals of the linking rows.
 *
 * Method: R. E. Marsten, W. W. Hogan, J. W. Blankenship, Operations Research 23 (1975) 389-405.
 */
void QUARN_expand_bounds(QUARN_env *env, QUARN_SMatrix_CW *G, int32_t m, const double *u);

/**
 * Narrows the dual box of every linking row to [lower, upper], within its limits, and lets it be
 * widened during the run (exp_BD = 0). A limit that excludes 0 gives way to 0. The costs of the box
 * columns follow at the first widening. Nothing changes where one of the two is not a number, and a
 * sink of QUARN_set_log gets a line.
 */
void QUARN_set_dual_box(QUARN_env *env, double lower, double upper);

/**
 * Removes generated columns with large reduced costs in the RMP just solved: of all together, down
 * to reduce_fraction (p at most 2), or up to 5 per further row, which keeps at least 3 (p above 2).
 *
 *   first, last  generated columns first .. last-1, from 0, may go.
 *
 * Returns 1 when columns were removed (G is a new record, nothing is loaded); 0, the matrix as it
 * was, when ten or fewer would go, no solved RMP is loaded or memory is short; -1 when memory for
 * the ranking is. Writes what it did. n log n for n columns.
 */
int32_t QUARN_reduce_coefficient_matrix(QUARN_env *env, int32_t first, int32_t last);

/**
 * Solves the loaded, preprocessed problem from scratch to opt_tol, without centring. Returns 0 or
 * the solver's code. Adds to inner_iterations, here and below; the problem stays loaded.
 */
int32_t QUARN_solve_RMP_STD(QUARN_env *env);

/** As QUARN_solve_RMP_STD with a well-centred point when opt_tol is below 1. Returns the same. */
int32_t QUARN_solve_RMP_CS(QUARN_env *env);

/**
 * Solves in up to three passes from scratch, each at a tenth of the tolerance while the point is
 * infeasible, and saves a centred point for the next RMP. Returns 0 or the solver's code.
 */
int32_t QUARN_solve_RMP_CWS(QUARN_env *env);

/** As QUARN_solve_RMP_CWS, started from the saved point when WS_point_saved says there is one. */
int32_t QUARN_solve_RMP_WS(QUARN_env *env);

/* matrix records: -1 also for a null record, or for 2^31-1 columns (rows, when row-wise) */

/**
 * Creates an empty column-wise record: zero-filled arrays for max_n columns (at least 1) and max_nz
 * entries (at least 1), counts 0. max_m is stored only. A must be zero-filled or released. Returns
 * 0; -1 when refused or memory is short, and A is then fit for release.
 */
int32_t QUARN_set_SMatrix_CW(QUARN_SMatrix_CW *A, int32_t max_m, int32_t max_n, int32_t max_nz);

/** The same for a row-wise record: max_m and max_nz at least 1, max_n is stored only. */
int32_t QUARN_set_SMatrix_RW(QUARN_SMatrix_RW *A, int32_t max_m, int32_t max_n, int32_t max_nz);

/**
 * Sets both capacities exactly, up or down to n and nz. Returns 0; -1 when refused (below n or nz)
 * or memory is short, with the contents kept and no capacity above what is there.
 */
int32_t QUARN_reallocate_SMatrix_CW(QUARN_SMatrix_CW *A, int32_t max_n, int32_t max_nz);

/**
 * Raises the capacities of columns and entries to max_n and max_nz where they are below; max_m is
 * ignored. Returns 0, or -1 when memory is short, the contents kept.
 */
int32_t QUARN_reset_SMatrix_CW(QUARN_SMatrix_CW *A, int32_t max_m, int32_t max_n, int32_t max_nz);

/** The same for rows and entries of a row-wise record; max_n is ignored. */
int32_t QUARN_reset_SMatrix_RW(QUARN_SMatrix_RW *A, int32_t max_m, int32_t max_n, int32_t max_nz);

/**
 * Writes the row-wise form of C into R, each row in rising column order.
 *
 *   C                     in   may be a view.    R  out  zero-filled or released; the caller's.
 *   max_m, max_n, max_nz  capacities of R, at least the sizes of C.
 *
 * Returns 1; 0, R untouched, when a capacity is below C's size, C has no arrays or a pointer is
 * null; -1 when memory is short or max_m or max_nz is below 1. m + n + nz steps, m counters of
 * scratch. Method: F. G. Gustavson, ACM Transactions on Mathematical Software 4 (1978) 250-269.
 */
int32_t QUARN_set_SMatrix_RW_from_CW(const QUARN_SMatrix_CW *C, QUARN_SMatrix_RW *R, int32_t max_m,
                                     int32_t max_n, int32_t max_nz);

/**
 * The way back: writes the column-wise form of R into C, columns in rising row order; results
 * alike.
 */
int32_t QUARN_set_SMatrix_CW_from_RW(QUARN_SMatrix_CW *C, const QUARN_SMatrix_RW *R, int32_t max_m,
                                     int32_t max_n, int32_t max_nz);

/**
 * Releases the arrays, not the record, which is zero afterwards. Null and empty are fine; never
 * call it on a view.
 */
void QUARN_free_SMatrix_CW(QUARN_SMatrix_CW *A);

/** The same for a row-wise record. */
void QUARN_free_SMatrix_RW(QUARN_SMatrix_RW *A);

/**
 * Writes a line per column: its inequality in the dual, such as "5:    0.5*U_1 + Z_1 <=  7", where
 * U_i is the dual of row i up to `dim` and Z_k that of row dim+k.
 */
void QUARN_print_Matrix(const QUARN_SMatrix_CW *A, int32_t dim);

/* edits and access to the columns */

/**
 * Adds generated columns behind those of the RMP, with lambda_LB and lambda_UB as they are now.
 *
 *   batch  in  the caller's; rows from 1, the cost in row m+p+1; it must not share G's arrays.
 *   tags   in  int32_t[batch->n] for col_tag, or null.
 *
 * With column_elimination, a column equal to one that was there before the call (coefficients to
 * 1e-8 in sum, cost to 1e-10) is not added; if a little cheaper, the column in the RMP takes over
 * cost and tag. Only columns with an entry in a further row are recognised, and none that names a
 * row twice.
 *
 * Returns the number of columns added or made cheaper, also stored in ncols_last; 0 for an empty
 * batch; -1, the record unchanged, for a null pointer, a start array that falls or does not run
 * from 1 to nz+1, a row out of range, a value that is not finite, or sizes beyond 2^31-1; -1 when
 * memory is short, no column added. Capacities grow by five times the batch and 1000. The loaded
 * problem stays, without the new columns. nz(G) + nz(batch) steps and a walk over the columns of
 * the same further row per new column.
 */
int32_t QUARN_add_columns(QUARN_env *env, const QUARN_SMatrix_CW *batch, const int32_t *tags);

/**
 * The same for columns given densely; magnitudes up to 1e-10 are dropped.
 *
 *   dense  in  double[dense_m * dense_n], column after column, entry i for row i+1. The cost is
 *              reached when dense_m is m+p+1; values in rows beyond are refused.
 *
 * Returns what QUARN_add_columns returns; 0 also when dense is null, a size negative, or nothing
 * left.
 */
int32_t QUARN_add_dense_columns(QUARN_env *env, const double *dense, const int32_t *tags,
                                int32_t dense_m, int32_t dense_n);

/**
 * Adds columns of the caller's own, such as slacks or artificials, that are not generated ones. To
 * be called before the first generated column: all columns of G become auxiliary.
 *
 *   batch  in  as for QUARN_add_columns; duplicates are not looked for.
 *
 * Returns 1; 0 for an empty batch; -1 as QUARN_add_columns. ncols_last and matrix_changed stay.
 */
int32_t QUARN_add_auxiliary_columns(QUARN_env *env, const QUARN_SMatrix_CW *batch);

/**
 * The same for dense columns as in QUARN_add_dense_columns; 0 also when there is nothing to store.
 */
int32_t QUARN_add_auxiliary_columns_dense(QUARN_env *env, const double *dense, int32_t dense_m,
                                          int32_t dense_n);

/**
 * Resizes col_lb and col_ub for `length` columns; the entries from ncols_total on get lambda_LB and
 * lambda_UB. The arrays never get shorter than the capacity of G. Returns 0; -1 when
 * length is below 1 or memory is short, the arrays then valid for the columns that are there.
 */
int32_t QUARN_reset_lambda_bounds(QUARN_env *env, int32_t length);

/**
 * Keeps the auxiliary columns and some of the generated ones, with their bounds and tags.
 *
 *   keep  in  int32_t[nkeep], generated columns from 0, each once, in the order they are to have.
 *
 * Returns 1; -1, nothing changed, when an index is out of range or named twice, or memory is short.
 * G becomes a new record of the same capacities; the loaded problem is released; IP_cols keeps the
 * old numbers. Linear in the size of G.
 */
int32_t QUARN_remove_columns(QUARN_env *env, const int32_t *keep, int32_t nkeep);

/**
 * Fills `view` so that it shows the generated columns in place, in constant time. Its starts count
 * from the beginning of G's arrays; its capacities are not set. The view owns nothing, must not be
 * released, and is valid until the next edit of the RMP. A null pointer is ignored.
 */
void QUARN_get_pointer_to_master_columns(const QUARN_env *env, QUARN_SMatrix_CW *view);

/**
 * Copies the generated columns into `out`, with capacities equal to the sizes.
 *
 *   out  out  empty; the caller releases it by QUARN_free_SMatrix_CW. Without generated columns it
 *             has G's rows, no column and no entry; when memory is short it is zero, arrays null.
 */
void QUARN_copy_master_columns(const QUARN_env *env, QUARN_SMatrix_CW *out);

/** The same for all columns of G. */
void QUARN_copy_full_master_columns(const QUARN_env *env, QUARN_SMatrix_CW *out);

/**
 * Inserts linking rows (cuts) behind those that are there; the further rows and the cost row move
 * up.
 *
 *   new_rows                in  the caller's; k rows, columns are generated ones counted from 1.
 *   rhs, types              in  [k] right-hand sides and row types; 32 bit here, 16 at set-up.
 *   dual_lower, dual_upper  in  [k] stored as dual box; no box columns are made for new rows.
 *   tags                    in  [k] for row_tag, or null for -1.
 *
 * Returns 1; -1, nothing changed, for a null pointer, rows that are not well formed (as columns in
 * QUARN_add_columns), a value of rhs or of the dual limits that is not a number, or memory that is
 * short. m and ncuts rise by k, new duals in u are 0,
 * capacities of G equal its sizes, the loaded problem and the saved point are void. Linear in the
 * size of G.
 */
int32_t QUARN_add_rows(QUARN_env *env, const QUARN_SMatrix_RW *new_rows, const double *rhs,
                       const int32_t *types, const double *dual_lower, const double *dual_upper,
                       const int32_t *tags);

/**
 * Keeps some of the rows, in a new order, with all that belongs to them.
 *
 *   keep          in  int32_t[nkeep], rows from 0, each once: new_m linking rows, new_p further
 *                     rows, and last the cost row m+p.
 *   new_m, new_p  the new m and p; nkeep is new_m+new_p+1.
 *
 * Returns 1; -1, nothing changed, when the list breaks these rules or memory is short. ncuts falls
 * by the removed rows that QUARN_add_rows had made; matrix_changed stays; otherwise as
 * QUARN_add_rows. The box columns of a removed row stay with their costs alone. Always writes a
 * greeting, refused or not, and does not end its line.
 */
int32_t QUARN_remove_rows(QUARN_env *env, const int32_t *keep, int32_t nkeep, int32_t new_m,
                          int32_t new_p);

#ifdef __cplusplus
}
#endif

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#endif
