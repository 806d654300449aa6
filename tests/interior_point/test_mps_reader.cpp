/// The MPS reader: every convention of the format once, and errors that name file and line.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>

#include "benchmarks/mps_reader.h"

namespace {

using benchmarks::LinearProgram;
using benchmarks::read_mps;

/// Reads text as a file that is gone afterwards.
LinearProgram read_text(const std::string &text) {
  struct File {
    std::string path = testing::TempDir() + "mps_reader_test.mps";
    ~File() { std::remove(path.c_str()); }
  } file;
  std::ofstream(file.path, std::ios::binary) << text;
  return read_mps(file.path);
}

/// A data line with its six fields in their columns.
std::string line(const char *type, const char *set, const char *name_1 = "",
                 const char *number_1 = "", const char *name_2 = "", const char *number_2 = "") {
  char text[80];
  std::snprintf(text, sizeof text, " %-2s %-8s  %-8s  %12s   %-8s  %12s\n", type, set, name_1,
                number_1, name_2, number_2);
  return text;
}

const std::string kRows = "* comment\nNAME          TEST PROBLEM\nROWS\n" + line("N", "COST") +
                          line("N", "OTHER") + line("E", "ROW  1") + line("G", "ROW  2") +
                          line("L", "ROW  3") + line("E", "ROW  4");

const std::string kColumns = "COLUMNS\n" + line("", "X  A", "COST", "1.5", "ROW  1", "2.0") +
                             line("", "X  A", "OTHER", "9.", "ROW  4", "-1.0") +
                             "    MARKER                 'MARKER'                 'INTORG'\n" +
                             line("", "X  B", "ROW  2", "1.0", "ROW  3", "1e-3") +
                             line("", "X  C", "COST", "-1.0");

TEST(MpsReader, ReadsByColumnsWithEveryConvention) {
  const LinearProgram p = read_text(
      kRows + kColumns + "RHS\n" + line("", "", "COST", "-7.0", "ROW  1", "4.0") +
      line("", "", "ROW  2", "3.0", "ROW  3", "5.0") + line("", "SECOND", "ROW  1", "99.0") +
      "RANGES\n" + line("", "RNG", "ROW  2", "2.0", "ROW  3", "-2.5") +
      line("", "RNG", "ROW  1", "1.0", "ROW  4", "-1.0") + "BOUNDS\n" +
      line("UP", "", "X  A", "4.0") + line("LO", "", "X  A", "-1.0") + line("FR", "", "X  B") +
      " UP           X  C              -2.0\r\n" + "ENDATA\n");
  EXPECT_EQ(p.name, "TEST PROBLEM");
  EXPECT_EQ(p.objective_constant, 7.0);
  EXPECT_EQ(p.cost, (std::vector<double>{1.5, 0.0, -1.0}));
  EXPECT_EQ(p.start, (std::vector<int32_t>{0, 2, 4, 4}));
  EXPECT_EQ(p.row, (std::vector<int32_t>{0, 3, 1, 2}));
  EXPECT_EQ(p.value, (std::vector<double>{2.0, -1.0, 1.0, 1e-3}));
  EXPECT_EQ(p.lower, (std::vector<double>{-1.0, -1e30, -1e30}));
  EXPECT_EQ(p.upper, (std::vector<double>{4.0, 1e30, -2.0}));
  const double intervals[][2] = {{4.0, 5.0}, {3.0, 5.0}, {2.5, 5.0}, {-1.0, 0.0}};
  for (int32_t i = 0; i < 4; ++i) {
    EXPECT_EQ(benchmarks::row_bounds(p, i).lower, intervals[i][0]) << "row " << i;
    EXPECT_EQ(benchmarks::row_bounds(p, i).upper, intervals[i][1]) << "row " << i;
  }
}

TEST(MpsReader, NamesFileAndLineOfWhatIsWrong) {
  const struct {
    std::string text, error;
  } cases[] = {
      {kRows + "COLUMNS\n" + line("", "X", "NOROW", "1.0"), ":11: unknown row \"NOROW\""},
      {kRows + "COLUMNS\n" + line("", "X", "COST", "one"), ":11: \"one\" is not a number"},
      {kRows + "COLUMNS\n" + line("", "X", "COST"), ":11: \"\" is not a number"},
      {kRows + line("X", "ROW"), ":10: row type \"X\""},
      {kRows + line("E", "ROW  1"), ":10: row \"ROW  1\" occurs twice"},
      {kRows + kColumns + line("", "X  A", "COST", "1.0"), ":16: column \"X  A\" occurs in two"},
      {kRows + kColumns + "BOUNDS\n" + line("XX", "B", "X  A", "1.0"), ":17: bound type \"XX\""},
      {kRows + kColumns + "BOUNDS\n" + line("UP", "B", "X  D", "1.0"), ":17: unknown column"},
      {kRows + "QSECTION\n", ":10: unknown section QSECTION"},
      {kRows + "COLUMNS\n\tX\tCOST\t1\n", ":11: a tab"},
      {kRows + std::string((size_t{1} << 20) + 1, '*') + "\n", ":10: the line is longer than"},
      {kRows + kColumns, ": ends without ENDATA"},
      {"NAME\nROWS\n" + line("E", "A") + "ENDATA\n", ": has no N row"},
  };
  for (const auto &c : cases) {
    std::string message = "no error";
    try {
      read_text(c.text);
    } catch (const benchmarks::MpsError &error) {
      message = error.what();
    }
    EXPECT_NE(message.find("mps_reader_test.mps" + c.error), std::string::npos)
        << message << " instead of " << c.error;
  }
  EXPECT_THROW(read_mps(testing::TempDir() + "no_such_file.mps"), benchmarks::MpsError);
}

}  // namespace
