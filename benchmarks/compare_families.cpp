/// The families: how a run is set up, and which instances are compared.
#include <algorithm>
#include <filesystem>
#include <functional>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "benchmarks/compare_known_values.h"
#include "benchmarks/compare_master.h"
#include "benchmarks/explicit_columns.h"
#include "benchmarks/mps_reader.h"
#include "examples/common/master_solve.h"
#include "examples/cutting_stock/master.h"
#include "examples/generalized_assignment/master.h"
#include "examples/lot_sizing/master.h"
#include "examples/multicommodity_flow/master.h"
#include "examples/vehicle_routing/master.h"

namespace benchmarks {
namespace {

void apply(const Overrides &overrides, examples::Options &options) {
  if (overrides.columns_per_call > 0) options.columns_per_call = overrides.columns_per_call;
  if (overrides.divisor >= 0.0) options.divisor = overrides.divisor;
  options.tolerance = overrides.tolerance;
}

/// Setups own their masters and oracles, makers share the instance, which the oracles refer to.
template <typename Instance>
using Shared = std::shared_ptr<const Instance>;

template <typename Instance>
Shared<Instance> share(Instance instance) {
  return std::make_shared<const Instance>(std::move(instance));
}

std::shared_ptr<quarn::Master> share_master(quarn::Master master) {
  return std::make_shared<quarn::Master>(std::move(master));
}

/// An oracle whose object lives as long as it does.
template <typename Pricing>
quarn::Oracle owning(std::shared_ptr<Pricing> pricing) {
  return [pricing](const quarn::Duals &duals, quarn::Columns &columns) {
    return (*pricing)(duals, columns);
  };
}

MasterMaker cutting_stock_maker(const Shared<cutting_stock::Instance> &instance) {
  return [instance](const Overrides &overrides) {
    cutting_stock::MasterSettings settings;
    apply(overrides, settings);
    const auto pricer = std::make_shared<cutting_stock::PatternPricer>(*instance);
    const auto master = share_master(make_master(*instance, *pricer, settings));
    const cutting_stock::Oracle oracle(*instance, *pricer, *master, settings.columns_per_call);
    return MasterSetup{master,
                       [pricer, oracle](const quarn::Duals &duals, quarn::Columns &columns) {
                         return oracle(duals, columns);
                       },
                       examples::settings_of(settings)};
  };
}

MasterMaker vehicle_routing_maker(const Shared<vehicle_routing::Instance> &instance) {
  return [instance](const Overrides &overrides) {
    vehicle_routing::MasterSettings settings;
    apply(overrides, settings);
    const auto master = share_master(make_master(*instance, false));
    auto oracle = std::make_shared<vehicle_routing::Oracle>(*instance, *master, settings);
    quarn::Settings how = examples::settings_of(settings);
    how.max_columns = vehicle_routing::kMostColumns;
    return MasterSetup{master, owning(oracle), how};
  };
}

MasterMaker lot_sizing_maker(const Shared<lot_sizing::Instance> &instance) {
  return [instance](const Overrides &overrides) {
    lot_sizing::MasterSettings settings;
    apply(overrides, settings);
    if (overrides.prices > 0) settings.price_vectors = overrides.prices;
    const auto master = share_master(make_master(*instance));
    auto oracle = std::make_shared<lot_sizing::Oracle>(*instance, *master, settings);
    return MasterSetup{master, owning(oracle),
                       examples::settings_of(settings, first_duals(*instance))};
  };
}

MasterMaker assignment_maker(const Shared<generalized_assignment::Instance> &instance) {
  return [instance](const Overrides &overrides) {
    generalized_assignment::MasterSettings settings;
    apply(overrides, settings);
    if (overrides.prices > 0) settings.dual_vectors = overrides.prices;
    const auto master = share_master(make_master(*instance));
    auto oracle = std::make_shared<generalized_assignment::Oracle>(*instance, *master, settings);
    quarn::Settings how = examples::settings_of(settings, first_duals(*instance));
    how.penalty = first_penalty(*instance);
    return MasterSetup{master, owning(oracle), how};
  };
}

MasterMaker flow_maker(const Shared<multicommodity_flow::Network> &network,
                       multicommodity_flow::Grouping grouping) {
  return [network, grouping](const Overrides &overrides) {
    examples::Options options;
    options.divisor = multicommodity_flow::default_divisor(grouping);
    apply(overrides, options);
    multicommodity_flow::OracleSettings settings;
    settings.grouping = grouping;
    settings.columns_per_call = options.columns_per_call;
    const auto master = share_master(make_master(*network, settings));
    auto oracle = std::make_shared<multicommodity_flow::Oracle>(*network, settings, *master);
    return MasterSetup{master, owning(oracle),
                       examples::settings_of(options, multicommodity_flow::first_duals(*master))};
  };
}

constexpr int32_t kColumnsPerCall = 10;

MasterMaker explicit_maker(const Shared<LinearProgram> &program) {
  return [program](const Overrides &overrides) {
    examples::Options options;
    apply(overrides, options);
    const int32_t most = options.columns_per_call > 0 ? options.columns_per_call : kColumnsPerCall;
    const auto master = share_master(explicit_master(*program));
    auto oracle = std::make_shared<ExplicitColumns>(program, *master, most);
    oracle->add_first_columns(*master, overrides.first_columns);
    quarn::Settings how = examples::settings_of(options);
    if (overrides.box > 0.0) how.penalty = overrides.box;
    return MasterSetup{master, owning(oracle), how};
  };
}

using Loader = std::function<MasterMaker()>;

Loader cutting_stock_file(const std::string &path) {
  return [=] { return cutting_stock_maker(share(cutting_stock::read_instance(path))); };
}

Loader vehicle_routing_file(const std::string &path, int32_t customers) {
  return
      [=] { return vehicle_routing_maker(share(vehicle_routing::read_instance(path, customers))); };
}

Loader lot_sizing_file(const std::string &path) {
  return [=] { return lot_sizing_maker(share(lot_sizing::read_instance(path))); };
}

Loader assignment_file(const std::string &path) {
  return [=] { return assignment_maker(share(generalized_assignment::read_instance(path))); };
}

Loader flow_file(const std::string &path, multicommodity_flow::Grouping grouping) {
  return [=] { return flow_maker(share(multicommodity_flow::read_network(path)), grouping); };
}

Loader explicit_file(const std::string &path) {
  return [=] { return explicit_maker(share(read_mps(path))); };
}

constexpr auto kByCommodity = multicommodity_flow::Grouping::kCommodity;
constexpr auto kAggregated = multicommodity_flow::Grouping::kAll;

/// The published instances below `folder` that are there, every `step`-th of the table's.
std::vector<Case> published(const std::string &folder, const std::string &column, size_t step,
                            size_t small, const std::function<Loader(const std::string &)> &load) {
  std::vector<Case> cases;
  const std::vector<KnownValue> table = read_known_values(folder + "/known_values.csv", column);
  for (size_t k = 0; k < table.size(); k += step) {
    const std::string path = folder + "/" + table[k].instance + ".txt";
    if (!std::filesystem::exists(path)) continue;
    cases.push_back(
        {"published", table[k].instance, cases.size() < small, load(path), table[k].value, false});
  }
  return cases;
}

/// Values are known of instances made by the first seed.
std::optional<double> known_at_first(std::optional<double> value, int64_t seed) {
  return seed == 1 ? value : std::nullopt;
}

std::vector<Case> cutting_stock_cases(const std::string &folder, int64_t seed) {
  std::vector<Case> cases =
      published(folder + "/cutting_stock", "lp_bound_proper", 6, 6, cutting_stock_file);
  struct Recipe {
    int32_t types;
    int64_t seed;
    double value;
  };
  const Recipe recipes[] = {{200, 1, 3668.379686},   {200, 2, 3344.447691},  {200, 3, 3542.918407},
                            {500, 1, 8958.121482},   {500, 2, 8871.626764},  {500, 3, 9168.388933},
                            {1000, 1, 17885.641277}, {1000, 2, 17636.164799}};
  for (const Recipe &r : recipes) {
    const std::string size = "m" + std::to_string(r.types);
    const int64_t own_seed = r.seed + 3 * (seed - 1);
    cases.push_back({size, size + "_s" + std::to_string(own_seed), r.types <= 200,
                     [=] {
                       return cutting_stock_maker(
                           share(cutting_stock::generate_instance(r.types, own_seed)));
                     },
                     known_at_first(r.value, seed), false});
  }
  return cases;
}

/// Those of short horizon whose routes the exact pricing has been run to the end for.
std::vector<Case> vehicle_routing_cases(const std::string &folder, int64_t) {
  const char *names[] = {"c105", "c106", "c109",  "r102",  "r104",  "r105",
                         "r106", "r111", "rc101", "rc103", "rc106", "rc108"};
  const std::string below = folder + "/vehicle_routing/";
  std::vector<Case> cases;
  for (const int32_t customers : {50, 100}) {
    for (const char *name : names) {
      const std::string path = below + "solomon/" + name + ".txt";
      if (!std::filesystem::exists(path)) continue;
      const std::string instance = std::string("solomon/") + name;
      const std::string size = "n" + std::to_string(customers);
      cases.push_back({size, std::string(name) + "_" + size, customers == 50,
                       vehicle_routing_file(path, customers),
                       known_routing_value(below + "known_values.csv", instance, customers), true});
    }
  }
  return cases;
}

std::vector<Case> lot_sizing_cases(const std::string &folder, int64_t seed) {
  std::vector<Case> cases = published(folder + "/lot_sizing", "dw_bound", 2, 6, lot_sizing_file);
  const lot_sizing::Levels levels[] = {{1, 2, 1, 8}, {2, 4, 2, 9}};
  struct Size {
    int32_t items, periods;
  };
  for (const Size s : {Size{50, 30}, Size{100, 40}, Size{200, 60}}) {
    const std::string size = std::to_string(s.items) + "x" + std::to_string(s.periods);
    for (const lot_sizing::Levels &level : levels) {
      const std::string name = size + "_" + std::to_string(level.demand_variation) +
                               std::to_string(level.time_between_orders) +
                               std::to_string(level.setup_time) + std::to_string(level.tightness) +
                               (seed == 1 ? std::string() : "_s" + std::to_string(seed));
      cases.push_back({size, name, s.items == 50,
                       [=] {
                         return lot_sizing_maker(
                             share(lot_sizing::generate_instance(level, s.items, s.periods, seed)));
                       },
                       std::nullopt, false});
    }
  }
  return cases;
}

std::vector<Case> assignment_cases(const std::string &, int64_t seed) {
  struct Recipe {
    char kind;
    int32_t tasks, agents;
    std::optional<double> value;
  };
  // Profits are negative costs, and the tables of multiple knapsack problems have the profits.
  const Recipe recipes[] = {{'D', 200, 20, {}},
                            {'E', 200, 20, {}},
                            {'D', 400, 40, {}},
                            {'E', 400, 40, {}},
                            {'D', 400, 80, {}},
                            {'E', 400, 80, {}},
                            {'K', 100, 10, -26581.890135},
                            {'K', 200, 20, -55920.398249},
                            {'K', 400, 10, -107304.369388}};
  std::vector<Case> cases;
  for (const Recipe &r : recipes) {
    const std::string size = r.kind + std::to_string(r.tasks) + "x" + std::to_string(r.agents);
    cases.push_back({size, size + "_s" + std::to_string(seed), r.tasks <= 200,
                     [=] {
                       return assignment_maker(share(generalized_assignment::generate_instance(
                           r.kind, r.tasks, r.agents, seed)));
                     },
                     known_at_first(r.value, seed), false});
  }
  return cases;
}

std::vector<Case> flow_cases(const std::string &folder, int64_t seed) {
  std::vector<Case> cases;
  const std::string planar = folder + "/multicommodity_flow/planar30.txt";
  constexpr double kPlanarValue = 44350624.0;
  if (std::filesystem::exists(planar)) {
    cases.push_back(
        {"planar30", "planar30", true, flow_file(planar, kByCommodity), kPlanarValue, false});
    cases.push_back(
        {"aggregated", "planar30/all", true, flow_file(planar, kAggregated), kPlanarValue, false});
  }
  struct Network {
    const char *name, *size;
    double value;
    bool aggregated;
  };
  const Network networks[] = {{"g100", "n100", 15641220, true},
                              {"g100t", "n100", 19886977, true},
                              {"g200", "n200", 67133581, true},
                              {"g200t", "n200", 127659162, true},
                              {"g300", "n300", 157791286, false}};
  for (const Network &n : networks) {
    const bool small = std::string(n.size) == "n100";
    const std::string name = n.name + (seed == 1 ? std::string() : "_s" + std::to_string(seed));
    const auto value = known_at_first(n.value, seed);
    const auto load = [n, seed](multicommodity_flow::Grouping grouping) {
      return [=] {
        multicommodity_flow::Recipe recipe = multicommodity_flow::benchmark_recipe(n.name);
        recipe.seed += seed - 1;
        return flow_maker(share(multicommodity_flow::planar_network(recipe)), grouping);
      };
    };
    cases.push_back({n.size, name, small, load(kByCommodity), value, false});
    if (!n.aggregated) continue;
    cases.push_back({"aggregated", name + "/all", small, load(kAggregated), value, false});
  }
  return cases;
}

std::vector<Case> explicit_cases(const std::string &folder, int64_t seed) {
  std::vector<Case> cases;
  const std::string below = folder + "/relaxations/";
  for (const KnownValue &known : read_known_values(below + "known_values.csv", "objective")) {
    const std::string path = below + known.instance + ".mps.gz";
    const char *names[] = {"air04", "nw04", "fast0507"};
    if (std::find(std::begin(names), std::end(names), known.instance) == std::end(names)) continue;
    if (!std::filesystem::exists(path)) continue;
    cases.push_back({"published", known.instance, false, explicit_file(path), known.value, false});
  }
  const auto add = [&](const std::string &size, bool small, const auto &program) {
    const std::string name = size + "_s" + std::to_string(seed);
    cases.push_back(
        {size, name, small, [=] { return explicit_maker(share(program())); }, std::nullopt, false});
  };
  add("crew100", true, [=] { return crew_program(100, 2000, seed); });
  add("crew150", false, [=] { return crew_program(150, 9000, seed); });
  add("crew400", false, [=] { return crew_program(400, 7000, seed); });
  add("part40", false, [=] { return scattered_program(kEqual, 40, 20000, 0.2, seed); });
  add("scp300", true, [=] { return scattered_program(kGreaterEqual, 300, 3000, 0.02, seed); });
  add("rail500", false, [=] { return rail_program(500, 50000, seed); });
  return cases;
}

struct Family {
  std::string name;
  std::vector<Case> (*cases)(const std::string &folder, int64_t seed);
  /// The ways to read a file, each with what it adds to the name.
  std::vector<std::pair<std::string, std::function<Loader(const std::string &)>>> readers;
};

const std::vector<Family> &families() {
  static const std::vector<Family> all = {
      {"cutting_stock", cutting_stock_cases, {{"", cutting_stock_file}}},
      {"vehicle_routing",
       vehicle_routing_cases,
       {{"", [](const std::string &path) { return vehicle_routing_file(path, 0); }}}},
      {"lot_sizing", lot_sizing_cases, {{"", lot_sizing_file}}},
      {"generalized_assignment", assignment_cases, {{"", assignment_file}}},
      {"multicommodity_flow",
       flow_cases,
       {{"", [](const std::string &path) { return flow_file(path, kByCommodity); }},
        {"/all", [](const std::string &path) { return flow_file(path, kAggregated); }}}},
      {"explicit_columns", explicit_cases, {{"", explicit_file}}}};
  return all;
}

const Family &family_of(const std::string &name) {
  for (const Family &family : families()) {
    if (family.name == name) return family;
  }
  throw std::invalid_argument("there is no family " + name);
}

}  // namespace

const std::vector<std::string> &family_names() {
  static const std::vector<std::string> names = [] {
    std::vector<std::string> result;
    for (const Family &family : families()) result.push_back(family.name);
    return result;
  }();
  return names;
}

std::vector<Case> default_cases(const std::string &family, const std::string &folder,
                                int64_t seed) {
  // Published instances do not depend on the seed.
  return family_of(family).cases(seed == 1 ? folder : std::string(), seed);
}

std::vector<Case> file_cases(const std::string &family, const std::vector<std::string> &files) {
  std::vector<Case> cases;
  for (const auto &[suffix, load] : family_of(family).readers) {
    for (const std::string &file : files) {
      const std::string name = std::filesystem::path(file).stem().string() + suffix;
      cases.push_back({"files" + suffix, name, true, load(file), std::nullopt, false});
    }
  }
  return cases;
}

}  // namespace benchmarks
