#include "interior_point/linear_algebra/dense_kernel.h"

#include <algorithm>
#include <mutex>

// The Fortran interface, which every BLAS and LAPACK has.
extern "C" {
void dpotrf_(const char *uplo, const int *n, double *a, const int *lda, int *info);
void dtrsm_(const char *side, const char *uplo, const char *trans, const char *diag, const int *m,
            const int *n, const double *alpha, const double *a, const int *lda, double *b,
            const int *ldb);
void dsyrk_(const char *uplo, const char *trans, const int *n, const int *k, const double *alpha,
            const double *a, const int *lda, const double *beta, double *c, const int *ldc);
void dgemm_(const char *transa, const char *transb, const int *m, const int *n, const int *k,
            const double *alpha, const double *a, const int *lda, const double *b, const int *ldb,
            const double *beta, double *c, const int *ldc);
void dtrsv_(const char *uplo, const char *trans, const char *diag, const int *n, const double *a,
            const int *lda, double *x, const int *incx);
void dgemv_(const char *trans, const int *m, const int *n, const double *alpha, const double *a,
            const int *lda, const double *x, const int *incx, const double *beta, double *y,
            const int *incy);
// Null where the libraries that the program is loaded with have no such function. Only code that is
// independent of its position, as the library is built, leaves the answer to that time.
#if defined(__GNUC__) && defined(__ELF__)
int openblas_get_num_threads(void) __attribute__((weak));
void openblas_set_num_threads(int threads) __attribute__((weak));
int omp_get_max_threads(void) __attribute__((weak));
void omp_set_num_threads(int threads) __attribute__((weak));
#endif
}

namespace interior_point {

namespace {
constexpr double kOne = 1.0;
constexpr double kMinusOne = -1.0;
constexpr double kZero = 0.0;
constexpr int kUnitStride = 1;
}  // namespace

#if defined(__GNUC__) && defined(__ELF__)

namespace {

bool has_openblas() { return openblas_get_num_threads && openblas_set_num_threads; }
bool has_openmp() { return omp_get_max_threads && omp_set_num_threads; }

struct Users {
  std::mutex mutex;
  int count = 0;
  int hosts_threads = 1;
  int threads = 1;
};

/// The one variable of the process, as the setting that it stands for is one.
Users &users() {
  static Users instance;
  return instance;
}

}  // namespace

BlasThreads::BlasThreads(int32_t threads) {
  if (!has_openblas()) return;
  if (has_openmp()) openmp_threads_ = omp_get_max_threads();
  const std::lock_guard<std::mutex> lock(users().mutex);
  if (users().count++ > 0) return;
  users().hosts_threads = openblas_get_num_threads();
  users().threads = std::max(threads, 1);
  if (users().hosts_threads != users().threads) openblas_set_num_threads(users().threads);
}

BlasThreads::~BlasThreads() {
  if (!has_openblas()) return;
  {
    const std::lock_guard<std::mutex> lock(users().mutex);
    if (--users().count == 0 && users().hosts_threads != users().threads) {
      openblas_set_num_threads(users().hosts_threads);
    }
  }
  // An OpenBLAS made with OpenMP sets its number for the thread that calls, too.
  if (has_openmp()) omp_set_num_threads(openmp_threads_);
}

#else
BlasThreads::BlasThreads(int32_t) {}
BlasThreads::~BlasThreads() = default;
#endif

namespace dense {

bool cholesky(int32_t order, double *a, int32_t leading) {
  if (order == 0) return true;
  int info = 0;
  dpotrf_("L", &order, a, &leading, &info);
  if (info != 0) return false;
  // A pivot that is not a number is no failure to every LAPACK: some only look for pivots <= 0.
  for (int32_t k = 0; k < order; ++k) {
    if (!(a[static_cast<int64_t>(k) * (leading + 1)] > 0.0)) return false;
  }
  return true;
}

void solve_from_right(int32_t k, int32_t order, const double *l, int32_t leading, double *b,
                      int32_t leading_b) {
  if (k == 0 || order == 0) return;
  dtrsm_("R", "L", "T", "N", &k, &order, &kOne, l, &leading, b, &leading_b);
}

void add_outer_product(int32_t order, int32_t k, double alpha, const double *a, int32_t leading,
                       double *c, int32_t leading_c) {
  if (order == 0 || k == 0) return;
  dsyrk_("L", "N", &order, &k, &alpha, a, &leading, &kOne, c, &leading_c);
}

void inner_product(int32_t order, int32_t k, const double *a, int32_t leading, double *c,
                   int32_t leading_c) {
  if (order == 0) return;
  leading = std::max(leading, 1);
  dsyrk_("L", "T", &order, &k, &kOne, a, &leading, &kZero, c, &leading_c);
}

void product_transposed(int32_t m, int32_t n, int32_t k, const double *a, int32_t leading_a,
                        const double *b, int32_t leading_b, double *c, int32_t leading_c) {
  if (m == 0 || n == 0) return;
  dgemm_("N", "T", &m, &n, &k, &kOne, a, &leading_a, b, &leading_b, &kZero, c, &leading_c);
}

void add_product_transposed(int32_t m, int32_t n, int32_t k, double alpha, const double *a,
                            int32_t leading_a, const double *b, int32_t leading_b, double *c,
                            int32_t leading_c) {
  if (m == 0 || n == 0 || k == 0) return;
  dgemm_("N", "T", &m, &n, &k, &alpha, a, &leading_a, b, &leading_b, &kOne, c, &leading_c);
}

void transposed_product(int32_t m, int32_t n, int32_t k, const double *a, int32_t leading_a,
                        const double *b, int32_t leading_b, double *c, int32_t leading_c) {
  if (m == 0 || n == 0) return;
  dgemm_("T", "N", &m, &n, &k, &kOne, a, &leading_a, b, &leading_b, &kZero, c, &leading_c);
}

void subtract_product(int32_t m, int32_t n, int32_t k, const double *a, int32_t leading_a,
                      const double *c, int32_t leading_c, double *b, int32_t leading_b) {
  if (m == 0 || n == 0 || k == 0) return;
  dgemm_("N", "N", &m, &n, &k, &kMinusOne, a, &leading_a, c, &leading_c, &kOne, b, &leading_b);
}

void solve_lower_block(int32_t order, int32_t k, const double *l, int32_t leading, double *b,
                       int32_t leading_b) {
  if (k == 0 || order == 0) return;
  dtrsm_("L", "L", "N", "N", &order, &k, &kOne, l, &leading, b, &leading_b);
}

void solve_lower(int32_t order, const double *l, int32_t leading, double *x) {
  if (order > 0) dtrsv_("L", "N", "N", &order, l, &leading, x, &kUnitStride);
}

void solve_lower_transposed(int32_t order, const double *l, int32_t leading, double *x) {
  if (order > 0) dtrsv_("L", "T", "N", &order, l, &leading, x, &kUnitStride);
}

void add_matrix_vector(int32_t m, int32_t n, double alpha, const double *a, int32_t leading,
                       const double *x, double *y) {
  if (m == 0 || n == 0) return;
  dgemv_("N", &m, &n, &alpha, a, &leading, x, &kUnitStride, &kOne, y, &kUnitStride);
}

void add_transposed_vector(int32_t m, int32_t n, double alpha, const double *a, int32_t leading,
                           const double *x, double *y) {
  if (m == 0 || n == 0) return;
  dgemv_("T", &m, &n, &alpha, a, &leading, x, &kUnitStride, &kOne, y, &kUnitStride);
}

}  // namespace dense
}  // namespace interior_point
