// Pricing in blocks: how much faster several threads are, and what a round costs over ranks. See
// README.md.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <vector>

#include "benchmarks/synthetic_blocks.h"
#ifdef QUARN_HAVE_BLOCKS_MPI
#include "block_pricing/mpi_team.hpp"
#endif

namespace {

using benchmarks::SyntheticBlocks;
using benchmarks::SyntheticShape;
using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

struct Options {
  SyntheticShape shape;
  std::vector<size_t> blocks = {100}, rows = {100};
  std::vector<int> threads = {1};
  int repeats = 5;
};

// Whole runs

struct WholeRun {
  quarn::Result result;
  quarn::BlockStatistics statistics;
};

WholeRun whole_run(const SyntheticShape &shape, int threads) {
  SyntheticBlocks blocks(shape);
  std::vector<quarn::Row> rows;
  quarn::Master master = blocks.make_master(&rows);
  quarn::LocalTeam team(threads);
  quarn::BlockPricer pricer(blocks, team);
  WholeRun run;
  run.result = master.solve(pricer.oracle(rows, quarn::Sense::minimize));
  run.statistics = pricer.statistics();
  return run;
}

/// The fastest of the repeats; false when a run differs from the first.
bool fastest_run(const Options &options, int threads, const quarn::Result &expected,
                 WholeRun *fastest) {
  for (int k = 0; k < options.repeats; ++k) {
    WholeRun run = whole_run(options.shape, threads);
    if (run.result.lower_bound != expected.lower_bound ||
        run.result.history.size() != expected.history.size()) {
      return false;
    }
    if (k == 0 || run.result.seconds < fastest->result.seconds) *fastest = std::move(run);
  }
  return true;
}

int compare_threads(const Options &options) {
  SyntheticShape free = options.shape;
  free.seconds = 0.0;
  const quarn::Result expected = whole_run(free, 1).result;
  std::printf("threads,blocks,rows,rounds,seconds,pricing_share,speedup,efficiency\n");
  double serial = 0.0, share = 0.0;
  for (const int threads : options.threads) {
    WholeRun run;
    if (!fastest_run(options, threads, expected, &run)) {
      std::fprintf(stderr, "the run by %d threads is another one\n", threads);
      return 1;
    }
    const double seconds = run.result.seconds;
    if (serial == 0.0) {
      serial = seconds * threads;
      share = run.statistics.block_seconds / seconds / threads;
    }
    const double speedup = serial / seconds;
    std::printf("%d,%zu,%zu,%d,%.4f,%.4f,%.3f,%.3f\n", threads, options.shape.blocks,
                options.shape.rows, static_cast<int>(run.statistics.rounds), seconds, share,
                speedup, speedup / threads);
    std::fflush(stdout);
  }
  return 0;
}

// Rounds

/// A team for each shape, over all ranks where the program runs under mpirun.
class Teams {
 public:
#ifdef QUARN_HAVE_BLOCKS_MPI
  Teams(int &argc, char **&argv) : session_(argc, argv) {}
  std::unique_ptr<quarn::BlockTeam> make(int threads) {
    return std::make_unique<quarn::MpiTeam>(session_, threads);
  }
  int finish(int status) { return session_.finish(status); }

 private:
  quarn::MpiSession session_;
#else
  Teams(int &, char **&) {}
  std::unique_ptr<quarn::BlockTeam> make(int threads) {
    return std::make_unique<quarn::LocalTeam>(threads);
  }
  int finish(int status) { return status; }
#endif
};

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

double least(const std::vector<double> &values) {
  return *std::min_element(values.begin(), values.end());
}

/// Seconds of the rounds of one shape, each list by round.
struct RoundTimes {
  std::vector<double> whole, pricing, announcing, receiving, merging, adding;
};

/// What a part grew by.
class Growth {
 public:
  Growth(double quarn::BlockStatistics::*part, std::vector<double> *list)
      : part_(part), list_(list) {}
  void note(const quarn::BlockStatistics &before, const quarn::BlockStatistics &after) const {
    list_->push_back(after.*part_ - before.*part_);
  }

 private:
  double quarn::BlockStatistics::*part_;
  std::vector<double> *list_;
};

/// A round at duals at which every block has a column, and what it costs to give the columns to a
/// master.
size_t time_round(const SyntheticBlocks &blocks, const quarn::BlockDuals &duals,
                  quarn::BlockPricer &pricer, RoundTimes *times) {
  using Statistics = quarn::BlockStatistics;
  const Statistics before = pricer.statistics();
  const quarn::BlockRound round = pricer.price(duals);
  for (const Growth &part : {Growth(&Statistics::seconds, &times->whole),
                             Growth(&Statistics::block_seconds, &times->pricing),
                             Growth(&Statistics::announcing_seconds, &times->announcing),
                             Growth(&Statistics::receiving_seconds, &times->receiving),
                             Growth(&Statistics::merging_seconds, &times->merging)}) {
    part.note(before, pricer.statistics());
  }
  std::vector<quarn::Row> rows;
  quarn::Master master = blocks.make_master(&rows);
  const Clock::time_point start = Clock::now();
  master.add_columns(round.columns.costs(), round.columns.starts(), round.columns.rows(),
                     round.columns.values());
  times->adding.push_back(seconds_since(start));
  return round.columns.size();
}

/// The first round is one to warm up: its blocks are handed out evenly.
void time_rounds(const Options &options, const SyntheticShape &shape, quarn::BlockTeam &team,
                 SyntheticBlocks &blocks) {
  quarn::BlockPricer pricer(blocks, team);
  quarn::BlockDuals duals;
  duals.values.assign(shape.rows + shape.blocks, 0.0);
  std::fill_n(duals.values.begin(), shape.rows, 20.0);
  pricer.price(duals);
  const quarn::BlockStatistics before = pricer.statistics();
  RoundTimes times;
  size_t columns = 0;
  for (int k = 0; k < options.repeats; ++k) columns = time_round(blocks, duals, pricer, &times);
  const quarn::BlockStatistics &after = pricer.statistics();
  const double rounds = options.repeats;
  std::printf("%d,%d,%zu,%zu,%zu,%.6f,%.0f,%.0f", team.ranks(), team.threads(), shape.blocks,
              shape.rows, columns, shape.seconds,
              static_cast<double>(after.bytes_sent - before.bytes_sent) / rounds,
              static_cast<double>(after.bytes_received - before.bytes_received) / rounds);
  std::printf(",%.6f,%.6f,%.6f,%.6f,%.6f,%.6f,%.6f\n", least(times.whole), median(times.whole),
              least(times.pricing), least(times.announcing), least(times.receiving),
              least(times.merging), least(times.adding));
  std::fflush(stdout);
}

int rounds(const Options &options, Teams &teams) {
  bool headed = false;
  for (const size_t number : options.blocks) {
    for (const size_t rows : options.rows) {
      SyntheticShape shape = options.shape;
      shape.blocks = number;
      shape.rows = rows;
      SyntheticBlocks blocks(shape);
      const std::unique_ptr<quarn::BlockTeam> team = teams.make(options.threads.front());
      if (team->rank() != 0) {
        if (!team->serve(blocks)) return 1;
        continue;
      }
      if (!headed) {
        std::printf(
            "ranks,threads,blocks,rows,columns,block_seconds,bytes_sent,bytes_received,seconds,"
            "median_seconds,pricing,announcing,receiving,merging,adding\n");
        headed = true;
      }
      time_rounds(options, shape, *team, blocks);
    }
  }
  return 0;
}

void add_options(CLI::App &app, Options &options) {
  app.add_option("--threads", options.threads, "Threads (of a rank)")->delimiter(',');
  app.add_option("--repeats", options.repeats, "Runs or rounds of each kind")
      ->check(CLI::Range(1, 100000));
  app.add_option("--seconds", options.shape.seconds, "That a block takes in the mean");
  app.add_option("--spread", options.shape.spread, "Of the seconds, 1: up to twice the mean");
  app.add_flag("--sleep", options.shape.sleeps, "Blocks sleep instead of working");
  app.add_option("--entries", options.shape.entries, "Most entries of a column");
}

}  // namespace

int main(int argc, char **argv) {
  Teams teams(argc, argv);
  Options options;
  CLI::App app("Measures pricing in blocks");
  app.require_subcommand(1);
  CLI::App *threads = app.add_subcommand("threads", "Whole runs by several numbers of threads");
  CLI::App *round = app.add_subcommand("rounds", "Rounds, under mpirun over the ranks");
  for (CLI::App *command : {threads, round}) add_options(*command, options);
  threads->add_option("--blocks", options.shape.blocks);
  threads->add_option("--rows", options.shape.rows);
  round->add_option("--blocks", options.blocks)->delimiter(',');
  round->add_option("--rows", options.rows)->delimiter(',');
  try {
    app.parse(argc, argv);
    return teams.finish(threads->parsed() ? compare_threads(options) : rounds(options, teams));
  } catch (const CLI::ParseError &error) {
    return teams.finish(app.exit(error));
  } catch (const std::exception &error) {
    std::fprintf(stderr, "benchmark_blocks: %s\n", error.what());
    return teams.finish(1);
  }
}
