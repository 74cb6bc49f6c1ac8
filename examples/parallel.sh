#!/usr/bin/env bash
# examples/parallel.sh FOLDER OUT [OPTION ...]: converts the recordings below FOLDER with GNU parallel, one process each.
# Options go to parallel: "--jobs 4", or "--sshlogin lab1,lab2" for machines that share both folders. Run it again after a
# failure: what failed and what is new is done, the rest stays.
set -euo pipefail
folder=$(realpath "$1") out=$(realpath -m "$2")
shift 2
log=$out.joblog # beside the outputs, as nothing else belongs among them
list=$out.recordings

# parallel knows jobs by their place in the list: new recordings go to its end, and what is gone leaves an empty line.
touch "$list"
(
  cd "$folder"
  while IFS= read -r name; do
    if [ -e "$name" ]; then printf '%s\n' "$name"; else echo; fi
  done <"$list"
  find . -type f -iname '*.bin' ! -name '.*' | sort | grep -vxFf "$list" || true
) >"$list.new"
mv "$list.new" "$list"

# A job that was killed left its output whole or not at all, so --skip-existing is all that a repeated one needs.
parallel --will-cite --joblog "$log" --resume-failed --workdir "$folder" "$@" \
  test -z {} '||' "${VORTENA:-vortena}" convert {} --out "$out"/{//} --jobs 1 --skip-existing --quiet :::: "$list"
