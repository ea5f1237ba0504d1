# A cache under build/cross, made in parts, to be sourced. A part is there when its stamp is, which is
# written last and holds what the part was made from: what was interrupted, failed, or was made from
# something else, is made again. Callers name in $target the cache's folder, in $name what it is for.

needed_room=1000

step() { printf '\n== %s (after %d s)\n' "$*" "$SECONDS"; }
give_up() {
  printf '%s: %s\n' "$0" "$*" >&2
  exit 1
}

# One at a time works on a cache.
lock_cache() {
  [[ $target != *[[:space:]]* ]] || give_up "$target: compilers cannot be built where a path has blanks"
  mkdir -p "${target%/*}"
  exec {lock}>"$target.lock"
  flock --nonblock "$lock" && return
  echo "something else is at work on $name here: waiting for it"
  flock "$lock"
}

room() { df --output=avail -BM "${target%/*}" | sed -n "2s/[ M]//gp"; }

# Where a disk is full there may be no log either.
explain() { [[ $(room) -gt 1 ]] || give_up "the disk with ${target%/*} is full"; }

# Runs a command whose output is of interest only if it fails.
quietly() {
  "$@" >"$target/log" 2>&1 || {
    tail -n 60 "$target/log" >&2
    explain
    give_up "$name: failed: $*"
  }
}

# Makes part $1 by build_$1, in an empty folder, unless it was made from what $2 says. Where it is the
# first, nothing of the cache is of use without it.
make_part() {
  local part=$1 stamp=$target/made/$1 log=$target/$1.log key status
  key=$(sha256sum <<<"$target $2")
  [[ ! -e $stamp || $(<"$stamp") != "$key" ]] || return 0
  if [[ ${3:-} == first && -d $target/made ]]; then
    if [[ -e $stamp ]]; then echo "the cache of $name is of another version"; else echo "the cache of $name is not whole"; fi
    rm -rf "$target"
  fi
  [[ $(room) -ge $needed_room ]] ||
    give_up "making $part of $name takes up to $needed_room MB, and the disk with ${target%/*} has $(room) left"
  echo "making $part of $name (after $SECONDS s)"
  rm -rf "$stamp" "$target/work"
  mkdir -p "$target/work" "$target/made" "$target/root"
  set +e # in a condition the subshell would go on after a failure
  (
    set -e
    cd "$target/work"
    "build_$part"
  ) >"$log" 2>&1 </dev/null
  status=$?
  set -e
  if [[ $status -ne 0 ]]; then
    tail -n 15 "$log" >&2
    rm -rf "$target/work"
    explain
    give_up "$part of $name could not be made; all that was said is in ${log#"$PWD"/}"
  fi
  rm -rf "$target/work"
  echo "$key" >"$stamp.new"
  mv "$stamp.new" "$stamp"
}
