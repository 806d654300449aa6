#ifndef EXAMPLES_COMMON_OPTIONS_H
#define EXAMPLES_COMMON_OPTIONS_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "examples/common/text_reader.h"

// Its header takes a compiler seconds to read, and most of what includes this one parses nothing.
namespace CLI {
class App;
}

namespace examples {

/// The options that all examples share. A program sets its own defaults before add_options().
struct Options {
  int strategy = -1;         ///< WS_strategy: -2 standard, 0 centred, 1 and -1 warm-started
  double tolerance = 1e-6;   ///< relative gap to stop at
  double divisor = 0.0;      ///< degree_of_optimality; 0: the tolerance dial decides
  int columns_per_call = 0;  ///< most columns of one answer; 0: as many as are worth it
  double time_limit = 1e5;   ///< seconds
  std::string json_file;     ///< where the report goes as JSON; empty: nowhere
  std::string history_file;  ///< where each iteration's line goes as CSV; empty: nowhere
  std::string save_file;     ///< where the master goes; empty: nowhere
  double save_every = 60.0;  ///< seconds between two saves
  std::string resume_file;   ///< the saved master to go on from; empty: begin afresh
  bool verbose = false;      ///< let the library's own progress text through
  std::string file;          ///< the instance
};

/// Declares the shared options and the instance's file on `app`, with what `options` holds as the
/// defaults; what is given on the command line is stored there.
void add_options(CLI::App &app, Options &options);

/// Declares `--generate`, an instance's other source: exactly one of it and FILE has to be given.
/// `names` such as "TYPES,SEED" says what its value holds; it is stored in `text`.
void add_generator(CLI::App &app, std::string &text, const std::string &names,
                   const std::string &help);

/// The fields of a value of `--generate`, which are separated by commas, with the checks that a
/// Line of a file offers; `names` as above.
Line generator_fields(std::string text, const std::string &names);

/// Parses the command line. A value means that the program is to end with this exit status: 0
/// after --help, 2 after a mistake, which has been reported on standard error. A closed standard
/// output is one: the next file to be opened would take its place.
std::optional<int> parse(CLI::App &app, int argc, char **argv);

/// Exit statuses of all examples.
enum ExitStatus {
  kSolved = 0,
  kNotSolved = 1,
  kBadInput = 2  ///< or output that cannot be written
};

/// Runs `body` and returns its result; what it throws is reported in one line on standard error
/// and becomes an exit status: kBadInput for an InputError, an OutputError and a quarn::FileError,
/// kNotSolved for anything else. Text on standard output that did not arrive is an OutputError as
/// well.
int run_guarded(const std::function<int()> &body);

}  // namespace examples

#endif
