#include "examples/common/options.h"

#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <new>

#include "examples/common/output.h"
#include "quarn_cpp/errors.hpp"

namespace examples {

void add_options(CLI::App &app, Options &options) {
  app.add_option("--strategy", options.strategy,
                 "how restricted master problems are solved: -2 plainly, 0 to a centre, 1 and -1 "
                 "to a centre, warm-started")
      ->check(CLI::IsMember({-2, -1, 0, 1}))
      ->capture_default_str();
  app.add_option("--tolerance", options.tolerance, "relative gap to stop at")
      ->check(CLI::Range(1e-12, 1.0))
      ->capture_default_str();
  app.add_option("--divisor", options.divisor,
                 "a restricted master problem is solved to the gap divided by this; 0: adapt it "
                 "to the answers")
      ->check(CLI::Range(0.0, 1e6))
      ->capture_default_str();
  app.add_option("--columns-per-call", options.columns_per_call,
                 "most columns added in one iteration; 0: as many as are worth it")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  app.add_option("--time-limit", options.time_limit, "seconds")
      ->check(CLI::NonNegativeNumber)
      ->capture_default_str();
  app.add_option("--json", options.json_file, "write the result to this file")->type_name("FILE");
  app.add_option("--history", options.history_file,
                 "write a line for each iteration to this CSV file, for python -m quarn report")
      ->type_name("FILE");
  CLI::Option *save = app.add_option("--save", options.save_file,
                                     "save the run to this file while it goes on, and at its end")
                          ->type_name("FILE");
  app.add_option("--every", options.save_every, "seconds between two saves")
      ->check(CLI::NonNegativeNumber)
      ->needs(save)
      ->capture_default_str();
  app.add_option("--resume", options.resume_file,
                 "go on from this file of --save, with the same instance and options")
      ->type_name("FILE");
  app.add_flag("--verbose", options.verbose, "print the library's own progress text as well");
  app.add_option("FILE", options.file, "the instance");
}

void add_generator(CLI::App &app, std::string &text, const std::string &names,
                   const std::string &help) {
  const CLI::Option *generate = app.add_option("--generate", text, help)->type_name(names);
  const CLI::Option *file = app.get_option("FILE");
  app.final_callback([generate, file] {
    if ((generate->count() > 0) == (file->count() > 0)) {
      throw CLI::ValidationError("exactly one of FILE and --generate is required");
    }
  });
}

Line generator_fields(std::string text, const std::string &names) {
  const auto fields = static_cast<size_t>(std::count(names.begin(), names.end(), ',')) + 1;
  std::replace(text.begin(), text.end(), ',', ' ');
  Line line("--generate", 1, text);
  line.expect_fields(fields, names);
  return line;
}

static int complain(const std::exception &error, int status) {
  std::fprintf(stderr, "%s\n", error.what());
  return status;
}

std::optional<int> parse(CLI::App &app, int argc, char **argv) {
  if (fcntl(STDOUT_FILENO, F_GETFD) < 0) {
    return complain(OutputError("standard output", errno), kBadInput);
  }
  try {
    app.parse(argc, argv);
    return std::nullopt;
  } catch (const CLI::ParseError &error) {
    return run_guarded([&] { return app.exit(error) == 0 ? kSolved : kBadInput; });
  }
}

int run_guarded(const std::function<int()> &body) {
  try {
    const int status = body();
    check_output(stdout, "standard output");
    return status;
  } catch (const InputError &error) {
    return complain(error, kBadInput);
  } catch (const OutputError &error) {
    return complain(error, kBadInput);
  } catch (const quarn::FileError &error) {
    return complain(error, kBadInput);
  } catch (const std::bad_alloc &) {
    std::fputs("out of memory\n", stderr);
    return kNotSolved;
  } catch (const std::exception &error) {
    return complain(error, kNotSolved);
  }
}

}  // namespace examples
