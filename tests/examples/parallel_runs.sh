#!/bin/sh
# Whether an example prints the same bounds, columns and iterations by threads and over ranks.
#
#   parallel_runs.sh [threads][,MPIEXEC] PROGRAM ARGUMENT...
runs=$1
shift
export OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1
export OMPI_MCA_rmaps_base_oversubscribe=1 OMPI_MCA_btl_vader_single_copy_mechanism=none
# Ranks that wait leave the processor to others.
export OMPI_MCA_mpi_yield_when_idle=1

# What does not depend on time: all but what the table and the summary say of seconds.
history=$(mktemp)
trap 'rm -f "$history"' EXIT

# run COMMAND...: bounds, columns and iterations of each line, without the seconds.
run() {
  "$@" --history "$history" >/dev/null || echo "status $?"
  cut -d, -f1-7 "$history"
}

expected=$(run "$@")
[ "$(printf '%s\n' "$expected" | wc -l)" -gt 5 ] || { echo "too short: $expected"; exit 1; }

compare() {
  output=$(run "$@")
  [ "$output" = "$expected" ] && return
  printf '%s\n%s\ninstead of\n%s\n' "$*" "$output" "$expected"
  exit 1
}

case $runs in threads*) compare "$@" --threads 3 ;; esac
mpiexec=${runs#*,}
[ "$mpiexec" = "$runs" ] && exit 0
compare "$mpiexec" -n 2 "$@"
compare "$mpiexec" -n 3 "$@" --threads "$(case $runs in threads*) echo 2 ;; *) echo 1 ;; esac)"

# A mistake ends all ranks, with the program's own status.
"$mpiexec" -n 3 "$@" --resume /nonexistent >/dev/null 2>&1
status=$?
[ "$status" -eq 2 ] || { echo "status $status instead of 2"; exit 1; }
