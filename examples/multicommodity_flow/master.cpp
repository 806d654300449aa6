#include "examples/multicommodity_flow/master.h"

#include <algorithm>
#include <limits>
#include <sstream>
#include <string>

#include "examples/multicommodity_flow/origin_blocks.h"

namespace multicommodity_flow {

// Reduced costs are differences of numbers of the size of v; below this share of it they are
// rounding.
constexpr double kAccuracy = 1e-12;
// One column a round leaves the duals unsettled for long. The nearer the divisor is to 1, the
// closer they stay to the analytic centre of where optimal ones can be; above 1 every round still
// closes the gap or brings a column.
constexpr double kCentralDivisor = 1.05;
constexpr const char *kArcName = "arc ";

double default_divisor(Grouping grouping) {
  return grouping == Grouping::kAll ? kCentralDivisor : 0.0;
}

// Formulation

static quarn::Row add_arc_row(quarn::Master &master, const Network &network, int32_t arc,
                              std::vector<std::pair<quarn::Column, double>> entries) {
  quarn::RowOptions options;
  options.name = kArcName + std::to_string(arc + 1);
  options.entries = std::move(entries);
  const auto capacity = static_cast<double>(network.arcs[static_cast<size_t>(arc)].capacity);
  return master.add_row(quarn::RowSense::at_most, capacity, options);
}

quarn::Master make_master(const Network &network, const OracleSettings &settings) {
  quarn::Master master;
  const bool all_rows = settings.all_rows || network.unserved_cost == 0;
  for (int32_t a = 0; all_rows && a < network.arc_count(); ++a) {
    add_arc_row(master, network, a, {});
  }
  const FlowRouter router(network, settings.grouping);
  std::vector<quarn::Row> blocks;
  for (int32_t b = 1; b <= router.blocks(); ++b) {
    blocks.push_back(master.add_block(quarn::RowSense::equal, 1.0, "block " + std::to_string(b)));
  }
  for (const FlowColumn &column : router.unserved()) {
    const quarn::Row &block = blocks[static_cast<size_t>(column.block)];
    master.add_column(column.cost, {{block, 1.0}}, column);
  }
  return master;
}

std::vector<double> first_duals(const quarn::Master &master) {
  return std::vector<double>(master.rows().size(), 0.0);
}

std::vector<std::pair<int32_t, quarn::Row>> rows_of_arcs(const quarn::Master &master) {
  std::vector<std::pair<int32_t, quarn::Row>> rows;
  for (const quarn::Row &row : master.rows()) {
    if (row.is_block()) continue;
    rows.push_back({std::stoi(row.name().substr(std::string(kArcName).size())) - 1, row});
  }
  return rows;
}

examples::ColumnText column_text() {
  const auto write = [](const quarn::Column &column) {
    const auto &object = column.get<FlowColumn>();
    std::ostringstream text;
    text.precision(std::numeric_limits<double>::max_digits10);
    text << object.block << ' ' << object.cost;
    for (const ArcFlow &flow : object.flow) text << ' ' << flow.arc << ' ' << flow.amount;
    return text.str();
  };
  const auto read = [](const std::string &text) {
    FlowColumn object{};
    std::istringstream words(text);
    words >> object.block >> object.cost;
    for (ArcFlow flow{}; words >> flow.arc >> flow.amount;) object.flow.push_back(flow);
    return std::any(object);
  };
  return {write, read};
}

Oracle::Oracle(const Network &network, const OracleSettings &settings, quarn::Master &master,
               quarn::BlockPricer *pricer)
    : network_(network),
      settings_(settings),
      master_(master),
      pricer_(pricer),
      router_(network, settings.grouping),
      columns_(network.arc_count()),
      arc_rows_(network.arcs.size()) {
  for (const auto &[arc, row] : rows_of_arcs(master)) arc_rows_[static_cast<size_t>(arc)] = row;
  for (const quarn::Row &row : master.rows()) {
    if (row.is_block()) block_rows_.push_back(row);
  }
  for (const quarn::Column &column : master.columns()) {
    if (columns_.add(column.get<FlowColumn>())) handles_.push_back(column);
  }
}

// Pricing

quarn::Answer Oracle::operator()(const quarn::Duals &duals, quarn::Columns &columns) {
  const quarn::Answer answer = duals.iteration() == 0 ? first_columns() : price(duals);
  add_missing_rows();
  send_columns(columns);
  return answer;
}

/// Makes columns for the first restricted master, and the bound (3) for u = 0.
quarn::Answer Oracle::first_columns() {
  double bound = 0.0;
  for (RoutedBlock &block : router_.route(router_.arc_costs())) {
    bound += block.length;
    columns_.add(std::move(block.column));
  }
  router_.negotiate(settings_.first_passes,
                    [this](FlowColumn column) { columns_.add(std::move(column)); });
  return quarn::Answer::bound(bound);
}

std::vector<RoutedBlock> Oracle::route(const quarn::Duals &duals,
                                       const std::vector<double> &lengths) {
  if (pricer_ == nullptr) return router_.route(lengths);
  return route_by_blocks(*pricer_, lengths, [&duals] { return duals.out_of_time(); });
}

/// Each block's column of least reduced cost (2), the least first; none when the time is over.
std::vector<std::pair<double, RoutedBlock>> Oracle::routed_by_reduced_cost(
    const quarn::Duals &duals) {
  std::vector<double> lengths = router_.arc_costs();
  for (size_t a = 0; a < lengths.size(); ++a) {
    if (arc_rows_[a]) lengths[a] -= duals[arc_rows_[a]];
  }
  std::vector<std::pair<double, RoutedBlock>> routed;
  for (RoutedBlock &block : route(duals, lengths)) {
    const double v = duals[block_rows_[static_cast<size_t>(block.column.block)]];
    routed.push_back({block.length - v, std::move(block)});
  }
  std::sort(routed.begin(), routed.end(),
            [](const auto &x, const auto &y) { return x.first < y.first; });
  return routed;
}

/// Makes the columns of negative reduced cost; the least ones of all blocks prove the bound (3).
quarn::Answer Oracle::price(const quarn::Duals &duals) {
  std::vector<std::pair<quarn::Row, double>> least;
  int32_t added = 0;
  for (auto &[reduced_cost, block] : routed_by_reduced_cost(duals)) {
    least.push_back({block_rows_[static_cast<size_t>(block.column.block)], reduced_cost});
    const bool full = settings_.columns_per_call > 0 && added == settings_.columns_per_call;
    if (full || reduced_cost >= -kAccuracy * block.length) continue;
    if (columns_.add(std::move(block.column))) ++added;
  }
  if (least.empty()) return quarn::Answer::heuristic();
  return quarn::Answer::best_reduced_costs(std::move(least));
}

/// Adds the rows that became necessary, with their entries in the columns that the master has.
void Oracle::add_missing_rows() {
  std::vector<std::vector<std::pair<quarn::Column, double>>> entries(arc_rows_.size());
  std::vector<bool> missing(arc_rows_.size());
  for (size_t a = 0; a < arc_rows_.size(); ++a) {
    const auto capacity = static_cast<double>(network_.arcs[a].capacity);
    missing[a] = !arc_rows_[a] && columns_.potential_load(static_cast<int32_t>(a)) > capacity;
  }
  for (size_t j = 0; j < handles_.size(); ++j) {
    if (!handles_[j]) continue;
    for (const ArcFlow &flow : columns_[static_cast<int32_t>(j)].flow) {
      const auto arc = static_cast<size_t>(flow.arc);
      if (missing[arc]) entries[arc].push_back({handles_[j], flow.amount});
    }
  }
  for (size_t a = 0; a < arc_rows_.size(); ++a) {
    if (!missing[a]) continue;
    arc_rows_[a] = add_arc_row(master_, network_, static_cast<int32_t>(a), std::move(entries[a]));
  }
}

/// Sends the columns that the master does not have yet. It takes those for equal that differ only
/// on arcs without a row; they are forgotten, to be found again when a row tells them apart.
void Oracle::send_columns(quarn::Columns &columns) {
  std::vector<quarn::Entry> entries;
  for (auto j = static_cast<int32_t>(handles_.size()); j < columns_.size(); ++j) {
    const FlowColumn &column = columns_[j];
    entries.clear();
    for (const ArcFlow &flow : column.flow) {
      const quarn::Row &row = arc_rows_[static_cast<size_t>(flow.arc)];
      if (row) entries.push_back({row, flow.amount});
    }
    entries.push_back({block_rows_[static_cast<size_t>(column.block)], 1.0});
    const int32_t before = columns.added();
    handles_.push_back(columns.add(column.cost, entries, column));
    if (columns.added() > before) continue;
    handles_.back() = quarn::Column();
    columns_.forget(j);
  }
}

}  // namespace multicommodity_flow
