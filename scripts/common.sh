# Shared by the scripts: where the project is, and what it needs.
# shellcheck shell=bash
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

build_packages=(g++ cmake ninja-build pkg-config libssl-dev libcurl4-openssl-dev libsqlite3-dev libboost-dev
  openssl ca-certificates)
# The engine is the other side of the GOST tests.
test_packages=(libengine-gost-openssl mandoc zsh libgtest-dev python3 python3-jsonschema gpgsm gpg-agent gpgconf git
  strace apache2-bin squid)
check_packages=(clang-format clang-tidy)
windows_packages=(g++-mingw-w64-x86-64-posix wine64)
package_packages=(debhelper dpkg-dev lintian zip)
bench_packages=(curl libbenchmark-dev nettle-dev libgcrypt20-dev libengine-gost-openssl python3 time)
# Older ones lack std::source_location.
fuzz_packages=(clang-16 libclang-rt-16-dev python3)

# Installs the packages that are missing, and says nothing when none is.
need() {
  local missing=()
  for package in "$@"; do
    dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'ok installed' || missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return
  local as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  echo "Installing ${missing[*]}"
  "${as_root[@]}" apt-get update -qq
  # Servers that only the tests want (squid) must not start as services of the machine.
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive SYSTEMD_OFFLINE=1 RUNLEVEL=1 \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# Configures and builds a preset; the build's own lines show only when it fails.
build() {
  local preset=$1 log
  shift
  log=$(mktemp)
  local launcher=()
  command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
  if ! { cmake -S "$root" --preset "$preset" "${launcher[@]}" && cmake --build "$root/build/$preset" "$@"; } \
    >"$log" 2>&1; then
    cat "$log"
    rm -f "$log"
    return 1
  fi
  rm -f "$log"
}
