#ifndef BLOCK_PRICING_BLOCK_TEAM_HPP
#define BLOCK_PRICING_BLOCK_TEAM_HPP

#include <cstddef>
#include <memory>

#include "block_pricing/block_oracle.hpp"

namespace quarn {
inline namespace v1 {

namespace detail {
struct RoundTask;
struct RoundReport;
class Runner;
}  // namespace detail

/// Who prices the blocks: the threads of this process, or those of all ranks of an MPI job.
class QUARN_CPP_PUBLIC BlockTeam {
 public:
  virtual ~BlockTeam();

  /// Number of this process in the job, from 0; the master lives on 0.
  virtual int rank() const { return 0; }
  virtual int ranks() const { return 1; }
  /// Threads that price in this process.
  virtual int threads() const = 0;

  /**
   * On ranks other than 0: prices what rank 0 hands out until its team ends, so that the rank's
   * program returns. True when rank 0 ended well; false when the team of rank 0 ended by an
   * exception, that of a failed block for instance. mpirun returns the first status that is not 0:
   * a program that has several returns 0 here in any case. On rank 0 there is nothing to serve:
   * true.
   */
  virtual bool serve(BlockOracle &oracle);

 private:
  friend class BlockPricer;
  virtual void price(const detail::RoundTask &task, detail::RoundReport *report) = 0;
};

/// Whether this build prices with more than one thread (it has oneTBB).
QUARN_CPP_PUBLIC bool has_block_threads();

/// The threads of this process.
class QUARN_CPP_PUBLIC LocalTeam : public BlockTeam {
 public:
  /// One thread is the caller's own. More of them are a pool, while the caller waits and looks at
  /// time and interrupt. Throws Mistake for less than one, and for more in a build without oneTBB.
  explicit LocalTeam(int threads = 1);
  ~LocalTeam() override;

  int threads() const override { return threads_; }

 private:
  void price(const detail::RoundTask &task, detail::RoundReport *report) override;

  int threads_;
  std::unique_ptr<detail::Runner> runner_;
};

}  // namespace v1
}  // namespace quarn

#endif
