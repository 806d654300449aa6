# Configures and builds a project that adds quarn as a folder, and runs its program.

include("${CMAKE_CURRENT_LIST_DIR}/common.cmake")

file(REMOVE_RECURSE "${WORK_DIR}")
configure("${CMAKE_CURRENT_LIST_DIR}/embedding" "${WORK_DIR}" "-DQUARN_SOURCE_DIR=${SOURCE_DIR}")
run(${CMAKE_COMMAND} --build "${WORK_DIR}")
run("${WORK_DIR}/embedding")
