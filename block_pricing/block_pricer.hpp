/**
 * Pricing in blocks, by one thread, several, or the ranks of an MPI job, with the same run as
 * result:
 *
 *   struct Plans : quarn::BlockOracle { ... };         // blocks(), price(block, duals, columns)
 *   Plans plans(instance);
 *   quarn::LocalTeam team(2);
 *   quarn::BlockPricer pricer(plans, team);
 *   master.solve(pricer.oracle(convexity_rows, quarn::Sense::minimize));
 *
 * docs/block_pricing.md is the page about it, block_pricing/mpi_team.hpp the team of an MPI job.
 */
#ifndef BLOCK_PRICING_BLOCK_PRICER_HPP
#define BLOCK_PRICING_BLOCK_PRICER_HPP

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "block_pricing/block_oracle.hpp"
#include "block_pricing/block_team.hpp"
#include "quarn_cpp/pricing.hpp"

namespace quarn {
inline namespace v1 {

/// How rounds are priced.
struct BlockOptions {
  /// When not 0, a round may end as soon as it has this many columns. It then proves no bound, and
  /// which blocks were priced depends on their speed, so that two runs with several threads or
  /// ranks may differ. Blocks that were left out come first in the next round, and a round that
  /// does not get enough prices all of them: the last ones of a run do.
  size_t enough_columns = 0;
  /// With partial rounds: each so-manieth round prices all blocks in any case, for a bound.
  int32_t complete_every = 5;
};

/// What a round found.
struct QUARN_CPP_PUBLIC BlockRound {
  /// By block; Kind::nothing for those that were not priced.
  std::vector<BlockAnswer> answers;
  /// All columns, in the order of the blocks.
  BlockColumns columns;
  /// [blocks + 1] the first column of each block in `columns`.
  std::vector<size_t> first_column;
  size_t priced = 0;      ///< blocks
  bool complete = false;  ///< all blocks were priced
  /// All blocks were priced, none of them is unbounded or answered with nothing: only then there
  /// can be a bound.
  bool proved = false;
};

/// What rounds took, summed up.
struct BlockStatistics {
  int32_t rounds = 0;
  int32_t partial_rounds = 0;  ///< of which without all blocks: they proved no bound
  int64_t blocks_priced = 0;
  int64_t columns = 0;
  int64_t bytes_sent = 0, bytes_received = 0;  ///< by rank 0, to and from all others
  int32_t reassignments = 0;                   ///< blocks were handed out afresh
  double seconds = 0.0;                        ///< of rounds, until their columns are merged
  double block_seconds = 0.0;                  ///< within BlockOracle::price, over all threads
  // Parts of the seconds that rank 0 spends on the others, all 0 within one process:
  double announcing_seconds = 0.0;  ///< handing blocks out, sending duals
  double receiving_seconds = 0.0;   ///< taking reports in, also between its own blocks
  double waiting_seconds = 0.0;     ///< for reports, after its own blocks
  double merging_seconds = 0.0;     ///< putting columns and answers in order
};

/**
 * Has the blocks of an oracle priced by a team, round after round. Blocks are handed out by the
 * time that they took before, longest first; columns and answers come in the order of the blocks,
 * so a complete round is the same, bit for bit, whoever priced it.
 *
 * Lives on the rank of the master; oracle and team have to outlive it. Used by one thread at a
 * time.
 */
class QUARN_CPP_PUBLIC BlockPricer {
 public:
  BlockPricer(BlockOracle &oracle, BlockTeam &team, const BlockOptions &options = {});

  /// What makes the answer of a round that is proved.
  using Combine = std::function<Answer(const Duals &duals, const BlockRound &round)>;

  /**
   * The oracle for a master with block rows: `rows` has one for each block, its convexity row.
   * Adds the columns of a round, and answers with the best reduced costs when the round is proved,
   * else with nothing. Several blocks may have the same row: the best of them counts. Blocks
   * without a row (a default-made handle) have rays only: one that improves leaves the round
   * without a bound. A block that answers with a term is a Mistake.
   *
   * The pricer has to outlive the oracle; so for the other one.
   */
  Oracle oracle(std::vector<Row> rows, Sense sense);
  /// The oracle for bounds that the caller combines. A round that is not proved is answered with
  /// nothing, `combine` is not asked.
  Oracle oracle(Combine combine);

  /// The parts of an oracle, for callers with one of their own.

  /// A round. `out_of_time` is looked at between blocks, by the calling thread. Throws BlockError
  /// for a block that threw.
  BlockRound price(const BlockDuals &duals, const std::function<bool()> &out_of_time = {});
  /// A round at the duals of a call, with the note.
  BlockRound price(const Duals &duals);
  /// Adds the columns of a round to the master; returns how many were new.
  int32_t add_columns(const BlockRound &round, Columns &columns) const;

  /// BlockDuals::note of the rounds to come.
  void set_note(std::string note) { note_ = std::move(note); }

  const BlockStatistics &statistics() const { return statistics_; }
  /// Seconds that each block took, over the last rounds; 0 for blocks not priced yet.
  const std::vector<double> &costs() const { return costs_; }

 private:
  bool may_be_partial() const;
  void merge(const detail::RoundReport &report, BlockRound *round);
  void take_costs(const detail::RoundReport &report);

  BlockOracle &oracle_;
  BlockTeam &team_;
  BlockOptions options_;
  std::string note_;
  std::vector<double> costs_;
  std::vector<int32_t> last_priced_;  ///< round in which each block was priced last
  BlockStatistics statistics_;
};

}  // namespace v1
}  // namespace quarn

#endif
