// What the readers of the examples say of files that are not as they should be.

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <functional>
#include <string>

#include "examples/common/text_reader.h"
#include "examples/generalized_assignment/instance.h"
#include "examples/lot_sizing/instance.h"
#include "examples/multicommodity_flow/network.h"
#include "examples/vehicle_routing/instance.h"

namespace examples {
namespace {

using Reader = std::function<void(const std::string &)>;

const Reader kRouting = [](const std::string &path) { vehicle_routing::read_instance(path, 0); };
const Reader kLots = [](const std::string &path) { lot_sizing::read_instance(path); };
const Reader kAssignment = [](const std::string &path) {
  generalized_assignment::read_instance(path);
};
const Reader kFlow = [](const std::string &path) { multicommodity_flow::read_network(path); };

struct Case {
  const char *name;
  const Reader &reader;
  std::string text;
  std::string complaint;  ///< how what follows the file's name begins; empty: none
};

const std::string kHead = "v\n\nVEHICLE\nNUMBER CAPACITY\n5 20\n\nCUSTOMER\nNUMBER X Y\n\n";
const std::string kDepot = "0 0 0 0 0 100 0\n";

const std::string kMebibyte(size_t{1} << 20, ' ');

const Case kCases[] = {
    {"RoutingGood", kRouting, kHead + kDepot + "1 3 4 5 0 50 1\n\n", ""},
    {"RoutingEmpty", kRouting, "", ":1: expected the name"},
    {"RoutingWrongHeading", kRouting, "v\n\nVAN\n", ":3: expected VEHICLE, found \"VAN\""},
    {"RoutingNoCapacity", kRouting, "v\n\nVEHICLE\nN C\n5 0\n", ":5: the capacity must be"},
    {"RoutingNoCustomers", kRouting, kHead + kDepot, ": has 0 customers"},
    {"RoutingOutOfOrder", kRouting, kHead + kDepot + "2 3 4 5 0 50 1\n", ":11: the node's number"},
    {"RoutingMissingField", kRouting, kHead + kDepot + "1 3 4 5 0 50\n", ":11: expected a node"},
    {"RoutingDueBeforeReady", kRouting, kHead + kDepot + "1 3 4 5 9 8 1\n", ":11: the due date"},
    {"RoutingTooFar", kRouting, kHead + kDepot + "1 60 0 5 0 99 1\n", ":11: no vehicle can serve"},
    {"RoutingTooLarge", kRouting, kHead + kDepot + "1 3 4 21 0 50 1\n", ":11: no vehicle can"},
    {"RoutingSamePlace", kRouting, kHead + kDepot + "1 3 4 5 0 50 0\n\n2 3 4 5 0 50 1\n",
     ":13: customers 1 and 2 share a place"},
    {"LotsGood", kLots, "2 1\n0\n50\n1 1 1 9\n1 0.5 2 9\n4 5\n", ""},
    {"LotsNoPeriods", kLots, "2 0\n", ":1: the number of periods must be"},
    {"LotsNegativeCapacity", kLots, "2 1\n0\n-50\n", ":3: the capacity must be"},
    {"LotsNoUse", kLots, "1 1\n0\n50\n0 1 1 9\n4\n", ":4: the capacity per unit must be above 0"},
    {"LotsWord", kLots, "1 1\n0\n50\n1 nan 1 9\n4\n", ":4: the holding cost must be a number"},
    {"LotsShortDemands", kLots, "2 1\n0\n50\n1 1 1 9\n1 1 1 9\n4\n", ":6: expected the demands"},
    {"LotsEarlyEnd", kLots, "1 2\n0\n50\n1 1 1 9\n4\n", ":6: expected the demands of period 2"},
    {"LotsMoreBehind", kLots, "1 1\n0\n50\n1 1 1 9\n4\n\n7\n", ":7: expected the end"},
    {"AssignmentGood", kAssignment, "2 2 1\n2 3 4\n\n1 1 1 1 5\n5\n", ""},
    {"AssignmentNoAgents", kAssignment, "0 2\n", ":1: the number of agents must be"},
    {"AssignmentFraction", kAssignment, "1 1\n2.5\n1.5\n3\n", ":3: a weight must be a whole"},
    {"AssignmentNegativeWeight", kAssignment, "1 1\n2\n-1\n3\n", ":3: a weight must be from 0"},
    {"AssignmentHugeCapacity", kAssignment, "1 1\n2\n1\n99999999999999999999\n",
     ":4: a capacity must be from 0"},
    {"AssignmentEarlyEnd", kAssignment, "1 2\n2 3\n1\n", ":4: expected a weight"},
    {"AssignmentTooMany", kAssignment, "1 1\n2\n1\n3 4\n", ":4: a number too many: 4"},
    {"FlowGood", kFlow, "2 1 1 100\n1 2 3 4\n1 2 5\n", ""},
    {"FlowShortHead", kFlow, "2 1\n", ":1: expected the numbers of nodes"},
    {"FlowOneNode", kFlow, "1 1 1\n", ":1: the number of nodes must be from 2"},
    {"FlowFreeUnserved", kFlow, "2 1 1 0\n", ":1: the cost of an unserved unit must be"},
    {"FlowUnknownNode", kFlow, "2 1 1\n1 3 3 4\n1 2 5\n", ":2: the arc's second node must be"},
    {"FlowNegativeCost", kFlow, "2 1 1\n1 2 -3 4\n1 2 5\n", ":2: the cost must be from 0"},
    {"FlowNowhere", kFlow, "2 1 1\n1 2 3 4\n2 2 5\n", ":3: origin and destination are the same"},
    {"FlowNoDemand", kFlow, "2 1 1\n1 2 3 4\n1 2 0\n", ":3: the demand must be from 1"},
    {"FlowEarlyEnd", kFlow, "2 1 2\n1 2 3 4\n1 2 5\n", ":4: expected commodity 2 of 2"},
    {"FlowLongestLine", kFlow, "2 1 1\n1 2 3 4\n1 2 5" + kMebibyte.substr(5) + "\n" + kMebibyte,
     ""},
    {"FlowLongHead", kFlow, "2 1 1" + kMebibyte, ":1: the line is longer than 1048576 bytes"},
    {"FlowLongLine", kFlow, "2 1 1\n1" + kMebibyte + "2 3 4\n1 2 5\n", ":2: the line is longer"},
    {"FlowLongEnd", kFlow, "2 1 1\n1 2 3 4\n1 2 5\n\n " + kMebibyte, ":5: the line is longer"},
    {"RoutingLongBlank", kRouting, "v\n" + kMebibyte + "\n " + kMebibyte + "\nVEHICLE\n",
     ":3: the line is longer"},
    {"AssignmentZeros", kAssignment, "1 1\n2 " + std::string(size_t{1} << 21, '\0'),
     ":2: the line is longer"},
    {"FlowMoreBehind", kFlow, "2 1 1\n1 2 3 4\n1 2 5\n1 2 5\n", ":4: expected the end"},
};

void PrintTo(const Case &one, std::ostream *stream) { *stream << one.name; }

class Readers : public testing::TestWithParam<Case> {};

TEST_P(Readers, NameFileAndLineOfAMistake) {
  const Case &one = GetParam();
  const std::string path = testing::TempDir() + "reader_" + one.name + ".txt";
  std::ofstream(path) << one.text;
  std::string message;
  try {
    one.reader(path);
  } catch (const InputError &error) {
    message = error.what();
  }
  std::remove(path.c_str());
  const std::string expected = one.complaint.empty() ? "" : path + one.complaint;
  EXPECT_EQ(message.substr(0, expected.size()), expected);
  EXPECT_EQ(message.empty(), expected.empty()) << message;
  EXPECT_THROW(one.reader(path), InputError);  // the file is gone
}

INSTANTIATE_TEST_SUITE_P(, Readers, testing::ValuesIn(kCases),
                         [](const auto &one) { return one.param.name; });

}  // namespace
}  // namespace examples
