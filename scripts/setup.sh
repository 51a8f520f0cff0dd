#!/bin/bash
# Installs what is missing for one or more of these sets, and nothing when all is there:
#
#   build       compiler, build tools and libraries of the program itself
#   sitzung     a private PipeWire with two synthetic voices, for machines without a sound system
#   bildschirm  a private X server with a window manager, for machines without a screen
#   test        what the tests need beyond those: test libraries, clang, the checkers
#   in-root     what scripts/in-root needs to make a bare root of a Debian release
#
# On Debian (12 or later, or a relative) with apt-get, as root or through sudo; on macOS with
# Homebrew. The package sources are the ones that the machine is set up with.
set -euo pipefail

melde() { printf '%s\n' "setup: $*" >&2; }

debian_build=(cmake g++ ninja-build pkg-config python3
  libpipewire-0.3-dev libspa-0.2-dev libavutil-dev libswresample-dev libutf8proc-dev nlohmann-json3-dev
  libxcb1-dev libxcb-composite0-dev libxcb-shm0-dev libxcb-damage0-dev libxcb-xfixes0-dev
  libxcb-res0-dev libxau-dev libavcodec-dev libavformat-dev libswscale-dev)
debian_sitzung=(pipewire pipewire-bin libspa-0.2-modules wireplumber python3 python3-numpy)
debian_bildschirm=(xvfb openbox)
debian_test=(libgtest-dev libbenchmark-dev
  clang-19 clang-format-19 clang-tidy-19 libclang-rt-19-dev lld-19 llvm-19 libc++-19-dev libc++abi-19-dev
  git shellcheck util-linux ffmpeg valgrind libfftw3-dev)
debian_in_root=(debootstrap debian-archive-keyring git python3 util-linux)

brew_build=(cmake ninja nlohmann-json utf8proc)
# The stages that run there need no private session and none of the checkers.
brew_test=(googletest)

fehlend_debian() {
  local paket
  for paket in "$@"; do
    [[ "$(dpkg-query -W -f='${db:Status-Status}' "$paket" 2>/dev/null)" == installed ]] ||
      printf '%s\n' "$paket"
  done
}

debian() {
  local fehlend
  mapfile -t fehlend < <(fehlend_debian "$@")
  ((${#fehlend[@]})) || return 0

  local als_root=()
  if ((EUID != 0)); then
    command -v sudo >/dev/null || {
      melde "these packages are missing, and neither root nor sudo is there: ${fehlend[*]}"
      return 1
    }
    als_root=(sudo)
  fi
  local apt=("${als_root[@]}" env DEBIAN_FRONTEND=noninteractive
    apt-get -qq -o DPkg::Lock::Timeout=300)

  melde "installing ${fehlend[*]}"
  # The lists are fetched only when a package is unknown, or when what they name is no longer there.
  local paket
  for paket in "${fehlend[@]}"; do
    if [[ -z "$(apt-cache policy "$paket" 2>/dev/null | sed -n 's/^ *Candidate: *\([^(].*\)/\1/p')" ]]; then
      "${apt[@]}" update >&2
      break
    fi
  done
  "${apt[@]}" install -y --no-install-recommends "${fehlend[@]}" >&2 && return 0
  "${apt[@]}" update >&2
  "${apt[@]}" install -y --no-install-recommends "${fehlend[@]}" >&2
}

macos() {
  command -v brew >/dev/null || {
    melde "Homebrew is needed to install: $*"
    return 1
  }
  local paket
  for paket in "$@"; do
    brew list --versions "$paket" >/dev/null 2>&1 || {
      melde "installing $paket"
      brew install --quiet "$paket" >&2
    }
  done
}

if command -v dpkg-query >/dev/null && command -v apt-get >/dev/null; then
  art=debian
elif [[ "$(uname -s)" == Darwin ]]; then
  art=macos
else
  melde "neither Debian nor macOS: the packages have to be installed by hand (see scripts/setup.sh)"
  exit 0
fi

pakete=()
for satz in "$@"; do
  case "$art-$satz" in
    debian-build) pakete+=("${debian_build[@]}") ;;
    debian-sitzung) pakete+=("${debian_sitzung[@]}") ;;
    debian-bildschirm) pakete+=("${debian_bildschirm[@]}") ;;
    debian-test)
      pakete+=("${debian_build[@]}" "${debian_sitzung[@]}" "${debian_bildschirm[@]}" "${debian_test[@]}")
      ;;
    debian-in-root) pakete+=("${debian_in_root[@]}") ;;
    macos-build) pakete+=("${brew_build[@]}") ;;
    macos-test) pakete+=("${brew_build[@]}" "${brew_test[@]}") ;;
    *)
      melde "unknown set $satz"
      exit 64
      ;;
  esac
done
"$art" "${pakete[@]}"
