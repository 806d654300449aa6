#include "block_pricing/block_pricer.hpp"

#include <algorithm>
#include <chrono>
#include <limits>
#include <map>

#include "block_pricing/round.hpp"

namespace quarn {
inline namespace v1 {

// Of the latest round in a block's seconds: half of them, so that a single slow round is forgotten
// after a few others.
constexpr double kLatestWeight = 0.5;

static double seconds_since(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

static size_t checked_count(const BlockOracle &oracle) {
  const size_t blocks = oracle.blocks();
  if (blocks == 0) throw Mistake("pricing in blocks: there are none");
  if (blocks > std::numeric_limits<uint32_t>::max()) {
    throw Mistake("pricing in " + std::to_string(blocks) + " blocks: 2^32 - 1 are the most");
  }
  return blocks;
}

BlockPricer::BlockPricer(BlockOracle &oracle, BlockTeam &team, const BlockOptions &options)
    : oracle_(oracle), team_(team), options_(options) {
  if (team.rank() != 0) throw Mistake("the pricer of blocks lives on rank 0, the others serve");
  if (options.complete_every < 1) throw Mistake("complete rounds every 0 rounds or less");
  costs_.assign(checked_count(oracle), 0.0);
  last_priced_.assign(costs_.size(), 0);
}

// A round

bool BlockPricer::may_be_partial() const {
  return options_.enough_columns > 0 && (statistics_.rounds + 1) % options_.complete_every != 0;
}

BlockRound BlockPricer::price(const BlockDuals &duals, const std::function<bool()> &out_of_time) {
  const auto start = std::chrono::steady_clock::now();
  const detail::RoundTask task = {
      oracle_,    duals, costs_, last_priced_, may_be_partial() ? options_.enough_columns : 0,
      out_of_time};
  detail::RoundReport report;
  team_.price(task, &report);
  if (report.failure) throw BlockError(report.failure->block, report.failure->text);
  ++statistics_.rounds;
  take_costs(report);
  const auto merging = std::chrono::steady_clock::now();
  BlockRound round;
  merge(report, &round);
  statistics_.merging_seconds += seconds_since(merging);
  if (!round.complete) ++statistics_.partial_rounds;
  statistics_.blocks_priced += static_cast<int64_t>(round.priced);
  statistics_.columns += static_cast<int64_t>(round.columns.size());
  statistics_.bytes_sent += report.bytes_sent;
  statistics_.bytes_received += report.bytes_received;
  statistics_.reassignments += report.reassigned ? 1 : 0;
  statistics_.announcing_seconds += report.announcing_seconds;
  statistics_.receiving_seconds += report.receiving_seconds;
  statistics_.waiting_seconds += report.waiting_seconds;
  statistics_.seconds += seconds_since(start);
  return round;
}

BlockRound BlockPricer::price(const Duals &duals) {
  return price(BlockDuals(duals, note_), [&duals] { return duals.out_of_time(); });
}

void BlockPricer::take_costs(const detail::RoundReport &report) {
  for (const detail::Batch &batch : report.batches) {
    for (const detail::Outcome &outcome : batch.outcomes) {
      double &cost = costs_[outcome.block];
      cost = cost > 0.0 ? cost + kLatestWeight * (outcome.seconds - cost) : outcome.seconds;
      last_priced_[outcome.block] = statistics_.rounds;
      statistics_.block_seconds += outcome.seconds;
    }
  }
}

/// Puts answers and columns in the order of the blocks, whoever priced them.
void BlockPricer::merge(const detail::RoundReport &report, BlockRound *round) {
  struct Source {
    const detail::Batch *batch = nullptr;
    const detail::Outcome *outcome = nullptr;
  };
  std::vector<Source> sources(costs_.size());
  size_t columns = 0, entries = 0;
  for (const detail::Batch &batch : report.batches) {
    for (const detail::Outcome &outcome : batch.outcomes) {
      sources[outcome.block] = {&batch, &outcome};
      ++round->priced;
    }
    columns += batch.columns.size();
    entries += batch.columns.rows().size();
  }
  round->columns.reserve(columns, entries, 0);
  round->answers.resize(costs_.size());
  round->first_column.assign(1, 0);
  for (size_t block = 0; block < sources.size(); ++block) {
    if (sources[block].outcome != nullptr) {
      const detail::Outcome &outcome = *sources[block].outcome;
      round->answers[block] = outcome.answer;
      round->columns.append(sources[block].batch->columns, outcome.first_column,
                            size_t{outcome.first_column} + outcome.columns);
    }
    round->first_column.push_back(round->columns.size());
  }
  round->complete = round->priced == costs_.size();
  round->proved =
      std::all_of(round->answers.begin(), round->answers.end(), [](const BlockAnswer &answer) {
        return answer.kind == BlockAnswer::Kind::best_reduced_cost ||
               answer.kind == BlockAnswer::Kind::term;
      });
}

int32_t BlockPricer::add_columns(const BlockRound &round, Columns &columns) const {
  const BlockColumns &found = round.columns;
  std::vector<std::any> data(found.size());
  for (size_t block = 0; block + 1 < round.first_column.size(); ++block) {
    for (size_t j = round.first_column[block]; j < round.first_column[block + 1]; ++j) {
      data[j] = oracle_.column_data(block, found[j].data);
    }
  }
  return columns.add_many(found.size(), found.costs().data(), found.starts().data(),
                          found.rows().data(), found.values().data(), std::move(data));
}

// Answers

/// What complete answers prove for the block rows.
static Answer combine_reduced_costs(const BlockOracle &oracle, const BlockRound &round,
                                    const std::vector<Row> &rows, Sense sense) {
  const double sign = sense == Sense::minimize ? 1.0 : -1.0;
  std::map<Row, double> best;
  bool proved = true;
  for (size_t block = 0; block < rows.size(); ++block) {
    const BlockAnswer &answer = round.answers[block];
    if (answer.kind == BlockAnswer::Kind::term) {
      throw Mistake(oracle.name(block) +
                    " answers with a term of a bound where a best reduced cost is expected");
    }
    if (!rows[block]) {
      proved = proved && sign * answer.value >= 0.0;
      continue;
    }
    const auto [place, first] = best.emplace(rows[block], answer.value);
    if (!first && sign * answer.value < sign * place->second) place->second = answer.value;
  }
  if (!proved) return Answer::heuristic();
  std::vector<std::pair<Row, double>> values;
  for (const Row &row : rows) {
    const auto place = best.find(row);
    if (place == best.end()) continue;
    values.push_back({row, place->second});
    best.erase(place);
  }
  return Answer::best_reduced_costs(std::move(values));
}

Oracle BlockPricer::oracle(std::vector<Row> rows, Sense sense) {
  if (rows.size() != costs_.size()) {
    throw Mistake(std::to_string(rows.size()) + " block rows for " + std::to_string(costs_.size()) +
                  " blocks");
  }
  return oracle([this, rows = std::move(rows), sense](const Duals &, const BlockRound &round) {
    return combine_reduced_costs(oracle_, round, rows, sense);
  });
}

Oracle BlockPricer::oracle(Combine combine) {
  if (!combine) throw Mistake("the function that combines the answers of blocks is empty");
  return [this, combine = std::move(combine)](const Duals &duals, Columns &columns) {
    const BlockRound round = price(duals);
    add_columns(round, columns);
    return round.proved ? combine(duals, round) : Answer::heuristic();
  };
}

}  // namespace v1
}  // namespace quarn
