// Masters in files: what comes back, what is refused, and a run that goes on.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

#include "tests/cpp/random_masters.h"

namespace {

using masters::Program;
using masters::ProgramMaster;
using quarn::Master;
using quarn::Sense;

std::string data_of(const quarn::Column &column) { return std::to_string(column.get<size_t>()); }
std::any object_of(const std::string &text) { return static_cast<size_t>(std::stoul(text)); }

std::string read(const std::string &path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void write(const std::string &path, const std::string &bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

class Files : public testing::Test {
 protected:
  ~Files() override { std::remove(path.c_str()); }
  std::string path = testing::TempDir() + "quarn_master_" +
                     testing::UnitTest::GetInstance()->current_test_info()->name();
};

TEST_F(Files, BringEverythingBackBitByBit) {
  for (uint32_t seed = 0; seed < 20; ++seed) {
    SCOPED_TRACE(seed);
    const Sense sense = seed % 2 == 0 ? Sense::minimize : Sense::maximize;
    const Program program = masters::random_program(seed, sense);
    ProgramMaster target(program);
    Master &master = target.master();
    quarn::Settings settings;
    settings.tolerance = 1e-5 / 3.0;
    settings.max_iterations = 3;
    settings.verbosity = 2;
    settings.log = [](const char *) {};
    settings.blas_threads = 2;
    settings.tolerance_dial = seed % 3 != 0;
    settings.rounding = seed % 4 == 0;
    master.solve(target.oracle(), settings);
    const quarn::Row spare = master.add_row(quarn::RowSense::at_least, -1e6, {"spare row"});
    const quarn::Row removed = master.add_row(quarn::RowSense::at_least, -1e6, {"removed"});
    quarn::RowOptions cut;
    cut.entries = {{master.columns().front(), 1.0 / 3.0}};
    master.add_row(quarn::RowSense::at_most, 1e6, cut);
    master.remove_row(removed);
    master.remove_column(master.columns()[1]);
    master.save(path, data_of);

    Master loaded = Master::load(path, object_of);
    EXPECT_EQ(loaded.sense(), sense);
    EXPECT_EQ(loaded.lower_bound(), master.lower_bound());
    EXPECT_EQ(loaded.upper_bound(), master.upper_bound());
    EXPECT_EQ(loaded.settings().tolerance, settings.tolerance);
    EXPECT_EQ(loaded.settings().max_iterations, 3);
    EXPECT_EQ(loaded.settings().verbosity, 2);
    EXPECT_EQ(loaded.settings().blas_threads, 2);
    EXPECT_EQ(loaded.settings().tolerance_dial, settings.tolerance_dial);
    EXPECT_EQ(loaded.settings().rounding, settings.rounding);
    ASSERT_EQ(loaded.rows().size(), master.rows().size());
    EXPECT_EQ(loaded.row("spare row").index(), spare.index());
    for (size_t i = 0; i < master.rows().size(); ++i) {
      EXPECT_EQ(loaded.rows()[i].index(), master.rows()[i].index());
      EXPECT_EQ(loaded.rows()[i].is_block(), master.rows()[i].is_block());
      EXPECT_EQ(loaded.range(loaded.rows()[i]).lower, master.range(master.rows()[i]).lower);
      EXPECT_EQ(loaded.range(loaded.rows()[i]).upper, master.range(master.rows()[i]).upper);
    }
    const std::vector<quarn::Column> columns = master.columns(), again = loaded.columns();
    ASSERT_EQ(again.size(), columns.size());
    for (size_t j = 0; j < columns.size(); ++j) {
      EXPECT_EQ(again[j].index(), columns[j].index());
      EXPECT_EQ(again[j].cost(), columns[j].cost());
      EXPECT_EQ(again[j].get<size_t>(), columns[j].get<size_t>());
      EXPECT_EQ(loaded.bounds(again[j]).upper, master.bounds(columns[j]).upper);
      const auto entries = master.entries(columns[j]), entries_again = loaded.entries(again[j]);
      ASSERT_EQ(entries_again.size(), entries.size());
      for (size_t t = 0; t < entries.size(); ++t) {
        EXPECT_EQ(entries_again[t].first.index(), entries[t].first.index());
        EXPECT_EQ(entries_again[t].second, entries[t].second);
      }
    }
    loaded.save(path, data_of);
    const std::string twice = read(path);
    master.save(path, data_of);
    EXPECT_EQ(read(path), twice);
  }
}

TEST_F(Files, DamagedAndForeignOnesAreRefused) {
  const Program program = masters::random_program(4, Sense::maximize);
  ProgramMaster target(program);
  target.master().solve(target.oracle());
  target.master().save(path, data_of);
  const std::string bytes = read(path);
  const auto refusal = [&](const std::string &changed) -> std::string {
    write(path, changed);
    try {
      Master::load(path, object_of);
    } catch (const quarn::FileError &error) {
      EXPECT_NE(std::string(error.what()).find(path), std::string::npos);
      return error.what();
    }
    return "";
  };
  EXPECT_EQ(refusal(bytes), "");
  for (size_t k = 0; k < bytes.size(); ++k) {
    std::string changed = bytes;
    changed[k] = static_cast<char>(changed[k] ^ (1 << (k % 8)));
    ASSERT_NE(refusal(changed), "") << "byte " << k;
  }
  for (size_t length = 0; length < bytes.size(); length += 7) {
    ASSERT_NE(refusal(bytes.substr(0, length)), "") << "length " << length;
  }
  EXPECT_NE(refusal(bytes + "x"), "");
  EXPECT_NE(refusal("something else entirely").find("not a file of"), std::string::npos);
  std::remove(path.c_str());
  EXPECT_THROW(Master::load(path), quarn::FileError);
  EXPECT_THROW(Master::load(testing::TempDir()), quarn::FileError);
  EXPECT_THROW(target.master().save("/nonexistent/folder/file"), quarn::FileError);
}

// With a right checksum, whatever the contents are: no crash, no master that is not sound.
TEST_F(Files, NonsenseWithARightChecksumIsRefusedOrSound) {
  const Program program = masters::random_program(5, Sense::minimize);
  ProgramMaster target(program);
  target.master().solve(target.oracle());
  target.master().save(path, data_of);
  const std::string bytes = read(path);
  const size_t head = 20;
  std::mt19937 random(1);
  for (int trial = 0; trial < 2000; ++trial) {
    std::string changed = bytes;
    const size_t at = head + random() % (bytes.size() - head - 8);
    changed[at] = static_cast<char>(random());
    uint64_t hash = 0xcbf29ce484222325ULL;
    for (size_t k = 0; k + 8 < changed.size(); ++k) {
      hash = (hash ^ static_cast<unsigned char>(changed[k])) * 0x100000001b3ULL;
    }
    for (size_t k = 0; k < 8; ++k) {
      changed[changed.size() - 8 + k] = static_cast<char>(hash >> (8 * k));
    }
    write(path, changed);
    try {
      const Master master = Master::load(path);
      for (const quarn::Column &column : master.columns()) {
        for (const auto &[row, value] : master.entries(column)) {
          EXPECT_TRUE(std::isfinite(value));
          EXPECT_FALSE(row.name().empty());
        }
      }
    } catch (const quarn::FileError &) {
    }
  }
}

TEST_F(Files, ARunGoesOnFromItsLastSave) {
  const Program program = masters::random_program(7, Sense::minimize);
  struct Killed {};
  quarn::Settings settings;
  settings.save_file = path;
  settings.save_every = 0.0;
  settings.save_data = data_of;
  int32_t iterations = 0;
  settings.on_iteration = [&](const quarn::Iteration &line) {
    iterations = line.iteration;
    if (line.iteration == 4) throw Killed();
  };
  ProgramMaster target(program);
  ASSERT_THROW(target.master().solve(target.oracle(1), settings), Killed);

  Master loaded = Master::load(path, object_of);
  EXPECT_GT(loaded.number_of_columns(), 0);
  ProgramMaster resumed(program, std::move(loaded));
  const quarn::Result result = resumed.master().solve(resumed.oracle(1));
  EXPECT_EQ(result.status, quarn::Status::optimal);
  EXPECT_NEAR(result.upper_bound, program.value, 1e-5 * (1.0 + std::fabs(program.value)));
}

TEST_F(Files, MpsIsWhatTheRestrictedMasterIs) {
  Master master(Sense::maximize);
  const quarn::Row at_least = master.add_row(quarn::RowSense::at_least, 2.0, {"at\nleast"});
  const quarn::Row range = master.add_range(-1.0, 4.5);
  const quarn::Row block = master.add_block();
  master.add_column(3.0, {{at_least, 1.5}, {block, 1.0}});
  master.add_column(-0.1, {{range, 2.0}}, quarn::Bounds{-quarn::kInfinity, 7.0});
  std::ostringstream stream;
  master.write_mps(stream);
  EXPECT_EQ(stream.str(),
            "NAME quarn\n* R0: at least\n* R1: row 1\n* R2: row 2 (block)\nROWS\n N cost\n G R0\n"
            " G R1\n E R2\nCOLUMNS\n C0 cost -3\n C0 R0 1.5\n C0 R2 1\n"
            " C1 cost 0.10000000000000001\n C1 R1 2\nRHS\n RHS R0 2\n RHS R1 -1\n RHS R2 1\n"
            "RANGES\n RNG R1 5.5\nBOUNDS\n MI BND C1\n UP BND C1 7\nENDATA\n");
}

}  // namespace
