// A program for mpirun: random masters priced by the ranks, with faults where the case asks for
// them. Rank 0 prints what the test compares.
//
//   blocks_job same COUNT              the bits of COUNT runs
//   blocks_job partial COUNT           values reached in partial rounds
//   blocks_job throw RANK              a block throws on this rank
//   blocks_job leave RANK              this rank leaves before it serves
//   blocks_job kill RANK FILE          this rank dies; the master is saved to the file
//   blocks_job resume FILE             goes on from there
//   blocks_job limit RANK              the blocks of this rank end when the time is over, not
//   before

#include <cmath>
#include <csignal>
#include <iostream>
#include <string>
#include <thread>

#include "block_pricing/mpi_team.hpp"
#include "tests/blocks/program_blocks.h"

namespace {

using blocks_test::ProgramBlocks;
using masters::Program;
using masters::ProgramMaster;
using quarn::BlockDuals;
using quarn::Result;
using quarn::Sense;

constexpr int32_t kFaultAt = 3;  // iteration
// Of rank 0, which prices a block for certain in the first round alone: later it may be busy with
// the others' reports.
constexpr int32_t kFaultOfFirstRankAt = 1;

Program make_program(uint32_t seed) {
  masters::Features features;
  features.blocks = 11;
  features.bounds = false;
  return masters::random_program(seed, seed % 2 == 0 ? Sense::minimize : Sense::maximize, features);
}

struct Job {
  quarn::MpiSession &session;
  std::string mode;
  int count_or_rank = 0;
  std::string file;

  bool is_at_fault(const BlockDuals &duals) const {
    const int32_t at = count_or_rank == 0 && mode != "kill" ? kFaultOfFirstRankAt : kFaultAt;
    return session.rank() == count_or_rank && duals.iteration == at;
  }

  void before_block(size_t block, const BlockDuals &duals) const {
    std::this_thread::sleep_for(
        std::chrono::microseconds(100 * ((block + static_cast<size_t>(duals.iteration)) % 4)));
    if (mode == "throw" && is_at_fault(duals)) throw std::runtime_error("out of luck");
    if (mode == "kill" && is_at_fault(duals)) std::raise(SIGKILL);
    while (mode == "limit" && is_at_fault(duals) && !duals.should_stop()) std::this_thread::yield();
  }

  Result solve(const Program &program, quarn::BlockTeam &team, ProgramBlocks &blocks,
               ProgramMaster &target) const {
    quarn::BlockOptions options;
    if (mode == "partial") options.enough_columns = 2;
    quarn::BlockPricer pricer(blocks, team, options);
    quarn::Settings settings;
    if (mode == "limit") settings.time_limit = 0.3;
    if (mode == "kill") {
      settings.save_file = file;
      settings.save_every = 0.0;
      settings.save_data = [](const quarn::Column &column) {
        return std::to_string(column.get<size_t>());
      };
    }
    const quarn::Oracle oracle = pricer.oracle(blocks.rows(target), program.sense);
    const auto mortal = [&](const quarn::Duals &duals, quarn::Columns &columns) {
      if (mode == "kill" && is_at_fault(BlockDuals(duals))) std::raise(SIGKILL);
      return oracle(duals, columns);
    };
    const Result result = target.master().solve(mortal, settings);
    if (mode == "partial" && pricer.statistics().partial_rounds == 0) std::cout << "complete\n";
    return result;
  }

  bool run(uint32_t seed) const {
    const Program program = make_program(seed);
    ProgramBlocks blocks(program);
    blocks.before = [this](size_t block, const BlockDuals &duals) { before_block(block, duals); };
    quarn::MpiTeam team(session, 1 + session.rank() % 2);
    if (mode == "leave" && session.rank() == count_or_rank) throw std::runtime_error("leaving");
    if (team.rank() != 0) return team.serve(blocks);
    ProgramMaster target = mode == "resume" ? ProgramMaster(program, load()) : fresh(program);
    if (mode == "resume") std::cout << "columns " << (target.master().columns().size() > 0) << "\n";
    const Result result = solve(program, team, blocks, target);
    if (mode == "same") std::cout << blocks_test::fingerprint(result, target.master()) << "\n";
    if (mode == "limit") std::cout << quarn::to_string(result.status) << "\n";
    if (mode == "partial" || mode == "resume") {
      const double error = std::fabs(result.lower_bound - program.value);
      std::cout << (error <= 1e-5 * (1.0 + std::fabs(program.value)) ? "right\n" : "wrong\n");
    }
    return true;
  }

  static ProgramMaster fresh(const Program &program) { return ProgramMaster(program); }

  quarn::Master load() const {
    return quarn::Master::load(
        file, [](const std::string &text) { return static_cast<size_t>(std::stoul(text)); });
  }

  int run_all() const {
    const bool several = mode == "same" || mode == "partial";
    bool good = true;
    for (int seed = 0; seed < (several ? count_or_rank : 1); ++seed) {
      good = run(static_cast<uint32_t>(seed)) && good;
    }
    return good ? 0 : 1;
  }
};

}  // namespace

int main(int argc, char **argv) {
  quarn::MpiSession session(argc, argv);
  if (argc < 3) return session.finish(2);
  Job job{session, argv[1], 0, argv[argc - 1]};
  if (job.mode != "resume") job.count_or_rank = std::stoi(argv[2]);
  try {
    return session.finish(job.run_all());
  } catch (const std::exception &error) {
    if (session.rank() == 0) std::cout << error.what() << std::endl;
    return session.finish(1);
  }
}
