#!/bin/sh
# tests/consumer/run.sh BUILD_DIR [PACKAGES_DIR]: installs what was built there into a folder of its own and uses it as
# a host would: through find_package and through pkg-config, with g++ and clang++, and with the sources as a part of the
# host's own build; then what the Debian packages in PACKAGES_DIR contain. Looks at what the library exports.
set -eu

[ $# -eq 1 ] || [ $# -eq 2 ] || {
  echo 'usage: tests/consumer/run.sh BUILD_DIR [PACKAGES_DIR]' >&2
  exit 2
}
build=$(cd -- "$1" && pwd)
packages=${2:+$(cd -- "$2" && pwd)}
cd -- "$(dirname -- "$0")"
tree=$(cd ../.. && pwd)

scratch=$(mktemp -d)
trap 'rm -rf -- "$scratch"' EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

die() {
  printf 'consumer: %s\n' "$*" >&2
  exit 1
}

flags='-Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Werror'

# quietly COMMAND...: what it prints is shown where it fails.
quietly() {
  "$@" >"$scratch/log" 2>&1 || {
    cat "$scratch/log" >&2
    return 1
  }
}

# run COMMAND...: the consumer, with a user's folders of its own; payments are allowed, then not.
run() {
  HOME=$scratch XDG_DATA_HOME=$scratch TILLVANE_STORE_LEDGER=$scratch/ledger "$@" yes
  HOME=$scratch XDG_DATA_HOME=$scratch TILLVANE_STORE_LEDGER=$scratch/ledger TILLVANE_STORE_PAYMENTS=0 "$@" no
}

# The host that the README shows, as it stands there, against the example's catalogue.
# shellcheck disable=SC2016  # a fence, not a command
sed -n '/^```cpp$/,/^```$/p' ../../README.md | sed '/^```/d' >"$scratch/readme_host.cpp"

# compile COMPILER SOURCE PROGRAM: through pkg-config.
compile() {
  # shellcheck disable=SC2046,SC2086  # lists of flags
  "$1" -std=c++20 $flags "$2" -o "$3" $(pkg-config --cflags --libs tillvane)
}

check_readme_host() {
  compile "$1" "$scratch/readme_host.cpp" "$scratch/readme_host-$1"
  said=$(HOME=$scratch TILLVANE_STORE_LEDGER=$scratch/readme-$1 \
    TILLVANE_STORE_CATALOG=../../examples/storefront/Products.storekit "$scratch/readme_host-$1")
  case $said in
    'no price: '* | *': not bought') ;;
    *': bought') return 0 ;;
  esac
  die "the README's host, built with $1, says '$said'"
}

# Each header that is installed stands alone; check_use has configured the project.
check_headers() {
  quietly cmake --build "$project" --target headers
  [ "$(find "$project/headers" -name '*.cpp' | wc -l)" -eq "$(find "$prefix/include/tillvane" -type f | wc -l)" ] ||
    die 'the headers that are installed are not those that the package names'
}

# check_use PREFIX COMPILER: a host's whole way with what is installed there.
check_use() {
  pc=$(find "$1" -name tillvane.pc)
  library=$(find "$1" -name libtillvane.so)
  [ -f "$pc" ] || die "$1 lacks tillvane.pc"
  [ -f "$library" ] || die "$1 lacks libtillvane.so"
  export PKG_CONFIG_PATH="${pc%/*}"
  export LD_LIBRARY_PATH="${library%/*}"

  project=$scratch/project
  rm -rf "$project"
  quietly cmake -S . -B "$project" -G Ninja -DCMAKE_PREFIX_PATH="$1" -DCMAKE_CXX_COMPILER="$2" \
    -DCMAKE_CXX_FLAGS="$flags"
  quietly cmake --build "$project" --target consumer
  run "$project/consumer"

  compile "$2" consumer.cpp "$scratch/consumer-$2"
  run "$scratch/consumer-$2"
  check_readme_host "$2"
}

# check_library PREFIX: what a loader and a linker see of it.
check_library() {
  library=$(find "$1" -name 'libtillvane.so.*.*.*')
  readelf -d "$library" >"$scratch/dynamic"
  soname=$(sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p' "$scratch/dynamic")
  [ "$soname" = libtillvane.so.0.1 ] || die "$library calls itself '$soname' and not libtillvane.so.0.1"
  grep -qE 'R(UN)?PATH' "$scratch/dynamic" && die "$library has a path of its own to look for libraries"

  # A name that appears here or goes is a change of the interface: exports.txt changes with it, on purpose.
  nm -D --defined-only "$library" | sed -n 's/^[0-9a-f]* [^A] //p' >"$scratch/names"
  grep -v '@@TILLVANE_0\.1$' "$scratch/names" && die "these names of $library do not have the library's version"
  sed 's/@.*//' "$scratch/names" | c++filt | LC_ALL=C sort -u >"$scratch/exports.txt"
  diff -u exports.txt "$scratch/exports.txt" || die "$library does not export exactly what exports.txt names"
}

# check_folders PREFIX FOLDER...: nothing that is installed names one of the folders, that of the build, or one in the
# tree. The tree itself may have a name that is a part of what is installed, such as /tillvane.
check_folders() {
  installed=$1
  shift
  for folder in "$@" "$build" "$tree"/*/; do
    grep -rlF -e "$folder" "$installed" && die "these installed files name $folder"
  done
  return 0
}

# As a part of the host's own build nothing of the library's tests, examples and installation comes along.
check_tree() {
  project=$scratch/with-tree
  quietly cmake -S . -B "$project" -G Ninja -DTILLVANE_TREE="$tree" -DCMAKE_BUILD_TYPE=Release
  cmake --build "$project" --target help >"$scratch/targets"
  grep -E 'storefront|_test' "$scratch/targets" && die 'the host builds the tests or the examples of the library'
  quietly cmake --build "$project" --target consumer
  LD_LIBRARY_PATH='' run "$project/consumer"
  quietly cmake --install "$project" --prefix "$scratch/host"
  [ ! -e "$scratch/host" ] || die 'the host installs the library, which it was not asked for'
}

check_packages() {
  for package in "$packages"/*.deb; do dpkg-deb -x "$package" "$scratch/root"; done
  check_folders "$scratch/root"
  check_library "$scratch/root/usr"
  for compiler in g++ clang++; do check_use "$scratch/root/usr" "$compiler"; done
  helper=$(sed -n 's:.*exec\.path">\(.*\)</annotate>.*:\1:p' "$scratch"/root/usr/share/polkit-1/actions/*.policy)
  { [ -f "$scratch/root$helper" ] && [ -x "$scratch/root$helper" ]; } || die "the action names '$helper', which the packages do not have"
}

quietly cmake --install "$build" --prefix "$scratch/first"
# Moved after the installation: nothing in the package may remember where it was put.
prefix=$scratch/prefix
mv "$scratch/first" "$prefix"
# The action alone does: polkit knows a program by its path.
mv "$prefix/share/polkit-1" "$scratch"
check_folders "$prefix" "$scratch/first"
check_library "$prefix"
for compiler in g++ clang++; do
  check_use "$prefix" "$compiler"
  check_headers
done
check_tree
[ -z "$packages" ] || check_packages
echo "consumer: $(wc -l <exports.txt) exported names, find_package, pkg-config, the sources${packages:+, packages};" \
  'g++ and clang++: good'
