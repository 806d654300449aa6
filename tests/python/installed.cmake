# Installs the Python package, with the shared libraries where it needs them, and runs the first
# program on the installation.
#
#   cmake -DBUILD_DIR=... -DWORK_DIR=... -DPYTHON=... -DPACKAGE_DIR=... -DPROGRAM=...
#         -DCONFIG=... -P installed.cmake

file(REMOVE_RECURSE "${WORK_DIR}")
foreach(component IN ITEMS runtime python)
  execute_process(
    COMMAND ${CMAKE_COMMAND} --install "${BUILD_DIR}" --prefix "${WORK_DIR}" --config "${CONFIG}"
            --component ${component}
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endforeach()
execute_process(
  COMMAND ${CMAKE_COMMAND} -E env "PYTHONPATH=${WORK_DIR}/${PACKAGE_DIR}" "${PYTHON}" -c
          "import importlib.metadata, quarn; \
assert quarn.__file__.startswith('${WORK_DIR}'); \
assert quarn.__version__ == importlib.metadata.version('quarn'); \
import quarn._page; assert quarn._page.page(quarn.history.np.zeros(0, quarn.history.DTYPE))"
  COMMAND_ERROR_IS_FATAL ANY)
execute_process(
  COMMAND ${CMAKE_COMMAND} -E env "PYTHONPATH=${WORK_DIR}/${PACKAGE_DIR}" "${PYTHON}" "${PROGRAM}"
  OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
if(NOT output MATCHES "^optimal: ")
  message(FATAL_ERROR "the first program wrote: ${output}")
endif()
