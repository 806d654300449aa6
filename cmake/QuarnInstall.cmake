# Install rules: libraries, the public headers, the package configuration, the .pc file, the licence
# and the notice of what is compiled in.
#
# Two components: `runtime`, what a program that is linked with shared libraries needs, and
# `development`, everything else.

include_guard(GLOBAL)
include(CMakePackageConfigHelpers)

set(quarn_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/quarn")

install(
  TARGETS quarn quarn_core quarn_cpp quarn_cpp_core quarn_branch_and_price quarn_interior_point quarn_priority_queue
  EXPORT quarnTargets
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
          COMPONENT runtime
          NAMELINK_COMPONENT development
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT runtime)
foreach(module quarn interior_point priority_queue)
  install(FILES "${PROJECT_SOURCE_DIR}/${module}/${module}.h"
          DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/${module}"
          COMPONENT development)
endforeach()
foreach(header errors handles master pricing quarn result settings visibility)
  install(FILES "${PROJECT_SOURCE_DIR}/quarn_cpp/${header}.hpp"
          DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/quarn_cpp"
          COMPONENT development)
endforeach()

# Sets of their own: who looks for the package may lack oneTBB or MPI, and need neither.
foreach(library IN LISTS QUARN_BLOCK_LIBRARIES)
  install(
    TARGETS quarn_${library}
    EXPORT quarn_${library}
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
            COMPONENT runtime
            NAMELINK_COMPONENT development
    RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT runtime)
  install(
    EXPORT quarn_${library}
    FILE quarn_${library}.cmake
    NAMESPACE quarn::
    DESTINATION "${quarn_package_dir}"
    COMPONENT development)
endforeach()
foreach(header IN LISTS QUARN_BLOCK_HEADERS)
  install(FILES "${PROJECT_SOURCE_DIR}/block_pricing/${header}.hpp"
          DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/block_pricing"
          COMPONENT development)
endforeach()
foreach(header branch_and_price branching problem search)
  install(FILES "${PROJECT_SOURCE_DIR}/branch_and_price/${header}.hpp"
          DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/branch_and_price"
          COMPONENT development)
endforeach()
install(
  FILES "${PROJECT_SOURCE_DIR}/LICENSE" "${PROJECT_SOURCE_DIR}/THIRD_PARTY_NOTICES.md"
  DESTINATION "${CMAKE_INSTALL_DOCDIR}"
  COMPONENT runtime)

install(
  EXPORT quarnTargets
  NAMESPACE quarn::
  DESTINATION "${quarn_package_dir}"
  COMPONENT development)
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/quarnConfig.cmake.in"
                              "${PROJECT_BINARY_DIR}/quarnConfig.cmake"
                              INSTALL_DESTINATION "${quarn_package_dir}")
# Before 1.0 a minor version may change the interface.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/quarnConfigVersion.cmake"
                                 COMPATIBILITY SameMinorVersion)
install(
  FILES "${PROJECT_BINARY_DIR}/quarnConfig.cmake" "${PROJECT_BINARY_DIR}/quarnConfigVersion.cmake"
  DESTINATION "${quarn_package_dir}"
  COMPONENT development)

# pkg-config. A static library does not carry its own dependencies, so they stand in Libs then.
set(quarn_pc_solver "")
foreach(library IN LISTS QUARN_LINEAR_ALGEBRA_LIBRARIES)
  if(library MATCHES "^(.*)/lib([^/]+)\\.(so|a|dylib)$")
    set(folder "${CMAKE_MATCH_1}")
    set(name "${CMAKE_MATCH_2}")
    if(NOT folder IN_LIST CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES)
      string(APPEND quarn_pc_solver " -L${folder}")
    endif()
    string(APPEND quarn_pc_solver " -l${name}")
  else()
    string(APPEND quarn_pc_solver " ${library}")
  endif()
endforeach()
foreach(library IN LISTS CMAKE_CXX_IMPLICIT_LINK_LIBRARIES)
  if(library MATCHES "^(stdc\\+\\+|c\\+\\+|m)$")
    string(APPEND quarn_pc_solver " -l${library}")
  endif()
endforeach()
set(quarn_pc_own " -lquarn_interior_point -lquarn_priority_queue")
if(BUILD_SHARED_LIBS)
  set(quarn_pc_libs "-lquarn")
  set(quarn_pc_private "${quarn_pc_own}${quarn_pc_solver}")
else()
  set(quarn_pc_libs "-lquarn${quarn_pc_own}${quarn_pc_solver}")
  set(quarn_pc_private "")
endif()
# The prefix may be chosen as late as `cmake --install --prefix`, so the file finds it from its own
# place; where the libraries go to an absolute folder that place says nothing about it.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(quarn_pc_prefix "${CMAKE_INSTALL_PREFIX}")
else()
  string(REGEX REPLACE "[^/]+" ".." quarn_pc_to_prefix "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
  set(quarn_pc_prefix "\${pcfiledir}/${quarn_pc_to_prefix}")
endif()
foreach(folder libdir includedir)
  string(TOUPPER ${folder} setting)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${setting}}")
    set(quarn_pc_${folder} "${CMAKE_INSTALL_${setting}}")
  else()
    set(quarn_pc_${folder} "\${prefix}/${CMAKE_INSTALL_${setting}}")
  endif()
endforeach()
foreach(package quarn quarn_cpp)
  configure_file("${PROJECT_SOURCE_DIR}/cmake/${package}.pc.in"
                 "${PROJECT_BINARY_DIR}/${package}.pc" @ONLY)
endforeach()
install(
  FILES "${PROJECT_BINARY_DIR}/quarn.pc" "${PROJECT_BINARY_DIR}/quarn_cpp.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
  COMPONENT development)

if(QUARN_IS_TOP_LEVEL AND BUILD_SHARED_LIBS)
  include(QuarnPackage)
endif()
