/// Branch and price on the C++ interface of quarn, see docs/branch_and_price.md.
#ifndef BRANCH_AND_PRICE_BRANCH_AND_PRICE_HPP
#define BRANCH_AND_PRICE_BRANCH_AND_PRICE_HPP

#include "branch_and_price/branching.hpp"
#include "branch_and_price/problem.hpp"
#include "branch_and_price/search.hpp"

#endif
