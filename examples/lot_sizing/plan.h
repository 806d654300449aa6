#ifndef EXAMPLES_LOT_SIZING_PLAN_H
#define EXAMPLES_LOT_SIZING_PLAN_H

#include <cstddef>
#include <vector>

#include "examples/lot_sizing/instance.h"

namespace lot_sizing {

/// What is made of one item: a quantity for each period. A setup is where it is above 0.
using Plan = std::vector<double>;

/// Setups and stock of a plan.
double plan_cost(const Item &item, const Plan &plan);

/// Capacity that the plan takes in period t.
double plan_use(const Item &item, const Plan &plan, size_t t);

/**
 * Plans, one for each item, that fit into the capacity together; empty when none were found.
 *
 * From the last period to the first: what is made beyond the capacity is made a period earlier,
 * the items first for which that costs least per unit of capacity set free.
 */
std::vector<Plan> fitting_plans(const Instance &instance);

}  // namespace lot_sizing

#endif
