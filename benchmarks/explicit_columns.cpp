#include "benchmarks/explicit_columns.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <set>
#include <stdexcept>
#include <utility>

#include "examples/common/lehmer.h"

namespace benchmarks {

// Reduced costs above this, relative to the column's cost, are rounding.
constexpr double kLeastReducedCost = 1e-9;

quarn::Master explicit_master(const LinearProgram &program) {
  const auto is_zero = [](double bound) { return bound == 0.0; };
  const auto is_infinite = [](double range) { return std::fabs(range) >= kNoBound; };
  if (!std::all_of(program.lower.begin(), program.lower.end(), is_zero) ||
      !std::all_of(program.row_range.begin(), program.row_range.end(), is_infinite)) {
    throw std::invalid_argument(program.name + " has ranges or lower bounds other than 0");
  }
  quarn::Master master;
  for (size_t i = 0; i < program.rhs.size(); ++i) {
    master.add_row(static_cast<quarn::RowSense>(program.row_type[i]), program.rhs[i]);
  }
  return master;
}

ExplicitColumns::ExplicitColumns(std::shared_ptr<const LinearProgram> program,
                                 const quarn::Master &master, int32_t most)
    : program_(std::move(program)),
      rows_(master.rows()),
      most_(most),
      share_(static_cast<size_t>(program_->columns()), -1),
      there_(static_cast<size_t>(program_->columns()), 0) {
  assign_rows();
}

void ExplicitColumns::assign_rows() {
  const LinearProgram &p = *program_;
  std::vector<char> bounds(static_cast<size_t>(p.rows()), 1);
  for (int32_t i = 0; i < p.rows(); ++i) {
    const auto r = static_cast<size_t>(i);
    if (p.row_type[r] == kGreaterEqual || p.rhs[r] < 0.0) bounds[r] = 0;
  }
  for (int32_t t = 0; t < p.entries(); ++t) {
    const auto e = static_cast<size_t>(t);
    if (p.value[e] < 0.0) bounds[static_cast<size_t>(p.row[e])] = 0;
  }
  for (size_t j = 0; j < share_.size(); ++j) {
    for (int32_t t = p.start[j]; t < p.start[j + 1] && share_[j] < 0; ++t) {
      const auto e = static_cast<size_t>(t);
      if (p.value[e] > 0.0 && bounds[static_cast<size_t>(p.row[e])] != 0) share_[j] = t;
    }
  }
}

double ExplicitColumns::reduced_cost(int32_t j, const double *u) const {
  const auto c = static_cast<size_t>(j);
  double result = program_->cost[c];
  for (int32_t t = program_->start[c]; t < program_->start[c + 1]; ++t) {
    const auto e = static_cast<size_t>(t);
    result -= u[program_->row[e]] * program_->value[e];
  }
  return result;
}

/// The sum in (2); minus infinity when a column has no bound.
double ExplicitColumns::shared_term(const std::vector<double> &reduced) const {
  const LinearProgram &p = *program_;
  std::vector<double> least(static_cast<size_t>(p.rows()), 0.0);
  double alone = 0.0;
  for (size_t j = 0; j < reduced.size(); ++j) {
    if (reduced[j] >= 0.0) continue;
    if (share_[j] < 0) {
      alone += reduced[j] * (p.upper[j] < kNoBound ? p.upper[j] : HUGE_VAL);
      continue;
    }
    const auto e = static_cast<size_t>(share_[j]);
    double &term = least[static_cast<size_t>(p.row[e])];
    term = std::min(term, reduced[j] / p.value[e]);
  }
  return std::inner_product(least.begin(), least.end(), p.rhs.begin(), alone);
}

/// (t - 1) b'u; minus infinity when a cost is negative.
double ExplicitColumns::scaling_term(const std::vector<double> &reduced, double dual_value) const {
  double t = 1.0;
  for (size_t j = 0; j < reduced.size(); ++j) {
    const double cost = program_->cost[j], paid = cost - reduced[j];
    if (cost < 0.0) return -HUGE_VAL;
    if (paid > 0.0) t = std::min(t, cost / paid);
  }
  return (t - 1.0) * dual_value;
}

/// Entries of a column that is to be in the master.
std::vector<quarn::Entry> ExplicitColumns::take(int32_t j) {
  const auto c = static_cast<size_t>(j);
  std::vector<quarn::Entry> entries;
  for (int32_t t = program_->start[c]; t < program_->start[c + 1]; ++t) {
    const auto e = static_cast<size_t>(t);
    entries.emplace_back(rows_[static_cast<size_t>(program_->row[e])], program_->value[e]);
  }
  there_[c] = 1;
  return entries;
}

void ExplicitColumns::add_first_columns(quarn::Master &master, int32_t each) {
  const LinearProgram &p = *program_;
  std::vector<int32_t> order(static_cast<size_t>(p.columns()));
  std::iota(order.begin(), order.end(), 0);
  const auto cost_of_entry = [&p](int32_t j) {
    const auto c = static_cast<size_t>(j);
    return p.cost[c] / static_cast<double>(std::max(1, p.start[c + 1] - p.start[c]));
  };
  std::stable_sort(order.begin(), order.end(),
                   [&](int32_t a, int32_t b) { return cost_of_entry(a) < cost_of_entry(b); });
  std::vector<int32_t> missing(static_cast<size_t>(p.rows()), each);
  for (const int32_t j : order) {
    const auto c = static_cast<size_t>(j);
    bool wanted = false;
    for (int32_t t = p.start[c]; t < p.start[c + 1]; ++t) {
      wanted = wanted || missing[static_cast<size_t>(p.row[static_cast<size_t>(t)])] > 0;
    }
    if (!wanted) continue;
    for (int32_t t = p.start[c]; t < p.start[c + 1]; ++t) {
      --missing[static_cast<size_t>(p.row[static_cast<size_t>(t)])];
    }
    master.add_column(p.cost[c], take(j));
  }
}

quarn::Answer ExplicitColumns::operator()(const quarn::Duals &duals, quarn::Columns &columns) {
  const std::vector<double> &u = duals.values();
  std::vector<double> reduced(there_.size());
  std::vector<int32_t> useful;
  for (size_t j = 0; j < reduced.size(); ++j) {
    reduced[j] = reduced_cost(static_cast<int32_t>(j), u.data());
    const double rounding = kLeastReducedCost * std::max(1.0, std::fabs(program_->cost[j]));
    if (there_[j] == 0 && reduced[j] < -rounding) useful.push_back(static_cast<int32_t>(j));
  }
  const size_t most = std::min(useful.size(), static_cast<size_t>(most_));
  std::partial_sort(useful.begin(), useful.begin() + static_cast<std::ptrdiff_t>(most),
                    useful.end(), [&reduced](int32_t a, int32_t b) {
                      return std::make_pair(reduced[static_cast<size_t>(a)], a) <
                             std::make_pair(reduced[static_cast<size_t>(b)], b);
                    });
  for (size_t k = 0; k < most; ++k) {
    columns.add(program_->cost[static_cast<size_t>(useful[k])], take(useful[k]));
  }
  const double dual_value =
      std::inner_product(program_->rhs.begin(), program_->rhs.end(), u.begin(), 0.0);
  return quarn::Answer::bound(dual_value +
                              std::max(shared_term(reduced), scaling_term(reduced, dual_value)));
}

namespace {

constexpr int64_t kCities = 12, kBase = 0;
constexpr int64_t kHorizon = 4 * 24 * 60;  // minutes
constexpr int64_t kMostFlights = 8;
constexpr int64_t kShortestStop = 30, kLongestStop = 300;

struct Flight {
  int64_t from, to, departure, arrival;
};

/// Rotations from the base and back until there are so many flights.
std::vector<std::vector<int32_t>> make_flights(int32_t number, examples::Lehmer &random,
                                               std::vector<Flight> &flights) {
  std::vector<std::vector<int32_t>> rotations;
  while (static_cast<int32_t>(flights.size()) < number) {
    const int64_t left = number - static_cast<int64_t>(flights.size());
    const int64_t length = std::min(left, random.draw(2, kMostFlights));
    int64_t time = random.draw(0, kHorizon / 2), city = kBase;
    rotations.emplace_back();
    for (int64_t k = 1; k <= length; ++k) {
      int64_t to = k == length ? kBase : random.draw(1, kCities - 1);
      if (to == city) to = (to + 1) % kCities;
      const int64_t arrival = time + 60 + 20 * std::abs(to - city);
      rotations.back().push_back(static_cast<int32_t>(flights.size()));
      flights.push_back({city, to, time, arrival});
      time = arrival + random.draw(kShortestStop, kLongestStop);
      city = to;
    }
  }
  return rotations;
}

/// A random rotation through flights that exist; empty when it does not come back.
std::vector<int32_t> draw_rotation(const std::vector<Flight> &flights, examples::Lehmer &random) {
  std::vector<int32_t> rotation;
  std::vector<int32_t> next;
  int64_t city = kBase, earliest = 0, latest = kHorizon;
  for (int64_t k = 0; k < kMostFlights; ++k) {
    next.clear();
    for (size_t f = 0; f < flights.size(); ++f) {
      const Flight &flight = flights[f];
      if (flight.from == city && flight.departure >= earliest && flight.departure <= latest) {
        next.push_back(static_cast<int32_t>(f));
      }
    }
    if (next.empty()) return {};
    rotation.push_back(
        next[static_cast<size_t>(random.draw(0, static_cast<int64_t>(next.size()) - 1))]);
    const Flight &flight = flights[static_cast<size_t>(rotation.back())];
    city = flight.to;
    earliest = flight.arrival + kShortestStop;
    latest = flight.arrival + 4 * kLongestStop;
    if (city == kBase) return rotation;
  }
  return {};
}

/// Minutes away from the base, at least a guarantee for the day, and what stops cost.
double cost_of(const std::vector<int32_t> &rotation, const std::vector<Flight> &flights) {
  const Flight &first = flights[static_cast<size_t>(rotation.front())];
  const Flight &last = flights[static_cast<size_t>(rotation.back())];
  const int64_t away = last.arrival - first.departure;
  int64_t flying = 0;
  for (const int32_t f : rotation) {
    flying += flights[static_cast<size_t>(f)].arrival - flights[static_cast<size_t>(f)].departure;
  }
  return static_cast<double>(std::max(int64_t{360}, std::max(2 * flying, away)) + 60);
}

}  // namespace

LinearProgram crew_program(int32_t rows, int32_t columns, int64_t seed) {
  examples::Lehmer random(seed);
  std::vector<Flight> flights;
  LinearProgram program;
  program.name = "crew" + std::to_string(rows) + "_s" + std::to_string(seed);
  for (int32_t i = 0; i < rows; ++i) program.add_row(kEqual, 1.0);
  std::set<std::vector<int32_t>> seen;
  const auto add = [&](const std::vector<int32_t> &rotation) {
    if (rotation.empty() || !seen.insert(rotation).second) return;
    std::vector<std::pair<int32_t, double>> entries;
    for (const int32_t f : rotation) entries.emplace_back(f, 1.0);
    program.add_column(cost_of(rotation, flights), 0.0, 1.0, entries);
  };
  for (const auto &rotation : make_flights(rows, random, flights)) add(rotation);
  // Drawing ends, too, when new rotations have become rare.
  for (int64_t k = 0; k < 50 * columns && program.columns() < columns; ++k) {
    add(draw_rotation(flights, random));
  }
  return program;
}

namespace {

using Entries = std::vector<std::pair<int32_t, double>>;

Entries ones(const std::set<int32_t> &rows) {
  Entries entries;
  for (const int32_t i : rows) entries.emplace_back(i, 1.0);
  return entries;
}

void add_stretch(int32_t from, int32_t length, int32_t rows, std::set<int32_t> &stretches) {
  for (int32_t i = from; i < std::min(rows, from + length); ++i) stretches.insert(i);
}

}  // namespace

LinearProgram rail_program(int32_t rows, int32_t columns, int64_t seed) {
  constexpr int64_t kLongest = 6, kNear = 20;
  examples::Lehmer random(seed);
  LinearProgram program;
  program.name = "rail" + std::to_string(rows) + "_s" + std::to_string(seed);
  for (int32_t i = 0; i < rows; ++i) program.add_row(kGreaterEqual, 1.0);
  for (int32_t j = 0; j < columns; ++j) {
    // The first ones see to it that every trip is covered.
    const auto first = j < rows ? j : static_cast<int32_t>(random.draw(0, rows - 1));
    const auto second = static_cast<int32_t>(random.draw(0, rows - 1));
    std::set<int32_t> covered;
    add_stretch(first, static_cast<int32_t>(random.draw(1, kLongest)), rows, covered);
    add_stretch(second, static_cast<int32_t>(random.draw(1, kLongest)), rows, covered);
    const bool is_near = std::abs(first - second) <= kNear;
    program.add_column(is_near ? 1.0 : 2.0, 0.0, 1.0, ones(covered));
  }
  return program;
}

LinearProgram scattered_program(RowType type, int32_t rows, int32_t columns, double share,
                                int64_t seed) {
  examples::Lehmer random(seed);
  const auto most = static_cast<int64_t>(std::lround(2.0 * share * rows)) - 1;
  LinearProgram program;
  program.name =
      (type == kEqual ? "part" : "scp") + std::to_string(rows) + "_s" + std::to_string(seed);
  for (int32_t i = 0; i < rows; ++i) program.add_row(type, 1.0);
  for (int32_t next = 0; program.columns() < columns;) {
    const auto length = static_cast<int32_t>(random.draw(1, most));
    std::set<int32_t> places;
    if (next < rows) add_stretch(next, length, rows, places);  // the hidden solution
    const size_t entries = next < rows ? 1 : static_cast<size_t>(length);
    next += length;
    while (places.size() < entries) {
      places.insert(static_cast<int32_t>(random.draw(0, rows - 1)));
    }
    const int64_t unit = random.draw(1, 100);
    const int64_t cost = type == kEqual ? 100 + length * (50 + unit) : unit;
    program.add_column(static_cast<double>(cost), 0.0, 1.0, ones(places));
  }
  return program;
}

}  // namespace benchmarks
