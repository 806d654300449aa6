#include "tests/campaign/campaign.h"

namespace campaign {

const std::vector<Program> &programs() {
  static const std::vector<Program> all = {
      {"masters", solve_masters}, {"rounding", round_decompositions},
      {"hostile", answer_badly},  {"allocations", fail_allocations},
      {"readers", mutate_files},  {"threads", solve_in_threads},
  };
  return all;
}

}  // namespace campaign
