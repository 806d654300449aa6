#include <gtest/gtest.h>

#include "tests/quarn/edit_sequence.h"

namespace {

TEST(MasterEdits, RandomSequencesFollowThePlainModel) {
  for (uint32_t seed = 1; seed <= 150; ++seed) {
    SCOPED_TRACE(testing::Message() << "seed " << seed);
    edit_sequence::Sequence sequence(seed);
    for (int step = 0; step < 40; ++step) {
      sequence.step();
      if (HasFailure()) return;
    }
  }
}

}  // namespace
