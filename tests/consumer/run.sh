#!/bin/sh
# tests/consumer/run.sh BUILD_DIR: installs what was built there into a folder of its own and uses it as a host would,
# through find_package and through pkg-config, with g++ and clang++; then looks at what the library exports.
set -eu

[ $# -eq 1 ] || {
  echo 'usage: tests/consumer/run.sh BUILD_DIR' >&2
  exit 2
}
build=$(cd -- "$1" && pwd)
cd -- "$(dirname -- "$0")"

scratch=$(mktemp -d)
trap 'rm -rf -- "$scratch"' EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

prefix=$scratch/prefix
cmake --install "$build" --prefix "$scratch/first" >"$scratch/install.log"
# Moved after the installation: nothing in the package may remember where it was put.
mv "$scratch/first" "$prefix"
if grep -rIlF -e "$scratch/first" -e "$(cd ../.. && pwd)" "$prefix/include" "$prefix"/lib*; then
  echo 'consumer: these installed files name the folder of their build' >&2
  exit 1
fi

pc=$(find "$prefix" -name tillvane.pc)
library=$(find "$prefix" -name libtillvane.so)
[ -f "$pc" ] && [ -f "$library" ]
export PKG_CONFIG_PATH="${pc%/*}"
export LD_LIBRARY_PATH="${library%/*}"
flags='-std=c++20 -Wall -Wextra -Wpedantic -Wconversion -Werror'

# run COMMAND...: the consumer, with a user's folders of its own; payments are allowed, then not.
run() {
  HOME=$scratch XDG_DATA_HOME=$scratch TILLVANE_STORE_LEDGER=$scratch/ledger "$@" yes
  HOME=$scratch XDG_DATA_HOME=$scratch TILLVANE_STORE_LEDGER=$scratch/ledger TILLVANE_STORE_PAYMENTS=0 "$@" no
}

# Every header stands alone.
check_headers() {
  headers=$(cd "$prefix/include" && find tillvane -name '*.h')
  [ -n "$headers" ]
  for header in $headers; do
    printf '#include <%s>\n' "$header" >"$scratch/header.cpp"
    # shellcheck disable=SC2046,SC2086  # lists of flags
    "$1" $flags $(pkg-config --cflags tillvane) -fsyntax-only "$scratch/header.cpp"
  done
}

# The host that the README shows, as it stands there, against the example's catalogue.
# shellcheck disable=SC2016  # a fence, not a command
sed -n '/^```cpp$/,/^```$/p' ../../README.md | sed '/^```/d' >"$scratch/readme_host.cpp"

check_readme_host() {
  # shellcheck disable=SC2046,SC2086  # lists of flags
  "$1" $flags "$scratch/readme_host.cpp" -o "$scratch/readme_host-$1" $(pkg-config --cflags --libs tillvane)
  said=$(HOME=$scratch TILLVANE_STORE_LEDGER=$scratch/readme-$1 \
    TILLVANE_STORE_CATALOG=../../examples/storefront/Products.storekit "$scratch/readme_host-$1")
  case $said in
    'no price: '* | *': not bought') ;;
    *': bought') return 0 ;;
  esac
  echo "consumer: the README's host, built with $1, says '$said'" >&2
  return 1
}

for compiler in g++ clang++; do
  check_headers "$compiler"
  check_readme_host "$compiler"

  cmake -S . -B "$scratch/$compiler" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_CXX_COMPILER="$compiler" \
    -DCMAKE_CXX_FLAGS="$flags" >"$scratch/configure.log" || {
    cat "$scratch/configure.log" >&2
    exit 1
  }
  cmake --build "$scratch/$compiler"
  run "$scratch/$compiler/consumer"

  # shellcheck disable=SC2046,SC2086  # lists of flags
  "$compiler" $flags consumer.cpp -o "$scratch/consumer-$compiler" $(pkg-config --cflags --libs tillvane)
  run "$scratch/consumer-$compiler"
done

soname=$(readelf -d "$library" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p')
if [ "$soname" != libtillvane.so.0 ]; then
  echo "consumer: the library calls itself '$soname' and not libtillvane.so.0" >&2
  exit 1
fi

# A name that appears here or goes is a change of the interface: exports.txt changes with it, on purpose.
nm -D --defined-only "$library" | sed -n 's/^[0-9a-f]* [^A] \([^@]*\).*/\1/p' | c++filt |
  LC_ALL=C sort -u >"$scratch/exports.txt"
if ! diff -u exports.txt "$scratch/exports.txt"; then
  echo 'consumer: the library does not export exactly what exports.txt names' >&2
  exit 1
fi
echo "consumer: $(wc -l <exports.txt) exported names, find_package and pkg-config, g++ and clang++: good"
