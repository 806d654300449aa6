#include "interior_point/linear_algebra/panel_kernels.h"

#include <algorithm>
#include <cmath>
#include <cstring>

// The bodies are compiled once for each kind of registers, inlined into a function for that kind.
#define INTERIOR_POINT_INLINE inline __attribute__((always_inline))

namespace interior_point {

namespace {

constexpr int kBlock = 4;  // columns that are worked at a time

/// W numbers next to each other, in registers.
template <int W>
struct Strip {
  typedef double Type __attribute__((vector_size(W * sizeof(double))));
  Type v;

  INTERIOR_POINT_INLINE void clear() { v = Type{}; }
  INTERIOR_POINT_INLINE void load(const double *from) { std::memcpy(&v, from, sizeof(v)); }
  INTERIOR_POINT_INLINE void store(double *to) const { std::memcpy(to, &v, sizeof(v)); }
};

template <>
struct Strip<1> {
  double v;

  INTERIOR_POINT_INLINE void clear() { v = 0.0; }
  INTERIOR_POINT_INLINE void load(const double *from) { v = *from; }
  INTERIOR_POINT_INLINE void store(double *to) const { *to = v; }
};

/// The triangle of a block of columns: the entries of L below its diagonal times the sign of their
/// column, and sign / diagonal.
struct Triangle {
  double below[kBlock][kBlock];
  double inverse[kBlock];
};

/// coefficient[kBlock k + q] = d_k L(row + q, k) for the columns k < `count`.
template <int N>
INTERIOR_POINT_INLINE void pack(const double *row, int32_t leading, int32_t count,
                                const double *sign, double *coefficient) {
  for (int32_t k = 0; k < count; ++k) {
    const double d = sign ? sign[k] : 1.0;
    for (int q = 0; q < N; ++q) coefficient[kBlock * k + q] = d * row[q];
    row += leading;
  }
}

/// a[q] += sum over k of left(., k) * coefficient(k, q), for W rows.
template <int W, int N>
INTERIOR_POINT_INLINE void accumulate(const double *left, int32_t leading, int32_t count,
                                      const double *coefficient, Strip<W> *a) {
  for (int32_t k = 0; k < count; ++k) {
    Strip<W> l;
    l.load(left);
    for (int q = 0; q < N; ++q) a[q].v += l.v * coefficient[q];
    left += leading;
    coefficient += kBlock;
  }
}

/// The products of R rows with N packed columns, R at most 4.
template <int R, int N>
INTERIOR_POINT_INLINE void multiply(const double *left, int32_t leading, int32_t count,
                                    const double *coefficient, double (*product)[R]) {
  if constexpr (R == 3) {
    double pair[kBlock][2];
    double single[kBlock][1];
    multiply<2, N>(left, leading, count, coefficient, pair);
    multiply<1, N>(left + 2, leading, count, coefficient, single);
    for (int q = 0; q < N; ++q) {
      product[q][0] = pair[q][0];
      product[q][1] = pair[q][1];
      product[q][2] = single[q][0];
    }
  } else {
    Strip<R> a[N];
    for (int q = 0; q < N; ++q) a[q].clear();
    accumulate<R, N>(left, leading, count, coefficient, a);
    for (int q = 0; q < N; ++q) a[q].store(product[q]);
  }
}

/// W rows of N columns, their products with the columns before, and the division by the triangle.
template <int W, int N>
INTERIOR_POINT_INLINE void finish_rows(double *panel, int32_t row, int32_t leading, int32_t first,
                                       const double *coefficient, const Triangle &t) {
  Strip<W> a[N];
  for (int q = 0; q < N; ++q) a[q].clear();
  accumulate<W, N>(panel + row, leading, first, coefficient, a);
  double *target = panel + row + static_cast<int64_t>(first) * leading;
  for (int q = 0; q < N; ++q) {
    Strip<W> x;
    x.load(target + static_cast<int64_t>(q) * leading);
    x.v -= a[q].v;
    for (int p = 0; p < q; ++p) x.v -= a[p].v * t.below[q][p];
    x.v *= t.inverse[q];
    a[q] = x;
    x.store(target + static_cast<int64_t>(q) * leading);
  }
}

/// Puts the inverse of the triangle l in its place.
template <int N>
INTERIOR_POINT_INLINE void store_inverse(const double (*l)[kBlock], double *target,
                                         int32_t leading) {
  double inverse[kBlock][kBlock];
  for (int p = 0; p < N; ++p) {
    double *column = target + static_cast<int64_t>(p) * leading;
    for (int q = p; q < N; ++q) {
      double sum = q == p ? 1.0 : 0.0;
      for (int r = p; r < q; ++r) sum -= l[q][r] * inverse[r][p];
      inverse[q][p] = sum / l[q][q];
      column[q] = inverse[q][p];
    }
  }
}

/// The triangle of N columns from `first` on.
template <int N>
INTERIOR_POINT_INLINE bool factorise_triangle(double *panel, int32_t leading, int32_t first,
                                              const double *sign, const double *coefficient,
                                              Triangle *t) {
  double product[kBlock][N];  // column by column
  multiply<N, N>(panel + first, leading, first, coefficient, product);
  double *target = panel + first + static_cast<int64_t>(first) * leading;
  double l[kBlock][kBlock];
  for (int p = 0; p < N; ++p) {
    const double d = sign ? sign[first + p] : 1.0;
    for (int q = p; q < N; ++q) {
      double sum = target[q + static_cast<int64_t>(p) * leading] - product[p][q];
      for (int r = 0; r < p; ++r) sum -= l[q][r] * t->below[p][r];
      if (q > p) {
        l[q][p] = sum * t->inverse[p];
        t->below[q][p] = d * l[q][p];
      } else {
        if (!(d * sum > 0.0)) return false;
        l[p][p] = std::sqrt(d * sum);
        t->inverse[p] = d / l[p][p];
      }
    }
  }
  store_inverse<N>(l, target, leading);
  return true;
}

template <int W, int N>
INTERIOR_POINT_INLINE void finish_strips(double *panel, int32_t row, int32_t rows, int32_t first,
                                         const double *coefficient, const Triangle &t) {
  for (; row + W <= rows; row += W) finish_rows<W, N>(panel, row, rows, first, coefficient, t);
  if constexpr (W > 1) finish_strips<W / 2, N>(panel, row, rows, first, coefficient, t);
}

template <int W, int N>
INTERIOR_POINT_INLINE bool factorise_block(int32_t rows, int32_t first, const double *sign,
                                           double *panel, double *coefficient) {
  pack<N>(panel + first, rows, first, sign, coefficient);
  Triangle t;
  if (!factorise_triangle<N>(panel, rows, first, sign, coefficient, &t)) return false;
  finish_strips<W, N>(panel, first + N, rows, first, coefficient, t);
  return true;
}

template <int W>
INTERIOR_POINT_INLINE bool factorise(int32_t rows, int32_t columns, const double *sign,
                                     double *panel, double *scratch) {
  int32_t c = 0;
  for (; c + kBlock <= columns; c += kBlock) {
    if (!factorise_block<W, kBlock>(rows, c, sign, panel, scratch)) return false;
  }
  switch (columns - c) {
    case 1:
      return factorise_block<W, 1>(rows, c, sign, panel, scratch);
    case 2:
      return factorise_block<W, 2>(rows, c, sign, panel, scratch);
    case 3:
      return factorise_block<W, 3>(rows, c, sign, panel, scratch);
    default:
      return true;
  }
}

/// W rows of the product, from row `row` of the block on, with N columns from `first` on.
template <int W, int N>
INTERIOR_POINT_INLINE void update_rows(const double *block, int32_t row, int32_t rows,
                                       int32_t columns, int32_t first, const double *coefficient,
                                       const ScatterTarget &target) {
  Strip<W> a[N];
  for (int q = 0; q < N; ++q) a[q].clear();
  accumulate<W, N>(block + row, rows, columns, coefficient, a);
  const int32_t *place = target.place + row;
  const bool side_by_side = place[W - 1] - place[0] == W - 1;
  for (int q = 0; q < N; ++q) {
    double *column = target.panel + static_cast<int64_t>(target.place[first + q]) * target.leading;
    if (side_by_side) {
      Strip<W> sum;
      sum.load(column + place[0]);
      sum.v -= a[q].v;
      sum.store(column + place[0]);
      continue;
    }
    double part[W];
    a[q].store(part);
    for (int i = 0; i < W; ++i) column[place[i]] -= part[i];
  }
}

template <int W, int N>
INTERIOR_POINT_INLINE void update_strips(const double *block, int32_t row, int32_t height,
                                         int32_t rows, int32_t columns, int32_t first,
                                         const double *coefficient, const ScatterTarget &target) {
  for (; row + W <= height; row += W) {
    update_rows<W, N>(block, row, rows, columns, first, coefficient, target);
  }
  if constexpr (W > 1) {
    update_strips<W / 2, N>(block, row, height, rows, columns, first, coefficient, target);
  }
}

template <int W, int N>
INTERIOR_POINT_INLINE void update_block(int32_t height, int32_t first, int32_t rows,
                                        int32_t columns, const double *sign, const double *block,
                                        const ScatterTarget &target, double *coefficient) {
  pack<N>(block + first, rows, columns, sign, coefficient);
  // The triangle on top; what lies above its diagonal belongs to nobody.
  double product[kBlock][N];
  multiply<N, N>(block + first, rows, columns, coefficient, product);
  for (int q = 0; q < N; ++q) {
    double *column = target.panel + static_cast<int64_t>(target.place[first + q]) * target.leading;
    for (int p = q; p < N; ++p) column[target.place[first + p]] -= product[q][p];
  }
  update_strips<W, N>(block, first + N, height, rows, columns, first, coefficient, target);
}

template <int W>
INTERIOR_POINT_INLINE void update(int32_t height, int32_t width, int32_t rows, int32_t columns,
                                  const double *sign, const double *block,
                                  const ScatterTarget &target, double *scratch) {
  int32_t c = 0;
  for (; c + kBlock <= width; c += kBlock) {
    update_block<W, kBlock>(height, c, rows, columns, sign, block, target, scratch);
  }
  switch (width - c) {
    case 1:
      return update_block<W, 1>(height, c, rows, columns, sign, block, target, scratch);
    case 2:
      return update_block<W, 2>(height, c, rows, columns, sign, block, target, scratch);
    case 3:
      return update_block<W, 3>(height, c, rows, columns, sign, block, target, scratch);
    default:
      return;
  }
}

/// x -= L s in W rows of N columns.
template <int W, int N>
INTERIOR_POINT_INLINE void subtract_rows(const double *l, int32_t leading, const double *s,
                                         double *x) {
  Strip<W> sum;
  sum.load(x);
  for (int q = 0; q < N; ++q) {
    Strip<W> entries;
    entries.load(l + static_cast<int64_t>(q) * leading);
    sum.v -= entries.v * s[q];
  }
  sum.store(x);
}

template <int W, int N>
INTERIOR_POINT_INLINE void subtract_strips(const double *l, int32_t row, int32_t rows,
                                           const double *s, double *x) {
  for (; row + W <= rows; row += W) subtract_rows<W, N>(l + row, rows, s, x + row);
  if constexpr (W > 1) subtract_strips<W / 2, N>(l, row, rows, s, x);
}

template <int W, int N>
INTERIOR_POINT_INLINE void solve_block(int32_t rows, int32_t first, const double *panel,
                                       double *x) {
  const double *l = panel + static_cast<int64_t>(first) * rows;
  double s[N] = {};
  for (int q = 0; q < N; ++q) {
    for (int p = 0; p <= q; ++p) {
      s[q] += l[first + q + static_cast<int64_t>(p) * rows] * x[first + p];
    }
  }
  for (int q = 0; q < N; ++q) x[first + q] = s[q];
  subtract_strips<W, N>(l, first + N, rows, s, x);
}

template <int W>
INTERIOR_POINT_INLINE void solve(int32_t rows, int32_t columns, const double *panel, double *x) {
  int32_t c = 0;
  for (; c + kBlock <= columns; c += kBlock) solve_block<W, kBlock>(rows, c, panel, x);
  switch (columns - c) {
    case 1:
      return solve_block<W, 1>(rows, c, panel, x);
    case 2:
      return solve_block<W, 2>(rows, c, panel, x);
    case 3:
      return solve_block<W, 3>(rows, c, panel, x);
    default:
      return;
  }
}

/// sum[q] += L(., q)'x in W rows of N columns.
template <int W, int N>
INTERIOR_POINT_INLINE void add_rows(const double *l, int32_t leading, const double *x,
                                    Strip<W> *sum) {
  Strip<W> entries, factor;
  factor.load(x);
  for (int q = 0; q < N; ++q) {
    entries.load(l + static_cast<int64_t>(q) * leading);
    sum[q].v += entries.v * factor.v;
  }
}

/// The sum of W numbers, by halves.
template <int W>
INTERIOR_POINT_INLINE double sum_of(const Strip<W> &a) {
  if constexpr (W == 1) {
    return a.v;
  } else {
    Strip<W / 2> low, high;
    std::memcpy(&low.v, &a.v, sizeof(low.v));
    std::memcpy(&high.v, reinterpret_cast<const char *>(&a.v) + sizeof(low.v), sizeof(high.v));
    low.v += high.v;
    return sum_of<W / 2>(low);
  }
}

/// The same for the rows from `row` on, summed up.
template <int W, int N>
INTERIOR_POINT_INLINE void add_products(const double *l, int32_t row, int32_t rows, const double *x,
                                        double *sum) {
  if (row + W <= rows) {
    Strip<W> wide[N];
    for (int q = 0; q < N; ++q) wide[q].clear();
    for (; row + W <= rows; row += W) add_rows<W, N>(l + row, rows, x + row, wide);
    for (int q = 0; q < N; ++q) sum[q] += sum_of<W>(wide[q]);
  }
  if constexpr (W > 1) add_products<W / 2, N>(l, row, rows, x, sum);
}

template <int W, int N>
INTERIOR_POINT_INLINE void solve_transposed_block(int32_t rows, int32_t first, const double *panel,
                                                  double *x) {
  const double *l = panel + static_cast<int64_t>(first) * rows;
  double sum[N] = {};
  add_products<W, N>(l, first + N, rows, x, sum);
  for (int q = 0; q < N; ++q) sum[q] = x[first + q] - sum[q];
  for (int q = 0; q < N; ++q) {
    const double *column = l + static_cast<int64_t>(q) * rows + first;
    double result = 0.0;
    for (int p = q; p < N; ++p) result += column[p] * sum[p];
    x[first + q] = result;
  }
}

template <int W>
INTERIOR_POINT_INLINE void solve_transposed(int32_t rows, int32_t columns, const double *panel,
                                            double *x) {
  const int32_t whole = columns - columns % kBlock;
  switch (columns - whole) {
    case 1:
      solve_transposed_block<W, 1>(rows, whole, panel, x);
      break;
    case 2:
      solve_transposed_block<W, 2>(rows, whole, panel, x);
      break;
    case 3:
      solve_transposed_block<W, 3>(rows, whole, panel, x);
      break;
    default:
      break;
  }
  for (int32_t c = whole; c > 0; c -= kBlock) {
    solve_transposed_block<W, kBlock>(rows, c - kBlock, panel, x);
  }
}

/// y += A x for N columns.
template <int W, int N>
INTERIOR_POINT_INLINE void add_columns(int32_t rows, const double *a, const double *x, double *y) {
  double s[N];
  for (int q = 0; q < N; ++q) s[q] = -x[q];
  subtract_strips<W, N>(a, 0, rows, s, y);
}

template <int W>
INTERIOR_POINT_INLINE void add_product(int32_t rows, int32_t columns, const double *a,
                                       const double *x, double *y) {
  int32_t c = 0;
  for (; c + kBlock <= columns; c += kBlock, a += kBlock * static_cast<int64_t>(rows)) {
    add_columns<W, kBlock>(rows, a, x + c, y);
  }
  for (; c < columns; ++c, a += rows) add_columns<W, 1>(rows, a, x + c, y);
}

#define INTERIOR_POINT_KERNELS(NAME, WIDTH, ATTRIBUTE)                                             \
  namespace NAME {                                                                                 \
  ATTRIBUTE bool factorise_panel(int32_t rows, int32_t columns, const double *sign, double *panel, \
                                 double *scratch) {                                                \
    return factorise<WIDTH>(rows, columns, sign, panel, scratch);                                  \
  }                                                                                                \
  ATTRIBUTE void update_panel(int32_t height, int32_t width, int32_t rows, int32_t columns,        \
                              const double *sign, const double *block,                             \
                              const ScatterTarget &target, double *scratch) {                      \
    update<WIDTH>(height, width, rows, columns, sign, block, target, scratch);                     \
  }                                                                                                \
  ATTRIBUTE void solve_panel(int32_t rows, int32_t columns, const double *panel, double *x) {      \
    solve<WIDTH>(rows, columns, panel, x);                                                         \
  }                                                                                                \
  ATTRIBUTE void solve_panel_transposed(int32_t rows, int32_t columns, const double *panel,        \
                                        double *x) {                                               \
    solve_transposed<WIDTH>(rows, columns, panel, x);                                              \
  }                                                                                                \
  ATTRIBUTE void add_panel_product(int32_t rows, int32_t columns, const double *panel,             \
                                   const double *x, double *y) {                                   \
    add_product<WIDTH>(rows, columns, panel, x, y);                                                \
  }                                                                                                \
  constexpr PanelKernels kKernels = {factorise_panel, update_panel, solve_panel,                   \
                                     solve_panel_transposed, add_panel_product};                   \
  }

// Strips of two registers.
INTERIOR_POINT_KERNELS(plain, 4, )
#if defined(__x86_64__)
INTERIOR_POINT_KERNELS(avx2, 8, __attribute__((target("avx2,fma"))))
INTERIOR_POINT_KERNELS(avx512, 16, __attribute__((target("avx512f,avx2,fma"))))
#endif

}  // namespace

const PanelKernels &panel_kernels(int32_t most) {
#if defined(__x86_64__)
  if (most >= 8 && __builtin_cpu_supports("avx512f")) return avx512::kKernels;
  const bool has_avx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
  if (most >= 4 && has_avx2) return avx2::kKernels;
#endif
  (void)most;
  return plain::kKernels;
}

}  // namespace interior_point
