#include "examples/common/history_file.h"

#include <cerrno>
#include <limits>

#include "examples/common/output.h"

namespace examples {

HistoryFile::HistoryFile(const std::string &path) : path_(path) {
  if (path_.empty()) return;
  errno = 0;
  stream_.open(path_);
  stream_.precision(std::numeric_limits<double>::max_digits10);
  stream_ << "iteration,lower_bound,upper_bound,gap,columns,inner_iterations,tolerance,"
             "rmp_seconds,oracle_seconds\n";
  check();
}

static const char *infinite_or(double bound) {
  if (bound >= quarn::kInfinity) return "inf";
  return bound <= -quarn::kInfinity ? "-inf" : nullptr;
}

void HistoryFile::add(const quarn::Iteration &line) {
  if (path_.empty()) return;
  errno = 0;
  stream_ << line.iteration;
  for (const double bound : {line.lower_bound, line.upper_bound}) {
    stream_ << ',';
    if (const char *word = infinite_or(bound)) {
      stream_ << word;
    } else {
      stream_ << bound;
    }
  }
  stream_ << ',' << line.gap << ',' << line.columns << ',' << line.inner_iterations << ','
          << line.tolerance << ',' << line.rmp_seconds << ',' << line.oracle_seconds << '\n';
  check();
}

void HistoryFile::check() {
  stream_.flush();
  if (!stream_) throw OutputError(path_, errno);
}

}  // namespace examples
