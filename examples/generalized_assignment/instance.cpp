#include "examples/generalized_assignment/instance.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "examples/common/lehmer.h"
#include "examples/common/text_reader.h"

namespace generalized_assignment {

constexpr int64_t kMostAgents = 100000;
constexpr int64_t kMostTasks = 100000;
constexpr int64_t kLargestWeight = 1000000000;
constexpr double kLargestCost = 1e9;
// The dynamic program keeps a bit of each task for each unit of capacity.
constexpr int64_t kLargestCapacity = 10000000;

/// Hands out the numbers of a file one by one, wherever its lines break.
class Numbers {
 public:
  explicit Numbers(const std::string &path) : reader_(path) {}

  double number(const std::string &what, double least, double most) {
    return line(what).number(next_++, what, least, most);
  }

  int64_t integer(const std::string &what, int64_t least, int64_t most) {
    return line(what).integer(next_++, what, least, most);
  }

  void expect_end() {
    if (line_ && next_ < line_->size()) line_->fail("a number too many: " + line_->text(next_));
    reader_.expect_end();
  }

 private:
  const examples::Line &line(const std::string &what) {
    while (!line_ || next_ == line_->size()) {
      line_ = reader_.next(what);
      next_ = 0;
    }
    return *line_;
  }

  examples::TextReader reader_;
  std::optional<examples::Line> line_;
  size_t next_ = 0;
};

Instance read_instance(const std::string &path) {
  Numbers numbers(path);
  Instance instance;
  const int64_t agents = numbers.integer("the number of agents", 1, kMostAgents);
  const int64_t tasks = numbers.integer("the number of tasks", 1, kMostTasks);
  instance.agents.resize(static_cast<size_t>(agents));
  for (Agent &agent : instance.agents) {
    for (int64_t j = 0; j < tasks; ++j) {
      agent.cost.push_back(numbers.number("a cost", -kLargestCost, kLargestCost));
    }
  }
  for (Agent &agent : instance.agents) {
    for (int64_t j = 0; j < tasks; ++j) {
      agent.weight.push_back(numbers.integer("a weight", 0, kLargestWeight));
    }
  }
  for (Agent &agent : instance.agents) {
    agent.capacity = numbers.integer("a capacity", 0, kLargestCapacity);
  }
  numbers.expect_end();
  return instance;
}

/// Uniform in (0, 1].
static double draw_share(examples::Lehmer &random) {
  constexpr int64_t kSteps = 1000000;
  return static_cast<double>(random.draw(1, kSteps)) / static_cast<double>(kSteps);
}

/// Draws the weight, then the cost of one task for one agent.
static void draw_pair(char kind, examples::Lehmer &random, Agent &agent) {
  int64_t weight = 0;
  int64_t cost = 0;
  if (kind == 'C') {
    weight = random.draw(5, 25);
    cost = random.draw(10, 50);
  } else if (kind == 'D') {
    weight = random.draw(1, 100);
    cost = 111 - weight + random.draw(-10, 10);
  } else {
    weight = static_cast<int64_t>(std::floor(1.0 - 10.0 * std::log(draw_share(random))));
    const double exact = 1000.0 / static_cast<double>(weight) - 10.0 * draw_share(random);
    cost = std::max<int64_t>(1, static_cast<int64_t>(std::floor(exact)));
  }
  agent.weight.push_back(weight);
  agent.cost.push_back(static_cast<double>(cost));
}

static Instance generate_multiple_knapsack(int32_t tasks, int32_t agents, int64_t seed) {
  examples::Lehmer random(seed);
  Agent knapsack;
  int64_t total = 0;
  for (int32_t j = 0; j < tasks; ++j) {
    const int64_t weight = random.draw(10, 1000);
    const int64_t profit = std::max<int64_t>(1, weight + random.draw(-100, 100));
    knapsack.weight.push_back(weight);
    knapsack.cost.push_back(-static_cast<double>(profit));
    total += weight;
  }
  Instance instance;
  instance.optional = true;
  for (int32_t i = 0; i < agents; ++i) {
    knapsack.capacity = total * random.draw(80, 120) / (200 * agents);
    instance.agents.push_back(knapsack);
  }
  return instance;
}

Instance generate_instance(char kind, int32_t tasks, int32_t agents, int64_t seed) {
  if (kind == 'K') return generate_multiple_knapsack(tasks, agents, seed);
  examples::Lehmer random(seed);
  Instance instance;
  instance.agents.resize(static_cast<size_t>(agents));
  for (Agent &agent : instance.agents) {
    int64_t total = 0;
    for (int32_t j = 0; j < tasks; ++j) {
      draw_pair(kind, random, agent);
      total += agent.weight.back();
    }
    agent.capacity = total * 8 / (10 * agents);
  }
  return instance;
}

}  // namespace generalized_assignment
