# What every target of the project gets: the language standard, the include path, the warnings, and
# the instrumentation that the options ask for. Everything is set on the target, so a project that
# adds this one as a folder keeps its own flags.

include_guard(GLOBAL)
include(CheckLinkerFlag)

file(WRITE "${CMAKE_BINARY_DIR}/CMakeFiles/empty.map" "{ local: *; };\n")
check_linker_flag(CXX "LINKER:--version-script=${CMAKE_BINARY_DIR}/CMakeFiles/empty.map"
                  QUARN_LINKER_TAKES_MAPS)

# quarn_configure_target(<target>)
#
# For a library or program of ours, right after it was added.
function(quarn_configure_target target)
  set_target_properties(
    ${target}
    PROPERTIES C_STANDARD 11
               C_STANDARD_REQUIRED ON
               C_EXTENSIONS OFF
               CXX_STANDARD 17
               CXX_STANDARD_REQUIRED ON
               CXX_EXTENSIONS OFF
               C_VISIBILITY_PRESET hidden
               CXX_VISIBILITY_PRESET hidden
               VISIBILITY_INLINES_HIDDEN ON)
  target_compile_options(
    ${target}
    PRIVATE
      $<$<COMPILE_LANG_AND_ID:C,GNU,Clang,AppleClang>:-Wall;-Wextra;-Wpedantic;-Wconversion;-Wshadow>
      $<$<COMPILE_LANG_AND_ID:CXX,GNU,Clang,AppleClang>:-Wall;-Wextra;-Wpedantic;-Wconversion;-Wshadow>
  )
  if(QUARN_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(QUARN_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${QUARN_SANITIZE} -fno-sanitize-recover=all
                                             -fno-omit-frame-pointer -O1)
    # g++ takes parts of std::function and std::regex for uninitialised in instrumented code.
    target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    target_link_options(${target} PRIVATE -fsanitize=${QUARN_SANITIZE})
  endif()
  if(QUARN_COVERAGE)
    target_compile_options(${target} PRIVATE --coverage)
    target_link_options(${target} PRIVATE --coverage)
  endif()
  if(QUARN_CLANG_TIDY)
    find_program(QUARN_CLANG_TIDY_PROGRAM clang-tidy REQUIRED)
    set_target_properties(${target} PROPERTIES C_CLANG_TIDY "${QUARN_CLANG_TIDY_PROGRAM}"
                                               CXX_CLANG_TIDY "${QUARN_CLANG_TIDY_PROGRAM}")
  endif()
endfunction()

# quarn_library_target(<target> <exported name>)
#
# For a library that is installed: configured as above, with an alias quarn::<exported name>, and
# with the root of the sources as the include path here, the include folder after an installation.
# A shared library shows what the file <exported name>.map in its folder says.
# The target's own name begins with quarn: a project around this one may have any other.
function(quarn_library_target target exported_name)
  quarn_configure_target(${target})
  add_library(quarn::${exported_name} ALIAS ${target})
  set_target_properties(
    ${target}
    PROPERTIES EXPORT_NAME ${exported_name}
               POSITION_INDEPENDENT_CODE ON
               INSTALL_RPATH "$ORIGIN"
               VERSION ${PROJECT_VERSION}
               SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  get_target_property(type ${target} TYPE)
  set(map "${CMAKE_CURRENT_SOURCE_DIR}/${exported_name}.map")
  if(type STREQUAL "SHARED_LIBRARY" AND QUARN_LINKER_TAKES_MAPS AND EXISTS "${map}")
    target_link_options(${target} PRIVATE "LINKER:--version-script=${map}")
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS "${map}")
  endif()
  target_include_directories(
    ${target} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>
                     $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
endfunction()
