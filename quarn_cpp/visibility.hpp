#ifndef QUARN_CPP_VISIBILITY_HPP
#define QUARN_CPP_VISIBILITY_HPP

/// Marks what a shared library shows. Exceptions must be among it to be caught by their type.
#if defined(__GNUC__)
#define QUARN_CPP_PUBLIC __attribute__((visibility("default")))
#else
#define QUARN_CPP_PUBLIC
#endif

#endif
