#ifndef EXAMPLES_COMMON_JOB_H
#define EXAMPLES_COMMON_JOB_H

#include <functional>
#include <memory>

#include "block_pricing/block_pricer.hpp"

namespace CLI {
class App;
}

namespace examples {

/**
 * The processes of a program whose pricing has blocks: this one alone, or where the program was
 * started by mpirun, and built with MPI, all of the job. All of them read the instance; the master
 * lives on rank 0, and the others print nothing to standard output.
 */
class Job {
 public:
  /// To be made first in main, and to end last.
  Job(int &argc, char **&argv);
  ~Job();
  Job(const Job &) = delete;
  Job &operator=(const Job &) = delete;

  /// Whether this process is the one with the master.
  bool has_master() const;

  /// Declares --threads.
  void add_options(CLI::App &app);
  /// Of each process.
  int threads() const { return threads_; }

  /**
   * Runs `solve` on rank 0 with a pricer of the blocks, or without one where a single thread prices
   * anyway, and returns its result; the other ranks price until then, and return kSolved, so that
   * the status of rank 0 is that of the job.
   */
  int run(quarn::BlockOracle &blocks, const std::function<int(quarn::BlockPricer *)> &solve);

  /// For `return job.finish(status)`: where other ranks may wait for this one, ends them, too.
  int finish(int status);

 private:
  class Session;

  std::unique_ptr<Session> session_;
  int threads_ = 1;  ///< of each process
};

}  // namespace examples

#endif
