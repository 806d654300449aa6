/**
 * A small set of vertices whose removal leaves two parts of a graph, of about the same weight, that
 * do not meet.
 *
 * The graph is made coarser level by level, by merging vertices along heavy edges; the coarsest one
 * is cut where growing a part from several vertices cuts best; on the way back each level moves
 * vertices in and out of the separator while that makes it lighter (B. Hendrickson, E. Rothberg,
 * Improving the run time and quality of nested dissection ordering, SIAM J. Sci. Comput. 20 (1998)
 * 468-489; the moves after C. M. Fiduccia, R. M. Mattheyses, Proc. 19th Design Automation Conf.
 * (1982) 175-181).
 */
#ifndef INTERIOR_POINT_LINEAR_ALGEBRA_VERTEX_SEPARATOR_H
#define INTERIOR_POINT_LINEAR_ALGEBRA_VERTEX_SEPARATOR_H

#include <cstdint>

#include "interior_point/vector.h"

namespace interior_point {

/// Neighbours of each vertex, each edge at both its ends; weights say how many vertices and edges
/// of a finer graph each one stands for.
struct Graph {
  Vector<int64_t> start = {0};
  Vector<int32_t> neighbour;
  Vector<int32_t> edge_weight;
  Vector<int32_t> weight;

  int32_t vertices() const { return static_cast<int32_t>(weight.size()); }
};

/// Where a vertex lies: in one of the two parts, 0 and 1, or between them.
constexpr uint8_t kSeparator = 2;

/// The place of each vertex: no edge joins the parts 0 and 1. A part may be empty where the graph
/// has no separator worth the name. The same graph gives the same answer.
Vector<uint8_t> separate(const Graph &graph);

}  // namespace interior_point

#endif
