/**
 * Branch and price: an integer solution with a proof.
 *
 * A node is the master of the root with the decisions on the way to it: columns that one of them
 * forbids are gone, rows that one of them brings are there, and the oracle is told. Its column
 * generation ends
 *
 *   finished   with the gap closed to the node's tolerance,
 *   cut off    as soon as the bound, rounded up where costs have a granularity, reaches the
 *              incumbent,
 *   settled    as soon as going on could not change what is done next (Settings::branch_early).
 *
 * The bound of the tree is at every moment the least of the bounds of the nodes that are open or
 * being worked on; a child starts with its parent's.
 */
#ifndef BRANCH_AND_PRICE_SEARCH_HPP
#define BRANCH_AND_PRICE_SEARCH_HPP

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "branch_and_price/problem.hpp"

namespace quarn {
namespace branch_and_price {

/// Which open node comes next.
enum class Order {
  best_bound_with_dives,  ///< down to a leaf, then the best bound among all open nodes
  depth_first             ///< the latest
};

/// What the master of a node starts from.
enum class Start {
  pool,   ///< the root with all columns found so far in any node
  parent  ///< the parent's as it was left; a node that is saved and resumed starts from the pool
};

/// A set covering, packing or partitioning program over known columns, for an integer solver.
/// Minimises; variables are integers from 0 on.
struct IntegerProgram {
  std::vector<double> costs;
  std::vector<int64_t> starts = {0};  ///< [columns+1] first entry of each column
  std::vector<int32_t> rows;
  std::vector<double> values;
  std::vector<Bounds> sides;   ///< of each row
  double cutoff = kInfinity;   ///< only solutions of less cost are of interest
  double granularity = 0.0;    ///< costs are multiples of it; 0: they are not
  double seconds = kInfinity;  ///< limit
};

/// Values of the columns; empty when none were found.
using IntegerSolver = std::function<std::vector<double>(const IntegerProgram &)>;

struct NodeRecord;

/// How a tree is searched. The defaults suit most.
struct Settings {
  /// For the column generation of the nodes. Its tolerance is the tightest that a node is solved
  /// to; limits of time and iterations, callbacks and files are the search's own; `log` and
  /// `configure` are used, `first_duals` where there is no column yet.
  quarn::Settings master;

  // When to stop

  /// Relative distance of value and bound at which the search ends, as optimal.
  double tolerance = 1e-6;
  /// A wider one at which it ends, too, as gap_limit.
  double gap_limit = 0.0;
  int64_t max_nodes = std::numeric_limits<int64_t>::max();
  double time_limit = std::numeric_limits<double>::infinity();  ///< seconds of wall-clock
  /// Bytes that the columns and the open nodes take, by their counts.
  double memory_limit = std::numeric_limits<double>::infinity();
  /// Looked at between iterations: true ends the search, as stopped.
  std::function<bool()> interrupt;
  /// Solutions of this value or worse are of no interest, in the sense of the master.
  std::optional<double> cutoff;

  // The tree

  Order order = Order::best_bound_with_dives;
  /// Measured in benchmarks/README.md: the parent's columns are fewer and nearer to those needed.
  Start start = Start::parent;
  /// Leave columns that no better solution than the incumbent uses out of a node's children, by
  /// their reduced costs.
  bool trim_columns = true;
  /// Candidates that strong branching compares, by up to `probe_iterations` iterations in each of
  /// their children; 1: the first candidate is taken untried.
  int32_t candidates = 1;
  int32_t probe_iterations = 3;
  /// A candidate that was tried in so many nodes is not tried again: what it gained there counts.
  /// 0: all are tried in every node.
  int32_t reliable_after = 4;

  /// Rounds of Problem::cuts at a node, at most, and the share of the distance between bound and
  /// incumbent that two rounds in a row have to close for another one.
  int32_t cut_rounds = 20;
  double cut_progress = 0.02;

  // Early stops

  /// End a node's column generation as soon as its bound reaches the incumbent.
  bool cut_off_early = true;
  /// End it as soon as the rest of its gap holds no multiple of the granularity, or, once the gap
  /// is below `early_gap`, when its value cannot reach the incumbent either and two iterations in a
  /// row would branch alike.
  bool branch_early = true;
  double early_gap = 1e-3;
  /// Solve a node to this share of the distance of its bound from the incumbent, when that is more
  /// than the tolerance, and to at most 1e-3; 0: always to the tolerance.
  double share_of_distance = 0.05;

  // Finding solutions

  /// Dives at the root and at every n-th node after it; 0: none.
  int32_t dive_every = 20;
  /// Columns that a dive fixes in a step: as many as are needed for this share of what is left.
  double dive_share = 0.05;
  /// Backtracking in dives: at most so many times the best column is passed over, on the first
  /// `discrepancy_depth` steps.
  int32_t discrepancies = 1;
  int32_t discrepancy_depth = 3;
  /// Iterations in each step of a dive.
  int32_t dive_iterations = 10;
  /// Share of the time so far that dives may take after the one at the root.
  double dive_time_share = 0.5;
  /// Solves the restricted master in integers, at the root and at every n-th node; none by default.
  /// See cbc.hpp.
  IntegerSolver integer_solver;
  int32_t integer_every = 50;
  double integer_seconds = 5.0;
  int32_t integer_columns = 3000;  ///< at most, those of least reduced cost
  /// The rounding heuristic of the library at the root, see quarn::Settings::rounding.
  bool rounding = false;
  /// Problem::heuristic at every node.
  bool own_heuristic = true;

  // Output and files

  /// When not null, a line for each node goes there.
  std::ostream *log = nullptr;
  std::function<void(const NodeRecord &)> on_node;
  /// When not empty, what is open is written there every `save_every` seconds and at the end.
  std::string save_file;
  double save_every = 60.0;
  /// Turns the objects of columns into text for the file, see Search::save.
  std::function<std::string(const std::any &)> save_data;
};

/// Why a search ended.
enum class Status {
  optimal,     ///< value and bound are within Settings::tolerance
  infeasible,  ///< there is no solution (with a cutoff: none that is better)
  gap_limit,   ///< they are within Settings::gap_limit
  node_limit,  ///< as they say; what is open can be saved and resumed
  time_limit,
  memory_limit,
  stopped,
  failed  ///< see Outcome::message: a mistake of the problem, or nodes that could not be solved
};

/// "optimal", "infeasible", ...
QUARN_CPP_PUBLIC const char *to_string(Status status);

/// What became of a node.
enum class Fate { branched, cut_off, infeasible, integer, open, failed };

/// "branched", "cut_off", ...
QUARN_CPP_PUBLIC const char *to_string(Fate fate);

/// One line of the history. Values are in the sense of the master.
struct NodeRecord {
  int64_t node = 0;  ///< numbered from 0, the root, in the order made
  int64_t parent = -1;
  int32_t depth = 0;
  std::string decisions;  ///< of this node, not those of its parents
  Fate fate = Fate::open;
  double bound = 0.0;        ///< of the node
  double value = 0.0;        ///< of its restricted master; infinite when unknown
  bool ended_early = false;  ///< cut off or branched before its gap was closed
  int32_t iterations = 0;
  int32_t columns = 0;
  int32_t cuts = 0;      ///< that were added
  double seconds = 0.0;  ///< since the search began
  double tree_bound = 0.0;
  double incumbent = 0.0;  ///< infinite while there is none
  int64_t open = 0;        ///< nodes
};

/// A solution when it was found.
struct Find {
  std::string by;  ///< "dive", "integer solver", "rounding", "own heuristic", "node", "given"
  double value = 0.0;
  double seconds = 0.0;
  double bound = 0.0;  ///< of the tree then
};

/// What a heuristic did.
struct HeuristicReport {
  std::string name;
  int32_t calls = 0;
  int32_t found = 0;     ///< solutions
  int32_t improved = 0;  ///< of which became the incumbent
  double best = 0.0;     ///< the best of them; infinite when none
  double seconds = 0.0;
};

/// What a search found. Values are in the sense of the master.
struct Outcome {
  Status status = Status::failed;
  std::string message;  ///< one sentence
  bool has_solution = false;
  double value = 0.0;  ///< of the solution: the sum of its columns' costs; infinite when none
  double bound = 0.0;  ///< no solution is better
  double gap = 0.0;    ///< |value - bound| / max(1, |value|), infinite without a solution
  Solution solution;

  int64_t nodes = 0;  ///< whose column generation was run
  int64_t open = 0;   ///< left
  int64_t cut_off_early = 0, branched_early = 0, probes = 0;
  int64_t iterations = 0;  ///< of all column generation, heuristics included
  double root_bound = 0.0, root_value = 0.0, root_seconds = 0.0;  ///< before cuts
  double root_cut_bound = 0.0;                                    ///< with those of the root
  int64_t cuts = 0;                                               ///< in all nodes
  double seconds = 0.0;
  int32_t columns = 0;  ///< in the pool
  std::vector<NodeRecord> history;
  std::vector<Find> finds;
  std::vector<HeuristicReport> heuristics;
};

class Tree;

/**
 * A search. `problem` has to outlive it.
 *
 *   Search search(problem, master);
 *   const Outcome outcome = search.run(settings);
 *
 * A search that met a limit goes on with another run().
 */
class QUARN_CPP_PUBLIC Search {
 public:
  /// Takes a copy of the root's master.
  Search(Problem &problem, const Master &master);
  Search(Search &&) noexcept;
  Search &operator=(Search &&) noexcept;
  ~Search();

  /// Offers a solution to begin with. Throws Mistake when it violates a row.
  void offer(const Solution &solution);

  /// Searches until the tree is done or a limit is met. Throws Mistake for settings that cannot be
  /// meant.
  Outcome run(const Settings &settings = {});

  /// Writes open nodes, columns and incumbent to a file, atomically: under another name first.
  /// `data` turns the objects of columns into text; without it they are left out. Throws FileError.
  void save(const std::string &path,
            const std::function<std::string(const std::any &)> &data = nullptr) const;
  /// Goes on from a file of save(), in a search that was made for the same problem and has not run.
  /// Throws FileError for a file that cannot be read, is damaged, or is of another master.
  void resume(const std::string &path,
              const std::function<std::any(const std::string &)> &data = nullptr);

 private:
  std::unique_ptr<Tree> tree_;
};

}  // namespace branch_and_price
}  // namespace quarn

#endif
