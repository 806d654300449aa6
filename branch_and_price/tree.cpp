#include "branch_and_price/tree.hpp"

#include <algorithm>
#include <cmath>
#include <ostream>

#include "branch_and_price/dive.hpp"
#include "branch_and_price/log.hpp"

namespace quarn {
namespace branch_and_price {

// A child excludes a solution when it takes at least this much of it away.
constexpr double kExcluded = 1e-6;
// Nodes are solved no more loosely than this.
constexpr double kLoosest = 1e-3;
// Times the tolerance, for a node that was solved to it and has neither a gap that the search takes
// for closed nor a branching: the two tolerances may be the same, and where costs cancel that of a
// master is relative to what is added up.
constexpr double kSharper = 0.01;
// What a branching candidate gains in a child counts at least this much.
constexpr double kLeastGain = 1e-6;

// The loop

static void check_settings(const Settings &settings) {
  const auto check = [](bool meant, const char *text) {
    if (!meant) throw Mistake(text);
  };
  check(settings.tolerance > 0.0 && settings.tolerance < 1.0, "the tolerance is not in (0, 1)");
  check(settings.gap_limit >= 0.0, "the limit of the gap is negative or not a number");
  check(settings.max_nodes >= 0, "the limit of nodes is negative");
  check(settings.time_limit >= 0.0, "the time limit is negative or not a number");
  check(settings.memory_limit >= 0.0, "the limit of memory is negative or not a number");
  check(settings.candidates >= 1, "fewer than one candidate for branching");
  check(settings.cut_rounds >= 0, "the number of rounds of cuts is negative");
  check(settings.probe_iterations >= 1, "fewer than one iteration to try a candidate");
  check(settings.share_of_distance >= 0.0 && settings.share_of_distance < 1.0,
        "the share of the distance is not in [0, 1)");
  check(settings.dive_every >= 0 && settings.integer_every >= 0, "a frequency is negative");
  check(settings.dive_share >= 0.0 && settings.dive_share <= 1.0,
        "the share of a dive's step is not in [0, 1]");
  check(settings.dive_iterations >= 1, "fewer than one iteration for a step of a dive");
  check(settings.discrepancies >= 0, "the number of discrepancies is negative");
}

Outcome Tree::run(const Settings &settings) {
  check_settings(settings);
  frame_.seconds_before = counts_.seconds;
  frame_.start = Frame::Clock::now();
  frame_.settings = settings;
  frame_.stopped = false;
  frame_.objective.tolerance = settings.tolerance;
  if (settings.cutoff) {
    frame_.limit = std::min(frame_.limit, frame_.objective.sign * *settings.cutoff);
  }
  failure_.clear();
  limit_ = Status::optimal;
  saved_ = dive_seconds_ = 0.0;
  const int64_t nodes_before = counts_.nodes;
  if (settings.log != nullptr) log_header(*settings.log);
  try {
    update_bound();
    while (go_on() && counts_.nodes - nodes_before < settings.max_nodes) {
      next_node();
      save_in_between();
    }
    if (limit_ == Status::optimal && go_on()) limit_ = Status::node_limit;
  } catch (const Mistake &mistake) {
    failure_ = mistake.what();
  }
  current_ = nullptr;
  update_bound();
  counts_.seconds = frame_.seconds_before + frame_.seconds();
  if (!settings.save_file.empty()) save(settings.save_file, settings.save_data);
  return outcome();
}

/// Whether there is a node that could improve on the incumbent, and no limit is met.
bool Tree::go_on() {
  for (size_t k = open_.size(); k-- > 0;) {
    if (!frame_.is_cut_off(open_[k].bound)) continue;
    dropped_bound_ = std::min(dropped_bound_, open_[k].bound);
    open_.erase(open_.begin() + static_cast<std::ptrdiff_t>(k));
  }
  update_bound();
  return !open_.empty() && !limit_is_met();
}

bool Tree::limit_is_met() {
  const Settings &settings = frame_.settings;
  const double gap = frame_.value - bound_of_tree();
  if (frame_.has_incumbent && settings.gap_limit > 0.0 &&
      gap <= settings.gap_limit * std::max(1.0, std::fabs(frame_.value))) {
    limit_ = Status::gap_limit;
  } else if (frame_.must_stop()) {
    limit_ = frame_.stopped ? Status::stopped : Status::time_limit;
  } else if (memory() > settings.memory_limit) {
    limit_ = Status::memory_limit;
  }
  return limit_ != Status::optimal;
}

/// Bytes, by what is counted: entries of columns, decisions, slots of the masters kept for
/// children.
double Tree::memory() const {
  constexpr double kColumn = 200.0, kSlot = 48.0;
  double bytes = kColumn * frame_.pool.number_of_columns();
  const NodeMaster *last = nullptr;
  for (const Node &node : open_) {
    bytes += sizeof(Node) + static_cast<double>(node.decisions.size()) * sizeof(Decision);
    if (node.origin == nullptr || node.origin.get() == last) continue;
    last = node.origin.get();
    bytes += kSlot * last->master.number_of_columns();
  }
  return bytes;
}

/// The least bound of what is open, worked on, given up or done; no more than the incumbent.
double Tree::bound_of_tree() const {
  double bound = std::min(frame_.value, unsolved_bound_);
  for (const Node &node : open_) bound = std::min(bound, node.bound);
  if (current_ != nullptr) bound = std::min(bound, current_->bound);
  bound = std::min(bound, dropped_bound_);
  return frame_.objective.rounded_up(bound);
}

Node Tree::take_node() {
  size_t best = open_.size() - 1;
  if (frame_.settings.order == Order::best_bound_with_dives && !plunging_) {
    for (size_t k = open_.size() - 1; k-- > 0;) {
      if (open_[k].bound < open_[best].bound) best = k;
    }
  }
  Node node = std::move(open_[best]);
  open_.erase(open_.begin() + static_cast<std::ptrdiff_t>(best));
  return node;
}

void Tree::next_node() {
  Node node = take_node();
  current_ = &node;
  NodeRecord record;
  try {
    record.fate = process(&node, &record);
  } catch (...) {
    open_.push_back(node);  // its bound counts on
    current_ = nullptr;
    throw;
  }
  current_ = nullptr;
  plunging_ = record.fate == Fate::branched;
  if (record.fate == Fate::open) {
    open_.push_back(node);
  } else if (record.fate == Fate::failed) {
    unsolved_bound_ = std::min(unsolved_bound_, node.bound);
  } else if (record.fate != Fate::branched) {
    dropped_bound_ = std::min(dropped_bound_, node.bound);
  }
  update_bound();
  note(node, std::move(record));
}

void Tree::save_in_between() {
  const Settings &settings = frame_.settings;
  if (settings.save_file.empty() || frame_.seconds() - saved_ < settings.save_every) return;
  save(settings.save_file, settings.save_data);
  saved_ = frame_.seconds();
}

// One node

NodeMaster Tree::master_of(const Node &node) const {
  const bool parent = node.origin != nullptr;
  NodeMaster at = parent ? *node.origin : NodeMaster{frame_.pool, {}, {}, 0.0};
  const auto first = node.decisions.begin() + static_cast<std::ptrdiff_t>(parent ? node.own : 0);
  frame_.decide(&at, Branch(first, node.decisions.end()));
  return at;
}

/// Tied to the distance of what would cut the node off from what is known of it.
double Tree::tolerance_of(const Node &node) const {
  const double sharp = frame_.settings.master.tolerance;
  if (!frame_.has_incumbent || node.bound <= -kInfinity) return sharp;
  const double enough = frame_.objective.enough(frame_.value);
  const double distance = std::fabs(enough - node.bound) / std::max(1e-10, std::fabs(frame_.value));
  return std::max(sharp, std::min(kLoosest, frame_.settings.share_of_distance * distance));
}

Generation Tree::solve(const Node &node, NodeMaster *at, bool sharply) {
  GenerationOptions options;
  options.bound = node.bound;
  options.tolerance = sharply ? kSharper * frame_.settings.master.tolerance : tolerance_of(node);
  options.rounding = frame_.settings.rounding && node.number == 0;
  options.may_settle = !sharply && !options.rounding;
  const std::vector<Column> before = at->master.columns();
  const int32_t first = before.empty() ? 0 : before.back().index() + 1;
  Generation generation = generate(frame_, *at, options);
  frame_.keep_columns(at->master, first);
  return generation;
}

Fate Tree::process(Node *node, NodeRecord *record) {
  NodeMaster at = master_of(*node);
  ++counts_.nodes;
  Generation generation;
  for (const bool sharply : {false, true}) {
    generation = solve(*node, &at, sharply);
    record->iterations += static_cast<int32_t>(generation.result.history.size());
    record->columns = generation.result.columns;
    record->value = generation.value;
    record->ended_early = generation.early;
    node->bound = std::max(node->bound, generation.bound);
    update_bound();
    if (node->number == 0 && !sharply) {
      counts_.root_bound = generation.bound;
      counts_.root_value = generation.value;
      counts_.root_seconds = frame_.seconds();
    }
    add_cuts(node, &at, &generation, record);
    if (node->number == 0) counts_.root_cut_bound = node->bound;
    round_library(at, generation);
    const Fate fate = close(*node, generation);
    if (fate != Fate::branched) return fate;
    if (is_integer(at, generation, sharply)) {
      if (frame_.is_cut_off(node->bound)) return Fate::integer;
      continue;
    }
    find_solutions(*node, at, generation);
    if (frame_.is_cut_off(node->bound)) return Fate::cut_off;
    leave_out(*node, generation, &at);
    if (frame_.must_stop()) return Fate::open;
    if (!branch(*node, at, generation, sharply)) continue;
    if (generation.early) ++counts_.branched_early;
    return Fate::branched;
  }
  return Fate::failed;
}

/// Rounds of cuts, as long as they close the node's gap.
void Tree::add_cuts(Node *node, NodeMaster *at, Generation *generation, NodeRecord *record) {
  int32_t idle = 0;
  for (int32_t round = 0; round < frame_.settings.cut_rounds && idle < 2; ++round) {
    const bool solved = generation->end == End::finished || generation->end == End::settled;
    if (!solved || frame_.is_cut_off(node->bound) || frame_.must_stop()) return;
    const std::vector<Decision> cuts = violated_cuts(*at, *generation);
    if (cuts.empty()) return;
    frame_.decide(at, cuts);
    node->decisions.insert(node->decisions.end(), cuts.begin(), cuts.end());
    counts_.cuts += static_cast<int64_t>(cuts.size());
    const double before = node->bound;
    *generation = solve(*node, at, false);
    record->iterations += static_cast<int32_t>(generation->result.history.size());
    record->columns = generation->result.columns;
    record->value = generation->value;
    record->ended_early = generation->early;
    node->bound = std::max(before, generation->bound);
    update_bound();
    const double distance = frame_.has_incumbent ? frame_.value - before : kNothing;
    const double progress = frame_.settings.cut_progress;
    idle = node->bound - before < progress * distance ? idle + 1 : 0;
  }
}

/// The problem's cuts; those that the solution does not violate are left out.
std::vector<Decision> Tree::violated_cuts(const NodeMaster &at, const Generation &generation) {
  const Subproblem subproblem = at.subproblem(false);
  const double sign = frame_.objective.sign;
  const Relaxation relaxation{subproblem, generation.result.values, generation.result.duals,
                              sign * generation.bound, sign * generation.value};
  if (frame_.problem.integer_solution(relaxation)) return {};
  std::vector<Decision> cuts = frame_.problem.cuts(relaxation);
  cuts.erase(std::remove_if(cuts.begin(), cuts.end(),
                            [&](const Decision &cut) {
                              return !excludes(at, generation.result.values, {cut});
                            }),
             cuts.end());
  return cuts;
}

/// No better solution than the incumbent uses a column whose reduced cost is more than the distance
/// of the bound from it. Such columns would only make the restricted masters below larger; pricing
/// finds again what is missed for the duals are not quite optimal. Columns of the root stay:
/// pricing need not know them.
void Tree::leave_out(const Node &node, const Generation &generation, NodeMaster *at) const {
  if (!frame_.settings.trim_columns || frame_.limit >= kInfinity) return;
  const double most = frame_.limit - node.bound;
  const double sign = frame_.objective.sign;
  at->master.remove_columns([&](const Column &column) {
    if (column.index() < frame_.first_late_column) return false;
    const std::vector<Entry> entries = at->master.entries(column);
    return sign * generation.result.duals.reduced_cost(column.cost(), entries) > most;
  });
}

/// What becomes of the node after its column generation; branched: it is to be.
Fate Tree::close(const Node &node, const Generation &generation) {
  if (generation.end == End::infeasible) return Fate::infeasible;
  if (frame_.is_cut_off(node.bound)) {
    if (generation.early) ++counts_.cut_off_early;
    return Fate::cut_off;
  }
  if (generation.end == End::interrupted) return Fate::open;
  const bool solved = generation.end == End::finished || generation.end == End::settled;
  // A gap that the oracle leaves open can still be closed in the children.
  return solved || (generation.value < kInfinity && !generation.result.values.empty())
             ? Fate::branched
             : Fate::failed;
}

bool Tree::is_integer(const NodeMaster &at, const Generation &generation, bool sharp) {
  const Subproblem subproblem = at.subproblem(false);
  const double sign = frame_.objective.sign;
  const Relaxation relaxation{subproblem, generation.result.values, generation.result.duals,
                              sign * generation.bound, sign * generation.value};
  const std::optional<Solution> solution = frame_.problem.integer_solution(relaxation);
  if (!solution) return false;
  // A loosely solved master may miss a row by more than a solution is allowed to.
  if (!sharp && !frame_.violation(*solution).empty()) return true;
  frame_.offer(*solution, "a node");
  return true;
}

// Finding solutions

namespace {

/// Counts one call of a heuristic, with its time.
class Call {
 public:
  Call(Frame &frame, const std::string &name)
      : frame_(frame), report_(frame.report(name)), start_(frame.seconds()) {
    ++report_.calls;
  }
  Call(const Call &) = delete;
  Call &operator=(const Call &) = delete;
  ~Call() { report_.seconds += frame_.seconds() - start_; }

  void found(int32_t solutions, int32_t improved, double best) {
    report_.found += solutions;
    report_.improved += improved;
    const double sign = frame_.objective.sign;
    report_.best = sign * std::min(sign * report_.best, best);
  }

 private:
  Frame &frame_;
  HeuristicReport &report_;
  double start_;
};

}  // namespace

void Tree::find_solutions(const Node &node, const NodeMaster &at, const Generation &generation) {
  const Settings &settings = frame_.settings;
  const auto is_due = [&](int32_t every) {
    return every > 0 && (node.number == 0 || counts_.nodes % every == 0) &&
           !frame_.is_cut_off(node.bound) && !frame_.must_stop();
  };
  if (is_due(settings.own_heuristic ? 1 : 0)) ask_caller(at, generation);
  const bool affordable =
      node.number == 0 || dive_seconds_ <= settings.dive_time_share * frame_.seconds();
  if (is_due(settings.dive_every) && affordable) dive(node, at, generation);
  if (settings.integer_solver && is_due(settings.integer_every)) solve_in_integers(at, generation);
}

void Tree::ask_caller(const NodeMaster &at, const Generation &generation) {
  Call call(frame_, "own heuristic");
  const Subproblem subproblem = at.subproblem(false);
  const double sign = frame_.objective.sign;
  const Relaxation relaxation{subproblem, generation.result.values, generation.result.duals,
                              sign * generation.bound, sign * generation.value};
  const std::optional<Solution> solution = frame_.problem.heuristic(relaxation);
  if (!solution) return;
  call.found(1, frame_.offer(*solution, "own heuristic") ? 1 : 0, frame_.cost(*solution));
}

void Tree::round_library(const NodeMaster &at, const Generation &generation) {
  if (generation.result.integer_values.empty()) return;
  Call call(frame_, "rounding");
  Solution solution;
  for (const auto &[column, value] : generation.result.integer_values) {
    solution.push_back(
        {column.cost(), frame_.root_entries(at.master, column), column.data(), value});
  }
  // It may exceed block rows.
  if (!frame_.violation(solution).empty()) return;
  call.found(1, frame_.offer(solution, "rounding") ? 1 : 0, frame_.cost(solution));
}

void Tree::dive(const Node &node, const NodeMaster &at, const Generation &generation) {
  const double before = frame_.seconds();
  {
    Call call(frame_, "dive");
    Dive dive(frame_, at, node.bound);
    dive.run(generation.result.values);
    call.found(dive.found(), dive.improved(), dive.best());
  }
  dive_seconds_ += frame_.seconds() - before;
}

void Tree::solve_in_integers(const NodeMaster &at, const Generation &generation) {
  Call call(frame_, "integer solver");
  std::vector<std::pair<double, Column>> columns;
  for (const Column &column : at.master.columns()) {
    const double reduced =
        generation.result.duals.reduced_cost(column.cost(), at.master.entries(column));
    columns.push_back({frame_.objective.sign * reduced, column});
  }
  std::stable_sort(columns.begin(), columns.end(),
                   [](const auto &a, const auto &b) { return a.first < b.first; });
  const auto most = static_cast<size_t>(std::max(0, frame_.settings.integer_columns));
  if (columns.size() > most) columns.resize(most);
  IntegerProgram program;
  for (const Row &row : frame_.root_rows) program.sides.push_back(frame_.pool.range(row));
  std::vector<int32_t> position(static_cast<size_t>(frame_.first_late_row), -1);
  for (size_t i = 0; i < frame_.root_rows.size(); ++i) {
    position[static_cast<size_t>(frame_.root_rows[i].index())] = static_cast<int32_t>(i);
  }
  for (const auto &[reduced, column] : columns) {
    for (const auto &[row, entry] : frame_.root_entries(at.master, column)) {
      program.rows.push_back(position[static_cast<size_t>(row.index())]);
      program.values.push_back(entry);
    }
    program.costs.push_back(frame_.objective.sign * column.cost());
    program.starts.push_back(static_cast<int64_t>(program.rows.size()));
  }
  program.cutoff = std::min(frame_.limit, kInfinity);
  program.granularity = frame_.objective.granularity;
  program.seconds = std::min(frame_.settings.integer_seconds, frame_.time_left());
  const std::vector<double> values = frame_.settings.integer_solver(program);
  if (values.size() != columns.size()) return;
  Solution solution;
  for (size_t k = 0; k < values.size(); ++k) {
    const Column &column = columns[k].second;
    if (std::round(values[k]) == 0.0) continue;
    solution.push_back({column.cost(), frame_.root_entries(at.master, column), column.data(),
                        std::round(values[k])});
  }
  if (!frame_.violation(solution).empty()) return;
  call.found(1, frame_.offer(solution, "integer solver") ? 1 : 0, frame_.cost(solution));
}

// Branching

bool Tree::excludes(const NodeMaster &at, const std::vector<ColumnValue> &values,
                    const Branch &branch) const {
  double taken = 0.0;
  std::vector<double> sums(branch.size(), 0.0);
  for (const auto &[column, value] : values) {
    const std::vector<Entry> entries = at.master.entries(column);
    bool allowed = true;
    for (size_t k = 0; k < branch.size(); ++k) {
      if (!frame_.problem.allows(branch[k], column, entries)) {
        allowed = false;
      } else if (branch[k].row) {
        sums[k] += value * frame_.problem.coefficient(branch[k], column, entries);
      }
    }
    if (!allowed) taken += value;
  }
  if (taken > kExcluded) return true;
  for (size_t k = 0; k < branch.size(); ++k) {
    if (!branch[k].row) continue;
    const auto &[sense, rhs] = *branch[k].row;
    if (sense != RowSense::at_most && sums[k] < rhs - kExcluded) return true;
    if (sense != RowSense::at_least && sums[k] > rhs + kExcluded) return true;
  }
  return false;
}

/// What is wrong with a branching, as a sentence; empty when nothing is.
std::string Tree::fault(const NodeMaster &at, const Generation &generation,
                        const Branching &branching) const {
  if (branching.empty()) return "a candidate for branching has no children";
  for (const Branch &branch : branching) {
    if (excludes(at, generation.result.values, branch)) continue;
    return "the child '" + (branch.empty() ? "" : to_string(branch.front())) +
           "' does not exclude the fractional solution: the tree would not end";
  }
  for (const Column &column : at.master.columns()) {
    const std::vector<Entry> entries = at.master.entries(column);
    const bool allowed = std::any_of(branching.begin(), branching.end(), [&](const Branch &branch) {
      return std::all_of(branch.begin(), branch.end(), [&](const Decision &decision) {
        return frame_.problem.allows(decision, column, entries);
      });
    });
    // A column that no integer solution uses may go.
    if (allowed || !frame_.problem.fits(at.subproblem(false), column, entries)) continue;
    return "column " + std::to_string(column.index()) +
           " is allowed by none of the children, the first of which is '" +
           to_string(branching.front().front()) + "'";
  }
  return "";
}

/// The children after a few iterations each.
std::vector<Tree::Probe> Tree::probe(const NodeMaster &at, const Branching &branching,
                                     double bound) {
  std::vector<Probe> probes;
  for (const Branch &branch : branching) {
    NodeMaster child = at;
    frame_.decide(&child, branch);
    GenerationOptions options;
    options.bound = bound;
    options.tolerance = frame_.settings.master.tolerance;
    options.iterations = frame_.settings.probe_iterations;
    options.may_settle = false;
    const std::vector<Column> before = child.master.columns();
    const int32_t first = before.empty() ? 0 : before.back().index() + 1;
    const Generation generation = generate(frame_, child, options);
    // The bound that so few iterations prove may be the parent's still; between it and the value of
    // the restricted master the child ends.
    const double most = std::max(generation.bound, std::min(generation.value, frame_.limit));
    const double guess = most < kInfinity ? 0.5 * (generation.bound + most) : generation.bound;
    probes.push_back({generation.bound, guess});
    frame_.keep_columns(child.master, first);
    ++counts_.probes;
  }
  return probes;
}

/// What a branching that was tried often enough in other nodes gained there, in the mean. Source:
/// T. Achterberg, T. Koch, A. Martin, Branching rules revisited, Operations Research Letters 33
/// (2005).
bool Tree::recall(const Branching &branching, double bound, std::vector<double> *guesses) const {
  if (frame_.settings.reliable_after <= 0) return false;
  for (size_t k = 0; k < branching.size(); ++k) {
    const auto found = gains_.find(to_string(branching[k].front()));
    if (found == gains_.end() || found->second.times < frame_.settings.reliable_after) return false;
    (*guesses)[k] = bound + found->second.sum / found->second.times;
  }
  return true;
}

/// The product of what the two worst children gain.
static double score(const std::vector<double> &guesses, double bound, double limit) {
  std::vector<double> gains = guesses;
  std::sort(gains.begin(), gains.end());
  double product = 1.0;
  for (size_t k = 0; k < std::min<size_t>(2, gains.size()); ++k) {
    const double most = limit < kInfinity ? std::max(limit - bound, 1.0) : 1e6;
    product *= std::clamp(gains[k] - bound, kLeastGain, most);
  }
  return product;
}

/// The candidates without a fault, as many as are to be compared. A loosely solved master may leave
/// rows unmet by so much that none is: then nothing is returned, and it is to be solved sharply.
std::vector<Branching> Tree::candidates(const Node &node, const NodeMaster &at,
                                        const Generation &generation, bool sharp) {
  const Subproblem subproblem = at.subproblem(false);
  const double sign = frame_.objective.sign;
  const Relaxation relaxation{subproblem, generation.result.values, generation.result.duals,
                              sign * node.bound, sign * generation.value};
  std::vector<Branching> good;
  std::string wrong = "there is no candidate for branching, but the solution is fractional";
  for (Branching &candidate : frame_.problem.branch(relaxation)) {
    const std::string found = fault(at, generation, candidate);
    if (found.empty()) good.push_back(std::move(candidate));
    if (!found.empty()) wrong = found;
    if (good.size() == static_cast<size_t>(frame_.settings.candidates)) break;
  }
  if (good.empty() && sharp) throw Mistake("node " + std::to_string(node.number) + ": " + wrong);
  return good;
}

/// False when the node is to be solved sharply first.
bool Tree::branch(const Node &node, const NodeMaster &at, const Generation &generation,
                  bool sharp) {
  const std::vector<Branching> choice = candidates(node, at, generation, sharp);
  if (choice.empty()) return false;
  size_t best = 0;
  double best_score = -1.0;
  std::vector<double> best_bounds;
  for (size_t k = 0; k < choice.size(); ++k) {
    std::vector<double> bounds(choice[k].size(), node.bound);
    std::vector<double> guesses = bounds;
    if (choice.size() > 1 && !frame_.must_stop() && !recall(choice[k], node.bound, &guesses)) {
      const std::vector<Probe> probes = probe(at, choice[k], node.bound);
      for (size_t child = 0; child < probes.size(); ++child) {
        bounds[child] = probes[child].bound;
        guesses[child] = probes[child].guess;
        Gain &gain = gains_[to_string(choice[k][child].front())];
        gain.sum += std::min(guesses[child], frame_.limit) - node.bound;
        ++gain.times;
      }
    }
    const double points = score(guesses, node.bound, frame_.limit);
    if (points <= best_score) continue;
    best = k;
    best_score = points;
    best_bounds = std::move(bounds);
  }
  push_children(node, at, choice[best], best_bounds);
  return true;
}

void Tree::push_children(const Node &node, const NodeMaster &at, const Branching &branching,
                         const std::vector<double> &bounds) {
  std::shared_ptr<const NodeMaster> origin;
  if (frame_.settings.start == Start::parent) origin = std::make_shared<const NodeMaster>(at);
  // The first child is to be taken first, from the end.
  for (size_t k = branching.size(); k-- > 0;) {
    Node child;
    child.parent = node.number;
    child.depth = node.depth + 1;
    child.decisions = node.decisions;
    child.own = child.decisions.size();
    child.decisions.insert(child.decisions.end(), branching[k].begin(), branching[k].end());
    child.cuts = child.decisions.size();
    child.bound = std::max(node.bound, bounds[k]);
    child.origin = origin;
    child.number = made_ + static_cast<int64_t>(k);
    open_.push_back(std::move(child));
  }
  made_ += static_cast<int64_t>(branching.size());
}

// Reports

void Tree::note(const Node &node, NodeRecord record) {
  const double sign = frame_.objective.sign;
  record.node = node.number;
  record.parent = node.parent;
  record.depth = node.depth;
  record.cuts = static_cast<int32_t>(node.decisions.size() - node.cuts);
  for (size_t k = node.own; k < node.cuts; ++k) {
    record.decisions += (k > node.own ? ", " : "") + to_string(node.decisions[k]);
  }
  record.bound = sign * node.bound;
  record.value = sign * record.value;
  record.seconds = frame_.seconds_before + frame_.seconds();
  record.tree_bound = sign * frame_.tree_bound;
  record.incumbent = sign * frame_.value;
  record.open = static_cast<int64_t>(open_.size());
  if (frame_.settings.log != nullptr) log_node(*frame_.settings.log, record);
  if (frame_.settings.on_node) frame_.settings.on_node(record);
  counts_.history.push_back(std::move(record));
}

Status Tree::status() const {
  if (!failure_.empty()) return Status::failed;
  if (limit_ != Status::optimal) return limit_;
  if (!frame_.is_cut_off(unsolved_bound_)) return Status::failed;
  if (frame_.has_incumbent) return Status::optimal;
  return Status::infeasible;
}

std::string Tree::describe(Status status) const {
  if (!failure_.empty()) return failure_;
  const std::string nodes = " after " + std::to_string(counts_.nodes) + " nodes";
  switch (status) {
    case Status::optimal:
      return "optimal" + nodes;
    case Status::infeasible:
      return std::string(frame_.limit < kInfinity ? "no solution is better than the cutoff"
                                                  : "there is no solution") +
             nodes;
    case Status::failed:
      return "the column generation of some nodes ended without a proof, which leaves the gap "
             "open" +
             nodes;
    default:
      return std::string("ended by ") + to_string(status) + nodes;
  }
}

Outcome Tree::outcome() const {
  const double sign = frame_.objective.sign;
  Outcome outcome = counts_;
  outcome.status = status();
  outcome.message = describe(outcome.status);
  outcome.has_solution = frame_.has_incumbent;
  outcome.value = sign * frame_.value;
  outcome.bound = sign * frame_.tree_bound;
  outcome.gap = frame_.has_incumbent ? std::fabs(frame_.value - frame_.tree_bound) /
                                           std::max(1.0, std::fabs(frame_.value))
                                     : kNothing;
  outcome.solution = frame_.incumbent;
  outcome.open = static_cast<int64_t>(open_.size());
  outcome.iterations = frame_.iterations;
  outcome.root_bound *= sign;
  outcome.root_cut_bound *= sign;
  outcome.root_value *= sign;
  outcome.columns = frame_.pool.number_of_columns();
  outcome.finds = frame_.finds;
  outcome.heuristics = frame_.heuristics;
  return outcome;
}

const char *to_string(Status status) {
  switch (status) {
    case Status::optimal:
      return "optimal";
    case Status::infeasible:
      return "infeasible";
    case Status::gap_limit:
      return "gap_limit";
    case Status::node_limit:
      return "node_limit";
    case Status::time_limit:
      return "time_limit";
    case Status::memory_limit:
      return "memory_limit";
    case Status::stopped:
      return "stopped";
    default:
      return "failed";
  }
}

const char *to_string(Fate fate) {
  switch (fate) {
    case Fate::branched:
      return "branched";
    case Fate::cut_off:
      return "cut_off";
    case Fate::infeasible:
      return "infeasible";
    case Fate::integer:
      return "integer";
    case Fate::open:
      return "open";
    default:
      return "failed";
  }
}

// Search

Search::Search(Problem &problem, const Master &master)
    : tree_(std::make_unique<Tree>(problem, master)) {}
Search::Search(Search &&) noexcept = default;
Search &Search::operator=(Search &&) noexcept = default;
Search::~Search() = default;

void Search::offer(const Solution &solution) { tree_->offer(solution); }
Outcome Search::run(const Settings &settings) { return tree_->run(settings); }

void Search::save(const std::string &path,
                  const std::function<std::string(const std::any &)> &data) const {
  tree_->save(path, data);
}

void Search::resume(const std::string &path,
                    const std::function<std::any(const std::string &)> &data) {
  tree_->resume(path, data);
}

}  // namespace branch_and_price
}  // namespace quarn
