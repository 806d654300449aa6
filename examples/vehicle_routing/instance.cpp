#include "examples/vehicle_routing/instance.h"

#include <algorithm>
#include <cmath>

#include "examples/common/lehmer.h"
#include "examples/common/text_reader.h"

namespace vehicle_routing {

constexpr int64_t kMostVehicles = 1000000;
constexpr int64_t kLargestLoad = 1000000000;
constexpr int64_t kLargestCoordinate = 1000000;
constexpr int64_t kLongestTime = 1000000;
constexpr int32_t kTenths = 10;
constexpr int32_t kDay = 240;  // the horizon of generated instances

int32_t distance(const Instance &instance, int32_t i, int32_t j) {
  const Node &a = instance.nodes[static_cast<size_t>(i)];
  const Node &b = instance.nodes[static_cast<size_t>(j)];
  // 10 sqrt(s) = sqrt(100 s) of a whole number: rounding in the root cannot pass the next integer.
  const int64_t square = 100 * ((a.x - b.x) * (a.x - b.x) + (a.y - b.y) * (a.y - b.y));
  return static_cast<int32_t>(std::floor(std::sqrt(static_cast<double>(square))));
}

int64_t route_length(const Instance &instance, const Route &route) {
  int64_t length = 0;
  int32_t last = 0;
  for (const int32_t i : route) {
    length += distance(instance, last, i);
    last = i;
  }
  return length + distance(instance, last, 0);
}

bool is_feasible(const Instance &instance, const Route &route) {
  int64_t load = 0, time = instance.nodes[0].ready;
  int32_t last = 0;
  for (const int32_t i : route) {
    const Node &node = instance.nodes[static_cast<size_t>(i)];
    time += instance.nodes[static_cast<size_t>(last)].service + distance(instance, last, i);
    time = std::max<int64_t>(time, node.ready);
    load += node.demand;
    if (time > node.due || load > instance.capacity) return false;
    last = i;
  }
  time += instance.nodes[static_cast<size_t>(last)].service + distance(instance, last, 0);
  return time <= instance.nodes[0].due;
}

static void read_heading(examples::TextReader &reader, const std::string &word) {
  const examples::Line line = reader.next("the heading " + word, 1);
  if (line.text(0) != word) line.fail("expected " + word + ", found \"" + line.text(0) + "\"");
  reader.next("the headings of the columns");
}

static Node read_node(const examples::Line &line, int64_t number) {
  line.integer(0, "the node's number", number, number);
  const auto time = [&line](size_t k, const char *what, int64_t least) {
    return static_cast<int32_t>(kTenths * line.integer(k, what, least, kLongestTime));
  };
  Node node;
  node.x = line.integer(1, "the x coordinate", -kLargestCoordinate, kLargestCoordinate);
  node.y = line.integer(2, "the y coordinate", -kLargestCoordinate, kLargestCoordinate);
  node.demand = static_cast<int32_t>(line.integer(3, "the demand", 0, kLargestLoad));
  node.ready = time(4, "the ready time", 0);
  node.due = time(5, "the due date", node.ready / kTenths);
  node.service = time(6, "the service time", 0);
  return node;
}

/// Labels are set in the order of time, so every step has to take some.
static bool takes_no_time(const Instance &instance, int32_t i, int32_t j) {
  return instance.nodes[static_cast<size_t>(i)].service == 0 && distance(instance, i, j) == 0;
}

static void check_customer(const Instance &instance, int32_t i, const examples::Line &line) {
  if (!is_feasible(instance, {i})) {
    line.fail("no vehicle can serve customer " + std::to_string(i) + " and be back in time");
  }
  for (int32_t j = 1; j < i; ++j) {
    if (takes_no_time(instance, i, j) || takes_no_time(instance, j, i)) {
      line.fail("customers " + std::to_string(j) + " and " + std::to_string(i) +
                " share a place, so both need a service time");
    }
  }
}

static void read_nodes(examples::TextReader &reader, Instance &instance) {
  while (!reader.at_end()) {
    const int32_t number = static_cast<int32_t>(instance.nodes.size());
    const examples::Line line = reader.next("a node of seven numbers", 7);
    instance.nodes.push_back(read_node(line, number));
    if (number > 0) check_customer(instance, number, line);
  }
}

Instance read_instance(const std::string &path, int32_t customers) {
  examples::TextReader reader(path);
  Instance instance;
  instance.name = reader.next("the name", 1).text(0);
  reader.next("an empty line", 0);
  read_heading(reader, "VEHICLE");
  const examples::Line fleet = reader.next("the number of vehicles and their capacity", 2);
  instance.vehicles =
      static_cast<int32_t>(fleet.integer(0, "the number of vehicles", 1, kMostVehicles));
  instance.capacity = static_cast<int32_t>(fleet.integer(1, "the capacity", 1, kLargestLoad));
  reader.next("an empty line", 0);
  read_heading(reader, "CUSTOMER");
  reader.next("an empty line", 0);
  read_nodes(reader, instance);
  if (instance.customers() < std::max(customers, 1)) {
    throw examples::InputError(path, 0,
                               "has " + std::to_string(std::max(instance.customers(), 0)) +
                                   " customers, fewer than asked for");
  }
  if (customers > 0) instance.nodes.resize(static_cast<size_t>(customers) + 1);
  return instance;
}

void write_instance(const Instance &instance, FILE *stream) {
  std::fprintf(stream, "%s\n\nVEHICLE\nNUMBER     CAPACITY\n%5d %11d\n\n", instance.name.c_str(),
               static_cast<int>(instance.vehicles), static_cast<int>(instance.capacity));
  std::fputs("CUSTOMER\nNUMBER   X      Y   DEMAND  READY    DUE  SERVICE\n\n", stream);
  for (size_t i = 0; i < instance.nodes.size(); ++i) {
    const Node &node = instance.nodes[i];
    std::fprintf(stream, "%5zu %6lld %6lld %6d %6d %6d %6d\n", i, static_cast<long long>(node.x),
                 static_cast<long long>(node.y), static_cast<int>(node.demand),
                 static_cast<int>(node.ready / kTenths), static_cast<int>(node.due / kTenths),
                 static_cast<int>(node.service / kTenths));
  }
}

/// A window that a vehicle coming straight from the depot can meet, and be back in time.
static void draw_window(examples::Lehmer &random, const Instance &instance, Node &node) {
  Instance pair;
  pair.nodes = {instance.nodes[0], node};
  const int64_t way = distance(pair, 0, 1) / kTenths + 1;
  const int64_t earliest = way, latest = kDay - way - node.service / kTenths;
  const int64_t middle = random.draw(earliest, latest), width = random.draw(30, 120);
  node.ready = static_cast<int32_t>(kTenths * std::max(middle - width / 2, earliest));
  node.due = static_cast<int32_t>(kTenths * std::min(middle + width / 2, latest));
}

Instance generate_instance(int32_t customers, int64_t seed) {
  examples::Lehmer random(seed);
  Instance instance;
  instance.name = "v" + std::to_string(customers) + "_s" + std::to_string(seed);
  instance.vehicles = customers;
  instance.capacity = 200;
  instance.nodes.push_back({50, 50, 0, 0, kTenths * kDay, 0});
  for (int32_t i = 1; i <= customers; ++i) {
    Node node = {};
    node.x = random.draw(0, 100);
    node.y = random.draw(0, 100);
    node.demand = static_cast<int32_t>(random.draw(1, 40));
    node.service = 10 * kTenths;
    draw_window(random, instance, node);
    instance.nodes.push_back(node);
  }
  return instance;
}

}  // namespace vehicle_routing
