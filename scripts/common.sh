# What the scripts share; each sources it and stands in the top folder of the checkout from then on.
script=${0##*/}
cd "$(dirname "$0")/.."
log=$PWD/build-log/$script.log

# The comment that a script begins with is its help.
case ${1-} in
  -h | --help)
    sed '1d; /^[^#]/,$d; s/^# \{0,1\}//' "scripts/$script"
    exit
    ;;
esac

say() {
  echo "$script: $*"
}

fail() {
  say "$*" >&2
  exit 1
}

# step WHAT COMMAND...: says what begins, and shows what the command prints only if it fails.
step() {
  what=$1
  shift
  say "$what"
  mkdir -p "${log%/*}"
  "$@" >"$log" 2>&1 && return
  cat "$log" >&2
  say "failed: $what; all it printed stands above and in $log" >&2
  return 1
}

# configure FOLDER OPTION...: sets a build folder up, anew if it was set up elsewhere or otherwise:
# its files name the place of the checkout.
configure() {
  folder=$1
  shift
  made_for=$(printf '%s\n' "$PWD" "${CXX-}" "$(meson --version)" "$@")
  [ "$(cat "$folder/made-for" 2>/dev/null)" = "$made_for" ] && return
  rm -rf "$folder"
  step "setting up $folder" meson setup "$folder" "$@" || return
  printf '%s\n' "$made_for" >"$folder/made-for"
}

# build FOLDER TARGET...
build() {
  folder=$1
  shift
  step "building in $folder" meson compile -C "$folder" "$@"
}
