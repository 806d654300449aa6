#ifndef EXAMPLES_LOT_SIZING_INSTANCE_H
#define EXAMPLES_LOT_SIZING_INSTANCE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace lot_sizing {

/// One product, made on the shared machine.
struct Item {
  double unit_use;             ///< capacity that one unit takes, above 0
  double holding_cost;         ///< of one unit in stock at the end of a period, 0 or more
  double setup_use;            ///< capacity that a setup takes, 0 or more
  double setup_cost;           ///< 0 or more
  std::vector<double> demand;  ///< one for each period, 0 or more
};

/// A capacitated lot sizing problem with setup times: no stock at the start, no backlog.
struct Instance {
  int32_t periods = 0;
  double capacity = 0.0;  ///< of the machine, in every period
  std::vector<Item> items;

  size_t horizon() const { return static_cast<size_t>(periods); }
};

/// Reads the format of W. W. Trigeiro, L. J. Thomas, J. O. McClain, Capacitated lot sizing with
/// setup times, Management Science 35 (1989): numbers of items and periods; unit production cost
/// (a constant, not used); capacity; for each item capacity per unit, holding cost, setup time,
/// setup cost; for each period the demand of every item. Anything else becomes an
/// examples::InputError with file and line.
Instance read_instance(const std::string &path);

/// What the published classes vary.
struct Levels {
  int demand_variation;     ///< 1: demands from 75 to 125, 2: from 1 to 199
  int time_between_orders;  ///< 1, 2 or 4 periods, which sets the size of the setup costs
  int setup_time;           ///< 1: small, 2: large
  int tightness;            ///< 7, 8, 9: the machine is in use for about 75, 85, 95 % of its time
};

/// Whether the levels are among those above.
bool is_class(const Levels &levels);

/// A random instance in the style of the published ones, of any size.
Instance generate_instance(const Levels &levels, int32_t items, int32_t periods, int64_t seed);

}  // namespace lot_sizing

#endif
