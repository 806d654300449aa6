// The file of a search: text, numbers in hexadecimal so that they come back as they were.
//
//   quarn-branch-and-price 1
//   rows N          their sides
//   counters        nodes, made, seconds, bounds
//   columns N       the pool
//   incumbent N     its columns
//   nodes N         what is open
//   end
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <sstream>

#include "branch_and_price/tree.hpp"

namespace quarn {
namespace branch_and_price {

constexpr const char *kMagic = "quarn-branch-and-price";
constexpr int kVersion = 1;

namespace {

using WriteData = std::function<std::string(const std::any &)>;
using ReadData = std::function<std::any(const std::string &)>;

class Writer {
 public:
  Writer(std::ostream &stream, const WriteData &data) : stream_(stream), data_(data) {}

  Writer &word(const char *text) {
    stream_ << text << ' ';
    return *this;
  }
  Writer &text(const std::string &text) {
    stream_ << std::quoted(text) << ' ';
    return *this;
  }
  Writer &whole(int64_t value) {
    stream_ << value << ' ';
    return *this;
  }
  Writer &real(double value) {
    char digits[40];
    std::snprintf(digits, sizeof digits, "%a ", value);
    stream_ << digits;
    return *this;
  }
  Writer &line() {
    stream_ << '\n';
    return *this;
  }

  void column(const SolutionColumn &column) {
    real(column.cost).real(column.value).whole(static_cast<int64_t>(column.entries.size()));
    for (const auto &[row, value] : column.entries) whole(row.index()).real(value);
    text(data_ && column.data.has_value() ? data_(column.data) : "").line();
  }

  void decision(const Decision &decision) {
    text(decision.kind).whole(static_cast<int64_t>(decision.numbers.size()));
    for (const int64_t number : decision.numbers) whole(number);
    whole(decision.row ? static_cast<int>(decision.row->sense) : 0);
    real(decision.row ? decision.row->rhs : 0.0);
  }

 private:
  std::ostream &stream_;
  const WriteData &data_;
};

class Reader {
 public:
  Reader(std::istream &stream, const std::string &path, const ReadData &data,
         const std::vector<Row> &rows)
      : stream_(stream), path_(path), data_(data), rows_(rows) {}

  [[noreturn]] void fail(const std::string &why) const {
    throw FileError("file '" + path_ + "': " + why);
  }
  void expect(const std::string &word) {
    std::string found;
    if (!(stream_ >> found) || found != word)
      fail("damaged, or none of this kind: no '" + word + "'");
  }
  int64_t whole(int64_t least, int64_t most) {
    int64_t value = 0;
    if (!(stream_ >> value) || value < least || value > most) fail("damaged: a number is wrong");
    return value;
  }
  /// A length; memory is taken only as the items come.
  int64_t count() { return whole(0, std::numeric_limits<int32_t>::max()); }
  double real() {
    std::string text;
    char *end = nullptr;
    if (!(stream_ >> text)) fail("damaged: it ends early");
    const double value = std::strtod(text.c_str(), &end);
    if (*end != '\0' || std::isnan(value)) fail("damaged: a number is wrong");
    return value;
  }
  std::string text() {
    std::string text;
    if (!(stream_ >> std::quoted(text))) fail("damaged: a text is missing");
    return text;
  }

  SolutionColumn column() {
    SolutionColumn column;
    column.cost = real();
    column.value = real();
    for (int64_t left = count(); left > 0; --left) {
      const int64_t index = whole(0, std::numeric_limits<int32_t>::max());
      const double value = real();
      column.entries.push_back({row(index), value});
    }
    const std::string data = text();
    if (data_ && !data.empty()) column.data = data_(data);
    return column;
  }

  Decision decision() {
    Decision decision;
    decision.kind = text();
    for (int64_t left = count(); left > 0; --left) {
      decision.numbers.push_back(
          whole(std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max()));
    }
    const auto sense = static_cast<RowSense>(whole(0, 3));
    const double rhs = real();
    if (static_cast<int>(sense) != 0) decision.row = DecisionRow{sense, rhs};
    return decision;
  }

  /// An open node of a search that has numbered `made` of them.
  Node node(int64_t made) {
    Node node;
    node.number = whole(0, made);
    node.parent = whole(-1, made);
    node.depth = static_cast<int32_t>(count());
    node.own = static_cast<size_t>(count());
    node.bound = real();
    for (int64_t left = count(); left > 0; --left) node.decisions.push_back(decision());
    node.cuts = node.decisions.size();
    if (node.own > node.decisions.size()) fail("damaged: a node is wrong");
    return node;
  }

 private:
  Row row(int64_t index) const {
    for (const Row &row : rows_) {
      if (row.index() == index) return row;
    }
    fail("damaged: it names a row that the master has not");
  }

  std::istream &stream_;
  const std::string &path_;
  const ReadData &data_;
  const std::vector<Row> &rows_;
};

}  // namespace

void Tree::save(const std::string &path, const WriteData &data) const {
  const std::string draft = path + ".new";
  std::ofstream stream(draft, std::ios::trunc);
  Writer writer(stream, data);
  writer.word(kMagic).whole(kVersion).line();
  writer.word("rows").whole(static_cast<int64_t>(frame_.root_rows.size())).line();
  for (const Row &row : frame_.root_rows) {
    const Bounds sides = frame_.pool.range(row);
    writer.real(sides.lower).real(sides.upper).line();
  }
  writer.word("counters").whole(counts_.nodes).whole(made_).whole(frame_.iterations);
  writer.real(counts_.seconds).real(dropped_bound_).real(unsolved_bound_);
  writer.real(frame_.limit).real(counts_.root_bound).real(counts_.root_value);
  writer.real(counts_.root_seconds).line();
  const std::vector<Column> columns = frame_.pool.columns();
  writer.word("columns").whole(static_cast<int64_t>(columns.size())).line();
  for (const Column &column : columns) {
    writer.column({column.cost(), frame_.pool.entries(column), column.data(), 0.0});
  }
  writer.word("incumbent").whole(frame_.has_incumbent ? 1 : 0);
  writer.whole(static_cast<int64_t>(frame_.incumbent.size())).line();
  for (const SolutionColumn &column : frame_.incumbent) writer.column(column);
  writer.word("nodes").whole(static_cast<int64_t>(open_.size())).line();
  for (const Node &node : open_) {
    writer.whole(node.number).whole(node.parent).whole(node.depth);
    writer.whole(static_cast<int64_t>(node.own)).real(node.bound);
    writer.whole(static_cast<int64_t>(node.decisions.size()));
    for (const Decision &decision : node.decisions) writer.decision(decision);
    writer.line();
  }
  writer.word("end").line();
  stream.close();
  if (!stream || std::rename(draft.c_str(), path.c_str()) != 0) {
    std::remove(draft.c_str());
    throw FileError("file '" + path + "': it cannot be written");
  }
}

void Tree::resume(const std::string &path, const ReadData &data) {
  if (counts_.nodes > 0) throw Mistake("a search that has run cannot be resumed from a file");
  std::ifstream stream(path);
  if (!stream) throw FileError("file '" + path + "': it cannot be read");
  Reader reader(stream, path, data, frame_.root_rows);
  reader.expect(kMagic);
  reader.whole(kVersion, kVersion);
  reader.expect("rows");
  if (reader.count() != static_cast<int64_t>(frame_.root_rows.size())) {
    reader.fail("it is of a master with another number of rows");
  }
  for (const Row &row : frame_.root_rows) {
    const Bounds sides = frame_.pool.range(row);
    const double lower = reader.real(), upper = reader.real();
    if (lower != sides.lower || upper != sides.upper) {
      reader.fail("it is of a master with another row '" + row.name() + "'");
    }
  }
  // Read first, taken over at the end: a damaged file changes nothing.
  Outcome counts;
  reader.expect("counters");
  const int64_t most = std::numeric_limits<int64_t>::max();
  counts.nodes = reader.whole(0, most);
  const int64_t made = reader.whole(1, most), iterations = reader.whole(0, most);
  counts.seconds = reader.real();
  const double dropped = reader.real(), unsolved = reader.real(), limit = reader.real();
  counts.root_bound = reader.real();
  counts.root_value = reader.real();
  counts.root_seconds = reader.real();
  reader.expect("columns");
  std::vector<double> costs, values;
  std::vector<int64_t> starts = {0};
  std::vector<int32_t> rows;
  std::vector<std::any> objects;
  for (int64_t left = reader.count(); left > 0; --left) {
    SolutionColumn column = reader.column();
    for (const auto &[row, value] : column.entries) {
      rows.push_back(row.index());
      values.push_back(value);
    }
    costs.push_back(column.cost);
    objects.push_back(std::move(column.data));
    starts.push_back(static_cast<int64_t>(rows.size()));
  }
  reader.expect("incumbent");
  const bool has_incumbent = reader.whole(0, 1) == 1;
  Solution incumbent;
  for (int64_t left = reader.count(); left > 0; --left) incumbent.push_back(reader.column());
  reader.expect("nodes");
  std::vector<Node> open;
  for (int64_t left = reader.count(); left > 0; --left) open.push_back(reader.node(made));
  reader.expect("end");
  const std::string wrong = has_incumbent ? frame_.violation(incumbent) : "";
  if (!wrong.empty()) reader.fail("damaged: its solution is none: " + wrong);

  frame_.pool.add_columns(costs, starts, rows, values, std::move(objects));
  open_ = std::move(open);
  counts_ = std::move(counts);
  made_ = made;
  dropped_bound_ = dropped;
  unsolved_bound_ = unsolved;
  frame_.iterations = iterations;
  frame_.limit = std::min(frame_.limit, limit);
  if (!has_incumbent) return;
  const double value = frame_.cost(incumbent);
  if (value >= frame_.value) return;
  frame_.incumbent = std::move(incumbent);
  frame_.has_incumbent = true;
  frame_.value = value;
  frame_.limit = std::min(frame_.limit, value);
}

}  // namespace branch_and_price
}  // namespace quarn
