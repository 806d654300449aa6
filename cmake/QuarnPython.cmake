# Finds the Python for which the package is built.
#
# A machine may have several, and the first one on the path need not be the one that has numpy: the
# first that has all the package and its tests use is taken, else the first that has what the package
# alone uses. -DQUARN_PYTHON=PATH names one and is believed.
#
# Sets
#   QUARN_PYTHON             the interpreter, empty when there is none
#   QUARN_PYTHON_LEFT_OUT    why the package is not built; empty when it is
#   QUARN_PYTHON_UNTESTED    why its tests are left out; empty when they are not

include_guard(GLOBAL)

# Whether the interpreter is new enough, can import the modules, and has its C headers.
function(quarn_python_has result interpreter modules)
  execute_process(
    COMMAND
      "${interpreter}" -c
      "import os, sys, sysconfig; assert sys.version_info >= (3, 9); import ${modules}; \
assert os.path.exists(os.path.join(sysconfig.get_path('include'), 'Python.h'))"
    RESULT_VARIABLE status
    OUTPUT_QUIET ERROR_QUIET)
  if(status EQUAL 0)
    set(${result} TRUE PARENT_SCOPE)
  else()
    set(${result} FALSE PARENT_SCOPE)
  endif()
endfunction()

function(quarn_find_python)
  find_program(QUARN_PYTHON_ON_PATH python3)
  mark_as_advanced(QUARN_PYTHON_ON_PATH)
  set(candidates "${QUARN_PYTHON_ON_PATH}" /usr/bin/python3 /usr/local/bin/python3)
  foreach(modules IN ITEMS "numpy, pytest" "numpy")
    foreach(candidate IN LISTS candidates)
      quarn_python_has(found "${candidate}" "${modules}")
      if(found)
        set(QUARN_PYTHON "${candidate}" CACHE FILEPATH "Python to build the package for" FORCE)
        return()
      endif()
    endforeach()
  endforeach()
endfunction()

# Sets pybind11_DIR in the cache: that of the interpreter's own modules, else where CMake finds it.
function(quarn_find_pybind11)
  execute_process(
    COMMAND "${QUARN_PYTHON}" -m pybind11 --cmakedir
    OUTPUT_VARIABLE directory
    OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  find_path(
    pybind11_DIR pybind11Config.cmake
    HINTS "${directory}"
    PATH_SUFFIXES lib/cmake/pybind11 share/cmake/pybind11)
endfunction()

set(QUARN_PYTHON "" CACHE FILEPATH "Python to build the package for; empty: one is looked for")
set(QUARN_PYTHON_LEFT_OUT "")
set(QUARN_PYTHON_UNTESTED "")
if(NOT QUARN_BUILD_PYTHON)
  set(QUARN_PYTHON_LEFT_OUT "QUARN_BUILD_PYTHON is OFF")
elseif(QUARN_SANITIZE)
  set(QUARN_PYTHON_LEFT_OUT "an instrumented module needs an instrumented Python")
else()
  if(NOT QUARN_PYTHON)
    quarn_find_python()
  endif()
  if(QUARN_PYTHON)
    quarn_find_pybind11()
  endif()
  if(NOT QUARN_PYTHON)
    set(QUARN_PYTHON_LEFT_OUT "no Python with its C headers and numpy was found")
  elseif(NOT pybind11_DIR)
    set(QUARN_PYTHON_LEFT_OUT "pybind11 was not found")
  endif()
endif()

set(QUARN_PYTHON_UNTESTED "${QUARN_PYTHON_LEFT_OUT}")
if(NOT QUARN_PYTHON_LEFT_OUT)
  quarn_python_has(quarn_python_can_test "${QUARN_PYTHON}" "numpy, pytest")
  if(NOT quarn_python_can_test)
    set(QUARN_PYTHON_UNTESTED "${QUARN_PYTHON} has no numpy or no pytest")
  endif()
endif()

if(QUARN_PYTHON_LEFT_OUT)
  message(STATUS "Python package: left out, ${QUARN_PYTHON_LEFT_OUT}")
else()
  message(STATUS "Python package: for ${QUARN_PYTHON}")
endif()
