#include "tests/campaign/campaign.h"

#include <getopt.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

// There only in an instrumented build.
extern "C" __attribute__((weak)) void __sanitizer_set_death_callback(void (*callback)());

// ThreadSanitizer goes on after a finding by default, and the seed would be lost.
extern "C" __attribute__((visibility("default"))) const char *__tsan_default_options();
const char *__tsan_default_options() { return "halt_on_error=1"; }

namespace campaign {
namespace {

struct Settings {
  uint32_t seed = 1, count = UINT32_MAX;
  double seconds = 1e9;
  int most_shown = 3;
};

/// The case at work, for those who find the process dying.
struct CaseAtWork {
  const char *executable, *program;
  uint32_t seed;
};
CaseAtWork at_work;  // signal handlers and the sanitizers' callbacks get no argument
FILE *report;        // standard output as it was: the library's text goes to the null device

void print_repeat() {
  std::fprintf(report, "    repeat: %s %s --seed %u --count 1\n", at_work.executable,
               at_work.program, at_work.seed);
  std::fflush(report);
}

void report_death() {
  std::fprintf(report, "%-12s stopped by the sanitizer at seed %u\n", at_work.program,
               at_work.seed);
  print_repeat();
}

void report_hang(int) {
  std::fprintf(report, "%-12s seed %u does not return\n", at_work.program, at_work.seed);
  print_repeat();
  std::_Exit(1);
}

/// Empty when the case went well.
std::string failure_of(const Program &program, uint32_t seed) {
  at_work.seed = seed;
  alarm(kMostSeconds);
  std::string failure;
  try {
    program.run(seed);
  } catch (const std::exception &error) {
    failure = error.what();
  }
  alarm(0);
  return failure;
}

/// Runs seed after seed; whether none failed.
bool run(const Program &program, const Settings &settings) {
  using Clock = std::chrono::steady_clock;
  const Clock::time_point start = Clock::now();
  const auto elapsed = [start] {
    return std::chrono::duration<double>(Clock::now() - start).count();
  };
  uint32_t cases = 0;
  int failures = 0;
  for (; cases < settings.count && elapsed() < settings.seconds; ++cases) {
    const std::string failure = failure_of(program, settings.seed + cases);
    if (failure.empty() || ++failures > settings.most_shown) continue;
    std::fprintf(report, "%s: seed %u:\n%s\n", program.name, at_work.seed, failure.c_str());
    print_repeat();
  }
  std::fprintf(report, "%-12s %8u cases from seed %u  %6d failures  %6.1f s\n", program.name, cases,
               settings.seed, failures, elapsed());
  return failures == 0;
}

int usage() {
  std::fputs(
      "campaign PROGRAM [--seed N] [--count N] [--seconds S] [--show N]\n"
      "The first case's seed, when to end, and how many failing cases to show. PROGRAM is one of\n",
      stderr);
  for (const Program &program : programs()) std::fprintf(stderr, "  %s\n", program.name);
  return 2;
}

bool parse(int argc, char **argv, Settings *settings) {
  const option options[] = {{"seed", required_argument, nullptr, 's'},
                            {"count", required_argument, nullptr, 'c'},
                            {"seconds", required_argument, nullptr, 't'},
                            {"show", required_argument, nullptr, 'n'},
                            {nullptr, 0, nullptr, 0}};
  for (int code; (code = getopt_long(argc, argv, "", options, nullptr)) != -1;) {
    if (code == 's') settings->seed = static_cast<uint32_t>(std::strtoul(optarg, nullptr, 10));
    if (code == 'c') settings->count = static_cast<uint32_t>(std::strtoul(optarg, nullptr, 10));
    if (code == 't') settings->seconds = std::strtod(optarg, nullptr);
    if (code == 'n') settings->most_shown = std::atoi(optarg);
    if (code == '?') return false;
  }
  return optind + 1 == argc;
}

int main_program(int argc, char **argv) {
  Settings settings;
  if (!parse(argc, argv, &settings)) return usage();
  report = fdopen(dup(STDOUT_FILENO), "w");
  if (report == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr) return 2;
  for (const Program &program : programs()) {
    if (std::string(argv[optind]) != program.name) continue;
    at_work = {argv[0], program.name, settings.seed};
    if (__sanitizer_set_death_callback != nullptr) __sanitizer_set_death_callback(report_death);
    std::signal(SIGALRM, report_hang);
    return run(program, settings) ? 0 : 1;
  }
  return usage();
}

}  // namespace
}  // namespace campaign

int main(int argc, char **argv) {
  testing::InitGoogleTest(&argc, argv);
  testing::FLAGS_gtest_throw_on_failure = true;
  return campaign::main_program(argc, argv);
}
