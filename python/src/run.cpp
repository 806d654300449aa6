#include "run.h"

#include <memory>
#include <sstream>
#include <utility>
#include <vector>

#include "conversions.h"

namespace quarn_python {

quarn::Columns &Batch::alive() const {
  if (columns == nullptr) {
    throw quarn::Mistake("columns are added while the oracle is at work; it has returned");
  }
  return *columns;
}

quarn::Master &GuardedMaster::use() {
  if (being_solved_ && std::this_thread::get_id() != solver_) {
    throw quarn::Mistake("this master is being solved by another thread");
  }
  return master_;
}

static quarn::Answer to_answer(const py::tuple &answer) {
  if (!answer[0].is_none()) return quarn::Answer::bound(answer[0].cast<double>());
  if (answer[1].is_none()) return quarn::Answer::heuristic();
  return quarn::Answer::best_reduced_costs(to_entries(answer[1].cast<py::dict>()));
}

/// Asks the oracle; its batch is dead afterwards, even if the oracle kept it.
static quarn::Answer ask(const py::object &price, const quarn::Duals &duals,
                         quarn::Columns &columns) {
  const py::gil_scoped_acquire lock;
  const auto batch = std::make_shared<Batch>();
  batch->columns = &columns;
  struct End {
    Batch &batch;
    ~End() { batch.columns = nullptr; }
  } const end{*batch};
  return to_answer(price(duals, batch).cast<py::tuple>());
}

static py::tuple fields(const quarn::Iteration &line) {
  const py::tuple bounds = to_tuple({line.lower_bound, line.upper_bound});
  return py::make_tuple(line.iteration, bounds[0], bounds[1], line.gap, line.columns,
                        line.inner_iterations, line.tolerance, line.rmp_seconds,
                        line.oracle_seconds);
}

/// Whether the caller wants the run to end. Throws what a signal's handler raises, as Ctrl-C's
/// does.
static bool wants_end(const Callbacks &callbacks, bool stopped) {
  const py::gil_scoped_acquire lock;
  if (PyErr_CheckSignals() != 0) throw py::error_already_set();
  return stopped || (!callbacks.interrupt.is_none() && callbacks.interrupt().cast<bool>());
}

/// The C library cannot take an exception: it is reported as Python reports those of destructors.
static void write_log(const py::object &log, const char *text) {
  const py::gil_scoped_acquire lock;
  try {
    log(text);
  } catch (py::error_already_set &error) {
    error.discard_as_unraisable("log");
  }
}

static void write_table(const py::object &stream, std::ostringstream &table) {
  stream.attr("write")(table.str());
  stream.attr("flush")();
  table.str("");
}

std::function<std::string(const quarn::Column &)> data_writer(const py::object &function) {
  if (function.is_none()) return nullptr;
  return [&function](const quarn::Column &column) {
    const py::gil_scoped_acquire lock;
    return function(column).cast<std::string>();
  };
}

quarn::Result GuardedMaster::solve(const Callbacks &callbacks, quarn::Settings settings) {
  quarn::Master &master = use();
  if (being_solved_) throw quarn::Mistake("this master is being solved already");

  bool stopped = false;
  // The table's lines are handed on by a callback: errors of a stream's own would be lost.
  std::ostringstream table;
  if (!callbacks.progress.is_none()) settings.progress = &table;
  settings.on_iteration = [&](const quarn::Iteration &line) {
    if (callbacks.on_iteration.is_none() && callbacks.progress.is_none()) return;
    const py::gil_scoped_acquire lock;
    if (!callbacks.progress.is_none()) write_table(callbacks.progress, table);
    if (callbacks.on_iteration.is_none()) return;
    stopped = callbacks.on_iteration(fields(line)).cast<bool>() || stopped;
  };
  settings.interrupt = [&] { return wants_end(callbacks, stopped); };
  if (!callbacks.log.is_none()) {
    settings.log = [&](const char *text) { write_log(callbacks.log, text); };
  }
  settings.save_data = data_writer(callbacks.save_data);

  being_solved_ = true;
  solver_ = std::this_thread::get_id();
  struct End {
    bool &being_solved;
    ~End() { being_solved = false; }
  } const end{being_solved_};
  const py::gil_scoped_release unlock;
  return master.solve([&](const quarn::Duals &duals,
                          quarn::Columns &columns) { return ask(callbacks.price, duals, columns); },
                      settings);
}

}  // namespace quarn_python
