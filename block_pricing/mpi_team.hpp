/**
 * The ranks of an MPI job as a team. The same program runs on every rank:
 *
 *   int main(int argc, char **argv) {
 *     quarn::MpiSession session(argc, argv);
 *     Plans plans(read_instance(argv[1]));                  // a quarn::BlockOracle
 *     quarn::MpiTeam team(session);
 *     if (team.rank() != 0) return !team.serve(plans);
 *     quarn::BlockPricer pricer(plans, team);
 *     ...                                                   // the master, on rank 0 alone
 *   }
 *
 * Started without mpirun it is one process, and MPI is not touched.
 *
 * A block that throws ends the round on all ranks; BlockPricer throws on rank 0, and when the team
 * there ends the others return from serve(). A rank whose program ends before that by an exception
 * ends the whole job at once, by MPI_Abort; a rank that dies is noticed by mpirun, which ends the
 * others.
 */
#ifndef BLOCK_PRICING_MPI_TEAM_HPP
#define BLOCK_PRICING_MPI_TEAM_HPP

#include <mpi.h>

#include <memory>
#include <string>

#include "block_pricing/block_team.hpp"

namespace quarn {
inline namespace v1 {

class MpiTeam;

/**
 * MPI from its start to its end. To be made first, by the thread that makes the team and prices.
 * Nothing is started where no launcher (mpirun, mpiexec, srun) has set the variables of a job, and
 * nothing ended that was started before.
 */
class QUARN_CPP_PUBLIC MpiSession {
 public:
  MpiSession(int &argc, char **&argv);
  /// For programs that have started MPI: the ranks of this communicator.
  explicit MpiSession(MPI_Comm communicator);
  /// Ends MPI. Where this rank ends by an exception while others may wait for it: ends the job,
  /// with status 1.
  ~MpiSession();
  MpiSession(const MpiSession &) = delete;
  MpiSession &operator=(const MpiSession &) = delete;

  int rank() const { return rank_; }
  int ranks() const { return ranks_; }

  /// For main: `return session.finish(status);`. Returns the status; when it is not 0 and other
  /// ranks may be waiting for this one, since no team ended in order, ends the job with it.
  int finish(int status);

 private:
  friend class MpiTeam;
  void read_ranks();
  bool others_may_wait() const { return ranks_ > 1 && !in_order_; }

  MPI_Comm communicator_ = MPI_COMM_NULL;
  int rank_ = 0, ranks_ = 1;
  int exceptions_;
  bool started_ = false;   ///< MPI, by this session
  bool in_order_ = false;  ///< a team has ended on all ranks
};

class QUARN_CPP_PUBLIC MpiTeam : public BlockTeam {
 public:
  /// To be made on all ranks at the same time, each with the threads that it is to have. Throws
  /// Mistake as LocalTeam.
  explicit MpiTeam(MpiSession &session, int threads = 1);
  /// On rank 0 lets the others go; a team that ends by an exception makes their serve() false.
  ~MpiTeam() override;

  int rank() const override;
  int ranks() const override;
  int threads() const override;
  bool serve(BlockOracle &oracle) override;

 private:
  class Job;
  void price(const detail::RoundTask &task, detail::RoundReport *report) override;

  std::unique_ptr<Job> job_;
};

}  // namespace v1
}  // namespace quarn

#endif
