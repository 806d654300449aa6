/// Files with bytes changed, gone, doubled or put in: each reader refuses them in one line that
/// begins with the file's name, or finds an instance.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>

#include "benchmarks/mps_reader.h"
#include "examples/common/text_reader.h"
#include "examples/cutting_stock/instance.h"
#include "examples/generalized_assignment/instance.h"
#include "examples/lot_sizing/instance.h"
#include "examples/multicommodity_flow/network.h"
#include "examples/subset_row_cuts/groups.h"
#include "examples/vehicle_routing/instance.h"
#include "tests/campaign/campaign.h"
#include "tests/support/records.h"

namespace campaign {
namespace {

using support::Random;

struct Format {
  std::string text;  ///< a good file
  std::function<void(const std::string &)> read;
};

const char *const kProgram =
    "NAME          MUTANT\n"
    "ROWS\n N  COST\n N  FREE\n E  ROW1\n G  ROW2\n L  ROW3\n"
    "COLUMNS\n"
    "    X1        COST               1.5   ROW1               2.0\n"
    "    X1        ROW2              -1.0   ROW3             1.e+1\n"
    "    MARKER                 'MARKER'                 'INTORG'\n"
    "    X2        COST              -1.0   ROW2               3.0\n"
    "    X3        ROW3               .5e0\n"
    "RHS\n    RHS       COST              -7.0   ROW1               4.0\n"
    "    RHS       ROW2               1.0   ROW3               9.0\n"
    "RANGES\n    RNG       ROW2               2.0   ROW1              -1.0\n"
    "BOUNDS\n UP BND       X1                 4.0\n MI BND       X2\n FX BND       X3         2\n"
    "ENDATA\n";

std::string file_text(const std::string &name) {
  std::ifstream stream(CAMPAIGN_EXAMPLES "/" + name, std::ios::binary);
  EXPECT_TRUE(stream.good()) << name;
  return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

void read_mps(const std::string &path) {
  const benchmarks::LinearProgram program = benchmarks::read_mps(path);
  EXPECT_EQ(program.start.back(), program.entries());
  for (const int32_t row : program.row) EXPECT_TRUE(row >= 0 && row < program.rows());
}

const std::vector<Format> &formats() {
  static const std::vector<Format> all = {
      {file_text("cutting_stock/data/m40_s1.txt"),
       [](const std::string &path) { cutting_stock::read_instance(path); }},
      {file_text("generalized_assignment/data/small.txt"),
       [](const std::string &path) { generalized_assignment::read_instance(path); }},
      {file_text("lot_sizing/data/small.txt"),
       [](const std::string &path) { lot_sizing::read_instance(path); }},
      {file_text("multicommodity_flow/data/planar20.txt"),
       [](const std::string &path) { multicommodity_flow::read_network(path); }},
      {file_text("subset_row_cuts/data/twenty.txt"),
       [](const std::string &path) { subset_row_cuts::read_instance(path); }},
      {file_text("vehicle_routing/data/v40_s1.txt"),
       [](const std::string &path) { vehicle_routing::read_instance(path, 0); }},
      {kProgram, read_mps},
  };
  return all;
}

/// Changes near the beginning weigh more: that is where the sizes stand.
size_t draw_place(const std::string &text, Random &random) {
  const auto last = static_cast<int32_t>(text.size());
  return static_cast<size_t>(random.integer(0, random.chance(0.5) ? std::min(last, 40) : last));
}

void mutate(std::string *text, Random &random) {
  const size_t place = draw_place(*text, random);
  const auto length = static_cast<size_t>(random.integer(1, random.chance(0.8) ? 4 : 400));
  switch (random.integer(0, 4)) {
    case 0:
      if (place < text->size()) (*text)[place] = static_cast<char>(random.integer(0, 255));
      break;
    case 1:
      text->erase(place, length);
      break;
    case 2:
      text->insert(place, text->substr(draw_place(*text, random), length));
      break;
    case 3:
      text->insert(place, random.one_of<std::string>(
                              {"0", "9", "99999999", "-", "-1 ", "1e308", "1e999", ".", "nan", " ",
                               "\n", "\r", "\t", "0x10", "*", std::string(1, '\0'), "\xff\xfe"}));
      break;
    default:
      text->resize(place);
  }
}

/// Removed again whatever happens.
struct File {
  std::string path = (std::filesystem::temp_directory_path() /
                      ("quarn_campaign_" + std::to_string(getpid()) + ".txt"))
                         .string();
  ~File() { std::remove(path.c_str()); }
};

}  // namespace

void mutate_files(uint32_t seed) {
  Random random(seed);
  const Format &format = formats()[seed % formats().size()];
  std::string text = format.text;
  for (int32_t count = random.integer(1, 4); count > 0; --count) mutate(&text, random);
  const File file;
  std::ofstream(file.path, std::ios::binary) << text;
  std::string refusal = file.path + ":";
  try {
    format.read(file.path);
  } catch (const examples::InputError &error) {
    refusal = error.what();
  } catch (const benchmarks::MpsError &error) {
    refusal = error.what();
  }
  EXPECT_EQ(refusal.substr(0, file.path.size() + 1), file.path + ":");
  EXPECT_LT(refusal.size(), file.path.size() + 1000);
}

}  // namespace campaign
