#include <cstdlib>
#include <exception>

#include "block_pricing/mpi_team.hpp"

namespace quarn {
inline namespace v1 {

/// What Open MPI, MPICH and its kin, and Slurm tell the processes of a job.
static bool is_in_a_job() {
  for (const char *variable : {"OMPI_COMM_WORLD_SIZE", "PMIX_RANK", "PMI_RANK", "PMI_SIZE"}) {
    if (std::getenv(variable) != nullptr) return true;
  }
  return false;
}

MpiSession::MpiSession(int &argc, char **&argv) : exceptions_(std::uncaught_exceptions()) {
  int initialised = 0;
  MPI_Initialized(&initialised);
  if (initialised == 0) {
    if (!is_in_a_job()) return;
    int provided = MPI_THREAD_SINGLE;
    MPI_Init_thread(&argc, &argv, MPI_THREAD_FUNNELED, &provided);
    started_ = true;
  }
  communicator_ = MPI_COMM_WORLD;
  read_ranks();
}

MpiSession::MpiSession(MPI_Comm communicator)
    : communicator_(communicator), exceptions_(std::uncaught_exceptions()) {
  read_ranks();
}

void MpiSession::read_ranks() {
  MPI_Comm_rank(communicator_, &rank_);
  MPI_Comm_size(communicator_, &ranks_);
}

MpiSession::~MpiSession() {
  if (std::uncaught_exceptions() > exceptions_ && others_may_wait()) MPI_Abort(communicator_, 1);
  if (started_) MPI_Finalize();
}

int MpiSession::finish(int status) {
  if (status != 0 && others_may_wait()) MPI_Abort(communicator_, status);
  return status;
}

}  // namespace v1
}  // namespace quarn
