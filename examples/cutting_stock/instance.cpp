#include "examples/cutting_stock/instance.h"

#include <algorithm>
#include <set>

#include "examples/common/lehmer.h"
#include "examples/common/text_reader.h"

namespace cutting_stock {

constexpr int64_t kMostTypes = 1000000;
constexpr int64_t kLargestNumber = 2147483647;

// Of the pieces of a generated instance.
constexpr int64_t kShortest = 100;
constexpr int64_t kLongest = kShortest + kMostGeneratedTypes - 1;

int64_t Instance::most_copies(int32_t i) const {
  const ItemType &type = types[static_cast<size_t>(i)];
  return std::min(type.demand, length / type.size);
}

int64_t Instance::pieces() const {
  int64_t sum = 0;
  for (const ItemType &type : types) sum += type.demand;
  return sum;
}

Instance read_instance(const std::string &path) {
  examples::TextReader reader(path);
  Instance instance;
  const int64_t types = reader.next("the number of item types", 1)
                            .integer(0, "the number of item types", 1, kMostTypes);
  instance.length =
      reader.next("the length of a roll", 1).integer(0, "the length of a roll", 1, kLargestNumber);
  for (int64_t i = 1; i <= types; ++i) {
    const examples::Line line = reader.next(
        "size and demand of item type " + std::to_string(i) + " of " + std::to_string(types), 2);
    const int64_t size = line.integer(0, "the size", 1, kLargestNumber);
    if (size > instance.length) {
      line.fail("the size " + line.text(0) + " is above the length of a roll, " +
                std::to_string(instance.length));
    }
    if (i > 1 && size >= instance.types.back().size) {
      line.fail("sizes must be strictly decreasing, " + line.text(0) + " follows " +
                std::to_string(instance.types.back().size));
    }
    instance.types.push_back({size, line.integer(1, "the demand", 1, kLargestNumber)});
  }
  reader.expect_end();
  return instance;
}

Instance piece_by_piece(const Instance &instance) {
  Instance pieces;
  pieces.length = instance.length;
  for (const ItemType &type : instance.types) {
    pieces.types.insert(pieces.types.end(), static_cast<size_t>(type.demand), {type.size, 1});
  }
  return pieces;
}

void write_instance(const Instance &instance, FILE *stream) {
  std::fprintf(stream, "%zu\n%lld\n", instance.types.size(),
               static_cast<long long>(instance.length));
  for (const ItemType &type : instance.types) {
    std::fprintf(stream, "%lld %lld\n", static_cast<long long>(type.size),
                 static_cast<long long>(type.demand));
  }
}

Instance generate_instance(int32_t types, int64_t seed) {
  examples::Lehmer random(seed);
  std::set<int64_t> seen;
  Instance instance;
  instance.length = 10000;
  while (instance.size() < types) {
    const int64_t size = random.draw(kShortest, kLongest);
    if (!seen.insert(size).second) continue;
    instance.types.push_back({size, random.draw(1, 100)});
  }
  std::sort(instance.types.begin(), instance.types.end(),
            [](const ItemType &a, const ItemType &b) { return a.size > b.size; });
  return instance;
}

}  // namespace cutting_stock
