#ifndef QUARN_PYTHON_RUN_H
#define QUARN_PYTHON_RUN_H

#include <pybind11/pybind11.h>

#include <string>
#include <thread>

#include "quarn_cpp/quarn.hpp"

namespace quarn_python {

namespace py = pybind11;

/// The columns of a run, as long as the oracle is at work.
struct Batch {
  quarn::Columns *columns = nullptr;

  /// Throws quarn::Mistake when the oracle has returned.
  quarn::Columns &alive() const;
};

/// What of a run's settings is Python's. None where there is nothing.
struct Callbacks {
  py::object price;         ///< (Duals, Batch) -> (bound or None, {Row: best reduced cost} or None)
  py::object on_iteration;  ///< (fields of the entry, in their order) -> True to stop
  py::object interrupt;     ///< () -> True to stop
  py::object progress;      ///< a file object
  py::object log;           ///< (text)
  py::object save_data;     ///< (Column) -> text
};

/// A master, and which thread solves it: while the solver works others could reach it.
class GuardedMaster {
 public:
  explicit GuardedMaster(quarn::Sense sense) : master_(sense) {}
  explicit GuardedMaster(quarn::Master master) : master_(std::move(master)) {}

  /// The master for use by this thread. Throws quarn::Mistake while another one solves it.
  quarn::Master &use();

  /// Solves the master with the interpreter's lock free; it is taken for the callbacks. Errors of
  /// theirs come out as they are, signals as what their Python handlers raise.
  quarn::Result solve(const Callbacks &callbacks, quarn::Settings settings);

 private:
  quarn::Master master_;
  bool being_solved_ = false;
  std::thread::id solver_;
};

/// A function for quarn::Master::save that asks Python; none for None. It refers to the object.
std::function<std::string(const quarn::Column &)> data_writer(const py::object &function);

}  // namespace quarn_python

#endif
