#!/bin/sh
# tests/bare/run.sh packages|commands [FOLDER]: what a newcomer does, on a Debian 12 that has only its base.
#
#   packages  installs those that ./dev package made with apt, builds tests/consumer with them as a user without rights,
#             through find_package and through pkg-config, runs it, and purges them: nothing stays
#   commands  runs ./dev demo and ./dev test of the last commit as a user with sudo
#
# Each step says how many seconds it took. In FOLDER, a whole path, the base is kept for the next time (200 MB); it is a
# folder that this script may have for itself: a new one, an empty one, or one that it has used before. Without one the
# base is fetched anew and all is removed. Needs root, debootstrap and the network. What is mounted and started there ends with
# this script: it has mounts and processes of its own.
set -eu

die() {
  printf 'bare: %s\n' "$*" >&2
  exit 1
}

tree=$(cd -- "$(dirname -- "$0")/../.." && pwd)
case ${1-} in
  packages | commands) mode=$1 ;;
  *) die 'usage: tests/bare/run.sh packages|commands [FOLDER]' ;;
esac
# What is here is removed as root: nothing that this script has not made.
marker=tillvane-bare
if [ $# -gt 1 ]; then
  case $2 in /*) ;; *) die "'$2' is no whole path" ;; esac
  [ ! -e "$2" ] || [ -d "$2" ] || die "'$2' is no folder"
  [ -f "$2/$marker" ] || [ -z "$(ls -A -- "$2" 2>/dev/null)" ] ||
    die "'$2' has something in it that this script has not made"
fi
[ "$(id -u)" -eq 0 ] || die 'only root can do this'
if [ -z "${BARE_UNSHARED-}" ]; then
  export BARE_UNSHARED=yes
  exec unshare --mount --propagation private --pid --fork --kill-child "$0" "$@"
fi

if [ $# -gt 1 ]; then
  mkdir -p -- "$2"
  folder=$(cd -- "$2" && pwd)
  : >"$folder/$marker"
  removed=$folder/tillvane-bare-root
else
  folder=$(mktemp -d)
  removed=$folder
fi
root=$folder/tillvane-bare-root
base=$folder/tillvane-bare-base
title=
# What is mounted there is not ours to remove.
end() {
  [ "$?" -eq 0 ] || [ -z "$title" ] || printf '\nbare: failed in: %s\n' "$title" >&2
  for mounted in proc sys dev run; do umount -R -l "$root/$mounted" 2>/dev/null || true; done
  rm -rf --one-file-system -- "$removed"
}
trap end EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# step TITLE COMMAND...: the shell's -e ends everything at the first failure.
step() {
  title=$1
  shift
  printf '\n==== %s\n' "$title"
  begin=$(date +%s)
  "$@"
  printf '==== %s: %d s\n' "$title" $(($(date +%s) - begin))
  title=
}

# inside COMMAND...: as root; as_user COMMAND: as one who has just logged in, a text for the shell.
inside() {
  env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LANG=C.UTF-8 DEBIAN_FRONTEND=noninteractive \
    chroot "$root" "$@"
}
as_user() { inside runuser -l visitor -c "$1"; }

make_base() {
  [ ! -e "$base/made" ] || return 0
  rm -rf -- "$base"
  debootstrap --variant=minbase bookworm "$base" >"$folder/debootstrap.log"
  touch "$base/made"
}

make_root() {
  rm -rf --one-file-system -- "$root"
  cp -a -- "$base" "$root"
  cp -L /etc/resolv.conf /etc/hosts "$root/etc"
  # In a file, since neither runuser nor sudo passes a variable on.
  [ -z "${http_proxy-}" ] ||
    printf 'Acquire::http::Proxy "%s";\n' "$http_proxy" >"$root/etc/apt/apt.conf.d/80proxy"
  mount -t proc proc "$root/proc"
  mount --rbind /sys "$root/sys"
  mount --rbind /dev "$root/dev"
  mount -t tmpfs -o mode=755 tmpfs "$root/run"
  inside useradd --create-home --shell /bin/sh visitor
  inside apt-get update -q
}

install_packages() { inside sh -c 'apt-get install -y -q /packages/*.deb'; }
install_tools() { inside apt-get install -y -q --no-install-recommends g++ cmake make pkg-config; }

build_consumer() {
  as_user 'cd consumer && cmake -S . -B build && cmake --build build && cp build/consumer with-cmake'
  # shellcheck disable=SC2016  # for the other shell
  as_user 'cd consumer && c++ -std=c++20 consumer.cpp -o with-pkg-config $(pkg-config --cflags --libs tillvane)'
}

run_consumer() {
  for program in with-cmake with-pkg-config; do
    as_user "consumer/$program yes && TILLVANE_STORE_PAYMENTS=0 consumer/$program no"
  done
}

# Nothing but what apt remembers of the files that it was given, and what the user made.
purge_packages() {
  inside sh -c 'apt-get purge -y -q "libtillvane*" tillvane-privileged-tool'
  # Seen from the root, whose own path has the name.
  left=$(cd -- "$root" && find . -xdev -ipath '*tillvane*' -not -path './packages/*' -not -path './home/*')
  [ -z "$left" ] || die "these stay: $left"
  left=$({ inside dpkg-query -W && inside ldconfig -p && inside apt-mark showmanual; } | grep -i tillvane) &&
    die "these are still known: $left"
  return 0
}

try_packages() {
  set -- "$tree"/build/package/*.deb
  [ -e "$1" ] || die './dev package has not made any'
  mkdir "$root/packages" "$root/home/visitor/consumer"
  cp -- "$@" "$root/packages"
  cp "$tree/tests/consumer/CMakeLists.txt" "$tree/tests/consumer/consumer.cpp" "$root/home/visitor/consumer"
  inside chown -R visitor: /home/visitor
  step 'the packages, installed by apt' install_packages
  step 'a compiler' install_tools
  step 'the consumer, built' build_consumer
  step 'the consumer, run' run_consumer
  step 'the packages, purged' purge_packages
}

install_sudo() {
  inside apt-get install -y -q --no-install-recommends sudo
  echo 'visitor ALL=(ALL) NOPASSWD: ALL' >"$root/etc/sudoers.d/visitor"
}

copy_tree() {
  mkdir "$root/home/visitor/tillvane"
  git -c safe.directory="$tree" -C "$tree" archive HEAD | tar -x -C "$root/home/visitor/tillvane"
  inside chown -R visitor: /home/visitor
}

try_commands() {
  step 'sudo for the user' install_sudo
  copy_tree
  step './dev demo' as_user 'cd tillvane && ./dev demo'
  step './dev test' as_user 'cd tillvane && ./dev test'
}

step 'Debian'\''s base' make_base
step 'a copy of it' make_root
"try_$mode"
printf '\nbare: %s: good\n' "$mode"
