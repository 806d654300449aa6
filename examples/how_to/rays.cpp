// Plants that turn money into goods, some of them without limit: extreme points and extreme rays.
//
//   minimise    sum_k cost_k m_k    subject to    sum_k g_k >= 40,    sum_k m_k <= 25,
//               0 <= g_k <= free_k + rate_k m_k   for every plant k
//
// A plant's set has the extreme points (0, 0) and (0, free_k) and the extreme rays (m, g) = (1, 0)
// and (1, rate_k). The cheapest goods are those of plant 1: 34 of them have to be paid for.
#include <cmath>
#include <cstdio>
#include <quarn_cpp/quarn.hpp>

#include "exit_status.h"

struct Plant {
  double cost, free, rate;
};
const std::vector<Plant> kPlants = {
    {1.0, 2.0, 1.5}, {1.3, 1.0, 2.5}, {0.6, 0.0, 0.5}, {1.1, 3.0, 1.4}};

int main() {
  quarn::Master master(quarn::Sense::minimize);
  const quarn::Row goods = master.add_row(quarn::RowSense::at_least, 40.0, {"goods"});
  const quarn::Row money = master.add_row(quarn::RowSense::at_most, 25.0, {"money"});
  std::vector<quarn::Row> plants;
  for (size_t k = 0; k < kPlants.size(); ++k) plants.push_back(master.add_block());

  const auto price = [&](const quarn::Duals &duals, quarn::Columns &columns) {
    bool is_bounded = true;
    std::vector<std::pair<quarn::Row, double>> best;
    for (size_t k = 0; k < kPlants.size(); ++k) {
      const Plant &plant = kPlants[k];
      // A ray has no entry in the row of its block: nothing limits how often it is used.
      const std::vector<quarn::Entry> ray = {{goods, plant.rate}, {money, 1.0}};
      if (duals.reduced_cost(plant.cost, ray) < -1e-9) {
        columns.add(plant.cost, ray, std::string("ray"));
        is_bounded = false;
        continue;
      }
      const std::vector<quarn::Entry> point = {{goods, plant.free}, {plants[k], 1.0}};
      columns.add(0.0, point, std::string("point"));
      best.push_back({plants[k], duals.reduced_cost(0.0, point)});
    }
    // While a ray improves, its block's best reduced cost is minus infinity: nothing is proved.
    return is_bounded ? quarn::Answer::best_reduced_costs(best) : quarn::Answer::heuristic();
  };
  const quarn::Result result = master.solve(price);

  std::printf("%s\n", result.message.c_str());
  for (const auto &[column, value] : result.values) {
    if (value < 1e-3) continue;
    std::printf("%8.4f of a %s at cost %g\n", value, column.get<std::string>().c_str(),
                column.cost());
  }
  const bool right = std::fabs(result.upper_bound - 34.0 / 2.5 * 1.3) < 1e-4;
  return exit_status(result.status == quarn::Status::optimal && right);
}
