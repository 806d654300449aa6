/// Generated linear programs of any size: what masters and networks ten times as large as today's
/// would ask of the solver.
#ifndef BENCHMARKS_LARGE_PROGRAMS_H
#define BENCHMARKS_LARGE_PROGRAMS_H

#include "benchmarks/linear_program.h"

namespace benchmarks {

/// A master whose normal matrix is dense: covering rows, for each a dear column of its own, and
/// `columns` columns of `length` entries.
LinearProgram dense_master(int32_t rows, int32_t columns, int32_t length, int32_t seed);

/// Routing of `columns` paths over capacitated arcs: a row for each arc of a network in layers,
/// which has `rows` arcs or a few more, and one for each of its commodities, as many as there are
/// nodes in a layer. A path runs from a commodity's node through all layers, mostly straight on.
LinearProgram path_master(int32_t rows, int32_t columns, int32_t seed);

/// Eleven commodities that move between 45 places over `periods` periods or wait, with joint
/// capacities on part of the moves.
LinearProgram network_over_time(int32_t periods, int32_t seed);

}  // namespace benchmarks

#endif
