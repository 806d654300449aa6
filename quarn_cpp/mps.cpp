#include <cmath>
#include <cstdio>
#include <ostream>

#include "quarn_cpp/master.hpp"
#include "quarn_cpp/state.hpp"

namespace quarn {
inline namespace v1 {

namespace {

/// The restricted master in free MPS format. Names of callers may hold anything, so rows are R0,
/// R1, ... and the names stand in comments.
class MpsWriter {
 public:
  MpsWriter(const detail::State &state, std::ostream &stream) : state_(state), stream_(stream) {}

  void write() {
    stream_ << "NAME quarn\n";
    write_rows();
    write_columns();
    write_sides();
    write_bounds();
    stream_ << "ENDATA\n";
  }

 private:
  static std::string text(double value) {
    char text[40];
    std::snprintf(text, sizeof text, "%.17g", value);
    return text;
  }

  template <typename Visit>
  void for_rows(const Visit &visit) const {
    for (size_t i = 0; i < state_.rows.size(); ++i) {
      if (!state_.rows[i].removed) visit(i, state_.rows[i]);
    }
  }

  static char type_of(const detail::RowSlot &row) {
    if (row.is_equal()) return 'E';
    return row.has_lower() ? 'G' : 'L';
  }

  void write_rows() {
    for_rows([&](size_t i, const detail::RowSlot &row) {
      std::string name = row.identity->name;
      for (char &letter : name) letter = letter < ' ' && letter >= 0 ? ' ' : letter;
      stream_ << "* R" << i << ": " << name << (row.identity->block ? " (block)\n" : "\n");
    });
    stream_ << "ROWS\n N cost\n";
    for_rows([&](size_t i, const detail::RowSlot &row) {
      stream_ << " " << type_of(row) << " R" << i << "\n";
    });
  }

  void write_columns() {
    stream_ << "COLUMNS\n";
    std::vector<std::pair<int32_t, double>> entries;
    for (size_t j = 0; j < state_.columns.size(); ++j) {
      if (state_.columns[j].removed) continue;
      const auto slot = static_cast<int32_t>(j);
      state_.gather(slot, &entries);
      stream_ << " C" << j << " cost " << text(state_.sign() * state_.column(slot).cost) << "\n";
      for (const auto &[row, value] : entries) {
        stream_ << " C" << j << " R" << row << " " << text(value) << "\n";
      }
    }
  }

  void write_sides() {
    stream_ << "RHS\n";
    for_rows([&](size_t i, const detail::RowSlot &row) {
      const double side = row.has_lower() ? row.sides.lower : row.sides.upper;
      if (side != 0.0) stream_ << " RHS R" << i << " " << text(side) << "\n";
    });
    stream_ << "RANGES\n";
    for_rows([&](size_t i, const detail::RowSlot &row) {
      if (!row.is_range()) return;
      stream_ << " RNG R" << i << " " << text(row.sides.upper - row.sides.lower) << "\n";
    });
  }

  void write_bounds() {
    stream_ << "BOUNDS\n";
    for (size_t j = 0; j < state_.columns.size(); ++j) {
      const detail::ColumnSlot &column = state_.columns[j];
      if (column.removed || !column.is_bounded()) continue;
      if (column.bounds.lower <= -kInfinity) {
        stream_ << " MI BND C" << j << "\n";
      } else {
        stream_ << " LO BND C" << j << " " << text(column.bounds.lower) << "\n";
      }
      if (column.bounds.upper < kInfinity) {
        stream_ << " UP BND C" << j << " " << text(column.bounds.upper) << "\n";
      }
    }
  }

  const detail::State &state_;
  std::ostream &stream_;
};

}  // namespace

void Master::write_mps(std::ostream &stream) const { MpsWriter(*state_, stream).write(); }

}  // namespace v1
}  // namespace quarn
