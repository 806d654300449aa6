#include "examples/cutting_stock/node_types.h"

#include <algorithm>
#include <limits>

namespace cutting_stock {

namespace bp = quarn::branch_and_price;

NodeTypes::NodeTypes(const Instance &instance, const std::vector<bp::Decision> &path)
    : has_decisions_(!path.empty()) {
  for (const ItemType &type : instance.types) types_.push_back({type.size});
  for (const bp::Decision &decision : path) {
    const auto a = static_cast<size_t>(decision.numbers[0]);
    const auto b = static_cast<size_t>(decision.numbers[1]);
    if (decision.kind == kJoin) {
      join(a, b);
    } else {
      part(a, b);
    }
  }
}

bool NodeTypes::contains(const std::vector<size_t> &list, size_t t) {
  return std::find(list.begin(), list.end(), t) != list.end();
}

/// The joined type inherits the conflicts that its pieces had while they were free.
void NodeTypes::join(size_t a, size_t b) {
  const size_t joined = types_.size();
  types_.push_back({types_[a].size + types_[b].size, {a, b}});
  types_[a].joined.push_back(joined);
  types_[b].joined.push_back(joined);
  for (const size_t t : {a, b}) {
    for (const size_t other : std::vector<size_t>(types_[t].conflicts)) {
      if (!contains(types_[joined].conflicts, other)) part(joined, other);
    }
  }
}

void NodeTypes::part(size_t a, size_t b) {
  types_[a].conflicts.push_back(b);
  if (a != b) types_[b].conflicts.push_back(a);
}

std::vector<int64_t> NodeTypes::free_pieces(std::vector<int64_t> pieces) const {
  pieces.resize(types_.size(), 0);
  std::vector<int64_t> free = pieces;
  for (size_t t = 0; t < types_.size(); ++t) {
    for (const size_t part : types_[t].parts) free[part] -= pieces[t];
  }
  return free;
}

std::vector<int64_t> NodeTypes::all_pieces(std::vector<int64_t> free) const {
  for (size_t t = types_.size(); t-- > 0;) {
    for (const size_t part : types_[t].parts) free[part] += free[t];
  }
  return free;
}

std::vector<ConflictItem> NodeTypes::items(const std::vector<double> &prices,
                                           const std::vector<int64_t> &left) const {
  std::vector<ConflictItem> items;
  for (size_t t = 0; t < types_.size(); ++t) {
    double value = std::max(0.0, prices[t]);
    for (const size_t part : types_[t].parts) value += items[part].value;
    items.push_back({types_[t].size, value, std::max<int64_t>(0, left[t]), types_[t].conflicts});
  }
  // What is worth nothing is left out; values of joined types needed it.
  for (ConflictItem &item : items) {
    if (item.value <= 0.0) item.limit = 0;
  }
  return items;
}

bp::Branching NodeTypes::branching(size_t a, size_t b) const {
  std::vector<int64_t> numbers = {static_cast<int64_t>(a), static_cast<int64_t>(b)};
  for (const size_t t : {a, b}) {
    numbers.push_back(static_cast<int64_t>(types_[t].joined.size()));
    for (const size_t joined : types_[t].joined) numbers.push_back(static_cast<int64_t>(joined));
  }
  return {{{kJoin, numbers, bp::DecisionRow{quarn::RowSense::at_least, 1.0}}}, {{kPart, numbers}}};
}

PairCount pair_count(const bp::Decision &decision, const std::vector<quarn::Entry> &entries) {
  const auto entry = [&](int64_t row) {
    for (const auto &[known, value] : entries) {
      if (known.index() == row) return value;
    }
    return 0.0;
  };
  const std::vector<int64_t> &numbers = decision.numbers;
  PairCount count = {entry(numbers[0]), entry(numbers[1]), numbers[0] == numbers[1]};
  size_t k = 2;
  for (double *free : {&count.first, &count.second}) {
    const auto end = k + 1 + static_cast<size_t>(numbers[k]);
    for (++k; k < end; ++k) *free -= entry(numbers[k]);
  }
  return count;
}

}  // namespace cutting_stock
