# Debian packages by cpack: the shared libraries, what building against them takes, and the Python
# package where its install rules (component `python`) are there. scripts/package makes them.

include_guard(GLOBAL)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quarn)
set(CPACK_PACKAGE_CONTACT "The quarn authors")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
# The Python module is linked with libraries that another of the packages brings.
foreach(library quarn_cpp quarn interior_point priority_queue)
  list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/${library}")
endforeach()

# The soname has the minor version in it, and so has the name: two of them may be installed at once.
set(quarn_runtime_package "libquarn${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME "${quarn_runtime_package}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "Shared libraries.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libquarn-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${quarn_runtime_package} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Headers, CMake package and pkg-config file.")

get_cmake_property(quarn_components COMPONENTS)
if("python" IN_LIST quarn_components)
  list(APPEND CPACK_COMPONENTS_ALL python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-quarn)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
      "python3, python3-numpy, ${quarn_runtime_package} (= ${PROJECT_VERSION})")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS python3-matplotlib)
  set(CPACK_COMPONENT_PYTHON_DESCRIPTION "Python package.")
endif()

include(CPack)
