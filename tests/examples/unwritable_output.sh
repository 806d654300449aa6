#!/bin/sh
# Whether an example program says so when its output cannot be written.
#
#   unwritable_output.sh PROGRAM [ARGUMENT...]
#
# The arguments are those of a run that ends well. Each case below has to end with status 2 and one
# line on standard error. Arguments are what tells the programs with options from the one without.
set -u

complaint=$(mktemp)
trap 'rm -f "$complaint"' EXIT
failures=0

# expect CASE STATUS: after a run whose standard error went to the file.
expect() {
  lines=$(wc -l < "$complaint")
  if [ "$2" -ne 2 ] || [ "$lines" -ne 1 ]; then
    echo "$1: status $2, $lines lines on standard error:"
    cat "$complaint"
    failures=$((failures + 1))
  fi
}

"$@" > /dev/null 2> "$complaint" || { echo "the run itself fails"; exit 1; }
"$@" > /dev/full 2> "$complaint"
expect "full" $?
"$@" >&- 2> "$complaint"
expect "closed" $?
if [ "$#" -gt 1 ]; then
  "$@" --verbose > /dev/full 2> "$complaint"
  expect "full, with the library's text" $?
  "$@" --json /dev/full > /dev/null 2> "$complaint"
  expect "full report" $?
  "$@" --json "$complaint/report" > /dev/null 2> "$complaint"
  expect "report in a folder that is a file" $?
  "$1" --help > /dev/full 2> "$complaint"
  expect "full, help" $?
fi
exit "$((failures > 0))"
