#include "examples/common/job.h"

#include <CLI/CLI.hpp>
#include <cstdio>

#include "examples/common/options.h"
#ifdef QUARN_HAVE_BLOCKS_MPI
#include "block_pricing/mpi_team.hpp"
#endif

namespace examples {

#ifdef QUARN_HAVE_BLOCKS_MPI

class Job::Session {
 public:
  Session(int &argc, char **&argv) : session_(argc, argv) {}
  int rank() const { return session_.rank(); }
  std::unique_ptr<quarn::BlockTeam> team(int threads) {
    return std::make_unique<quarn::MpiTeam>(session_, threads);
  }
  int finish(int status) { return session_.finish(status); }

 private:
  quarn::MpiSession session_;
};

#else

class Job::Session {
 public:
  Session(int &, char **&) {}
  int rank() const { return 0; }
  std::unique_ptr<quarn::BlockTeam> team(int threads) {
    return std::make_unique<quarn::LocalTeam>(threads);
  }
  int finish(int status) { return status; }
};

#endif

Job::Job(int &argc, char **&argv) : session_(std::make_unique<Session>(argc, argv)) {
  if (session_->rank() != 0 && std::freopen("/dev/null", "w", stdout) == nullptr) {
    std::fputs("standard output cannot be silenced\n", stderr);
  }
}

Job::~Job() = default;

bool Job::has_master() const { return session_->rank() == 0; }

void Job::add_options(CLI::App &app) {
  app.add_option("--threads", threads_,
                 quarn::has_block_threads()
                     ? "threads that price, of each process where mpirun starts several"
                     : "threads that price: 1, since oneTBB was not there to build with")
      ->check(CLI::Range(1, quarn::has_block_threads() ? 1024 : 1))
      ->capture_default_str();
}

int Job::run(quarn::BlockOracle &blocks, const std::function<int(quarn::BlockPricer *)> &solve) {
  const std::unique_ptr<quarn::BlockTeam> team = session_->team(threads_);
  if (team->rank() != 0) {
    team->serve(blocks);
    return kSolved;  // the status of rank 0 is to be that of the job
  }
  if (team->ranks() == 1 && threads_ == 1) return solve(nullptr);
  quarn::BlockPricer pricer(blocks, *team);
  return solve(&pricer);
}

int Job::finish(int status) { return session_->finish(status); }

}  // namespace examples
