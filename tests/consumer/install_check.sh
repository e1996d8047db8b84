#!/usr/bin/env bash
# Installs the build into a temporary prefix and builds a C host against it
# through pkg-config and through find_package(rfs); compiles README's C example.
set -euo pipefail
build_dir=$1
source_dir=$(cd "$(dirname "$0")" && pwd)
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT

cmake --install "$build_dir" --prefix "$prefix" >/dev/null
libdir=$(dirname "$(find "$prefix" -name rfs.pc | head -n1)")/..

# The installed library exports exactly what the installed header declares.
header=$(find "$prefix" -name rfs.h | head -n1)
grep -E '^RFS_API ' "$header" | sed -E 's/^RFS_API [^(]*[ *]([A-Za-z_0-9]+)\(.*/\1/' | sort >"$prefix/declared"
nm -D --defined-only "$libdir"/librfs.so | awk '$2 == "T" { print $3 }' | sort >"$prefix/defined"
missing=$(comm -23 "$prefix/declared" "$prefix/defined")
extra=$(comm -13 "$prefix/declared" "$prefix/defined")
if [ -n "$missing$extra" ]; then
  [ -z "$missing" ] || echo "declared in rfs.h but not exported:" $missing >&2
  [ -z "$extra" ] || echo "exported but not declared in rfs.h:" $extra >&2
  exit 1
fi
# A host through pkg-config, where the machine has it (a fresh one may not),
# and README's example compiled.
awk '/^```c$/ {on = 1; next} /^```$/ {on = 0} on' "$source_dir/../../README.md" > "$prefix/readme_example.c"
test -s "$prefix/readme_example.c"
if command -v pkg-config >/dev/null; then
  export PKG_CONFIG_PATH=$libdir/pkgconfig
  cc -std=c11 -Wall -Wextra -Werror "$source_dir/consumer.c" -o "$prefix/consumer" \
    $(pkg-config --cflags --libs rfs-posix)
  LD_LIBRARY_PATH=$libdir "$prefix/consumer"
  cc -std=c11 -Wall -Wextra -Werror -c "$prefix/readme_example.c" -o "$prefix/readme_example.o" \
    $(pkg-config --cflags rfs-posix)
else
  echo "pkg-config not found: the pkg-config host is not built"
  cc -std=c11 -Wall -Wextra -Werror -c "$prefix/readme_example.c" -o "$prefix/readme_example.o" \
    -I"$(dirname "$header")"
fi

mkdir -p "$prefix/cmake-host"
cat > "$prefix/cmake-host/CMakeLists.txt" <<CMAKE
cmake_minimum_required(VERSION 3.25)
project(host C)
find_package(rfs REQUIRED)
add_executable(consumer $source_dir/consumer.c)
target_link_libraries(consumer PRIVATE rfs::rfs rfs::rfs_posix)
CMAKE
cmake -S "$prefix/cmake-host" -B "$prefix/cmake-host/build" \
  -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$prefix/cmake-host/build" >/dev/null
LD_LIBRARY_PATH=$libdir "$prefix/cmake-host/build/consumer"
