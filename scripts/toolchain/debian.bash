# Debian's packages and sources of any architecture, to be sourced. They come from where the machine's own
# apt takes Debian's, checked with Debian's keys, through a state of their own: nothing is installed, and no
# root is needed. Of the release as it stands, without the updates between: those change under a build, and
# nothing that is made here leaves the machine. Callers name in $target
# a folder that nobody else works in, and have give_up, which ends with a message.

# apt for architecture $1, whose state is in $target. On a full disk it would wait for ever.
debian_apt() {
  local arch=$1 state=$target/apt-$1
  shift
  timeout 600 "${1:?}" -q=2 -o APT::Architecture="$arch" -o APT::Architectures="$arch" -o Dir::State="$state" \
    -o Dir::State::status="$state/status" -o Dir::Cache="$state" -o Dir::Etc::sourcelist="$state/sources.list" \
    -o Dir::Etc::sourceparts=/dev/null -o APT::Sandbox::User=root -o Acquire::Languages=none \
    -o APT::Install-Recommends=false "${@:2}"
}

# Asks for the lists of architecture $1, once in a run.
debian_lists() {
  local arch=$1 state=$target/apt-$1 said
  [[ ! -e $state/lists-of-$$ ]] || return 0
  rm -rf "$state"
  mkdir -p "$state"/{lists,archives}/partial
  : >"$state/status"
  apt-get indextargets --format 'deb [arch=ARCH signed-by=KEYS] $(REPO_URI) $(RELEASE) $(COMPONENT)' \
    'Created-By: Packages' 'Origin: Debian' |
    sed "s,ARCH,$arch,; s,KEYS,/usr/share/keyrings/debian-archive-keyring.gpg,; p; s/^deb /deb-src /" |
    sed '/-security \|-updates \|-backports /d' | sort -u >"$state/sources.list"
  [[ -s $state/sources.list ]] || give_up "apt knows no Debian archive here: run apt-get update as root first"
  said=$(debian_apt "$arch" apt-get update -o APT::Update::Error-Mode=any 2>&1) ||
    give_up "Debian's packages cannot be reached: $said"
  : >"$state/lists-of-$$"
}

# Unpacks packages of architecture $1 into folder $2; those named from $3 on, and what they depend on.
debian_unpack() {
  local arch=$1 folder=$2 said package
  shift 2
  debian_lists "$arch"
  rm -f "$target/apt-$arch"/archives/*.deb
  said=$(debian_apt "$arch" apt-get install --yes --download-only "$@" 2>&1) ||
    give_up "cannot fetch $*: $said"
  mkdir -p "$folder"
  for package in "$target/apt-$arch"/archives/*.deb; do
    dpkg-deb -x "$package" "$folder"
  done
  rm -f "$target/apt-$arch"/archives/*.deb
  # Links that begin at the root would lead out of the folder.
  find "$folder" -type l -lname '/*' -printf '%l %p\n' | while read -r place link; do
    ln -sfr "$folder$place" "$link"
  done
}

# The same without what they depend on.
debian_unpack_alone() {
  local arch=$1 folder=$2 said package
  shift 2
  debian_lists "$arch"
  mkdir -p "$folder"
  said=$(cd "$folder" && debian_apt "$arch" apt-get download "$@" 2>&1) || give_up "cannot fetch $*: $said"
  for package in "$folder"/*.deb; do
    dpkg-deb -x "$package" "$folder"
    rm "$package"
  done
}

# Unpacks Debian's source package $1 as folder $2 in here, with Debian's changes.
debian_source() {
  local said folder=$PWD/$2
  debian_lists amd64
  mkdir "$folder.fetched"
  said=$(cd "$folder.fetched" && debian_apt amd64 apt-get source --download-only "$1" 2>&1 &&
    dpkg-source --no-check -x ./*.dsc "$folder" 2>&1) || give_up "cannot fetch the source of $1: $said"
  rm -r "$folder.fetched"
}
