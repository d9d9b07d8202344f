#!/usr/bin/env bash
# check_kernels.sh COMPILER ARGUMENT...: runs a CUDA compile and reads the assembler's report of it.
# A kernel that keeps something in a stack frame or spills registers fails the compile, by name.
set -euo pipefail

printed=$(mktemp)
trap 'rm -f "$printed"' EXIT
status=0
"$@" -Xptxas -v 2>"$printed" || status=$?

# What isn't the assembler's goes on as it came.
awk -v compiled=$((status == 0)) '
  /^ptxas info / {
    reported = 1
    if (/ Compiling entry function /) ++kernels
    if (/ Function properties for /) name = $NF
    next
  }
  / bytes stack frame, / {
    ++frames
    if ($1 + $5 + $9 == 0) next
    sub(/^ +/, "")
    print "error: " $0 ": " name
    failed = 1
    next
  }
  { print }
  END {
    if (compiled && (!reported || frames < kernels)) {
      print "error: the report of the assembler looks different now"
      failed = 1
    }
    exit failed
  }' "$printed" | c++filt >&2 || status=1
exit "$status"
