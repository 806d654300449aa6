# Installs the build into a folder of its own and builds the consumer against what is there, by the
# package configuration and, where pkg-config is installed, by the .pc file; runs what it built.

include("${CMAKE_CURRENT_LIST_DIR}/common.cmake")

file(REMOVE_RECURSE "${WORK_DIR}")
set(prefix "${WORK_DIR}/prefix")
set(consumer "${CMAKE_CURRENT_LIST_DIR}")

run(${CMAKE_COMMAND} --install "${BUILD_DIR}" --config "${CONFIG}" --prefix "${prefix}")

file(
  GLOB_RECURSE headers
  RELATIVE "${prefix}/include"
  "${prefix}/include/*")
set(expected interior_point/interior_point.h priority_queue/priority_queue.h quarn/quarn.h)
string(REPLACE "|" ";" block_headers "${BLOCK_HEADERS}")
foreach(header IN LISTS block_headers)
  list(APPEND expected block_pricing/${header}.hpp)
endforeach()
foreach(header errors handles master pricing quarn result settings visibility)
  list(APPEND expected quarn_cpp/${header}.hpp)
endforeach()
foreach(header branch_and_price branching problem search)
  list(APPEND expected branch_and_price/${header}.hpp)
endforeach()
list(SORT headers)
list(SORT expected)
if(NOT headers STREQUAL expected)
  message(FATAL_ERROR "installed headers: ${headers}")
endif()

foreach(file LICENSE THIRD_PARTY_NOTICES.md)
  if(NOT EXISTS "${prefix}/${DOCDIR}/${file}")
    message(FATAL_ERROR "${file} is not installed")
  endif()
endforeach()

configure("${consumer}" "${WORK_DIR}/consumer" "-DCMAKE_BUILD_TYPE=${CONFIG}"
          "-DCMAKE_PREFIX_PATH=${prefix}" "-DLINEAR_ALGEBRA=${LINEAR_ALGEBRA}"
          "-DBLOCK_LIBRARIES=${BLOCK_LIBRARIES}")
run(${CMAKE_COMMAND} --build "${WORK_DIR}/consumer" --config "${CONFIG}")
run(${CMAKE_CTEST_COMMAND} --test-dir "${WORK_DIR}/consumer" -C "${CONFIG}" --output-on-failure)

find_program(PKG_CONFIG pkg-config)
if(NOT PKG_CONFIG)
  message(STATUS "pkg-config is not installed: the .pc file was not tried")
  return()
endif()
set(ENV{PKG_CONFIG_PATH} "${prefix}/${LIBDIR}/pkgconfig")
# try_pkg_config(<package> <compiler> <argument>...)
function(try_pkg_config package)
  execute_process(
    COMMAND ${PKG_CONFIG} --cflags --libs ${package}
    OUTPUT_VARIABLE flags
    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  separate_arguments(flags UNIX_COMMAND "${flags}")
  run(${ARGN} -o "${WORK_DIR}/by_pkg_config" ${flags} "-Wl,-rpath,${prefix}/${LIBDIR}"
      "-Wl,-rpath-link,${prefix}/${LIBDIR}")
  run("${WORK_DIR}/by_pkg_config")
endfunction()

try_pkg_config(quarn ${C_COMPILER} -std=c11 "${consumer}/consumer.c")
try_pkg_config(quarn_cpp ${CXX_COMPILER} -std=c++17 "${consumer}/first_program.cpp")
