#include "examples/common/master_solve.h"

#include <csignal>
#include <cstdio>
#include <iostream>
#include <utility>
#include <vector>

#include "examples/common/history_file.h"

namespace examples {

// Resuming

static bool same_rows(const quarn::Master &fresh, const quarn::Master &saved) {
  const std::vector<quarn::Row> rows = fresh.rows(), others = saved.rows();
  if (others.size() < rows.size()) return false;
  for (size_t i = 0; i < rows.size(); ++i) {
    const quarn::Bounds sides = fresh.range(rows[i]), other = saved.range(others[i]);
    if (rows[i].index() != others[i].index() || rows[i].is_block() != others[i].is_block() ||
        sides.lower != other.lower || sides.upper != other.upper) {
      return false;
    }
  }
  return true;
}

static bool same_columns(const quarn::Master &fresh, const quarn::Master &saved) {
  const std::vector<quarn::Column> columns = fresh.columns(), others = saved.columns();
  if (others.size() < columns.size()) return false;
  for (size_t j = 0; j < columns.size(); ++j) {
    const std::vector<quarn::Entry> entries = fresh.entries(columns[j]);
    const std::vector<quarn::Entry> other = saved.entries(others[j]);
    if (columns[j].cost() != others[j].cost() || entries.size() > other.size()) return false;
    for (size_t t = 0; t < entries.size(); ++t) {
      if (entries[t].first.index() != other[t].first.index()) return false;
      if (entries[t].second != other[t].second) return false;
    }
  }
  return true;
}

quarn::Master resumed(quarn::Master fresh, const Options &options, const ColumnText &text) {
  if (options.resume_file.empty()) return fresh;
  quarn::Master saved = quarn::Master::load(options.resume_file, text.read);
  if (fresh.sense() == saved.sense() && same_rows(fresh, saved) && same_columns(fresh, saved)) {
    return saved;
  }
  throw InputError(options.resume_file, 0, "saved from another instance, or with other options");
}

// Solving

quarn::Settings settings_of(const Options &options, std::vector<double> first_duals) {
  quarn::Settings settings;
  settings.penalty = 1e10;  // costs may be anything, and the examples price with any dual
  settings.tolerance = options.tolerance;
  settings.time_limit = options.time_limit;
  // 1 differs from -1 only in a record that has been solved before.
  settings.strategy = options.strategy == 1 ? quarn::Strategy::warm_start
                                            : static_cast<quarn::Strategy>(options.strategy);
  settings.tolerance_dial = options.divisor == 0.0;
  if (options.divisor > 0.0) settings.degree_of_optimality = options.divisor;
  if (options.resume_file.empty()) settings.first_duals = std::move(first_duals);
  if (options.verbose) {
    settings.verbosity = 1;
    settings.log = [](const char *library_text) { std::fputs(library_text, stdout); };
  }
  return settings;
}

static volatile std::sig_atomic_t stop_asked = 0;

extern "C" {
static void ask_to_stop(int number) {
  stop_asked = 1;
  std::signal(number, SIG_DFL);
}
}

std::function<bool()> stopped_by_signals() {
  std::signal(SIGINT, ask_to_stop);
  std::signal(SIGTERM, ask_to_stop);
  return [] { return stop_asked != 0; };
}

static void save_to(const std::string &path, const Options &options, const ColumnText &text,
                    quarn::Settings &settings) {
  settings.save_file = path;
  settings.save_every = options.save_every;
  settings.save_data = text.write;
  settings.interrupt = stopped_by_signals();
}

quarn::Result solve(quarn::Master &master, const quarn::Oracle &oracle, const Options &options,
                    quarn::Settings settings, const ColumnText &text) {
  HistoryFile history(options.history_file);
  settings.progress = &std::cout;
  settings.on_iteration = [&history](const quarn::Iteration &line) { history.add(line); };
  if (!options.save_file.empty()) {
    // Found out now, a mistake in the path costs no run.
    master.save(options.save_file, text.write);
    save_to(options.save_file, options, text, settings);
  }
  return master.solve(oracle, settings);
}

}  // namespace examples
