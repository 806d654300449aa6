# What the scripts of this folder share.

# run(<command> <argument>...): stops the script where the command fails.
function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status)
  if(NOT status EQUAL 0)
    list(JOIN ARGN " " command)
    message(FATAL_ERROR "status ${status} from: ${command}")
  endif()
endfunction()

# configure(<sources> <build folder> <option>...): with the compilers and the generator of the build
# that is tested.
function(configure source_dir build_dir)
  run(${CMAKE_COMMAND}
      -S "${source_dir}"
      -B "${build_dir}"
      -G "${GENERATOR}"
      "-DCMAKE_C_COMPILER=${C_COMPILER}"
      "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}"
      ${ARGN})
endfunction()
