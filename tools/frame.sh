# shellcheck shell=bash
# What ./play and ./test share: messages, packages, configuring and building. Sourced, not run.
# The caller sets `me` (the name before its messages) and runs with `set -euo pipefail`.
: "${me:?}"

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd -P)
# Kept outside of the presets' folders: it is shared by all of them.
log_dir=$root/build/logs
# shellcheck disable=SC2034 # for those who source this
jobs=$(nproc 2>/dev/null || echo 2)
packages_installed=0
declare -A configured=()

say() { printf '%s: %s\n' "$me" "$*" >&2; }

die() {
  printf '%s: %s\n' "$me" "$*" >&2
  exit 1
}

# Prints the end of a failed step's log, and the command to see the rest. Ninja prints what a failing
# compiler said after "FAILED:", so the log is shown from there when there is such a line.
show_log_end() {
  local log=$1
  local lines=40
  local failed
  failed=$(grep -n -m1 -E '^(FAILED:|CMake Error)' "$log" | cut -d: -f1 || true)
  {
    echo "---- $log"
    if [ -n "$failed" ]; then
      tail -n +"$failed" "$log" | cut -c1-400 | head -n "$lines"
    else
      tail -n "$lines" "$log" | cut -c1-400
    fi
    echo "----"
  } >&2
}

# A build that ran under sudo in somebody's clone must not leave files that they cannot overwrite.
give_back_build() {
  if [ "$(id -u)" = 0 ] && [ -d "$root/build" ] && [ "$(stat -c %u "$root")" != 0 ]; then
    chown -R --no-dereference --reference="$root" "$root/build"
  fi
}

prepare_build_folder() {
  mkdir -p "$log_dir" 2>/dev/null || true
  if ! [ -w "$log_dir" ]; then
    die "$root/build is not writable for $(id -un); give it back with: sudo chown -R $(id -un) $root/build"
  fi
  trap give_back_build EXIT
}

# list_packages KIND...: the names in tools/packages.txt that are of one of these kinds.
list_packages() {
  local kind name wanted
  while read -r kind name _; do
    for wanted in "$@"; do
      if [ "$kind" = "$wanted" ]; then echo "$name"; fi
    done
  done <"$root/tools/packages.txt"
}

missing_packages() {
  local name
  local -A installed=()
  while read -r name; do installed[$name]=1; done < <(
    # shellcheck disable=SC2016 # dpkg-query expands these itself
    dpkg-query -W -f='${db:Status-Status} ${Package}\n' 2>/dev/null | sed -n 's/^installed //p')
  while read -r name; do
    if [ -z "${installed[$name]:-}" ]; then echo "$name"; fi
  done < <(list_packages "$@")
}

# install_packages KIND...: installs what is missing. A stamp newer than both the list and dpkg's
# status says that nothing is, so that the usual run asks nobody.
install_packages() {
  local kinds="$*"
  local stamp=$root/build/.packages-${kinds// /-}
  local dpkg_status=/var/lib/dpkg/status
  if [ "$stamp" -nt "$root/tools/packages.txt" ] && [ "$stamp" -nt "$dpkg_status" ]; then return; fi

  command -v dpkg-query >/dev/null || die "this is not Debian: install the packages of \
tools/packages.txt by their names here, then build with: cmake --preset dev && ninja -C build/dev"

  local missing
  missing=$(missing_packages "$@" | tr '\n' ' ')
  if [ -n "$missing" ]; then
    local -a as_root=()
    if [ "$(id -u)" != 0 ]; then
      if command -v sudo >/dev/null && { [ -t 0 ] || sudo -n true 2>/dev/null; }; then
        as_root=(sudo)
      else
        die "packages are missing and you are not root; run: apt-get install ${missing% }"
      fi
    fi
    say "Installing packages: ${missing% }"
    local log=$log_dir/packages.log
    local -a apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -y
      -o DPkg::Lock::Timeout=600)
    : >"$log"
    # An old package list names files that the mirror no longer has: refresh it and try once more.
    # shellcheck disable=SC2086 # a list of names
    if ! "${apt[@]}" install --no-install-recommends $missing >>"$log" 2>&1 </dev/null; then
      "${apt[@]}" update >>"$log" 2>&1 </dev/null || true
      # shellcheck disable=SC2086
      if ! "${apt[@]}" install --no-install-recommends $missing >>"$log" 2>&1 </dev/null; then
        show_log_end "$log"
        die "could not install: ${missing% }"
      fi
    fi
    packages_installed=1
  fi
  touch "$stamp"
}

# configure PRESET [CMAKE ARGUMENT...]: runs CMake when the preset has not been configured, when the
# presets, the arguments or the installed packages changed, or when the clone was moved. Ninja itself
# runs CMake again for a changed CMakeLists.txt.
configure() {
  local preset=$1
  shift
  local dir=$root/build/$preset
  local stamp=$dir/.configured
  local key
  key="$(cksum <"$root/CMakePresets.json") $*"
  if [ -n "${configured[$preset]:-}" ]; then return; fi
  configured[$preset]=1
  if [ -f "$dir/CMakeCache.txt" ] &&
    ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$dir/CMakeCache.txt"; then
    say "Removing $dir: it was configured for another folder"
    rm -rf -- "$dir"
  fi
  # A folder configured by hand has no stamp and keeps its settings.
  if [ "$packages_installed" = 0 ] && [ -f "$dir/build.ninja" ]; then
    if ! [ -f "$stamp" ] || [ "$(cat "$stamp")" = "$key" ]; then return; fi
  fi
  say "Configuring build/$preset"
  local log=$log_dir/configure-$preset.log
  if ! (cd "$root" && cmake --preset "$preset" "$@") >"$log" 2>&1; then
    show_log_end "$log"
    rm -f "$stamp"
    die "could not configure build/$preset"
  fi
  printf '%s' "$key" >"$stamp"
}

# build PRESET TARGET...: builds, and says so only when there is something to build; on a terminal one
# line shows how far it is.
build() {
  local preset=$1
  shift
  local dir=$root/build/$preset
  local log=$log_dir/build-$preset.log
  if ! ninja -C "$dir" "$@" 2>&1 | tee "$log" | show_progress "Building build/$preset ($*)"; then
    show_log_end "$log"
    die "could not build build/$preset"
  fi
}

show_progress() {
  local message=$1
  local said=0 line
  while IFS= read -r line; do
    case "$line" in
      \[*/*\]*Re-checking* | \[*/*\]*Re-running*) ;;
      \[*/*\]*)
        if [ "$said" = 0 ]; then say "$message"; fi
        said=1
        if [ -t 2 ]; then printf '\r\033[K%s' "${line:0:78}" >&2; fi
        ;;
    esac
  done
  if [ "$said" = 1 ] && [ -t 2 ]; then printf '\r\033[K' >&2; fi
}
