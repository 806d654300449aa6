// A round over the ranks of a job:
//
//   rank 0                                         every other rank
//   broadcasts a header, then the duals     -->    gets them
//   sends lists of blocks that have changed -->    gets its own
//   prices its own list, receives           <--    says how many columns it has (partial rounds)
//   says that the round is to end           -->    looks between blocks
//   receives the reports                    <--    sends one report, in any case
//
// All waiting is done by asking again after a while: an MPI library that waits keeps a processor
// busy, which a rank that prices could use.
#include "block_pricing/mpi_team.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <exception>
#include <limits>
#include <thread>

#include "block_pricing/assignment.hpp"
#include "block_pricing/bytes.hpp"
#include "block_pricing/messages.hpp"
#include "block_pricing/round.hpp"

namespace quarn {
inline namespace v1 {

using detail::RoundReport;
using detail::RoundTask;
using detail::Watch;

namespace {

using Clock = std::chrono::steady_clock;

enum Tag : int { kBlocks = 1, kStop, kFound, kReport };
enum Kind : uint64_t { kRound, kEnd, kFailedEnd };

// By how much longer than needed a round may take before blocks are handed out afresh: lists of
// 100,000 blocks are half a megabyte, and measured times vary by some percent anyway.
constexpr double kUneven = 0.1;
// Asks in a row before the first pause, and the pauses: as short as a message takes, and at most a
// small part of a round.
constexpr int kAsks = 50;
constexpr std::chrono::microseconds kFirstPause(10), kLongestPause(200);
// How often a rank tells how many columns it has.
constexpr std::chrono::milliseconds kTellEvery(1);

double seconds_since(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

template <typename Done>
void wait_until(Done done) {
  for (int k = 0; k < kAsks; ++k) {
    if (done()) return;
    std::this_thread::yield();
  }
  for (auto pause = kFirstPause; !done(); pause = std::min(2 * pause, kLongestPause)) {
    std::this_thread::sleep_for(pause);
  }
}

void wait_for(MPI_Request *request) {
  wait_until([request] {
    int done = 0;
    MPI_Test(request, &done, MPI_STATUS_IGNORE);
    return done != 0;
  });
}

/// Bytes as MPI counts them.
int length_of(const std::string &bytes) {
  if (bytes.size() > static_cast<size_t>(std::numeric_limits<int>::max())) {
    throw Mistake("a message between ranks of " + std::to_string(bytes.size()) +
                  " bytes: 2^31 - 1 are the most; let the blocks return fewer columns");
  }
  return static_cast<int>(bytes.size());
}

/// What begins a round, or ends the team.
struct Header {
  enum Field { kKind, kNumber, kBytes, kNewLists, kEnough, kFields };
  std::array<uint64_t, kFields> values{};
  uint64_t &operator[](Field field) { return values[field]; }
};

}  // namespace

/// The communicator and what a rank keeps between rounds.
class MpiTeam::Job {
 public:
  Job(MpiSession &session, int threads)
      : session_(session),
        rank_(session.rank()),
        ranks_(session.ranks()),
        threads_(threads),
        exceptions_(std::uncaught_exceptions()),
        runner_(detail::make_runner(threads)) {
    if (ranks_ == 1) return;
    MPI_Comm_dup(session.communicator_, &communicator_);
    std::vector<int> threads_by_rank(static_cast<size_t>(ranks_));
    MPI_Allgather(&threads, 1, MPI_INT, threads_by_rank.data(), 1, MPI_INT, communicator_);
    for (const int count : threads_by_rank) loads_.push_back({static_cast<double>(count), 0.0});
  }
  ~Job();
  Job(const Job &) = delete;
  Job &operator=(const Job &) = delete;

  int rank() const { return rank_; }
  int ranks() const { return ranks_; }
  int threads() const { return threads_; }

  void price(const RoundTask &task, RoundReport *report);
  bool serve(BlockOracle &oracle);

 private:
  // Rank 0
  void hand_out(const RoundTask &task, RoundReport *report);
  void announce(const RoundTask &task, RoundReport *report);
  bool look(const RoundTask &task, size_t own_columns, RoundReport *report);
  void receive(RoundReport *report);
  void send_stop();
  void collect(Watch *watch, RoundReport *report);

  // The others
  bool next_header(Header *header);
  void price_for(BlockOracle &oracle, Header *header);
  std::string price_list(BlockOracle &oracle, const BlockDuals &duals, bool tells);
  void receive_list();
  bool told_to_stop();
  void tell_columns(size_t columns);

  void broadcast(void *data, int count, MPI_Datatype type);
  bool probe(int source, int tag, MPI_Status *status);

  MpiSession &session_;
  int rank_, ranks_, threads_, exceptions_;
  MPI_Comm communicator_ = MPI_COMM_NULL;
  std::unique_ptr<detail::Runner> runner_;
  bool ended_ = false;
  uint64_t round_ = 0;

  // Rank 0
  std::vector<detail::WorkerLoad> loads_;
  detail::Assignment assignment_;
  std::vector<char> reported_;
  int missing_ = 0;  ///< reports
  std::vector<uint64_t> found_;
  bool stop_sent_ = false;
  double receiving_seconds_ = 0.0;
  std::string buffer_;

  // The others
  std::vector<uint32_t> blocks_;
  uint64_t told_ = 0;
  Clock::time_point told_at_;
};

// Both

void MpiTeam::Job::broadcast(void *data, int count, MPI_Datatype type) {
  MPI_Request request = MPI_REQUEST_NULL;
  MPI_Ibcast(data, count, type, 0, communicator_, &request);
  wait_for(&request);
}

bool MpiTeam::Job::probe(int source, int tag, MPI_Status *status) {
  int there = 0;
  MPI_Iprobe(source, tag, communicator_, &there, status);
  return there != 0;
}

/// Rank 0 lets the others go. One of them that ends before that cannot be waited for, nor can they
/// all when rank 0 ends in the middle of a round.
MpiTeam::Job::~Job() {
  if (ranks_ == 1) return;
  if (rank_ == 0 && missing_ == 0) {
    Header header;
    header[Header::kKind] = std::uncaught_exceptions() > exceptions_ ? kFailedEnd : kEnd;
    broadcast(header.values.data(), Header::kFields, MPI_UINT64_T);
    ended_ = true;
  }
  if (!ended_) MPI_Abort(communicator_, 1);
  MPI_Comm_free(&communicator_);
  session_.in_order_ = true;
}

// Rank 0

void MpiTeam::Job::price(const RoundTask &task, RoundReport *report) {
  if (ranks_ == 1) {
    Watch watch(task.out_of_time, task.enough_columns);
    runner_->run(task.oracle, watch.watched(task.duals),
                 detail::starting_order(task.costs, task.last_priced, task.enough_columns > 0),
                 watch, report);
    return watch.rethrow();
  }
  const Clock::time_point start = Clock::now();
  hand_out(task, report);
  announce(task, report);
  report->announcing_seconds = seconds_since(start);
  Watch *own = nullptr;
  const std::function<bool()> look_around = [&] { return look(task, own->columns(), report); };
  Watch watch(look_around, 0);
  own = &watch;
  RoundReport own_report;
  runner_->run(task.oracle, watch.watched(task.duals), assignment_.lists()[0], watch, &own_report);
  if (own_report.failure) report->failure = own_report.failure;
  for (detail::Batch &batch : own_report.batches) report->batches.push_back(std::move(batch));
  collect(&watch, report);
  report->receiving_seconds = receiving_seconds_;
  watch.rethrow();
}

/// Decides who prices which block. Rank 0 is busy with the others' reports for as long as in the
/// round before.
void MpiTeam::Job::hand_out(const RoundTask &task, RoundReport *report) {
  loads_[0].busy = receiving_seconds_;
  receiving_seconds_ = 0.0;
  const bool partial = task.enough_columns > 0;
  if (!partial && assignment_.excess(task.costs, loads_) <= kUneven) return;
  assignment_.assign(detail::starting_order(task.costs, task.last_priced, partial), task.costs,
                     loads_);
  report->reassigned = true;
}

void MpiTeam::Job::announce(const RoundTask &task, RoundReport *report) {
  std::string duals = BlockMessages::pack(task.duals);
  Header header;
  header[Header::kKind] = kRound;
  header[Header::kNumber] = ++round_;
  header[Header::kBytes] = static_cast<uint64_t>(length_of(duals));
  header[Header::kNewLists] = report->reassigned ? 1 : 0;
  header[Header::kEnough] = task.enough_columns;
  broadcast(header.values.data(), Header::kFields, MPI_UINT64_T);
  broadcast(duals.data(), length_of(duals), MPI_BYTE);
  report->bytes_sent += (ranks_ - 1) * static_cast<int64_t>(sizeof header.values + duals.size());
  if (report->reassigned) {
    std::vector<MPI_Request> requests;
    for (int r = 1; r < ranks_; ++r) {
      const std::vector<uint32_t> &list = assignment_.lists()[static_cast<size_t>(r)];
      requests.push_back(MPI_REQUEST_NULL);
      MPI_Isend(list.data(), static_cast<int>(list.size()), MPI_UINT32_T, r, kBlocks, communicator_,
                &requests.back());
      report->bytes_sent += static_cast<int64_t>(list.size() * sizeof(uint32_t));
    }
    for (MPI_Request &request : requests) wait_for(&request);
  }
  reported_.assign(static_cast<size_t>(ranks_), 0);
  found_.assign(static_cast<size_t>(ranks_), 0);
  missing_ = ranks_ - 1;
  stop_sent_ = false;
}

/// Between the blocks of rank 0: whether the round should end.
bool MpiTeam::Job::look(const RoundTask &task, size_t own_columns, RoundReport *report) {
  receive(report);
  bool ends = report->failure.has_value();
  if (task.enough_columns > 0) {
    uint64_t columns = own_columns;
    for (const uint64_t found : found_) columns += found;
    ends = ends || columns >= task.enough_columns;
  }
  ends = ends || (task.out_of_time && task.out_of_time());
  if (ends) send_stop();
  return ends;
}

/// What has come from the others.
void MpiTeam::Job::receive(RoundReport *report) {
  const Clock::time_point start = Clock::now();
  bool any = false;
  MPI_Status status;
  while (probe(MPI_ANY_SOURCE, kFound, &status)) {
    std::array<uint64_t, 2> found{};
    MPI_Recv(found.data(), 2, MPI_UINT64_T, status.MPI_SOURCE, kFound, communicator_,
             MPI_STATUS_IGNORE);
    if (found[0] == round_) found_[static_cast<size_t>(status.MPI_SOURCE)] = found[1];
  }
  while (missing_ > 0 && probe(MPI_ANY_SOURCE, kReport, &status)) {
    int bytes = 0;
    MPI_Get_count(&status, MPI_BYTE, &bytes);
    buffer_.resize(static_cast<size_t>(bytes));
    MPI_Recv(buffer_.data(), bytes, MPI_BYTE, status.MPI_SOURCE, kReport, communicator_,
             MPI_STATUS_IGNORE);
    reported_[static_cast<size_t>(status.MPI_SOURCE)] = 1;
    --missing_;
    report->bytes_received += bytes;
    BlockMessages::unpack(buffer_, report);
    any = true;
  }
  if (any) receiving_seconds_ += seconds_since(start);
}

void MpiTeam::Job::send_stop() {
  if (stop_sent_) return;
  stop_sent_ = true;
  for (int r = 1; r < ranks_; ++r) {
    if (reported_[static_cast<size_t>(r)] == 0) {
      MPI_Send(&round_, 1, MPI_UINT64_T, r, kStop, communicator_);
    }
  }
}

/// Until every rank has reported, whatever happens: a rank that was left with its report would wait
/// in the next round.
void MpiTeam::Job::collect(Watch *watch, RoundReport *report) {
  const Clock::time_point start = Clock::now();
  const double receiving_before = receiving_seconds_;
  wait_until([&] {
    if (report->failure || watch->ended()) {
      send_stop();
      receive(report);
    }
    return missing_ == 0;
  });
  report->waiting_seconds = seconds_since(start) - (receiving_seconds_ - receiving_before);
}

// The others

bool MpiTeam::Job::serve(BlockOracle &oracle) {
  if (rank_ == 0 || ended_) return true;
  Header header;
  while (next_header(&header)) price_for(oracle, &header);
  ended_ = true;
  return header[Header::kKind] == kEnd;
}

bool MpiTeam::Job::next_header(Header *header) {
  broadcast(header->values.data(), Header::kFields, MPI_UINT64_T);
  return (*header)[Header::kKind] == kRound;
}

void MpiTeam::Job::price_for(BlockOracle &oracle, Header *header) {
  round_ = (*header)[Header::kNumber];
  buffer_.resize((*header)[Header::kBytes]);
  broadcast(buffer_.data(), length_of(buffer_), MPI_BYTE);
  const BlockDuals duals = BlockMessages::duals(buffer_);
  if ((*header)[Header::kNewLists] != 0) receive_list();
  told_ = 0;
  told_at_ = Clock::now();
  buffer_ = price_list(oracle, duals, (*header)[Header::kEnough] > 0);
  MPI_Request request = MPI_REQUEST_NULL;
  MPI_Isend(buffer_.data(), length_of(buffer_), MPI_BYTE, 0, kReport, communicator_, &request);
  wait_for(&request);
}

/// The report of this rank. Whatever goes wrong is reported: rank 0 waits for it.
std::string MpiTeam::Job::price_list(BlockOracle &oracle, const BlockDuals &duals, bool tells) {
  Watch *own = nullptr;
  const std::function<bool()> look_around = [&] {
    if (tells) tell_columns(own->columns());
    return told_to_stop();
  };
  Watch watch(look_around, 0);
  own = &watch;
  RoundReport report;
  std::string bytes;
  try {
    runner_->run(oracle, watch.watched(duals), blocks_, watch, &report);
    bytes = BlockMessages::pack(report);
    length_of(bytes);
  } catch (const std::exception &error) {
    report = RoundReport();
    report.failure = {oracle.blocks(), "rank " + std::to_string(rank_) + ": " + error.what()};
    bytes = BlockMessages::pack(report);
  }
  return bytes;
}

void MpiTeam::Job::receive_list() {
  MPI_Status status;
  wait_until([&] { return probe(0, kBlocks, &status); });
  int count = 0;
  MPI_Get_count(&status, MPI_UINT32_T, &count);
  blocks_.resize(static_cast<size_t>(count));
  MPI_Recv(blocks_.data(), count, MPI_UINT32_T, 0, kBlocks, communicator_, MPI_STATUS_IGNORE);
}

/// Whether rank 0 has ended this round; that it ended an earlier one may still be on its way when
/// this rank was done before.
bool MpiTeam::Job::told_to_stop() {
  while (probe(0, kStop, MPI_STATUS_IGNORE)) {
    uint64_t round = 0;
    MPI_Recv(&round, 1, MPI_UINT64_T, 0, kStop, communicator_, MPI_STATUS_IGNORE);
    if (round == round_) return true;
  }
  return false;
}

void MpiTeam::Job::tell_columns(size_t columns) {
  if (columns == told_ || Clock::now() - told_at_ < kTellEvery) return;
  told_ = columns;
  told_at_ = Clock::now();
  const std::array<uint64_t, 2> found = {round_, told_};
  MPI_Send(found.data(), 2, MPI_UINT64_T, 0, kFound, communicator_);
}

// The team

MpiTeam::MpiTeam(MpiSession &session, int threads)
    : job_(std::make_unique<Job>(session, threads)) {}

MpiTeam::~MpiTeam() = default;

int MpiTeam::rank() const { return job_->rank(); }
int MpiTeam::ranks() const { return job_->ranks(); }
int MpiTeam::threads() const { return job_->threads(); }
bool MpiTeam::serve(BlockOracle &oracle) { return job_->serve(oracle); }
void MpiTeam::price(const RoundTask &task, RoundReport *report) { job_->price(task, report); }

}  // namespace v1
}  // namespace quarn
