# Install rules: libraries, the three public headers, the package configuration and the .pc file.

include_guard(GLOBAL)
include(CMakePackageConfigHelpers)

set(quarn_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/quarn")

install(
  TARGETS quarn quarn_core quarn_interior_point quarn_priority_queue
  EXPORT quarnTargets
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
foreach(module quarn interior_point priority_queue)
  install(FILES "${PROJECT_SOURCE_DIR}/${module}/${module}.h"
          DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/${module}")
endforeach()

install(
  EXPORT quarnTargets
  NAMESPACE quarn::
  DESTINATION "${quarn_package_dir}")
configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/quarnConfig.cmake.in"
                              "${PROJECT_BINARY_DIR}/quarnConfig.cmake"
                              INSTALL_DESTINATION "${quarn_package_dir}")
# Before 1.0 a minor version may change the interface.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/quarnConfigVersion.cmake"
                                 COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/quarnConfig.cmake"
              "${PROJECT_BINARY_DIR}/quarnConfigVersion.cmake" DESTINATION "${quarn_package_dir}")

# pkg-config. A static library does not carry its own dependencies, so they stand in Libs then.
set(quarn_pc_solver "")
foreach(library IN LISTS LAPACK_LIBRARIES BLAS_LIBRARIES)
  if(library MATCHES "/lib([^/]+)\\.(so|a|dylib)$")
    string(APPEND quarn_pc_solver " -l${CMAKE_MATCH_1}")
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
# place.
string(REGEX REPLACE "[^/]+" ".." quarn_pc_to_prefix "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
configure_file("${PROJECT_SOURCE_DIR}/cmake/quarn.pc.in" "${PROJECT_BINARY_DIR}/quarn.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/quarn.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
