#!/usr/bin/env bash
# README's commands must work on a fresh machine, where no JSON library is
# installed: the project carries its own (json/). Three checks:
#  1. no tracked file but this one names the package this machine may still
#     have (nlohmann-json);
#  2. no object of this build read one of its headers (ninja's deps log);
#  3. a clean clone configures with the package made invisible (its folders
#     hidden in a private mount namespace), as on a machine without it.
# Check 3 needs root and unshare; without them it is skipped, and says so.
set -euo pipefail
build_dir=$1
source_dir=$(cd "$(dirname "$0")/../.." && pwd)
self=tests/consumer/fresh_machine_check.sh
package=nlohmann

if git -C "$source_dir" rev-parse --git-dir >/dev/null 2>&1; then
  named=$(git -C "$source_dir" ls-files | grep -v "^$self\$" | (cd "$source_dir" && xargs grep -l "$package" 2>/dev/null) || true)
  if [ -n "$named" ]; then
    echo "these files still name $package:"; echo "$named"; exit 1
  fi
fi

if [ -f "$build_dir/build.ninja" ]; then
  if ninja -C "$build_dir" -t deps | grep -q "/$package/"; then
    echo "an object of $build_dir includes a $package header"; exit 1
  fi
fi

hidden=()
for d in /usr/include/$package /usr/share/cmake/${package}_json /usr/lib/cmake/${package}_json; do
  [ -d "$d" ] && hidden+=("$d")
done
if [ "$(id -u)" != 0 ] || ! unshare -m true 2>/dev/null; then
  echo "skipped: hiding installed packages needs root and unshare"; exit 77
fi
if ! git -C "$source_dir" rev-parse --git-dir >/dev/null 2>&1; then
  echo "skipped: $source_dir is not a git checkout to clone"; exit 77
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
git clone -q "$source_dir" "$work/src"
unshare -m bash -euc '
  mount --make-rprivate /
  for d in "$@"; do mount -t tmpfs none "$d"; done
  cmake -S "'"$work"'/src" -B "'"$work"'/build" -G Ninja >"'"$work"'/configure.log" 2>&1 ||
    { cat "'"$work"'/configure.log"; exit 1; }
' hide "${hidden[@]}"
echo "a clean clone configures with ${#hidden[@]} $package folder(s) hidden"
