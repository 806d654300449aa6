/// The tree of a search: open nodes, what is done at a node, and the bound of them all.
#ifndef BRANCH_AND_PRICE_TREE_HPP
#define BRANCH_AND_PRICE_TREE_HPP

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "branch_and_price/generation.hpp"

namespace quarn {
namespace branch_and_price {

struct Node {
  int64_t number = 0;
  int64_t parent = -1;
  int32_t depth = 0;
  std::vector<Decision> decisions;  ///< from the root on
  size_t own = 0;                   ///< of which from here on are its own
  size_t cuts = 0;                  ///< and from here on cuts
  double bound = -kInfinity;
  std::shared_ptr<const NodeMaster> origin;  ///< the parent's master; null: the pool
};

class Tree {
 public:
  Tree(Problem &problem, const Master &root) : frame_(problem, root) { open_.emplace_back(); }

  void offer(const Solution &solution) { frame_.offer(solution, "the caller"); }
  Outcome run(const Settings &settings);
  void save(const std::string &path,
            const std::function<std::string(const std::any &)> &data) const;
  void resume(const std::string &path, const std::function<std::any(const std::string &)> &data);

 private:
  // The loop
  bool go_on();
  bool limit_is_met();
  void next_node();
  Node take_node();
  double memory() const;
  double bound_of_tree() const;
  void update_bound() { frame_.tree_bound = bound_of_tree(); }
  void save_in_between();

  // One node
  Fate process(Node *node, NodeRecord *record);
  NodeMaster master_of(const Node &node) const;
  double tolerance_of(const Node &node) const;
  Generation solve(const Node &node, NodeMaster *at, bool sharply);
  void add_cuts(Node *node, NodeMaster *at, Generation *generation, NodeRecord *record);
  std::vector<Decision> violated_cuts(const NodeMaster &at, const Generation &generation);
  Fate close(const Node &node, const Generation &generation);
  void leave_out(const Node &node, const Generation &generation, NodeMaster *at) const;
  bool is_integer(const NodeMaster &at, const Generation &generation, bool sharp);
  void round_library(const NodeMaster &at, const Generation &generation);

  // Finding solutions
  void find_solutions(const Node &node, const NodeMaster &at, const Generation &generation);
  void dive(const Node &node, const NodeMaster &at, const Generation &generation);
  void solve_in_integers(const NodeMaster &at, const Generation &generation);
  void ask_caller(const NodeMaster &at, const Generation &generation);

  // Branching
  bool branch(const Node &node, const NodeMaster &at, const Generation &generation, bool sharp);
  std::vector<Branching> candidates(const Node &node, const NodeMaster &at,
                                    const Generation &generation, bool sharp);
  std::string fault(const NodeMaster &at, const Generation &generation,
                    const Branching &branching) const;
  bool excludes(const NodeMaster &at, const std::vector<ColumnValue> &values,
                const Branch &branch) const;
  /// A child of a candidate for branching after a few iterations.
  struct Probe {
    double bound;  ///< proved
    double guess;  ///< where it may end
  };
  bool recall(const Branching &branching, double bound, std::vector<double> *guesses) const;
  std::vector<Probe> probe(const NodeMaster &at, const Branching &branching, double bound);
  void push_children(const Node &node, const NodeMaster &at, const Branching &branching,
                     const std::vector<double> &bounds);

  void note(const Node &node, NodeRecord record);
  Outcome outcome() const;
  Status status() const;
  std::string describe(Status status) const;

  Frame frame_;
  std::vector<Node> open_;
  const Node *current_ = nullptr;
  double dropped_bound_ = kNothing;   ///< least bound of the nodes that are done
  double unsolved_bound_ = kNothing;  ///< of those that could not be solved
  std::string failure_;
  Status limit_ = Status::optimal;  ///< which one was met
  bool plunging_ = false;           ///< the next node is a child of the last one
  int64_t made_ = 1;
  double saved_ = 0.0;
  double dive_seconds_ = 0.0;
  /// What probes of a child, by its first decision, have gained.
  struct Gain {
    double sum = 0.0;
    int32_t times = 0;
  };
  std::map<std::string, Gain> gains_;
  Outcome counts_;  ///< counters and history
};

}  // namespace branch_and_price
}  // namespace quarn

#endif
