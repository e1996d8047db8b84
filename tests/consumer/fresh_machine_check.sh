#!/usr/bin/env bash
# README's commands work on a fresh machine without a JSON library: the
# project carries its own (json/), and no tracked file but this one names the
# package a machine may still have (nlohmann-json), so no build file looks for
# it and no source includes it.
set -euo pipefail
source_dir=$(cd "$(dirname "$0")/../.." && pwd)
package=nlohmann
if ! git -C "$source_dir" rev-parse --git-dir >/dev/null 2>&1; then
  echo "skipped: $source_dir is not a git checkout"; exit 77
fi
named=$(git -C "$source_dir" ls-files | grep -v '^tests/consumer/fresh_machine_check.sh$' |
  (cd "$source_dir" && xargs grep -l "$package" 2>/dev/null) || true)
if [ -n "$named" ]; then
  echo "these files still name $package:"; echo "$named"; exit 1
fi
echo "no tracked file names $package"
