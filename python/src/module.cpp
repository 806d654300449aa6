/**
 * The extension module quarn._core: the C++ interface as the Python layer above it uses it.
 *
 * It passes calls on and turns types; names, defaults and documentation are the Python layer's.
 * What it keeps of Python's objects lives no longer than a call, so the garbage collector sees them
 * all.
 */
#include <pybind11/functional.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <string>
#include <utility>

#include "conversions.h"
#include "run.h"

namespace quarn_python {

using GuardedMasterHolder = std::shared_ptr<GuardedMaster>;

static quarn::RowOptions row_options(std::string name, bool block, double dual_lower,
                                     double dual_upper, const py::list &entries) {
  quarn::RowOptions options;
  options.name = std::move(name);
  options.block = block;
  options.dual_bounds = {dual_lower, dual_upper};
  for (const auto &entry : entries) {
    const auto pair = entry.cast<py::tuple>();
    options.entries.emplace_back(pair[0].cast<quarn::Column>(), pair[1].cast<double>());
  }
  return options;
}

static py::array to_array(const std::vector<double> &values) {
  // Copied by hand: numpy would give the interpreter's lock away for it, once an iteration.
  py::array_t<double> result(static_cast<py::ssize_t>(values.size()));
  std::copy(values.begin(), values.end(), result.mutable_data());
  return result;
}

static py::list to_list(const std::vector<quarn::ColumnValue> &solution) {
  py::list result;
  for (const quarn::ColumnValue &part : solution) {
    result.append(py::make_tuple(part.column, part.value));
  }
  return result;
}

static py::list to_list(const std::vector<quarn::Iteration> &history) {
  py::list result;
  for (const quarn::Iteration &line : history) {
    const py::tuple bounds = to_tuple({line.lower_bound, line.upper_bound});
    result.append(py::make_tuple(line.iteration, bounds[0], bounds[1], line.gap, line.columns,
                                 line.inner_iterations, line.tolerance, line.rmp_seconds,
                                 line.oracle_seconds));
  }
  return result;
}

static void write_mps(GuardedMaster &self, const std::string &path) {
  std::ofstream stream(path);
  self.use().write_mps(stream);
  stream.close();
  if (!stream) throw quarn::FileError(path + ": the file cannot be written");
}

static int32_t add_columns(GuardedMaster &self, const py::object &costs, const py::object &starts,
                           const py::object &rows, const py::object &values, int64_t first_object) {
  const ColumnArrays arrays(costs, starts, rows, values, first_object);
  const size_t count = arrays.count(), entries = arrays.entries();
  return self.use().add_columns({arrays.costs(), arrays.costs() + count},
                                {arrays.starts(), arrays.starts() + count + 1},
                                {arrays.rows(), arrays.rows() + entries},
                                {arrays.values(), arrays.values() + entries}, arrays.objects());
}

static int32_t remove_columns(GuardedMaster &self, const py::function &predicate) {
  return self.use().remove_columns(
      [&predicate](const quarn::Column &column) { return predicate(column).cast<bool>(); });
}

static GuardedMasterHolder load(const std::string &path, const py::object &object_from) {
  std::function<std::any(const std::string &)> data;
  if (!object_from.is_none()) {
    data = [&object_from](const std::string &text) {
      return to_any(object_from(text).cast<int64_t>());
    };
  }
  return std::make_shared<GuardedMaster>(quarn::Master::load(path, data));
}

static void bind_errors(py::module_ &module) {
  // The exceptions are Python's own classes, so that they can be ValueError and OSError, too.
  static py::object mistake, file_error;
  const auto errors = py::module_::import("quarn._errors");
  mistake = errors.attr("Mistake");
  file_error = errors.attr("FileError");
  mistake.inc_ref();
  file_error.inc_ref();
  py::register_exception_translator([](std::exception_ptr pointer) {
    try {
      if (pointer) std::rethrow_exception(pointer);
    } catch (const quarn::Mistake &error) {
      PyErr_SetString(mistake.ptr(), error.what());
    } catch (const quarn::FileError &error) {
      PyErr_SetString(file_error.ptr(), error.what());
    }
  });
  (void)module;
}

static void bind_handles(py::module_ &module) {
  py::class_<quarn::Row>(module, "Row", R"(Handle of a row of a master.

It belongs to the master that made it and to the copies made of that master afterwards; any other
master refuses it. Rows are made by Master.add_row, and are the keys of a column's entries. An array
by row, such as duals.values, can be indexed with a row.)")
      .def_property_readonly("name", &quarn::Row::name,
                             "The name given when the row was made, else \"row <index>\".")
      .def_property_readonly("index", &quarn::Row::index,
                             "Number of the row: from 0 in the order added, kept when others go.")
      .def_property_readonly("is_block", &quarn::Row::is_block,
                             "Whether it is a block row; otherwise it is linking.")
      .def(
          "__eq__", [](const quarn::Row &a, const quarn::Row &b) { return a == b; },
          py::is_operator())
      .def("__hash__", [](const quarn::Row &row) { return row.index(); })
      .def("__index__", &quarn::Row::index)
      .def("__repr__", [](const quarn::Row &row) { return "<quarn.Row '" + row.name() + "'>"; });

  py::class_<quarn::Column>(module, "Column")
      .def_property_readonly("index", &quarn::Column::index)
      .def_property_readonly("cost", &quarn::Column::cost)
      .def_property_readonly("object", &object_of)
      .def(
          "__eq__", [](const quarn::Column &a, const quarn::Column &b) { return a == b; },
          py::is_operator())
      .def("__hash__", [](const quarn::Column &column) { return column.index(); });
}

static void bind_pricing(py::module_ &module) {
  py::class_<quarn::Duals>(module, "Duals")
      .def("__getitem__",
           [](const quarn::Duals &self, const py::object &row) { return self[to_row(row)]; })
      .def("values", [](const quarn::Duals &self) { return to_array(self.values()); })
      .def("reduced_cost",
           [](const quarn::Duals &self, double cost, const py::dict &entries) {
             return self.reduced_cost(cost, to_entries(entries));
           })
      .def_property_readonly("objective", &quarn::Duals::objective)
      .def_property_readonly("bounds",
                             [](const quarn::Duals &self) {
                               return to_tuple({self.lower_bound(), self.upper_bound()});
                             })
      .def_property_readonly("gap", &quarn::Duals::gap)
      .def_property_readonly("iteration", &quarn::Duals::iteration)
      .def("out_of_time", &quarn::Duals::out_of_time)
      .def("solution", [](const quarn::Duals &self) { return to_list(self.solution()); });

  py::class_<Batch, std::shared_ptr<Batch>>(module, "Batch")
      .def("add",
           [](const Batch &self, double cost, const py::dict &entries, double lower, double upper,
              int64_t object) {
             return self.alive().add(cost, to_entries(entries), quarn::Bounds{lower, upper},
                                     to_any(object));
           })
      .def("add_many",
           [](const Batch &self, const py::object &costs, const py::object &starts,
              const py::object &rows, const py::object &values, int64_t first_object) {
             const ColumnArrays arrays(costs, starts, rows, values, first_object);
             return self.alive().add_many(arrays.count(), arrays.costs(), arrays.starts(),
                                          arrays.rows(), arrays.values(), arrays.objects());
           })
      .def_property_readonly("added", [](const Batch &self) { return self.alive().added(); });
}

static void bind_results(py::module_ &module) {
  py::class_<quarn::Settings>(module, "Settings")
      .def(py::init<>())
      .def_readwrite("tolerance", &quarn::Settings::tolerance)
      .def_readwrite("time_limit", &quarn::Settings::time_limit)
      .def_readwrite("max_iterations", &quarn::Settings::max_iterations)
      .def_readwrite("max_columns", &quarn::Settings::max_columns)
      .def_property(
          "strategy", [](const quarn::Settings &self) { return static_cast<int>(self.strategy); },
          [](quarn::Settings &self, int value) {
            self.strategy = static_cast<quarn::Strategy>(value);
          })
      .def_readwrite("tolerance_dial", &quarn::Settings::tolerance_dial)
      .def_readwrite("degree_of_optimality", &quarn::Settings::degree_of_optimality)
      .def_readwrite("penalty", &quarn::Settings::penalty)
      .def_readwrite("rounding", &quarn::Settings::rounding)
      .def_readwrite("first_duals", &quarn::Settings::first_duals)
      .def_readwrite("verbosity", &quarn::Settings::verbosity)
      .def_readwrite("blas_threads", &quarn::Settings::blas_threads)
      .def_readwrite("save_file", &quarn::Settings::save_file)
      .def_readwrite("save_every", &quarn::Settings::save_every);

  py::class_<quarn::Result>(module, "Result")
      .def_property_readonly(
          "status", [](const quarn::Result &self) { return quarn::to_string(self.status); })
      .def_readonly("message", &quarn::Result::message)
      .def_property_readonly("bounds",
                             [](const quarn::Result &self) {
                               return to_tuple({self.lower_bound, self.upper_bound});
                             })
      .def_readonly("gap", &quarn::Result::gap)
      .def_readonly("duals", &quarn::Result::duals)
      .def("values", [](const quarn::Result &self) { return to_list(self.values); })
      .def("integer_values", [](const quarn::Result &self) { return to_list(self.integer_values); })
      .def_readonly("integer_value", &quarn::Result::integer_value)
      .def("history", [](const quarn::Result &self) { return to_list(self.history); })
      .def_readonly("unmet_rows", &quarn::Result::unmet_rows)
      .def("certificate", [](const quarn::Result &self) { return to_array(self.certificate); })
      .def_readonly("columns", &quarn::Result::columns)
      .def_readonly("inner_iterations", &quarn::Result::inner_iterations)
      .def_readonly("seconds", &quarn::Result::seconds)
      .def_readonly("rmp_seconds", &quarn::Result::rmp_seconds)
      .def_readonly("oracle_seconds", &quarn::Result::oracle_seconds);
}

using MasterClass = py::class_<GuardedMaster, GuardedMasterHolder>;

static void bind_rows(MasterClass &master) {
  master
      .def("add_row",
           [](GuardedMaster &self, int sense, double rhs, std::string name, bool block,
              double dual_lower, double dual_upper, const py::list &entries) {
             return self.use().add_row(
                 static_cast<quarn::RowSense>(sense), rhs,
                 row_options(std::move(name), block, dual_lower, dual_upper, entries));
           })
      .def("add_range",
           [](GuardedMaster &self, double lower, double upper, std::string name, bool block,
              double dual_lower, double dual_upper, const py::list &entries) {
             return self.use().add_range(
                 lower, upper,
                 row_options(std::move(name), block, dual_lower, dual_upper, entries));
           })
      .def("remove_row",
           [](GuardedMaster &self, const py::object &row) { self.use().remove_row(to_row(row)); })
      .def("set_rhs", [](GuardedMaster &self, const py::object &row,
                         double rhs) { self.use().set_rhs(to_row(row), rhs); })
      .def("set_range", [](GuardedMaster &self, const py::object &row, double lower,
                           double upper) { self.use().set_range(to_row(row), lower, upper); })
      .def("range", [](GuardedMaster &self,
                       const py::object &row) { return to_tuple(self.use().range(to_row(row))); })
      .def("rows", [](GuardedMaster &self) { return self.use().rows(); })
      .def("row",
           [](GuardedMaster &self, const std::string &name) { return self.use().row(name); });
}

static void bind_columns(MasterClass &master) {
  master
      .def("add_column",
           [](GuardedMaster &self, double cost, const py::dict &entries, double lower, double upper,
              int64_t object) {
             return self.use().add_column(cost, to_entries(entries), quarn::Bounds{lower, upper},
                                          to_any(object));
           })
      .def("remove_column", [](GuardedMaster &self,
                               const quarn::Column &column) { self.use().remove_column(column); })
      .def("add_columns", &add_columns)
      .def("remove_columns", &remove_columns)
      .def("set_bounds",
           [](GuardedMaster &self, const quarn::Column &column, double lower, double upper) {
             self.use().set_bounds(column, {lower, upper});
           })
      .def("bounds",
           [](GuardedMaster &self, const quarn::Column &column) {
             return to_tuple(self.use().bounds(column));
           })
      .def("entries",
           [](GuardedMaster &self, const quarn::Column &column) {
             return to_dict(self.use().entries(column));
           })
      .def("contains", [](GuardedMaster &self,
                          const quarn::Column &column) { return self.use().contains(column); })
      .def("columns", [](GuardedMaster &self) { return self.use().columns(); })
      .def("number_of_columns", [](GuardedMaster &self) { return self.use().number_of_columns(); });
}

static void bind_master(py::module_ &module) {
  MasterClass master(module, "Master");
  master
      .def(py::init([](bool maximize) {
        return std::make_shared<GuardedMaster>(maximize ? quarn::Sense::maximize
                                                        : quarn::Sense::minimize);
      }))
      .def("copy",
           [](GuardedMaster &self) {
             return std::make_shared<GuardedMaster>(quarn::Master(self.use()));
           })
      .def_property_readonly(
          "is_max",
          [](GuardedMaster &self) { return self.use().sense() == quarn::Sense::maximize; })
      .def("bounds_proved",
           [](GuardedMaster &self) {
             const quarn::Master &known = self.use();
             return to_tuple({known.lower_bound(), known.upper_bound()});
           })
      .def("forget_bounds", [](GuardedMaster &self) { self.use().forget_bounds(); })
      .def("settings", [](GuardedMaster &self) { return self.use().settings(); })
      .def(
          "solve",
          [](GuardedMaster &self, const quarn::Settings &settings, const py::object &price,
             const py::object &on_iteration, const py::object &interrupt,
             const py::object &progress, const py::object &log, const py::object &save_data) {
            return self.solve({price, on_iteration, interrupt, progress, log, save_data}, settings);
          })
      .def("save", [](GuardedMaster &self, const std::string &path,
                      const py::object &data) { self.use().save(path, data_writer(data)); })
      .def_static("load", &load)
      .def("write_mps", &write_mps);
  bind_rows(master);
  bind_columns(master);
}

}  // namespace quarn_python

PYBIND11_MODULE(_core, module) {
  module.doc() = "The compiled part of the package; see help(quarn).";
  module.attr("__version__") = QUARN_PYTHON_VERSION;
  quarn_python::bind_errors(module);
  quarn_python::bind_handles(module);
  quarn_python::bind_pricing(module);
  quarn_python::bind_results(module);
  quarn_python::bind_master(module);
}
