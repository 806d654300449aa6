// Pricing in blocks within a process: the same run whoever prices, faults, ends before all blocks
// are priced.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <set>
#include <thread>

#include "tests/blocks/program_blocks.h"

namespace {

using blocks_test::fingerprint;
using blocks_test::ProgramBlocks;
using masters::Program;
using masters::ProgramMaster;
using quarn::BlockAnswer;
using quarn::BlockColumns;
using quarn::BlockDuals;
using quarn::BlockError;
using quarn::BlockOptions;
using quarn::BlockPricer;
using quarn::LocalTeam;
using quarn::Mistake;
using quarn::Result;
using quarn::Sense;
using quarn::Settings;
using quarn::Status;

Program random_blocks(uint32_t seed, int blocks) {
  masters::Features features;
  features.blocks = blocks;
  return masters::random_program(seed, seed % 2 == 0 ? Sense::minimize : Sense::maximize, features);
}

/// Teams of one thread and, where there are threads, of two and three.
std::vector<int> team_sizes() {
  return quarn::has_block_threads() ? std::vector<int>{1, 2, 3} : std::vector<int>{1};
}

/// Sleeps that differ from block to block and from round to round, so that threads finish in
/// another order.
void dawdle(size_t block, const BlockDuals &duals) {
  const auto turn = (block * 7 + static_cast<size_t>(duals.iteration) * 3) % 5;
  std::this_thread::sleep_for(std::chrono::microseconds(40 * turn));
}

struct Outcome {
  Result result;
  std::string bits;
  quarn::BlockStatistics statistics;
};

Outcome run(const Program &program, int threads, const BlockOptions &options = {},
            const Settings &settings = {}) {
  ProgramMaster target(program);
  ProgramBlocks blocks(program);
  blocks.before = dawdle;
  LocalTeam team(threads);
  BlockPricer pricer(blocks, team, options);
  Outcome outcome;
  outcome.result =
      target.master().solve(pricer.oracle(blocks.rows(target), program.sense), settings);
  outcome.bits = fingerprint(outcome.result, target.master());
  outcome.statistics = pricer.statistics();
  return outcome;
}

void expect_value(const Result &result, double value) {
  ASSERT_EQ(result.status, Status::optimal) << result.message;
  const double allowed = 1e-5 * (1.0 + std::fabs(value));  // the gap is relative to the value
  EXPECT_NEAR(result.lower_bound, value, allowed);
  EXPECT_NEAR(result.upper_bound, value, allowed);
}

TEST(BlockPricing, IsTheSameRunByAnyNumberOfThreads) {
  for (uint32_t seed = 0; seed < 20; ++seed) {
    SCOPED_TRACE(seed);
    const Program program = random_blocks(seed, 1 + static_cast<int>(seed));
    const Outcome serial = run(program, 1);
    expect_value(serial.result, program.value);
    EXPECT_EQ(serial.statistics.partial_rounds, 0);
    EXPECT_EQ(serial.statistics.blocks_priced,
              serial.statistics.rounds * static_cast<int64_t>(seed + 2));
    for (const int threads : team_sizes()) {
      EXPECT_EQ(run(program, threads).bits, serial.bits) << threads << " threads";
    }
  }
}

TEST(BlockPricing, EndsPartialRoundsWithoutABoundAndTheRunWithOne) {
  for (uint32_t seed = 0; seed < 20; ++seed) {
    SCOPED_TRACE(seed);
    const Program program = random_blocks(seed, 12);
    BlockOptions options;
    options.enough_columns = 1 + seed % 4;
    options.complete_every = seed % 3 == 0 ? 1000 : 4;
    for (const int threads : team_sizes()) {
      const Outcome partial = run(program, threads, options);
      expect_value(partial.result, program.value);
      EXPECT_GT(partial.statistics.partial_rounds, 0);
    }
  }
}

TEST(BlockPricing, PricesEveryBlockWithinAFewPartialRounds) {
  const Program program = random_blocks(3, 12);
  ProgramBlocks blocks(program);
  std::vector<size_t> priced;
  blocks.before = [&](size_t block, const BlockDuals &) { priced.push_back(block); };
  LocalTeam team;
  BlockOptions options;
  options.enough_columns = 3;
  options.complete_every = 1000;
  BlockPricer pricer(blocks, team, options);
  BlockDuals duals;
  duals.values.assign(program.rows.size(), program.sense == Sense::minimize ? 1e3 : -1e3);
  for (int round = 0; round < 13; ++round) {
    const quarn::BlockRound found = pricer.price(duals);
    EXPECT_FALSE(found.proved);
    EXPECT_LT(found.priced, blocks.blocks());
  }
  EXPECT_EQ(std::set<size_t>(priced.begin(), priced.end()).size(), blocks.blocks());
}

TEST(BlockPricing, EndsWithTheNameOfTheBlockThatThrew) {
  const Program program = random_blocks(5, 9);
  for (const int threads : team_sizes()) {
    ProgramMaster target(program);
    ProgramBlocks blocks(program);
    LocalTeam team(threads);
    BlockPricer pricer(blocks, team);
    const quarn::Oracle oracle = pricer.oracle(blocks.rows(target), program.sense);
    blocks.before = [](size_t block, const BlockDuals &duals) {
      if (block == 4 && duals.iteration == 3) throw std::runtime_error("no more memory");
    };
    try {
      target.master().solve(oracle);
      FAIL();
    } catch (const BlockError &error) {
      EXPECT_STREQ(error.what(), "part 4: no more memory");
      EXPECT_EQ(error.block(), 4U);
    }
    // The pricer and the master go on from there.
    blocks.before = nullptr;
    expect_value(target.master().solve(oracle), program.value);
  }
}

TEST(BlockPricing, NamesTheBlockOfAColumnThatCannotBe) {
  struct Wrong : quarn::BlockOracle {
    size_t blocks() const override { return 2; }
    BlockAnswer price(size_t block, const BlockDuals &, BlockColumns &columns) override {
      columns.add(1.0, {{0, 1.0}});
      if (block == 1) columns.add(2.0, {{0, 1.0}, {1, std::nan("")}});
      return BlockAnswer::term(0.0);
    }
  };
  Wrong blocks;
  LocalTeam team;
  BlockPricer pricer(blocks, team);
  try {
    pricer.price(BlockDuals());
    FAIL();
  } catch (const BlockError &error) {
    EXPECT_STREQ(error.what(), "block 1: a column's entry in row 1 is nan");
  }
  EXPECT_THROW(LocalTeam(0), Mistake);
  EXPECT_THROW(pricer.oracle({}, Sense::minimize), Mistake);
  EXPECT_THROW(pricer.oracle(BlockPricer::Combine()), Mistake);
}

// Time and interrupt are looked at between blocks, and by a block that asks. However late the
// caller comes to look, its threads do not run out of blocks before.
TEST(BlockPricing, EndsBetweenBlocksAndWithinThoseThatAsk) {
  const Program program = random_blocks(8, 30);
  for (const int threads : team_sizes()) {
    for (const bool asks : {false, true}) {
      ProgramMaster target(program);
      ProgramBlocks blocks(program);
      std::atomic<int> priced{0};
      std::atomic<bool> interrupt{false}, seen{false};
      const auto caller = std::this_thread::get_id();
      blocks.before = [&](size_t, const BlockDuals &duals) {
        if (duals.iteration < 2) return;
        if (++priced == 3) interrupt = true;
        const bool waits = asks || std::this_thread::get_id() != caller;
        while (waits && interrupt && !(asks ? duals.should_stop() : seen.load())) {
          std::this_thread::yield();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
      };
      LocalTeam team(threads);
      BlockPricer pricer(blocks, team);
      Settings settings;
      settings.interrupt = [&] {
        if (interrupt) seen = true;
        return interrupt.load();
      };
      const Result result =
          target.master().solve(pricer.oracle(blocks.rows(target), program.sense), settings);
      EXPECT_EQ(result.status, Status::stopped);
      EXPECT_LT(priced, 31);
      EXPECT_EQ(pricer.statistics().partial_rounds, 1);
    }
  }
}

TEST(BlockPricing, LetsOutWhatTheInterruptThrows) {
  const Program program = random_blocks(8, 6);
  for (const int threads : team_sizes()) {
    ProgramBlocks blocks(program);
    LocalTeam team(threads);
    BlockPricer pricer(blocks, team);
    BlockDuals duals;
    duals.values.assign(program.rows.size(), 0.0);
    std::atomic<bool> asked{false};
    blocks.before = [&](size_t, const BlockDuals &) {
      while (!asked) std::this_thread::yield();
    };
    const auto throws = [&]() -> bool {
      asked = true;
      throw std::domain_error("stop");
    };
    EXPECT_THROW(pricer.price(duals, throws), std::domain_error);
    EXPECT_TRUE(pricer.price(duals).complete);
  }
}

}  // namespace
