# Finds a BLAS and a LAPACK with the Fortran interface, OpenBLAS first: its kernels are the fastest
# of the free ones, and it can be kept to one thread through its own interface.
#
# Sets
#   QUARN_BLAS_VENDOR                   the value of BLA_VENDOR that found the libraries
#   QUARN_HAVE_OPENBLAS_THREADS         whether the calls that set the number of threads link
# and leaves the imported targets BLAS::BLAS and LAPACK::LAPACK.

include_guard(GLOBAL)
include(CheckFunctionExists)
include(CMakePushCheckState)

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

cmake_push_check_state(RESET)
set(CMAKE_REQUIRED_LIBRARIES LAPACK::LAPACK)
check_function_exists(openblas_set_num_threads QUARN_HAVE_OPENBLAS_SET_NUM_THREADS)
check_function_exists(openblas_get_num_threads QUARN_HAVE_OPENBLAS_GET_NUM_THREADS)
cmake_pop_check_state()
set(QUARN_HAVE_OPENBLAS_THREADS OFF)
if(QUARN_HAVE_OPENBLAS_SET_NUM_THREADS AND QUARN_HAVE_OPENBLAS_GET_NUM_THREADS)
  set(QUARN_HAVE_OPENBLAS_THREADS ON)
endif()
message(STATUS "Linear algebra: ${LAPACK_LIBRARIES} (${QUARN_BLAS_VENDOR})")
