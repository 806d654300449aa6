/**
 * All edits of a record against one plain model: lists of columns and rows, nothing packed, nothing
 * in place. Random sequences of edits, the complete record compared after each step.
 */
#ifndef TESTS_QUARN_EDIT_SEQUENCE_H
#define TESTS_QUARN_EDIT_SEQUENCE_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "tests/support/allocation.h"
#include "tests/support/captured_output.h"
#include "tests/support/records.h"
#include "tests/support/scripted_solver.h"

namespace edit_sequence {

using support::Batch;
using support::Column;
using support::Columns;
using support::Entry;
using support::Environment;
using support::solver;

constexpr int32_t kUnknown = INT32_MIN;  // a tag that nothing promises

struct ModelColumn {
  Column entries;
  double low, high;
  int32_t tag = kUnknown;
};

struct ModelRow {
  double rhs, range, dual, low, high, low_user, high_user;
  int32_t type, tag;
  bool added;  // by add_rows
};

struct Model {
  std::vector<ModelColumn> columns;
  std::vector<ModelRow> rows;  // linking, further, cost
  int32_t m, p, aux, aux_prev, box, total, last, cuts, nrows, changed, max_m, max_n, max_nz;
  bool loaded, has_duals, point_saved;
  double lambda_low, lambda_high;

  int32_t cost_row() const { return m + p + 1; }
  int32_t n() const { return static_cast<int32_t>(columns.size()); }
  int32_t nz() const {
    size_t count = 0;
    for (const ModelColumn &column : columns) count += column.entries.size();
    return static_cast<int32_t>(count);
  }
};

inline const double *find_entry(const Column &column, int32_t row) {
  for (const Entry &entry : column) {
    if (entry.first == row) return &entry.second;
  }
  return nullptr;
}

inline int32_t key_row(const Model &model, const Column &column) {
  for (const Entry &entry : column) {
    if (entry.first > model.m && entry.first < model.cost_row()) return entry.first;
  }
  return 0;
}

/// The column with the first of its entries in each row.
inline Column without_repeats(const Column &column) {
  Column result;
  for (const Entry &entry : column) {
    if (find_entry(result, entry.first) == nullptr) result.push_back(entry);
  }
  return result;
}

inline bool is_duplicate(const Model &model, const Column &old_column, const Column &new_column) {
  if (old_column.size() != new_column.size() || old_column.empty()) return false;
  // Terms of a sum are not compared one by one.
  if (without_repeats(old_column) != old_column || without_repeats(new_column) != new_column) {
    return false;
  }
  double difference = 0.0;
  for (const Entry &entry : old_column) {
    const double *value = find_entry(new_column, entry.first);
    if (value == nullptr) return false;
    if (entry.first == model.cost_row()) {
      if (!(std::fabs(entry.second - *value) < 1e-10)) return false;
    } else {
      difference += std::fabs(entry.second - *value);
    }
  }
  return difference < 1e-8;
}

inline void append(Model *model, const Column &column, int32_t tag) {
  model->columns.push_back({column, model->lambda_low, model->lambda_high, tag});
}

inline void grow(Model *model, const Columns &batch, bool auxiliary) {
  const auto count = static_cast<int32_t>(batch.size());
  int32_t entries = 0;
  for (const Column &column : batch) entries += static_cast<int32_t>(column.size());
  const int32_t factor = auxiliary ? 2 : 5, extra = auxiliary ? 1 : 1000;
  if (count + model->n() >= model->max_n - 1) model->max_n = model->n() + factor * count + extra;
  if (entries + model->nz() >= model->max_nz - 1) {
    model->max_nz = std::max(model->max_nz, model->nz() + factor * entries + extra);
  }
}

inline void add_columns(Model *model, const Columns &batch, const int32_t *tags, bool recognise) {
  model->last = 0;
  if (batch.empty()) return;
  grow(model, batch, false);
  const int32_t old_n = model->n();
  for (size_t c = 0; c < batch.size(); ++c) {
    const int32_t tag = tags != nullptr ? tags[c] : kUnknown;
    const int32_t key = key_row(*model, batch[c]);
    int32_t match = -1;
    for (int32_t j = old_n - 1; recognise && key > 0 && match < 0 && j >= 0; --j) {
      const Column &old_column = model->columns[static_cast<size_t>(j)].entries;
      if (key_row(*model, old_column) == key && is_duplicate(*model, old_column, batch[c])) {
        match = j;
      }
    }
    if (match < 0) {
      append(model, batch[c], tag);
      ++model->last;
      model->changed = 1;
      continue;
    }
    ModelColumn &kept = model->columns[static_cast<size_t>(match)];
    for (Entry &entry : kept.entries) {
      if (entry.first != model->cost_row()) continue;
      const double cost = *find_entry(batch[c], entry.first);
      if (!(entry.second > cost)) continue;
      entry.second = cost;
      if (tags != nullptr && match >= model->aux) kept.tag = tag;
      ++model->last;
      model->changed = 1;
    }
  }
  model->total = model->n();
}

/// By rows; entries of the same row stay in their order.
inline void sort_by_row(Column *column) {
  std::stable_sort(column->begin(), column->end(),
                   [](const Entry &a, const Entry &b) { return a.first < b.first; });
}

inline void sort_columns(Model *model) {
  for (ModelColumn &column : model->columns) sort_by_row(&column.entries);
  model->max_m = static_cast<int32_t>(model->rows.size());
  model->max_n = model->n();
  model->max_nz = model->nz();
  model->nrows = model->max_m;
  model->point_saved = false;
  model->loaded = false;
}

inline void add_rows(Model *model, const Columns &entries, const std::vector<ModelRow> &rows) {
  const auto count = static_cast<int32_t>(rows.size());
  for (ModelColumn &column : model->columns) {
    for (Entry &entry : column.entries) {
      if (entry.first > model->m) entry.first += count;
    }
  }
  for (int32_t i = 0; i < count; ++i) {
    for (const Entry &entry : entries[static_cast<size_t>(i)]) {
      model->columns[static_cast<size_t>(model->aux + entry.first - 1)].entries.emplace_back(
          model->m + i + 1, entry.second);
    }
  }
  model->rows.insert(model->rows.begin() + model->m, rows.begin(), rows.end());
  model->m += count;
  model->cuts += count;
  model->changed = 1;
  sort_columns(model);
}

inline void remove_rows(Model *model, const std::vector<int32_t> &keep, int32_t new_m,
                        int32_t new_p) {
  std::map<int32_t, int32_t> renamed;
  std::vector<ModelRow> rows;
  for (const int32_t r : keep) {
    rows.push_back(model->rows[static_cast<size_t>(r)]);
    renamed[r + 1] = static_cast<int32_t>(rows.size());
  }
  const auto is_added = [](const ModelRow &row) { return row.added; };
  const auto added_before = std::count_if(model->rows.begin(), model->rows.end(), is_added);
  const auto added_now = std::count_if(rows.begin(), rows.end(), is_added);
  model->cuts = std::max(0, model->cuts - static_cast<int32_t>(added_before - added_now));
  for (ModelColumn &column : model->columns) {
    Column kept;
    for (const Entry &entry : column.entries) {
      if (renamed.count(entry.first) > 0) kept.emplace_back(renamed[entry.first], entry.second);
    }
    column.entries = kept;
  }
  model->rows = rows;
  model->m = new_m;
  model->p = new_p;
  sort_columns(model);
}

inline void remove_columns(Model *model, const std::vector<int32_t> &keep) {
  std::vector<ModelColumn> columns(model->columns.begin(), model->columns.begin() + model->aux);
  for (const int32_t k : keep) {
    columns.push_back(model->columns[static_cast<size_t>(model->aux + k)]);
  }
  model->columns = columns;
  model->total = model->max_n;
  model->max_m = static_cast<int32_t>(model->rows.size());
  model->loaded = false;
  model->changed = 1;
}

inline Model fresh_model(const support::ProblemData &setup) {
  Model model = {};
  model.m = setup.m;
  model.p = setup.p;
  model.lambda_high = 1e30;
  model.aux = model.box = model.total = 2 * setup.m;
  model.nrows = setup.nrows;
  model.changed = 1;
  model.max_m = setup.m + setup.p + 1;
  model.max_n = 2 * (setup.m + setup.p) + 1000;
  model.max_nz = static_cast<int32_t>(std::ceil(setup.nrows * 0.05 * model.max_n));
  for (const double sign : {-1.0, 1.0}) {
    for (int32_t i = 0; i < setup.m; ++i) {
      append(&model, {{i + 1, sign}, {model.cost_row(), 1e10}}, kUnknown);
    }
  }
  for (int32_t r = 0; r < model.max_m; ++r) {
    model.rows.push_back({1.0, 1e30, 0, -1e10, 1e10, -1e10, 1e10, 1, -1, false});
  }
  return model;
}

inline void expect_model(const QUARN_env &env, const Model &model) {
  const QUARN_SMatrix_CW &G = *env.G;
  ASSERT_EQ(support::broken_invariants(env), "");
  const std::vector<int32_t> counts = {env.m,
                                       env.p,
                                       env.ncols_aux,
                                       env.ncols_aux_prev,
                                       env.ncols_box,
                                       env.ncols_total,
                                       env.ncols_last,
                                       env.ncuts,
                                       env.nrows,
                                       env.matrix_changed,
                                       G.n,
                                       G.nz,
                                       G.max_m,
                                       G.max_n,
                                       G.max_nz,
                                       env.Pb != nullptr,
                                       env.u != nullptr,
                                       env.WS_point_saved};
  ASSERT_EQ(counts,
            (std::vector<int32_t>{model.m, model.p, model.aux, model.aux_prev, model.box,
                                  model.total, model.last, model.cuts, model.nrows, model.changed,
                                  model.n(), model.nz(), model.max_m, model.max_n, model.max_nz,
                                  model.loaded, model.has_duals, model.point_saved}));
  const Columns columns = support::columns_of(G);
  for (size_t j = 0; j < columns.size(); ++j) {
    const ModelColumn &expected = model.columns[j];
    ASSERT_EQ(columns[j], expected.entries) << "column " << j;
    EXPECT_TRUE(env.col_lb[j] == expected.low && env.col_ub[j] == expected.high) << "column " << j;
    if (expected.tag == kUnknown || static_cast<int32_t>(j) < model.aux) continue;
    EXPECT_EQ(env.col_tag[static_cast<int32_t>(j) - model.aux], expected.tag) << "column " << j;
  }
  for (size_t r = 0; r < model.rows.size(); ++r) {
    SCOPED_TRACE(testing::Message() << "row " << r);
    const ModelRow &row = model.rows[r];
    EXPECT_TRUE(env.RHS[r] == row.rhs && env.row_range[r] == row.range);
    EXPECT_TRUE(env.row_type[r] == row.type && env.row_tag[r] == row.tag);
    if (model.has_duals) {
      EXPECT_EQ(env.u[r], row.dual);
    }
    if (static_cast<int32_t>(r) >= model.m) continue;
    EXPECT_TRUE(env.u_LB[r] == row.low && env.u_LB_user[r] == row.low_user);
    EXPECT_TRUE(env.u_UB[r] == row.high && env.u_UB_user[r] == row.high_user);
  }
}

/// Columns one by one: their cost, and the entries beside it.
inline void expect_single_columns(const QUARN_env &env, const Columns &generated) {
  for (size_t k = 0; k < generated.size(); ++k) {
    Column beside;
    double cost = 0.0;
    for (const Entry &entry : generated[k]) {
      if (entry.first != env.G->m) beside.push_back(entry);
      if (entry.first == env.G->m) cost += entry.second;
    }
    const auto j = static_cast<int32_t>(k), count = static_cast<int32_t>(beside.size());
    EXPECT_EQ(QUARN_get_column_cost(&env, j), cost);
    std::vector<int32_t> rows(beside.size() + 1, -7);
    std::vector<double> values(beside.size() + 1, -7.0);
    const int32_t room = std::max(count - j % 2, 0);
    EXPECT_EQ(QUARN_get_column_entries(&env, j, room, rows.data(), values.data()), count);
    for (int32_t t = 0; t <= room; ++t) {
      const auto at = static_cast<size_t>(t);
      EXPECT_EQ(Entry(rows[at], values[at]), t < room ? beside[at] : Entry(-7, -7.0));
    }
  }
}

/// The generated columns by rows and back, from a view that begins behind others.
inline void expect_conversion(const QUARN_SMatrix_CW &view, Columns generated) {
  if (view.nz == 0) return;
  QUARN_SMatrix_RW rows = {};
  QUARN_SMatrix_CW back = {};
  ASSERT_EQ(QUARN_set_SMatrix_RW_from_CW(&view, &rows, view.m, view.n, view.nz), 1);
  ASSERT_EQ(QUARN_set_SMatrix_CW_from_RW(&back, &rows, view.m, view.n, view.nz), 1);
  for (Column &column : generated) sort_by_row(&column);
  EXPECT_EQ(support::columns_of(back), generated);
  QUARN_free_SMatrix_RW(&rows);
  QUARN_free_SMatrix_CW(&back);
}

/// The view and the copy of the generated columns show the same, numbered from their own start.
inline void expect_column_access(const QUARN_env &env, const Model &model) {
  Columns generated;
  for (int32_t j = model.aux; j < model.n(); ++j) {
    generated.push_back(model.columns[static_cast<size_t>(j)].entries);
  }
  QUARN_SMatrix_CW view = {}, copy = {}, full = {};
  view.max_n = -77;  // the capacities of a view are nobody's
  QUARN_get_pointer_to_master_columns(&env, &view);
  EXPECT_EQ(support::columns_of(view), generated);
  EXPECT_TRUE(view.elt == env.G->elt && view.rw == env.G->rw && view.max_n == -77);
  expect_single_columns(env, generated);
  expect_conversion(view, generated);
  QUARN_copy_master_columns(&env, &copy);
  if (!generated.empty() && copy.n > 0) {
    EXPECT_EQ(copy.col_start[0], 1);
    EXPECT_EQ(copy.col_start[copy.n], copy.nz + 1);
    EXPECT_EQ(support::columns_of(copy), generated);
  } else {
    EXPECT_EQ(copy.m, env.G->m);
    EXPECT_TRUE(copy.n == 0 || copy.nz == 0);
  }
  QUARN_copy_full_master_columns(&env, &full);
  EXPECT_EQ(support::columns_of(full), support::columns_of(*env.G));
  EXPECT_TRUE(full.max_n == env.G->n && full.max_nz == env.G->nz && full.max_m == env.G->m);
  QUARN_free_SMatrix_CW(&copy);
  QUARN_free_SMatrix_CW(&full);
}

/// A record and its model under random edits.
class Sequence {
 public:
  explicit Sequence(uint32_t seed)
      : random_(seed), env_(drawn_setup()), model_(fresh_model(setup_)) {
    QUARN_set_WS_strategy(env_.get(), -2);
  }

  void step() {
    using Edit = void (Sequence::*)();
    static const std::vector<Edit> edits = {
        &Sequence::add_some_columns,  &Sequence::add_some_columns,
        &Sequence::add_some_columns,  &Sequence::add_dense,
        &Sequence::add_auxiliary,     &Sequence::drop_columns,
        &Sequence::insert_rows,       &Sequence::drop_rows,
        &Sequence::go_on_with_a_copy, &Sequence::solve,
        &Sequence::change_settings,   &Sequence::trim};
    (this->*random_.one_of(edits))();
    expect_model(*env_.get(), model_);
    expect_column_access(*env_.get(), model_);
  }

 private:
  support::ProblemData drawn_setup() {
    setup_.m = random_.integer(1, 4);
    setup_.p = random_.integer(0, 3);
    setup_.nrows = random_.integer(1, 3);
    return setup_;
  }

  /// At most one further row per column, as in a decomposition; few values, so duplicates occur.
  Column drawn_column() {
    const int32_t generated = model_.n() - model_.aux;
    if (generated > 0 && random_.chance(0.5)) return near_copy(random_.integer(0, generated - 1));
    Column column;
    for (int32_t i = 1; i <= model_.m; ++i) {
      if (random_.chance(0.4)) column.emplace_back(i, random_.integer(-1, 2));
    }
    if (model_.p > 0 && random_.chance(0.8)) {
      column.emplace_back(model_.m + random_.integer(1, model_.p), 1.0);
    }
    if (random_.chance(0.9)) column.emplace_back(model_.cost_row(), random_.integer(1, 3));
    std::shuffle(column.begin(), column.end(), random_.engine());
    return column;
  }

  Column near_copy(int32_t k) {
    Column column = model_.columns[static_cast<size_t>(model_.aux + k)].entries;
    std::shuffle(column.begin(), column.end(), random_.engine());
    for (Entry &entry : column) {
      entry.second += entry.first == model_.cost_row()
                          ? random_.one_of<double>({0, 0, -5e-11, 5e-11, -1e-3, 1e-3})
                          : random_.one_of<double>({0, 0, 0, 0, 1e-9, 1e-7});
    }
    return column;
  }

  void add_some_columns() {
    Columns batch;
    std::vector<int32_t> tags;
    for (int32_t c = random_.integer(0, 6); c > 0; --c) {
      batch.push_back(drawn_column());
      Column &column = batch.back();
      if (!column.empty() && random_.chance(0.1)) column.push_back(column.front());
      tags.push_back(random_.integer(0, 1000));
    }
    const int32_t *given = random_.chance(0.7) && !tags.empty() ? tags.data() : nullptr;
    const int32_t result =
        QUARN_add_columns(env_.get(), Batch(model_.cost_row(), batch).get(), given);
    add_columns(&model_, batch, given, env_->column_elimination != 0);
    EXPECT_EQ(result, model_.last);
  }

  std::vector<double> to_dense(const Columns &batch, int32_t rows) {
    std::vector<double> dense;
    for (const Column &column : batch) {
      for (int32_t i = 1; i <= rows; ++i) {
        const double *value = find_entry(column, i);
        dense.push_back(value != nullptr ? *value : random_.one_of<double>({0, 1e-10, -1e-11}));
      }
    }
    return dense;
  }

  /// Rows in order, values that do not pass as zero, no row beyond `rows`.
  static Columns as_stored(Columns batch, int32_t rows) {
    for (Column &column : batch) {
      column.erase(std::remove_if(column.begin(), column.end(),
                                  [rows](const Entry &entry) {
                                    return entry.first > rows || std::fabs(entry.second) <= 1e-10;
                                  }),
                   column.end());
      std::sort(column.begin(), column.end());
    }
    return batch;
  }

  void add_dense() {
    Columns batch;
    for (int32_t c = random_.integer(0, 3); c > 0; --c) {
      batch.push_back(without_repeats(drawn_column()));
    }
    const int32_t rows = random_.chance(0.8) ? model_.cost_row() : random_.integer(0, model_.m);
    const std::vector<int32_t> tags(batch.size() + 1, random_.integer(0, 99));
    const std::vector<double> dense = to_dense(batch, rows);
    const Columns stored = as_stored(batch, rows);
    const bool any = std::any_of(stored.begin(), stored.end(),
                                 [](const Column &column) { return !column.empty(); });
    const int32_t result = QUARN_add_dense_columns(env_.get(), dense.data(), tags.data(), rows,
                                                   static_cast<int32_t>(batch.size()));
    add_columns(&model_, any ? stored : Columns(), tags.data(), env_->column_elimination != 0);
    EXPECT_EQ(result, model_.last);
  }

  /// Only while there are no generated columns: auxiliary columns lead.
  void add_auxiliary() {
    if (model_.n() > model_.aux) return;
    Columns batch;
    for (int32_t c = random_.integer(0, 3); c > 0; --c) {
      batch.push_back({{random_.integer(1, model_.cost_row() - 1), 1.0}});
      if (random_.chance(0.6)) batch.back().emplace_back(model_.cost_row(), 50.0);
    }
    const bool dense = random_.chance(0.5);
    const auto count = static_cast<int32_t>(batch.size());
    const int32_t result =
        dense ? QUARN_add_auxiliary_columns_dense(
                    env_.get(), to_dense(batch, model_.cost_row()).data(), model_.cost_row(), count)
              : QUARN_add_auxiliary_columns(env_.get(), Batch(model_.cost_row(), batch).get());
    EXPECT_EQ(result, batch.empty() ? 0 : 1);
    if (batch.empty()) return;
    grow(&model_, batch, true);
    for (const Column &column : batch) append(&model_, column, kUnknown);
    model_.aux_prev = model_.aux;
    model_.aux = model_.total = model_.n();
  }

  std::vector<int32_t> some_of(int32_t low, int32_t high, double probability) {
    std::vector<int32_t> chosen;
    for (int32_t k = low; k < high; ++k) {
      if (random_.chance(probability)) chosen.push_back(k);
    }
    std::shuffle(chosen.begin(), chosen.end(), random_.engine());
    return chosen;
  }

  void drop_columns() {
    const std::vector<int32_t> keep =
        some_of(0, model_.n() - model_.aux, random_.one_of<double>({0.0, 0.7, 1.0}));
    solver().take_trace();
    EXPECT_EQ(QUARN_remove_columns(env_.get(), keep.data(), static_cast<int32_t>(keep.size())), 1);
    EXPECT_EQ(solver().take_trace(), model_.loaded ? "free" : "");
    remove_columns(&model_, keep);
  }

  void insert_rows() {
    Columns entries;
    std::vector<ModelRow> rows;
    std::vector<double> rhs, low, high;
    std::vector<int32_t> types, tags;
    const bool tagged = random_.chance(0.5);
    for (int32_t k = random_.integer(1, 2); k > 0; --k) {
      entries.emplace_back();
      for (const int32_t c : some_of(1, model_.n() - model_.aux + 1, 0.4)) {
        entries.back().emplace_back(c, random_.integer(-3, 3));
      }
      rhs.push_back(random_.real(-5, 5)), low.push_back(-k), high.push_back(3 * k);
      types.push_back(random_.integer(1, 3)), tags.push_back(random_.integer(0, 9));
      rows.push_back({rhs.back(), 1e30, 0.0, low.back(), high.back(), low.back(), high.back(),
                      types.back(), tagged ? tags.back() : -1, true});
    }
    const support::RowBatch batch(model_.n() - model_.aux, entries);
    solver().take_trace();
    EXPECT_EQ(QUARN_add_rows(env_.get(), batch.get(), rhs.data(), types.data(), low.data(),
                             high.data(), tagged ? tags.data() : nullptr),
              1);
    EXPECT_EQ(solver().take_trace(), model_.loaded ? "free" : "");
    add_rows(&model_, entries, rows);
  }

  void drop_rows() {
    std::vector<int32_t> keep = some_of(0, model_.m, random_.one_of<double>({0.8, 1.0}));
    if (keep.empty()) keep.push_back(0);
    const auto new_m = static_cast<int32_t>(keep.size());
    for (const int32_t r : some_of(model_.m, model_.m + model_.p, 0.8)) keep.push_back(r);
    const int32_t new_p = static_cast<int32_t>(keep.size()) - new_m;
    keep.push_back(model_.m + model_.p);
    EXPECT_EQ(support::remove_rows(env_.get(), keep, new_m, new_p), 1);
    remove_rows(&model_, keep, new_m, new_p);
  }

  /// The copy must live on after its source.
  void go_on_with_a_copy() {
    Environment copy = Environment::zero_filled();
    ASSERT_EQ(QUARN_copy_environment(env_.get(), copy.get()), 1);
    copy->WS_strategy = -2;
    env_ = std::move(copy);
    model_.max_n = model_.n();
    model_.max_nz = model_.nz();
    model_.loaded = model_.point_saved = false;
    model_.last = 0;
    model_.changed = 1;
  }

  void solve() {
    solver().duals = [this](const support::LoadedProblem &problem, double *u) {
      for (int32_t i = 0; i < problem.m; ++i) {
        u[i] = model_.rows[static_cast<size_t>(i)].dual = random_.real(-9, 9);
      }
    };
    support::solve_once(env_.get());
    solver().duals = nullptr;
    env_->WS_point_saved = 1;
    model_.point_saved = model_.loaded = model_.has_duals = true;
  }

  void change_settings() {
    env_->column_elimination = static_cast<int16_t>(random_.integer(0, 1));
    env_->matrix_changed = model_.changed = 0;
    env_->lambda_LB = model_.lambda_low = random_.integer(-2, 0);
    env_->lambda_UB = model_.lambda_high = random_.integer(1, 5);
  }

  void trim() {
    ASSERT_EQ(QUARN_reallocate_SMatrix_CW(env_->G, model_.n(), model_.nz()), 0);
    model_.max_n = model_.n();
    model_.max_nz = model_.nz();
  }

  support::Random random_;
  support::ProblemData setup_;
  Environment env_;
  Model model_;
};

}  // namespace edit_sequence

#endif
