/// Random edits against the plain model, with the stand-in for the solver behind the library.
#include "tests/campaign/campaign.h"
#include "tests/quarn/edit_sequence.h"

namespace campaign {
namespace {

void edit_records(uint32_t seed) {
  constexpr int kSteps = 40;
  support::reset_solver();
  const int64_t blocks = support::live_blocks();
  {
    edit_sequence::Sequence sequence(seed);
    for (int step = 0; step < kSteps; ++step) sequence.step();
  }
  EXPECT_EQ(support::live_blocks(), blocks) << "leaked";
  EXPECT_EQ(support::solver().faults, std::vector<std::string>());
}

}  // namespace

const std::vector<Program> &programs() {
  static const std::vector<Program> all = {{"edits", edit_records}};
  return all;
}

}  // namespace campaign
