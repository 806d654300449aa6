#ifndef EXAMPLES_DANTZIG_WOLFE_CANONICAL_ORDER_H
#define EXAMPLES_DANTZIG_WOLFE_CANONICAL_ORDER_H

#include <cstdint>

#include "examples/dantzig_wolfe/blocks.h"

namespace dantzig_wolfe {

/**
 * Puts variables and rows of a block in an order that does not depend on the one they had, as far
 * as that is found quickly: blocks that are equal up to the order become equal. Returns a number
 * that equal blocks share.
 *
 * Variables and rows get colours, first of their own numbers, then again and again of their own
 * colour and those of their neighbours with the coefficients between, until no further ones can be
 * told apart. Of variables that still look alike one is then given a colour of its own, and so on.
 * Where a wrong one is picked, which takes blocks with much inner symmetry, two equal blocks stay
 * apart. Source: the colour refinement of B. D. McKay, Practical graph isomorphism, Congressus
 * Numerantium 30 (1981), without its search.
 */
uint64_t put_in_canonical_order(Block &block);

}  // namespace dantzig_wolfe

#endif
