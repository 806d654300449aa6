#ifndef EXAMPLES_DANTZIG_WOLFE_DECOMPOSITION_H
#define EXAMPLES_DANTZIG_WOLFE_DECOMPOSITION_H

#include <cstdint>
#include <string>
#include <vector>

#include "examples/dantzig_wolfe/model.h"

namespace dantzig_wolfe {

/// Which rows of a model are linking, and which blocks the others make up. No variable stands in
/// rows of two blocks.
struct Decomposition {
  std::string source;                        ///< where it comes from, for the report
  std::vector<int32_t> linking;              ///< by increasing row
  std::vector<std::vector<int32_t>> blocks;  ///< the rows of each, none empty
};

/**
 * Reads a `.dec` file: sections PRESOLVED (0), NBLOCKS, BLOCK k, MASTERCONSS, each followed by its
 * number or the names of its rows. Rows that it does not name are linking, or after
 * CONSDEFAULTMASTER 0 by their variables part of the blocks; blocks without a row are left out.
 * Throws examples::InputError, with the line, for a row that the model lacks or that is named
 * twice, and for a variable in two blocks.
 */
Decomposition read_decomposition(const std::string &path, const Model &model);

/// Takes the rows in whose names the regular expression (ECMAScript's) is found for linking, and
/// the connected components of the others for blocks. Throws examples::InputError when that is no
/// regular expression, or when it finds no row, or leaves none.
Decomposition match_linking_rows(const std::string &expression, const Model &model);

/**
 * Looks for linking rows where nobody names them. Rows whose names are equal apart from digits make
 * up a family; sets of families are tried as linking rows. The set wins that leaves many variables
 * in blocks whose convex hull may be smaller than their relaxation (with integer variables, and
 * several rows or one with a coefficient besides 1 and -1), many coefficients in blocks, and no
 * block with most of the variables. Throws examples::InputError when none is convincing.
 */
Decomposition find_decomposition(const std::string &path, const Model &model);

}  // namespace dantzig_wolfe

#endif
