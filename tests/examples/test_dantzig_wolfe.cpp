#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "examples/common/text_reader.h"
#include "examples/dantzig_wolfe/block_pricing.h"
#include "examples/dantzig_wolfe/file_solution.h"
#include "examples/dantzig_wolfe/integer_tree.h"
#include "examples/dantzig_wolfe/objective_step.h"
#include "examples/dantzig_wolfe/root.h"
#include "examples/dantzig_wolfe/solution_search.h"

namespace dantzig_wolfe {
namespace {

/// Block-angular programs, feasible at a whole point: rows `m...` link, rows `b...` are in blocks.
class RandomPrograms {
 public:
  explicit RandomPrograms(unsigned seed) : engine_(seed) {}

  int between(int least, int most) {
    return std::uniform_int_distribution<int>(least, most)(engine_);
  }

  Model program(bool integers) {
    Model model;
    model.maximize = between(0, 1) == 1;
    model.constant = between(-5, 5);
    for (int i = between(1, 4); i > 0; --i)
      model.rows.emplace_back().name = "m" + std::to_string(i);
    const size_t linking = model.rows.size();
    for (int b = between(1, 4); b > 0; --b) {
      const Model before = model;
      add_block(model, integers, linking);
      // An equal block with its variables in another order.
      if (between(0, 2) == 0) add_twin(model, before);
    }
    if (between(0, 1) == 1) add_variables(model, between(1, 2), integers);
    close(model, 0, linking);
    return model;
  }

 private:
  void add_variables(Model &model, int count, bool integers) {
    for (; count > 0; --count) {
      Variable &variable = model.variables.emplace_back();
      variable.name = "x" + std::to_string(model.variables.size());
      variable.cost = between(-4, 9) * model.sign();
      variable.integer = integers && between(0, 2) > 0;
      const int kind = between(0, 9);
      variable.lower = kind == 0 ? -kInfinite : kind == 1 ? -2.0 : 0.0;
      variable.upper = kind < 5 && !(integers && variable.integer) ? kInfinite : between(2, 5);
      if (integers && variable.integer) variable.lower = std::max(variable.lower, -3.0);
      point_.push_back(between(0, 2));
      for (Constraint &row : model.rows) {
        if (row.name[0] == 'm' && between(0, 1) == 1) add_entry(row, model, between(1, 4));
      }
    }
  }

  static void add_entry(Constraint &row, const Model &model, double value) {
    row.entries.push_back({static_cast<int32_t>(model.variables.size()) - 1, value});
  }

  void add_block(Model &model, bool integers, size_t linking) {
    const size_t first = model.variables.size();
    add_variables(model, between(1, 4), integers);
    const size_t row = model.rows.size();
    for (int i = between(1, 3); i > 0; --i) {
      Constraint &added = model.rows.emplace_back();
      added.name = "b" + std::to_string(model.rows.size() - linking);
      for (size_t j = first; j < model.variables.size(); ++j) {
        // The first row of a block holds it together.
        if (i == 1 || between(0, 1) == 1) {
          added.entries.push_back(
              {static_cast<int32_t>(j), double(between(0, 3) > 0 ? between(1, 5) : -2)});
        }
      }
    }
    close(model, row, model.rows.size());
  }

  void add_twin(Model &model, const Model &before) {
    const auto first = static_cast<int32_t>(before.variables.size());
    const auto count = static_cast<int32_t>(model.variables.size()) - first;
    const auto twin_of = [&](int32_t j) { return first + 2 * count - 1 - (j - first); };
    for (int32_t k = count; k-- > 0;) {
      model.variables.push_back(model.variables[static_cast<size_t>(first + k)]);
      model.variables.back().name += "t";
      point_.push_back(point_[static_cast<size_t>(first + k)]);
    }
    const size_t rows = model.rows.size();
    for (size_t i = 0; i < rows; ++i) {
      const bool linking = i < before.rows.size();
      if (linking && model.rows[i].name[0] != 'm') continue;
      std::vector<Entry> entries;
      for (const Entry &entry : model.rows[i].entries) {
        if (entry.index >= first) entries.push_back({twin_of(entry.index), entry.value});
      }
      std::reverse(entries.begin(), entries.end());
      if (linking) {
        model.rows[i].entries.insert(model.rows[i].entries.end(), entries.begin(), entries.end());
      } else {
        model.rows.push_back(
            {model.rows[i].name + "t", model.rows[i].lower, model.rows[i].upper, entries});
      }
    }
  }

  /// Sides around the point.
  void close(Model &model, size_t begin, size_t end) {
    for (size_t i = begin; i < end; ++i) {
      Constraint &row = model.rows[i];
      double value = 0.0;
      for (const Entry &entry : row.entries)
        value += entry.value * point_[static_cast<size_t>(entry.index)];
      const int kind = between(0, 5);
      if (kind != 1) row.lower = value - (kind == 0 ? 0 : between(0, 3));
      if (kind != 2) row.upper = value + (kind == 0 ? 0 : between(0, 3));
    }
  }

  std::mt19937 engine_;
  std::vector<double> point_;
};

struct Root {
  quarn::Result result;
  FileSolution solution;
  TreeResult tree;  ///< of a search that is told no solution
  size_t distinct = 0;
};

/// Interrupted and resumed after every two nodes when `file` has a name.
TreeResult search_in_pieces(RootResult root, const std::string &file) {
  quarn::branch_and_price::Settings settings;
  settings.save_file = file;
  if (!file.empty()) settings.max_nodes = 2;
  TreeResult result = search_tree(root, PricingLimits(), settings);
  root.resume_file = file;
  while (result.outcome.status == quarn::branch_and_price::Status::node_limit) {
    result = search_tree(root, PricingLimits(), settings);
  }
  std::remove(file.c_str());
  return result;
}

Root solve(const Model &model, const LinearSolution &relaxation, bool merge, bool search = false,
           int threads = 1, const std::string &file = "") {
  const Decomposition decomposition = match_linking_rows("^m", model);
  const Reformulation reformulation(
      model, decomposition, make_blocks(with_tight_integer_bounds(model), decomposition, merge));
  BlockPricing pricing(reformulation, PricingLimits());
  quarn::Master master = reformulation.master();
  quarn::Settings settings;
  prepare_root(reformulation, pricing, relaxation, master, settings);
  quarn::LocalTeam team(threads);
  quarn::BlockPricer pricer(pricing, team);
  Root root;
  root.result =
      master.solve(pricer.oracle([&](const quarn::Duals &duals, const quarn::BlockRound &round) {
        return pricing.answer(duals, round);
      }),
                   settings);
  const RestrictedMaster restricted = finish_root(
      reformulation, pricing, master, pricer, [] { return false; }, 1e-8, &root.result);
  root.solution = find_solution(reformulation, restricted, root.result, 1.0);
  root.distinct = reformulation.blocks().size();
  if (search && root.result.status == quarn::Status::optimal) {
    root.tree = search_in_pieces(
        {reformulation, decomposition, relaxation, restricted.columns(), {}, threads}, file);
  }
  return root;
}

double largest(const std::vector<double> &x) {
  double result = 0.0;
  for (const double value : x) result = std::max(result, std::fabs(value));
  return result;
}

TEST(DantzigWolfe, LinearProgramsHaveTheValueOfTheirRelaxation) {
  int solved = 0, merged = 0;
  for (unsigned seed = 1; seed <= 300; ++seed) {
    SCOPED_TRACE(seed);
    const Model model = RandomPrograms(seed).program(false);
    const LinearSolution relaxation = solve_relaxation(model);
    if (relaxation.outcome == LinearSolution::Outcome::unbounded) continue;
    ASSERT_EQ(relaxation.outcome, LinearSolution::Outcome::solved);
    // Along a line of optima Clp may end far out, with a value of few digits.
    if (largest(relaxation.x) > 1e6) continue;
    const double allowed = 1e-6 * (1.0 + std::fabs(relaxation.value));
    const Root together = solve(model, relaxation, true), apart = solve(model, relaxation, false);
    for (const Root *root : {&together, &apart}) {
      ASSERT_EQ(root->result.status, quarn::Status::optimal) << root->result.message;
      EXPECT_NEAR(root->result.lower_bound, relaxation.value, allowed);
      EXPECT_NEAR(root->result.upper_bound, relaxation.value, allowed);
      ASSERT_FALSE(root->solution.x.empty());
      EXPECT_NEAR(root->solution.value, relaxation.value, allowed);
    }
    merged += together.distinct < apart.distinct ? 1 : 0;
    ++solved;
  }
  EXPECT_GT(solved, 200);
  EXPECT_GT(merged, 80);
}

/// The optimum with the integer requirements, by Cbc on the whole program.
double integer_optimum(const Model &model, const LinearSolution &relaxation) {
  Block block = {};
  block.copies.emplace_back();
  for (const Variable &variable : model.variables) {
    block.variables.push_back(
        {model.sign() * variable.cost, variable.lower, variable.upper, variable.integer, {}});
  }
  for (const Constraint &row : model.rows) {
    if (!row.entries.empty()) block.rows.push_back({row.lower, row.upper, row.entries});
  }
  EXPECT_EQ(relaxation.outcome, LinearSolution::Outcome::solved);
  std::vector<double> cost;
  for (const BlockVariable &variable : block.variables) cost.push_back(variable.cost);
  const BlockSolution solution = make_integer_pricer(block, PricingLimits())->price(cost);
  EXPECT_EQ(solution.outcome, BlockSolution::Outcome::solved);
  return model.objective(solution.points.at(0));
}

TEST(DantzigWolfe, IntegerProgramsAreSolvedFromABoundBetweenRelaxationAndOptimum) {
  int solved = 0, closer = 0, found = 0, rounded = 0, branched = 0;
  for (unsigned seed = 1; seed <= 100; ++seed) {
    SCOPED_TRACE(seed);
    const Model model = RandomPrograms(seed).program(true);
    const LinearSolution relaxation = solve_relaxation(model);
    if (relaxation.outcome != LinearSolution::Outcome::solved || !model.has_integers()) continue;
    const double optimum = integer_optimum(model, relaxation);
    const double allowed = 1e-6 * (1.0 + std::fabs(optimum));
    const std::string file = seed % 3 == 0 ? testing::TempDir() + "dantzig_wolfe.tree" : "";
    const Root root = solve(model, relaxation, true, true, 1, file);
    const Root apart = solve(model, relaxation, false);
    ASSERT_EQ(root.result.status, quarn::Status::optimal) << root.result.message;
    const double sign = model.sign();
    const double bound = model.maximize ? root.result.upper_bound : root.result.lower_bound;
    EXPECT_GE(sign * bound, sign * relaxation.value - allowed);
    const double best = rounded_bound(model, objective_step(model), bound);
    EXPECT_GE(sign * best, sign * bound);
    EXPECT_LE(sign * best, sign * optimum + allowed);
    rounded += sign * (best - bound) > 0.1 ? 1 : 0;
    EXPECT_NEAR(apart.result.lower_bound, root.result.lower_bound, 3.0 * allowed);
    if (quarn::has_block_threads() && seed % 5 == 0) {
      const Root by_threads = solve(model, relaxation, true, true, 2);
      EXPECT_EQ(by_threads.result.lower_bound, root.result.lower_bound);
      EXPECT_EQ(by_threads.result.columns, root.result.columns);
      EXPECT_EQ(by_threads.tree.outcome.value, root.tree.outcome.value);
    }
    const TreeResult &tree = root.tree;
    ASSERT_EQ(tree.outcome.status, quarn::branch_and_price::Status::optimal)
        << tree.outcome.message;
    EXPECT_NEAR(tree.outcome.bound, optimum, 3.0 * allowed);
    EXPECT_NEAR(tree.solution.value, optimum, 3.0 * allowed);
    const Violation violation = check(model, tree.solution.x);
    EXPECT_TRUE(violation.integral && violation.largest <= kFeasible) << violation.where;
    branched += tree.outcome.nodes > 2 ? 1 : 0;
    ++solved;
    if (sign * (bound - relaxation.value) > allowed) ++closer;
    if (!root.solution.integral) continue;
    ++found;
    EXPECT_GE(sign * root.solution.value, sign * optimum - allowed);
    EXPECT_TRUE(check(model, root.solution.x).integral);
  }
  EXPECT_GT(solved, 60);
  EXPECT_GT(closer, 15);
  EXPECT_GT(rounded, 0);
  EXPECT_GT(branched, 15);
  EXPECT_GT(found, 30);
}

std::string in_file(const std::string &name, const std::string &text) {
  const std::string path = testing::TempDir() + name;
  std::ofstream(path) << text;
  return path;
}

TEST(DantzigWolfe, TheStepOfTheObjectiveIsThatOfCostsAndConstant) {
  const auto step = [](double constant, std::vector<double> costs, bool integer = true) {
    Model model;
    model.constant = constant;
    for (const double cost : costs) model.variables.push_back({"x", cost, 0.0, 9.0, integer});
    return objective_step(model);
  };
  EXPECT_EQ(step(0.0, {6.0, 0.0, -9.0}), 3.0);
  EXPECT_EQ(step(4.0, {6.0, -10.0}), 2.0);
  EXPECT_EQ(step(0.0, {0.75, 1.5}), 0.75);
  EXPECT_EQ(step(0.1, {1.0}), 0.1);
  EXPECT_EQ(step(0.0, {1.0 / 3.0}), 0.0);
  EXPECT_EQ(step(0.0, {1.0}, false), 0.0);
  Model model;
  for (model.maximize = false;; model.maximize = true) {
    const double sign = model.sign();
    EXPECT_EQ(rounded_bound(model, 3.0, sign * 7.1), sign * 9.0);
    EXPECT_EQ(rounded_bound(model, 3.0, sign * -7.1), sign * -6.0);
    EXPECT_EQ(rounded_bound(model, 1.0, sign * (7.0 + 1e-8)), sign * (7.0 + 1e-8));
    EXPECT_TRUE(is_closed(model, sign * 7.0, sign * 7.0, 1e-6));
    EXPECT_FALSE(is_closed(model, sign * 8.0, sign * 7.0, 1e-6));
    if (model.maximize) break;
  }
}

TEST(DantzigWolfe, BothFormatsSayTheSame) {
  const Model lp = read_model(in_file("same.lp",
                                      "\\ ranges, terms on both sides, a constant\n"
                                      "Maximise obj: 3x + 2 y_1;2 - z#3 + x + 10\n"
                                      "s.t. m_;1;: -1 <= x + y_1;2 <= 4\n"
                                      " e: 2 x + 5 >= y_1;2 + 3 z#3 + 1 f: x = 2\n"
                                      "Bounds\n y_1;2 free\n -5 <= z#3 <= inf\n 3.5 >= x\n"
                                      "Generals x\nEnd\n"));
  const Model mps = read_model(in_file("same.mps",
                                       "NAME SAME FREE\nOBJSENSE\n MAX\nROWS\n N obj\n G m_;1;\n"
                                       " G e\n E f\nCOLUMNS\n MARK 'MARKER' 'INTORG'\n"
                                       " x obj 4 m_;1; 1\n x e 2 f 1\n MARK 'MARKER' 'INTEND'\n"
                                       " y_1;2 obj 2 m_;1; 1\n y_1;2 e -1\n z#3 obj -1 e -3\n"
                                       "RHS\n R m_;1; -1 e -4\n R f 2 obj -10\nRANGES\n"
                                       " A m_;1; 5\nBOUNDS\n UP B x 3.5\n FR B y_1;2\n"
                                       " LO B z#3 -5\nENDATA\n"));
  ASSERT_EQ(lp.variables.size(), 3u);
  ASSERT_EQ(mps.variables.size(), 3u);
  for (size_t j = 0; j < 3; ++j) {
    const Variable &a = lp.variables[j], &b = mps.variables[j];
    EXPECT_EQ(a.name, b.name);
    EXPECT_EQ(a.cost, b.cost) << a.name;
    EXPECT_EQ(a.lower, b.lower) << a.name;
    EXPECT_EQ(a.upper, b.upper) << a.name;
    EXPECT_EQ(a.integer, b.integer) << a.name;
  }
  EXPECT_EQ(lp.variables[0].upper, 3.0);  // a whole one's bound is rounded
  ASSERT_EQ(lp.rows.size(), mps.rows.size());
  for (size_t i = 0; i < lp.rows.size(); ++i) {
    EXPECT_EQ(lp.rows[i].name, mps.rows[i].name);
    EXPECT_EQ(lp.rows[i].lower, mps.rows[i].lower) << lp.rows[i].name;
    EXPECT_EQ(lp.rows[i].upper, mps.rows[i].upper) << lp.rows[i].name;
    EXPECT_EQ(lp.rows[i].entries, mps.rows[i].entries) << lp.rows[i].name;
  }
  EXPECT_TRUE(lp.maximize && mps.maximize);
  EXPECT_EQ(lp.constant, 10.0);
  EXPECT_EQ(mps.constant, 10.0);
}

TEST(DantzigWolfe, FilesThatAreNotUnderstoodAreRefusedWithTheirLine) {
  const struct {
    const char *name, *text, *message;
  } cases[] = {
      {"square.lp", "Minimize\n x^2\nSubject To\n c: x >= 1\nEnd\n", "lp:2: quadratic"},
      {"twice.lp", "Minimize\n x\nst\n c: x >= 1\n c: x <= 2\nEnd\n", "lp:5: a second row 'c'"},
      {"semi.lp", "Minimize\n x\nst\n c: x >= 1\nSemi-Continuous\n x\nEnd\n", "lp:5: the section"},
      {"cut.lp", "Minimize\n x\nst\n c: x >= 1\n", "without End"},
      {"side.lp", "Minimize\n x\nst\n c: x >=\nEnd\n", "lp:5: "},
      {"crossed.lp", "Minimize\n x\nst\n c: x >= 1\nBounds\n x <= -1\nEnd\n", "variable 'x'"},
      {"fields.mps", "NAME A\nROWS\n N o\n G c\nCOLUMNS\n    x  o 3 c 1\nRHS\n    R  c 4\nENDATA\n",
       "mps: "},
      {"semi.mps",
       "NAME A FREE\nROWS\n N o\n G c\nCOLUMNS\n x o 3 c 1\nBOUNDS\n SC B x 3\nENDATA\n",
       "mps:8: semi-continuous"}};
  for (const auto &bad : cases) {
    try {
      read_model(in_file(bad.name, bad.text));
      ADD_FAILURE() << bad.name << " was read";
    } catch (const examples::InputError &error) {
      EXPECT_NE(std::string(error.what()).find(bad.message), std::string::npos) << error.what();
    }
  }
}

TEST(DantzigWolfe, DynamicProgrammingAndBranchAndBoundAgreeOnKnapsacks) {
  std::mt19937 engine(7);
  const auto between = [&](int least, int most) {
    return std::uniform_int_distribution<int>(least, most)(engine);
  };
  int infeasible = 0;
  for (int run = 0; run < 150; ++run) {
    SCOPED_TRACE(run);
    Block block = {};
    BlockRow row = {-kInfinite, kInfinite, {}};
    std::vector<double> cost;
    const double unit = run % 3 == 0 ? 0.5 : 1.0;
    for (int j = 0; j < between(1, 6); ++j) {
      const int coefficient = between(1, 9) * (between(0, 3) == 0 ? -1 : 1);
      block.variables.push_back({0.0, double(between(-2, 1)), double(between(1, 4)), true, {}});
      row.entries.push_back({static_cast<int32_t>(j), unit * coefficient});
      cost.push_back(between(-9, 9));
    }
    const int kind = between(0, 3);
    const double side = unit * between(-8, 20);
    if (kind != 0) row.upper = side + (kind == 3 ? unit * between(0, 2) : 0.0);
    if (kind == 0 || kind >= 2) row.lower = side;
    block.rows.push_back(row);
    const auto knapsack = make_knapsack_pricer(block, PricingLimits());
    ASSERT_NE(knapsack, nullptr);
    const BlockSolution a = knapsack->price(cost);
    const BlockSolution b = make_integer_pricer(block, PricingLimits())->price(cost);
    ASSERT_EQ(a.outcome, b.outcome);
    if (a.outcome == BlockSolution::Outcome::infeasible) {
      ++infeasible;
      continue;
    }
    EXPECT_NEAR(a.bound, b.bound, 1e-6);
    for (const BlockSolution *found : {&a, &b}) {
      for (const std::vector<double> &point : found->points) {
        double sum = 0.0, value = 0.0;
        for (size_t j = 0; j < cost.size(); ++j) {
          sum += row.entries[j].value * point[j];
          value += cost[j] * point[j];
          EXPECT_GE(point[j], block.variables[j].lower);
          EXPECT_LE(point[j], block.variables[j].upper);
        }
        EXPECT_GE(sum, row.lower - 1e-9);
        EXPECT_LE(sum, row.upper + 1e-9);
        EXPECT_GE(value, a.bound - 1e-6);
      }
    }
  }
  EXPECT_GT(infeasible, 5);
}

}  // namespace
}  // namespace dantzig_wolfe
