#include "quarn_cpp/file.hpp"

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

namespace quarn {
inline namespace v1 {
namespace detail {

constexpr char kMagic[] = "QUARNMST";
constexpr size_t kMagicLength = 8;
constexpr uint32_t kVersion = 2;
constexpr size_t kHeadLength = kMagicLength + 4 + 8;
constexpr size_t kHashLength = 8;

static size_t at(int32_t index) { return static_cast<size_t>(index); }

static uint64_t fnv1a(const std::string &bytes, size_t length) {
  uint64_t hash = 0xcbf29ce484222325ULL;
  for (size_t k = 0; k < length; ++k) {
    hash = (hash ^ static_cast<unsigned char>(bytes[k])) * 0x100000001b3ULL;
  }
  return hash;
}

class Writer {
 public:
  void word(uint64_t value, int bytes) {
    for (int k = 0; k < bytes; ++k) bytes_ += static_cast<char>((value >> (8 * k)) & 0xff);
  }
  void flag(bool value) { word(value ? 1 : 0, 1); }
  void count(size_t value) { word(value, 8); }
  void index(int32_t value) { word(static_cast<uint32_t>(value), 4); }
  void real(double value) {
    uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    word(bits, 8);
  }
  void sides(const Bounds &bounds) {
    real(bounds.lower);
    real(bounds.upper);
  }
  void text(const std::string &value) {
    word(value.size(), 4);
    bytes_ += value;
  }
  void append(const std::string &value) { bytes_ += value; }
  const std::string &bytes() const { return bytes_; }

 private:
  std::string bytes_;
};

/// Reads what a Writer wrote; nothing beyond the contents is ever touched.
class Reader {
 public:
  Reader(const std::string &bytes, size_t first, size_t end, std::string path)
      : bytes_(bytes), at_(first), end_(end), path_(std::move(path)) {}

  uint64_t word(int bytes) {
    need(static_cast<size_t>(bytes));
    uint64_t value = 0;
    for (int k = 0; k < bytes; ++k) {
      value |= static_cast<uint64_t>(static_cast<unsigned char>(bytes_[at_++])) << (8 * k);
    }
    return value;
  }
  bool flag() {
    const uint64_t value = word(1);
    if (value > 1) damaged();
    return value == 1;
  }
  /// A number of things that take at least `least` bytes each.
  size_t count(size_t least) {
    const uint64_t value = word(8);
    if (value > (end_ - at_) / least) damaged();
    return static_cast<size_t>(value);
  }
  int32_t index() { return static_cast<int32_t>(static_cast<uint32_t>(word(4))); }
  double real() {
    const uint64_t bits = word(8);
    double value = 0.0;
    std::memcpy(&value, &bits, sizeof value);
    return value;
  }
  Bounds sides() {
    const double lower = real();
    return {lower, real()};
  }
  std::string text() {
    const size_t length = static_cast<size_t>(word(4));
    need(length);
    at_ += length;
    return bytes_.substr(at_ - length, length);
  }
  bool at_end() const { return at_ == end_; }

  [[noreturn]] void damaged() const { throw FileError(path_ + ": the file is damaged"); }

 private:
  void need(size_t length) const {
    if (length > end_ - at_) damaged();
  }

  const std::string &bytes_;
  size_t at_, end_;
  std::string path_;
};

// Settings: the numbers

template <typename Visitor>
static void visit_settings(Settings &settings, Visitor &&visit) {
  visit(settings.tolerance);
  visit(settings.time_limit);
  visit(settings.degree_of_optimality);
  visit(settings.penalty);
  visit(settings.save_every);
  visit(settings.max_iterations);
  visit(settings.max_columns);
  visit(settings.blas_threads);
  visit(settings.verbosity);
  visit(settings.rounding);
  visit(settings.tolerance_dial);
}

struct SettingWriter {
  Writer &writer;
  void operator()(const double &value) const { writer.real(value); }
  void operator()(const int32_t &value) const { writer.index(value); }
  void operator()(const int16_t &value) const { writer.index(value); }
  void operator()(const bool &value) const { writer.flag(value); }
};

struct SettingReader {
  Reader &reader;
  void operator()(double &value) const { value = reader.real(); }
  void operator()(int32_t &value) const { value = reader.index(); }
  void operator()(int16_t &value) const { value = static_cast<int16_t>(reader.index()); }
  void operator()(bool &value) const { value = reader.flag(); }
};

// Writing

static void write_row(const State &state, const RowSlot &row, Writer *writer) {
  const std::string &name = row.identity->name;
  const bool named = state.names.count(name) != 0 && state.names.at(name) == row.identity->slot;
  writer->text(named ? name : std::string());
  writer->flag(row.identity->block);
  writer->flag(row.removed);
  writer->sides(row.sides);
  writer->sides(row.dual_bounds);
}

static void write_column(const State &state, int32_t slot,
                         const std::function<std::string(const Column &)> &data, Writer *writer) {
  const ColumnSlot &column = state.columns[at(slot)];
  writer->flag(column.removed);
  if (column.removed) return;
  std::vector<std::pair<int32_t, double>> entries;
  state.gather(slot, &entries);
  writer->flag(column.given);
  writer->real(state.column(slot).cost);
  writer->sides(column.bounds);
  writer->count(entries.size());
  for (const auto &[row, value] : entries) {
    writer->index(row);
    writer->real(value);
  }
  const Column handle = state.column_handle(slot);
  const bool has_object = data && handle.data().has_value();
  writer->flag(has_object);
  if (has_object) writer->text(data(handle));
}

static std::string contents(const State &state,
                            const std::function<std::string(const Column &)> &data) {
  Writer writer;
  writer.flag(state.sense == Sense::maximize);
  Settings settings = state.settings;
  visit_settings(settings, SettingWriter{writer});
  writer.word(static_cast<uint64_t>(-static_cast<int>(settings.strategy)), 1);
  writer.real(state.lower);
  writer.real(state.upper);
  writer.count(state.rows.size());
  for (const RowSlot &row : state.rows) write_row(state, row, &writer);
  writer.count(state.columns.size());
  for (size_t j = 0; j < state.columns.size(); ++j) {
    write_column(state, static_cast<int32_t>(j), data, &writer);
  }
  writer.count(state.duals.size());
  for (const double dual : state.duals) writer.real(dual);
  return writer.bytes();
}

static void write_file(const std::string &path, const std::string &bytes) {
  std::FILE *file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) throw FileError(path + ": the file cannot be made");
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  if (std::fclose(file) == 0 && written) return;
  std::remove(path.c_str());
  throw FileError(path + ": the file cannot be written");
}

void save_state(const State &state, const std::string &path,
                const std::function<std::string(const Column &)> &data) {
  const std::string body = contents(state, data);
  Writer writer;
  writer.append(kMagic);
  writer.word(kVersion, 4);
  writer.count(body.size());
  writer.append(body);
  writer.word(fnv1a(writer.bytes(), writer.bytes().size()), 8);
  // A run that is killed while it writes must find its last save whole.
  const std::string unfinished = path + ".part";
  write_file(unfinished, writer.bytes());
  if (std::rename(unfinished.c_str(), path.c_str()) == 0) return;
  std::remove(unfinished.c_str());
  throw FileError(path + ": the file cannot be replaced");
}

// Reading

static std::string read_file(const std::string &path) {
  std::ifstream stream(path, std::ios::binary);
  if (!stream) throw FileError(path + ": the file cannot be opened");
  std::ostringstream bytes;
  // Iterators of a stream's buffer would let its own exception out, for a folder for instance.
  if (stream.peek() != std::ifstream::traits_type::eof()) bytes << stream.rdbuf();
  if (stream.bad()) throw FileError(path + ": the file cannot be read");
  return bytes.str();
}

static void check_file(const std::string &bytes, const std::string &path) {
  if (bytes.compare(0, kMagicLength, kMagic) != 0) {
    throw FileError(path + ": not a file of a quarn master");
  }
  Reader head(bytes, kMagicLength, bytes.size(), path);
  const uint64_t version = head.word(4);
  if (version != kVersion) {
    throw FileError(path + ": version " + std::to_string(version) +
                    " of the format is not known to this library");
  }
  const uint64_t length = head.word(8);
  if (bytes.size() < kHeadLength + kHashLength ||
      length != bytes.size() - kHeadLength - kHashLength) {
    throw FileError(path + ": the file is damaged: it is not as long as it says");
  }
  Reader tail(bytes, bytes.size() - kHashLength, bytes.size(), path);
  if (tail.word(8) != fnv1a(bytes, bytes.size() - kHashLength)) {
    throw FileError(path + ": the file is damaged: its checksum does not match");
  }
}

static void read_rows(Reader *reader, State *state) {
  constexpr size_t kLeastRow = 4 + 2 + 32;
  const size_t count = reader->count(kLeastRow);
  for (size_t i = 0; i < count; ++i) {
    RowOptions options;
    options.name = reader->text();
    options.block = reader->flag();
    const bool removed = reader->flag();
    const Bounds sides = reader->sides();
    options.dual_bounds = reader->sides();
    const Row row = state->add_row(sides, options);
    if (removed) state->remove_row(row);
  }
}

static void read_column(Reader *reader, State *state,
                        const std::function<std::any(const std::string &)> &data) {
  std::vector<int32_t> slots;
  std::vector<double> values;
  if (reader->flag()) {
    // Only the number is taken; hash 0 finds no column that is there.
    const int32_t slot = state->append(0.0, nullptr, nullptr, 0, Bounds{}, {}, 0);
    state->remove_column(slot);
    return;
  }
  const bool given = reader->flag();
  const double cost = reader->real();
  const Bounds bounds = checked_bounds(reader->sides(), "a column");
  const size_t length = reader->count(12);
  for (size_t t = 0; t < length; ++t) {
    slots.push_back(reader->index());
    values.push_back(reader->real());
  }
  const auto size = static_cast<int64_t>(length);
  state->check_column({state->columns.size()}, cost, slots.data(), values.data(), size);
  uint64_t hash = 0;
  state->find_equal(cost, slots.data(), values.data(), size, &hash);
  std::any object;
  if (reader->flag()) {
    const std::string text = reader->text();
    if (data) object = data(text);
  }
  const int32_t slot =
      state->append(cost, slots.data(), values.data(), size, bounds, std::move(object), hash);
  state->columns[at(slot)].given = given;
}

static std::unique_ptr<State> read_contents(
    Reader *reader, const std::function<std::any(const std::string &)> &data) {
  auto state = std::make_unique<State>(reader->flag() ? Sense::maximize : Sense::minimize);
  visit_settings(state->settings, SettingReader{*reader});
  state->settings.strategy = static_cast<Strategy>(-static_cast<int>(reader->word(1)));
  const double lower = reader->real();
  const double upper = reader->real();
  read_rows(reader, state.get());
  const size_t columns = reader->count(1);
  for (size_t j = 0; j < columns; ++j) read_column(reader, state.get(), data);
  const size_t duals = reader->count(8);
  for (size_t i = 0; i < duals; ++i) state->duals.push_back(reader->real());
  state->lower = lower;
  state->upper = upper;
  state->edit = Edit::none;
  return state;
}

std::unique_ptr<State> load_state(const std::string &path,
                                  const std::function<std::any(const std::string &)> &data) {
  const std::string bytes = read_file(path);
  check_file(bytes, path);
  Reader reader(bytes, kHeadLength, bytes.size() - kHashLength, path);
  std::unique_ptr<State> state;
  try {
    state = read_contents(&reader, data);
  } catch (const Mistake &mistake) {
    throw FileError(path + ": the file is damaged: " + mistake.what());
  }
  if (!reader.at_end()) reader.damaged();
  return state;
}

}  // namespace detail

void Master::save(const std::string &path,
                  const std::function<std::string(const Column &)> &data) const {
  detail::save_state(*state_, path, data);
}

Master Master::load(const std::string &path,
                    const std::function<std::any(const std::string &)> &data) {
  Master master;
  master.state_ = detail::load_state(path, data);
  return master;
}

}  // namespace v1
}  // namespace quarn
