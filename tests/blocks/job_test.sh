#!/bin/sh
# Runs blocks_job over ranks and compares.
#
#   job_test.sh MPIEXEC PROGRAM FOLDER CASE
#
# Two processors may have four ranks here, and the user may be root, both of which Open MPI allows
# only when asked; within a container it may not read another process's memory.
mpiexec=$1 program=$2 folder=$3 case=$4
export OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1
export OMPI_MCA_rmaps_base_oversubscribe=1 OMPI_MCA_btl_vader_single_copy_mechanism=none
# Ranks that wait leave the processor to others.
export OMPI_MCA_mpi_yield_when_idle=1

fail() {
  echo "$case: $*"
  exit 1
}

# expect_failure RANKS TEXT ARGUMENT...: a status other than 0 soon, and the text where there is one.
expect_failure() {
  ranks=$1 text=$2
  shift 2
  if output=$(timeout 60 "$mpiexec" -n "$ranks" "$program" "$@" 2>&1); then
    fail "status 0 from $*"
  else
    status=$?
    [ "$status" -ne 124 ] || fail "$* did not end: $output"
  fi
  case $output in *"$text"*) ;; *) fail "$* said: $output" ;; esac
}

# expect_output RANKS TEXT ARGUMENT...
expect_output() {
  ranks=$1 text=$2
  shift 2
  output=$(timeout 100 "$mpiexec" -n "$ranks" "$program" "$@") || fail "status $? from $*"
  [ "$output" = "$text" ] || fail "$ranks ranks, $*: $output instead of $text"
}

case $case in
  same)
    serial=$("$program" same 8) || fail "status $? without mpiexec"
    [ "$(printf '%s\n' "$serial" | wc -l)" -gt 40 ] || fail "short output: $serial"
    for ranks in 2 3 4; do expect_output "$ranks" "$serial" same 8; done
    ;;
  throw) for rank in 0 1 2; do expect_failure 3 ": out of luck" throw "$rank"; done ;;
  leave) for rank in 0 2; do expect_failure 3 "" leave "$rank"; done ;;
  kill)
    for rank in 0 2; do
      rm -f "$folder/killed_$rank"
      expect_failure 3 "" kill "$rank" "$folder/killed_$rank"
      expect_output 2 "columns 1
right" resume "$folder/killed_$rank"
    done
    ;;
  partial) expect_output 3 "$(printf 'right\nright\nright')" partial 3 ;;
  limit) for rank in 0 2; do expect_output 3 "time_limit" limit "$rank"; done ;;
  *) fail "no such case" ;;
esac
