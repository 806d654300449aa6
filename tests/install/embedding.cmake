# Configures and builds a project that adds quarn as a folder, and runs its program. The project has
# its libraries installed to an absolute folder, which the .pc file has to name.

include("${CMAKE_CURRENT_LIST_DIR}/common.cmake")

file(REMOVE_RECURSE "${WORK_DIR}")
configure(
  "${CMAKE_CURRENT_LIST_DIR}/embedding" "${WORK_DIR}" "-DQUARN_SOURCE_DIR=${SOURCE_DIR}"
  -DQUARN_INSTALL=ON -DCMAKE_INSTALL_PREFIX=/somewhere -DCMAKE_INSTALL_LIBDIR=/elsewhere/lib)
run(${CMAKE_COMMAND} --build "${WORK_DIR}")
run("${WORK_DIR}/embedding")

file(STRINGS "${WORK_DIR}/quarn/quarn.pc" folders REGEX "^(lib|include)dir=")
file(STRINGS "${WORK_DIR}/quarn/quarn.pc" prefix REGEX "^prefix=")
if(NOT prefix STREQUAL "prefix=/somewhere" OR NOT folders STREQUAL
                                              "libdir=/elsewhere/lib;includedir=\${prefix}/include")
  message(FATAL_ERROR "quarn.pc has ${prefix};${folders}")
endif()
