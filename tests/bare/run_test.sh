#!/bin/sh
# Gives tests/bare/run.sh folders that are not its own, and wants each refused with nothing removed.
set -eu
cd -- "$(dirname -- "$0")"

scratch=$(mktemp -d)
trap 'rm -rf -- "$scratch"' EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

die() {
  printf 'bare test: %s\n' "$*" >&2
  exit 1
}

# Should it not refuse, then it comes to this and no further.
mkdir "$scratch/programs"
for program in unshare debootstrap; do
  printf '#!/bin/sh\nexit 9\n' >"$scratch/programs/$program"
  chmod +x "$scratch/programs/$program"
done

# try FOLDER: leaves what run.sh says in $said.
try() {
  said=$(PATH=$scratch/programs:$PATH ./run.sh packages "$1" 2>&1) && die "$1 is good"
  return 0
}

# check_refused FOLDER WORDS
check_refused() {
  try "$1"
  case $said in *"$2"*) ;; *) die "of $1 it says '$said' and not '$2'" ;; esac
}

mkdir -p "$scratch/full/root" "$scratch/empty" "$scratch/own"
: >"$scratch/full/root/file"
: >"$scratch/file"
: >"$scratch/own/tillvane-bare"
check_refused "$scratch/full" 'has something in it'
[ -e "$scratch/full/root/file" ] || die 'what somebody else made is gone'
check_refused / 'has something in it'
check_refused relative/folder 'is no whole path'
check_refused '' 'is no whole path'
check_refused "$scratch/file" 'is no folder'
[ ! -e relative ] || die 'a folder beside the script was made'
for folder in "$scratch/empty" "$scratch/own" "$scratch/new"; do
  try "$folder"
  case $said in '' | *'only root can do this') ;; *) die "of $folder it says '$said'" ;; esac
done
echo 'bare test: good'
