# Finds a BLAS and a LAPACK with the Fortran interface, OpenBLAS first: its kernels are the fastest
# of the free ones, and it can be kept to one thread through its own interface, which the solver
# looks up when it is loaded.
#
# Sets QUARN_BLAS_VENDOR, the value of BLA_VENDOR that found the libraries, and
# QUARN_LINEAR_ALGEBRA_LIBRARIES, their files; leaves the imported targets BLAS::BLAS and
# LAPACK::LAPACK, and quarn::linear_algebra, which the solver links. An installation has a target of
# that last name too, made of the same files: under the other names a program may have found another
# library for itself.

include_guard(GLOBAL)

if(DEFINED BLA_VENDOR)
  set(QUARN_BLAS_VENDOR "${BLA_VENDOR}")
  find_package(LAPACK REQUIRED)
else()
  set(QUARN_BLAS_VENDOR OpenBLAS)
  set(BLA_VENDOR OpenBLAS)
  find_package(LAPACK QUIET)
  unset(BLA_VENDOR)
  if(NOT LAPACK_FOUND)
    set(QUARN_BLAS_VENDOR All)
    find_package(LAPACK QUIET)
  endif()
  if(NOT LAPACK_FOUND)
    message(
      FATAL_ERROR
        "No BLAS and LAPACK found. On Debian and Ubuntu scripts/setup installs OpenBLAS; "
        "elsewhere install one, and name it with -DBLA_VENDOR=... if it is not found by itself.")
  endif()
endif()

set(QUARN_LINEAR_ALGEBRA_LIBRARIES ${LAPACK_LIBRARIES} ${BLAS_LIBRARIES})
list(REMOVE_DUPLICATES QUARN_LINEAR_ALGEBRA_LIBRARIES)
add_library(quarn::linear_algebra INTERFACE IMPORTED)
set_target_properties(quarn::linear_algebra PROPERTIES INTERFACE_LINK_LIBRARIES LAPACK::LAPACK)
message(STATUS "Linear algebra: ${LAPACK_LIBRARIES} (${QUARN_BLAS_VENDOR})")

# The generic names stand for whatever the system was told to take, OpenBLAS perhaps. Another vendor
# that was asked for is the caller's choice.
if(QUARN_BLAS_VENDOR MATCHES "^(All|Generic)$")
  set(_quarn_blas_files "")
  foreach(_quarn_file IN LISTS LAPACK_LIBRARIES BLAS_LIBRARIES)
    get_filename_component(_quarn_file "${_quarn_file}" REALPATH)
    list(APPEND _quarn_blas_files "${_quarn_file}")
  endforeach()
  if(NOT _quarn_blas_files MATCHES "openblas")
    message(
      WARNING "Building without OpenBLAS, with ${LAPACK_LIBRARIES}. With the reference BLAS large "
              "restricted masters take 1.4 to 5.4 times as long. On Debian and Ubuntu install "
              "libopenblas-dev (scripts/setup does) and configure afresh; -DBLA_VENDOR=... names "
              "another fast one.")
  endif()
endif()
