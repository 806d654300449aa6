/**
 * The dense kernels below the factorisations: Cholesky, triangular solves and rank-k updates, by
 * BLAS and LAPACK. Matrices are column-major and symmetric ones are held in their lower triangle.
 */
#ifndef INTERIOR_POINT_LINEAR_ALGEBRA_DENSE_KERNEL_H
#define INTERIOR_POINT_LINEAR_ALGEBRA_DENSE_KERNEL_H

#include <cstdint>

namespace interior_point {

/**
 * Keeps OpenBLAS to a number of threads for the life of the object, as a rule one. Problems of a
 * few hundred rows lose more by waking threads than they gain, and one thread gives the same bits
 * each time.
 *
 * The number of threads is a setting of the process, so its users are counted for the process: the
 * first object notes the host's setting and makes its own, those that come while it is there take
 * what they find, and the last one puts the host's back, whichever host threads they belong to. The
 * functions that set it are looked up when the program is loaded, because the BLAS that a program
 * meets then need not be the one that it was linked with. Other libraries are left as they are.
 */
class BlasThreads {
 public:
  explicit BlasThreads(int32_t threads = 1);
  ~BlasThreads();
  BlasThreads(const BlasThreads &) = delete;
  BlasThreads &operator=(const BlasThreads &) = delete;

 private:
  int openmp_threads_ = 0;  // of this host thread: OpenMP keeps its number for each by itself
};

namespace dense {

/// A = L L' in place; false when A is not positive definite (L is then not to be used).
bool cholesky(int32_t order, double *a, int32_t leading);

/// B = B L'^-1 for the k x order block B below a factored diagonal block.
void solve_from_right(int32_t k, int32_t order, const double *l, int32_t leading, double *b,
                      int32_t leading_b);

/// C = C + alpha A A' for the order x k matrix A, in the lower triangle of C.
void add_outer_product(int32_t order, int32_t k, double alpha, const double *a, int32_t leading,
                       double *c, int32_t leading_c);

/// C = A'A for the k x order matrix A, in the lower triangle of C.
void inner_product(int32_t order, int32_t k, const double *a, int32_t leading, double *c,
                   int32_t leading_c);

/// C = A B' for the m x k matrix A and the n x k matrix B.
void product_transposed(int32_t m, int32_t n, int32_t k, const double *a, int32_t leading_a,
                        const double *b, int32_t leading_b, double *c, int32_t leading_c);

/// C = C + alpha A B' for the m x k matrix A and the n x k matrix B.
void add_product_transposed(int32_t m, int32_t n, int32_t k, double alpha, const double *a,
                            int32_t leading_a, const double *b, int32_t leading_b, double *c,
                            int32_t leading_c);

/// C = A'B for the k x m matrix A and the k x n matrix B.
void transposed_product(int32_t m, int32_t n, int32_t k, const double *a, int32_t leading_a,
                        const double *b, int32_t leading_b, double *c, int32_t leading_c);

/// B = B - A C for the m x k matrix A and the k x n matrix C.
void subtract_product(int32_t m, int32_t n, int32_t k, const double *a, int32_t leading_a,
                      const double *c, int32_t leading_c, double *b, int32_t leading_b);

/// B = L^-1 B for the order x k block B.
void solve_lower_block(int32_t order, int32_t k, const double *l, int32_t leading, double *b,
                       int32_t leading_b);

/// x = L^-1 x
void solve_lower(int32_t order, const double *l, int32_t leading, double *x);

/// x = L'^-1 x
void solve_lower_transposed(int32_t order, const double *l, int32_t leading, double *x);

/// y = y + alpha A x for the m x n matrix A.
void add_matrix_vector(int32_t m, int32_t n, double alpha, const double *a, int32_t leading,
                       const double *x, double *y);

/// y = y + alpha A'x for the m x n matrix A.
void add_transposed_vector(int32_t m, int32_t n, double alpha, const double *a, int32_t leading,
                           const double *x, double *y);

}  // namespace dense
}  // namespace interior_point

#endif
