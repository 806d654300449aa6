#include "interior_point/method/warm_start.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "interior_point/form/penalties.h"
#include "interior_point/method/block_centring.h"
#include "interior_point/method/options.h"
#include "interior_point/vector.h"

namespace interior_point {

namespace {

constexpr const WarmStartOptions &kWarmStart = kOptions.warm_start;

constexpr int32_t kNew = -1;

/// For each structural column of the form its place among the saved ones, or kNew.
Vector<int32_t> match_columns(const SavedPoint &saved, const ProblemForm &form) {
  const int32_t columns = form.structurals;
  const int32_t old_columns = static_cast<int32_t>(saved.fingerprint.size());
  Vector<int32_t> match(static_cast<size_t>(columns), kNew);
  int32_t prefix = 0;
  while (prefix < std::min(columns, old_columns) &&
         saved.fingerprint[prefix] == form.fingerprint[prefix]) {
    match[prefix] = prefix;
    ++prefix;
  }
  // The rest by fingerprint; equal ones in their order.
  Vector<int32_t> order(static_cast<size_t>(old_columns - prefix));
  std::iota(order.begin(), order.end(), prefix);
  std::stable_sort(order.begin(), order.end(), [&](int32_t a, int32_t b) {
    return saved.fingerprint[a] < saved.fingerprint[b];
  });
  Vector<uint8_t> used(static_cast<size_t>(old_columns), 0);
  for (int32_t j = prefix; j < columns; ++j) {
    auto at = std::lower_bound(order.begin(), order.end(), form.fingerprint[j],
                               [&](int32_t a, uint64_t f) { return saved.fingerprint[a] < f; });
    while (at != order.end() && saved.fingerprint[*at] == form.fingerprint[j] && used[*at]) ++at;
    if (at == order.end() || saved.fingerprint[*at] != form.fingerprint[j]) continue;
    used[*at] = 1;
    match[j] = *at;
  }
  return match;
}

/// True when a column is gone that the saved point cannot do without.
bool misses_columns(const SavedPoint &saved, const ProblemForm &form,
                    const Vector<int32_t> &match) {
  Vector<uint8_t> found(saved.largest_activity.size(), 0);
  for (const int32_t s : match) {
    if (s != kNew) found[s] = 1;
  }
  const double limit = kWarmStart.missed_share * (1.0 + form.largest_rhs);
  for (size_t s = 0; s < found.size(); ++s) {
    if (!found[s] && saved.largest_activity[s] > limit) return true;
  }
  return false;
}

double user_cost(const ProblemForm &form, int32_t j) { return form.c[j] / form.column_scale[j]; }

/// Sets the scaled pair of a column from values in the caller's units.
void place_pair(const ProblemForm &form, int32_t j, double x, double z, Point *point) {
  point->x[j] = x / form.column_scale[j];
  point->z[j] = form.is_free[j] ? 0.0 : z * form.column_scale[j];
}

/// A column that stayed. A box column whose cost was raised moves its slack along with the cost.
bool place_old(const SavedPoint &saved, const ProblemForm &form, int32_t j, int32_t s,
               Point *point) {
  const double raise = user_cost(form, j) - saved.cost[s];
  double x = saved.x[s];
  double z = saved.z[s];
  if (raise != 0.0 && !form.is_free[j]) {
    const double moved = z + raise;
    if (moved <= 0.0) return false;
    x = std::max(x * z / moved, kWarmStart.least_product * saved.mu / moved);
    z = moved;
  }
  if (!form.is_free[j] && !(x > 0.0 && z > 0.0)) return false;
  place_pair(form, j, x, z, point);
  return true;
}

/// t_j of (11) for the listed columns, by the factorisation in its own row scale.
Vector<double> dual_widths(const SavedPoint &saved, const ProblemForm &form,
                           const Vector<int32_t> &fresh) {
  SparseColumns columns;
  columns.rows = form.rows();
  for (const int32_t j : fresh) {
    for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
      const int32_t i = form.A.row[t];
      columns.row.push_back(i);
      columns.value.push_back(form.A.value[t] / form.row_scale[i] *
                              saved.factorisation.row_scale[i]);
    }
    columns.start.push_back(static_cast<int32_t>(columns.row.size()));
  }
  Vector<double> t(fresh.size());
  saved.factorisation.factor->quadratic_forms(columns, t.data());
  // sqrt(mu t) with the factorisation's own mu, in the scaled unit of the column.
  for (double &e : t) e = std::sqrt(std::max(e, 0.0) * saved.factorisation.mu);
  return t;
}

/// True when some dual lies close to a penalty column's cost.
bool box_is_active(const ProblemForm &form, const Point &point, const Vector<int32_t> &match) {
  for (int32_t j = 0; j < form.structurals; ++j) {
    if (match[j] == kNew || form.A.length(j) != 1 || !(form.c[j] > 0.0)) continue;
    if (point.z[j] < kWarmStart.active_box * form.c[j]) return true;
  }
  return false;
}

/// True when the slacks of all its rows grow with the column: A x = b can be kept whatever x_j is.
bool is_absorbed(const ProblemForm &form, const Vector<int32_t> &slack_of, int32_t j) {
  for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
    const int32_t slack = slack_of[form.A.row[t]];
    if (slack == kNew || form.A.value[t] * form.A.value[form.A.start[slack]] >= 0.0) return false;
  }
  return true;
}

Vector<int32_t> slacks_by_row(const ProblemForm &form) {
  Vector<int32_t> slack_of(static_cast<size_t>(form.rows()), kNew);
  for (size_t k = 0; k < form.slack_row.size(); ++k) {
    slack_of[form.slack_row[k]] = form.structurals + static_cast<int32_t>(k);
  }
  return slack_of;
}

/// Places a column whose rows so far lived on penalty columns where the central path will have it:
/// alone in its rows it satisfies z = c / (k + 1), and so does each of its k slacks, weighed with
/// its entry. Its x, many orders of magnitude larger than what a Newton step could reach, is taken
/// up by the slacks, whose z gives y.
void place_absorbed(const ProblemForm &form, const Vector<int32_t> &slack_of, double mu, int32_t j,
                    Vector<uint8_t> *absorbing, Point *point) {
  point->z[j] = form.c[j] / (form.A.length(j) + 1);
  point->x[j] = mu / point->z[j];
  for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
    const int32_t i = form.A.row[t];
    const int32_t slack = slack_of[i];
    const double entry = form.A.value[form.A.start[slack]];
    point->x[slack] -= form.A.value[t] * point->x[j] / entry;
    point->z[slack] = mu / point->x[slack];
    point->y[i] = -point->z[slack] / entry;
    (*absorbing)[i] = 1;
  }
}

/// In rows that an absorbed column has taken over, columns with that entry alone are put at mu over
/// what they now cost, and the slack takes up the rest: penalty columns and second slacks, whose
/// products a Newton step would leave larger by the ratio of the penalty to other costs.
void settle_rows(const ProblemForm &form, const Vector<int32_t> &slack_of, double mu,
                 const Vector<uint8_t> &absorbing, Point *point) {
  Vector<int32_t> singles;
  for (int32_t j = 0; j < form.structurals; ++j) {
    if (form.A.length(j) != 1 || form.is_free[j] || std::isfinite(form.width[j])) continue;
    const int32_t t = form.A.start[j];
    const int32_t i = form.A.row[t];
    if (!absorbing[i]) continue;
    const int32_t slack = slack_of[i];
    const double entry = form.A.value[form.A.start[slack]];
    const double ratio = form.A.value[t] / entry;
    const double z = form.c[j] - form.A.value[t] * point->y[i];
    double x = mu / z;
    if (ratio > 0.0) x = std::min(x, point->x[j] + 0.5 * point->x[slack] / ratio);
    const double rest = point->x[slack] + ratio * (point->x[j] - x);
    if (!(z > 0.0) || !(rest > 0.0)) continue;
    singles.push_back(j);
    point->x[j] = x;
    point->x[slack] = rest;
    point->z[slack] = mu / rest;
    point->y[i] = -point->z[slack] / entry;
  }
  for (const int32_t j : singles) {
    point->z[j] = std::max(form.c[j] - column_product(form.A, j, point->y.data()),
                           kWarmStart.least_product * mu / point->x[j]);
  }
}

/// The new columns of a problem, and how deep they cut.
struct NewColumns {
  Vector<int32_t> column;
  Vector<double> half_width, reduced_cost;  ///< per new column
  Vector<uint8_t> absorbed;                 ///< the same: the central path has it large
  double depth = 0.0;                       ///< of the deepest cut among the others
  double squares = 0.0;                     ///< sum of the squared depths of the others
};

/// Measures the columns in `fresh->column` by (11); false where a half-width is not a number.
/// `lives_on_box` says that rows may have lived on penalty columns.
bool measure_cuts(const SavedPoint &saved, const ProblemForm &form, const Vector<int32_t> &slack_of,
                  const Point &point, bool lives_on_box, NewColumns *fresh) {
  const size_t count = fresh->column.size();
  fresh->half_width = dual_widths(saved, form, fresh->column);
  fresh->reduced_cost.assign(count, 0.0);
  fresh->absorbed.assign(count, 0);
  for (size_t k = 0; k < count; ++k) {
    const int32_t j = fresh->column[k];
    const double reduced = form.c[j] - column_product(form.A, j, point.y.data());
    fresh->reduced_cost[k] = reduced;
    if (form.is_free[j]) continue;
    if (!(fresh->half_width[k] > 0.0) || !std::isfinite(fresh->half_width[k])) return false;
    fresh->absorbed[k] = lives_on_box && form.has_penalties && form.c[j] > 0.0 &&
                         -reduced > kWarmStart.penalty_cut * form.c[j] &&
                         is_absorbed(form, slack_of, j);
    if (fresh->absorbed[k]) continue;
    const double own = std::max(0.0, -reduced / fresh->half_width[k]);
    fresh->depth = std::max(fresh->depth, own);
    fresh->squares += own * own;
  }
  return true;
}

/// Puts all columns to the centre of their blocks, with mu as little raised as the rest of the rows
/// lets it; false where there are no blocks or mu would have to go too far.
bool centre_blocks(const SavedPoint &saved, const ProblemForm &form, double depth, Point *point) {
  const BlockCentring blocks(form, *point);
  if (!blocks.applies()) return false;
  Point trial;
  double rise = std::pow(depth, kWarmStart.block_rise);
  for (; rise <= kWarmStart.most_rise; rise *= kWarmStart.next_rise) {
    if (blocks.centre(rise * saved.mu, &trial) > kWarmStart.block_defect) continue;
    *point = std::move(trial);
    return true;
  }
  return false;
}

/// Places the new columns by (11), or behind deep cuts all columns by their blocks; false when they
/// cut too deep for that. While the box is active they are placed by (11) whatever the depth, but
/// where penalty columns carry the rows, a start from their end of the path is there instead.
bool place_new(const SavedPoint &saved, const ProblemForm &form, bool box_active, NewColumns *fresh,
               Point *point) {
  if (fresh->column.empty()) return true;
  const Vector<int32_t> slack_of = slacks_by_row(form);
  if (!measure_cuts(saved, form, slack_of, *point, box_active, fresh)) return false;
  const bool deep = fresh->depth > kWarmStart.block_cut;
  if (!box_active && deep && centre_blocks(saved, form, fresh->depth, point)) return true;
  const bool stay = box_active && !lived_on_penalties(saved, form);
  if (!stay && (fresh->depth > kWarmStart.deepest_cut ||
                std::sqrt(fresh->squares) > kWarmStart.deepest_cuts)) {
    return false;
  }
  const double pull_back = std::max(1.0, fresh->depth);
  Vector<uint8_t> absorbing(static_cast<size_t>(form.rows()), 0);
  for (size_t k = 0; k < fresh->column.size(); ++k) {
    const int32_t j = fresh->column[k];
    if (form.is_free[j]) continue;
    if (fresh->absorbed[k]) {
      place_absorbed(form, slack_of, saved.mu, j, &absorbing, point);
      continue;
    }
    point->z[j] = std::max(fresh->reduced_cost[k], fresh->half_width[k] * std::sqrt(pull_back));
    point->x[j] = saved.mu * pull_back / point->z[j];
  }
  settle_rows(form, slack_of, saved.mu, absorbing, point);
  return true;
}

void place_slacks(const SavedPoint &saved, const ProblemForm &form, Point *point) {
  for (size_t k = 0; k < form.slack_row.size(); ++k) {
    const int32_t j = form.structurals + static_cast<int32_t>(k);
    const int32_t i = form.slack_row[k];
    place_pair(form, j, saved.slack_x[i], saved.slack_z[i], point);
  }
}

/// w and v of the boxed columns: the saved pair, or the centred one of a new column.
void place_widths(const SavedPoint &saved, const ProblemForm &form, const Vector<int32_t> &match,
                  Point *point) {
  for (size_t k = 0; k < form.boxed.size(); ++k) {
    const int32_t j = form.boxed[k];
    const double scale = form.column_scale[j];
    const bool slack = j >= form.structurals;
    double w = 0.0;
    double v = 0.0;
    if (slack) {
      w = saved.slack_w[form.slack_row[j - form.structurals]];
      v = saved.slack_v[form.slack_row[j - form.structurals]];
    } else if (match[j] != kNew) {
      w = saved.w[match[j]];
      v = saved.v[match[j]];
    }
    if (w > 0.0 && v > 0.0) {
      point->w[k] = w / scale;
      point->v[k] = v * scale;
    } else {
      point->x[j] = std::min(point->x[j], 0.5 * form.width[j]);
      point->w[k] = form.width[j] - point->x[j];
      point->v[k] = saved.mu / point->w[k];
    }
  }
}

bool is_interior(const ProblemForm &form, const Point &point) {
  for (int32_t j = 0; j < form.columns(); ++j) {
    if (form.is_free[j]) continue;
    if (!(point.x[j] > 0.0 && point.z[j] > 0.0)) return false;
    if (!std::isfinite(point.x[j]) || !std::isfinite(point.z[j])) return false;
  }
  for (size_t k = 0; k < point.w.size(); ++k) {
    if (!(point.w[k] > 0.0 && point.v[k] > 0.0)) return false;
  }
  return true;
}

}  // namespace

SavedPoint save_point(const ProblemForm &form, const Point &point, double mu,
                      SavedFactorisation factorisation) {
  SavedPoint saved;
  const size_t structurals = static_cast<size_t>(form.structurals);
  saved.fingerprint = form.fingerprint;
  saved.cost.resize(structurals);
  saved.x.resize(structurals);
  saved.z.resize(structurals);
  saved.w.assign(structurals, 0.0);
  saved.largest_activity.resize(structurals);
  saved.v.assign(structurals, 0.0);
  const size_t rows = static_cast<size_t>(form.rows());
  saved.user_row = form.user_row;
  saved.row_type = form.row_type;
  saved.y.resize(rows);
  saved.slack_x.assign(rows, 0.0);
  saved.slack_z.assign(rows, 0.0);
  saved.slack_w.assign(rows, 0.0);
  saved.slack_v.assign(rows, 0.0);
  for (int32_t j = 0; j < form.columns(); ++j) {
    const double scale = form.column_scale[j];
    const bool slack = j >= form.structurals;
    const int32_t at = slack ? form.slack_row[j - form.structurals] : j;
    (slack ? saved.slack_x : saved.x)[at] = point.x[j] * scale;
    (slack ? saved.slack_z : saved.z)[at] = point.z[j] / scale;
    if (slack) continue;
    saved.cost[j] = user_cost(form, j);
    double most = 0.0;
    for (int32_t t = form.A.start[j]; t < form.A.start[j + 1]; ++t) {
      most = std::max(most, std::fabs(form.A.value[t]) / form.row_scale[form.A.row[t]]);
    }
    saved.largest_activity[j] = most * point.x[j];
  }
  for (size_t k = 0; k < form.boxed.size(); ++k) {
    const int32_t j = form.boxed[k];
    const double scale = form.column_scale[j];
    const bool slack = j >= form.structurals;
    const int32_t at = slack ? form.slack_row[j - form.structurals] : j;
    (slack ? saved.slack_w : saved.w)[at] = point.w[k] * scale;
    (slack ? saved.slack_v : saved.v)[at] = point.v[k] / scale;
  }
  for (size_t i = 0; i < rows; ++i) saved.y[i] = point.y[i] * form.row_scale[i];
  saved.mu = mu;
  saved.factorisation = std::move(factorisation);
  return saved;
}

bool same_rows(const SavedPoint &saved, const ProblemForm &form) {
  return saved.user_row == form.user_row && saved.row_type == form.row_type;
}

bool lived_on_penalties(const SavedPoint &saved, const ProblemForm &form) {
  if (saved.capped || !form.has_penalties) return false;
  const double carried = kWarmStart.carried_share * form.largest_rhs;
  const auto common = std::min(static_cast<size_t>(form.structurals), saved.fingerprint.size());
  for (size_t j = 0; j < common; ++j) {
    if (saved.largest_activity[j] > carried && saved.fingerprint[j] == form.fingerprint[j] &&
        is_penalty(form, static_cast<int32_t>(j))) {
      return true;
    }
  }
  return false;
}

bool restore_point(const SavedPoint &saved, const ProblemForm &form, Point *point) {
  if (!same_rows(saved, form) || !saved.factorisation.factor || !(saved.mu > 0.0)) return false;
  point->resize(form);
  for (int32_t i = 0; i < form.rows(); ++i) point->y[i] = saved.y[i] / form.row_scale[i];
  Vector<int32_t> match = match_columns(saved, form);
  if (misses_columns(saved, form, match)) return false;
  NewColumns fresh;
  for (int32_t j = 0; j < form.structurals; ++j) {
    if (match[j] != kNew && !place_old(saved, form, j, match[j], point)) match[j] = kNew;
    if (match[j] == kNew) fresh.column.push_back(j);
  }
  place_slacks(saved, form, point);
  if (!place_new(saved, form, box_is_active(form, *point, match), &fresh, point)) return false;
  place_widths(saved, form, match, point);
  return is_interior(form, *point);
}

bool place_solution(const SavedPoint &saved, const ProblemForm &form, Point *point) {
  if (!same_rows(saved, form)) return false;
  point->resize(form);
  for (int32_t i = 0; i < form.rows(); ++i) point->y[i] = saved.y[i] / form.row_scale[i];
  const Vector<int32_t> match = match_columns(saved, form);
  for (int32_t j = 0; j < form.structurals; ++j) {
    const int32_t s = match[j];
    const double x = s == kNew ? 0.0 : saved.x[s];
    place_pair(form, j, x, s == kNew ? 0.0 : saved.z[s], point);
    if (form.is_free[j] || (s != kNew && user_cost(form, j) == saved.cost[s])) continue;
    point->z[j] = form.c[j] - column_product(form.A, j, point->y.data());
  }
  place_slacks(saved, form, point);
  place_widths(saved, form, match, point);
  return true;
}

}  // namespace interior_point
