/**
 * The C++ interface: master problems of column generation, both senses, with an oracle that prices.
 *
 *   #include <quarn_cpp/quarn.hpp>
 *
 * docs/cpp_interface.md begins with a first program. All names are in namespace quarn. The types
 * are values: they copy, move and release what they hold. Everything sits on quarn/quarn.h alone,
 * so another solver behind the library serves this interface, too.
 */
#ifndef QUARN_CPP_QUARN_HPP
#define QUARN_CPP_QUARN_HPP

#include "quarn_cpp/errors.hpp"    // IWYU pragma: export
#include "quarn_cpp/handles.hpp"   // IWYU pragma: export
#include "quarn_cpp/master.hpp"    // IWYU pragma: export
#include "quarn_cpp/pricing.hpp"   // IWYU pragma: export
#include "quarn_cpp/result.hpp"    // IWYU pragma: export
#include "quarn_cpp/settings.hpp"  // IWYU pragma: export

#endif
