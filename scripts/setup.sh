#!/bin/bash
# Installs what is missing for one or more of these sets:
#
#   build       compiler, build tools and libraries of the program itself
#   tonanlage   a private PipeWire with two synthetic voices, for machines without a sound system
#   bildschirm  a private X server with a window manager, for machines without a screen
#   test        what the tests need beyond those: test libraries, clang, the checkers
#   in-root     what scripts/in-root needs to make a bare root of a Debian release
#   arm64       an emulator of 64-bit ARM, and in build/arm64-root the program's libraries for it
#               (scripts/arm64-root); a set of its own since it is 90 MB that one stage needs
#   browser     Chromium, Firefox, letters, what plays their sound, and npm, which fetches the checker of
#               accessibility, for the stages browser and seite
#   paket       what scripts/package needs beyond "build"
#   wirte       what runs the hosts in examples/, and a speech recogniser, for the stage of that name
#
# On Debian (12 or later, or a relative such as Ubuntu 24.04 with "universe", which has no packages of the
# browsers and so not the set "browser") with apt-get and on Fedora with dnf (all sets but "in-root" and
# "arm64", which are made of Debian's packages), as root or through sudo; on macOS with Homebrew ("build"
# and "test"); from the package sources that the machine is set up with. The checkers of "test" are pinned
# to one version, which Fedora does not have: there scripts/test leaves out the stages that call them. On
# another system it prints what the sets need.
set -euo pipefail
wurzel=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

melde() { printf '%s\n' "setup: $*" >&2; }

debian_build=(cmake g++ ninja-build pkg-config python3
  libpipewire-0.3-dev libspa-0.2-dev libavutil-dev libswresample-dev libutf8proc-dev nlohmann-json3-dev
  libcli11-dev
  libxcb1-dev libxcb-composite0-dev libxcb-shm0-dev libxcb-damage0-dev libxcb-xfixes0-dev
  libxcb-res0-dev libxau-dev libavcodec-dev libavformat-dev libswscale-dev)
debian_tonanlage=(pipewire pipewire-bin libspa-0.2-modules wireplumber python3 python3-numpy)
debian_bildschirm=(xvfb openbox twm)
debian_test=(libgtest-dev libbenchmark-dev
  clang-19 clang-format-19 clang-tidy-19 libclang-rt-19-dev lld-19 llvm-19 python3-clang-19 libc++-19-dev libc++abi-19-dev
  git shellcheck util-linux ffmpeg valgrind libfftw3-dev libva-dev dbus-daemon python3-dbus python3-gi
  python3-jsonschema python3-markdown-it mandoc x11-utils zsh fish)
debian_in_root=(debootstrap debian-archive-keyring git python3 util-linux)
debian_arm64=(qemu-user)
debian_paket=(dpkg-dev file git gzip python3-markdown-it rpm)
debian_wirte=(nodejs pocketsphinx pocketsphinx-en-us)
debian_browser=(chromium firefox-esr fonts-dejavu-core pipewire-pulse x11-utils xdotool)

# By the names of pkg-config, so that either of Fedora's builds of FFmpeg will do.
fedora_build=(cmake gcc-c++ libstdc++-static ninja-build pkgconf-pkg-config python3
  "pkgconfig(libpipewire-0.3)" "pkgconfig(libspa-0.2)" "pkgconfig(libavutil)" "pkgconfig(libswresample)"
  utf8proc-devel json-devel cli11-devel
  "pkgconfig(xcb)" "pkgconfig(xcb-composite)" "pkgconfig(xcb-shm)" "pkgconfig(xcb-damage)"
  "pkgconfig(xcb-xfixes)" "pkgconfig(xcb-res)" "pkgconfig(xau)"
  "pkgconfig(libavcodec)" "pkgconfig(libavformat)" "pkgconfig(libswscale)")
fedora_tonanlage=(pipewire pipewire-utils wireplumber python3 python3-numpy)
fedora_bildschirm=(xorg-x11-server-Xvfb openbox twm)
fedora_test=(gtest-devel google-benchmark-devel clang libasan libtsan libubsan git ShellCheck util-linux
  /usr/bin/ffmpeg valgrind fftw-devel libva-devel dbus-daemon python3-dbus python3-gobject-base
  python3-jsonschema python3-markdown-it-py mandoc xprop xwininfo zsh fish)
fedora_paket=(git gzip python3-markdown-it-py rpm-build)
fedora_wirte=(nodejs pocketsphinx)
fedora_browser=(chromium firefox dejavu-sans-fonts npm pipewire-pulseaudio xdotool)

brew_build=(cmake ninja nlohmann-json utf8proc cli11)
# The stages that run on macOS need no private session and none of the checkers.
brew_test=(googletest)

fehlend_debian() {
  local paket eigene
  eigene=$(dpkg --print-architecture)
  for paket in "$@"; do
    # A name alone stands for the package of each architecture that the machine has.
    dpkg-query -W -f='${db:Status-Status} ${Architecture}\n' "$paket" 2>/dev/null |
      grep -xE "installed ($eigene|all)" >/dev/null || printf '%s\n' "$paket"
  done
}

# Whether apt's lists have a package. Their words are the user's language otherwise.
bekannt() {
  LC_ALL=C apt-cache policy "$1" 2>/dev/null | grep -E '^ *Candidate: *[^( ]' >/dev/null
}

unbekannte() {
  local paket
  for paket in "$@"; do
    bekannt "$paket" || printf '%s\n' "$paket"
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
  # The lists are fetched only if a package is unknown, or if what they name is no longer there.
  local unbekannt
  mapfile -t unbekannt < <(unbekannte "${fehlend[@]}")
  if ((${#unbekannt[@]})); then
    "${apt[@]}" update >&2
    mapfile -t unbekannt < <(unbekannte "${unbekannt[@]}")
  fi
  if ((${#unbekannt[@]})); then
    melde "nothing is installed: this system has no packages ${unbekannt[*]}"
    return 69
  fi
  "${apt[@]}" install -y --no-install-recommends "${fehlend[@]}" >&2 && return 0
  "${apt[@]}" update >&2
  "${apt[@]}" install -y --no-install-recommends "${fehlend[@]}" >&2
}

fedora() {
  local paket fehlend=() als_root=()
  for paket in "$@"; do
    rpm -q --quiet --whatprovides "$paket" || fehlend+=("$paket")
  done
  ((${#fehlend[@]})) || return 0
  if ((EUID != 0)); then
    command -v sudo >/dev/null || {
      melde "these packages are missing, and neither root nor sudo is there: ${fehlend[*]}"
      return 1
    }
    als_root=(sudo)
  fi
  melde "installing ${fehlend[*]}"
  "${als_root[@]}" dnf install -y --setopt=install_weak_deps=False "${fehlend[@]}" >&2
}

# What "build" has for this machine, for the other one, with the C++ library of the same compiler.
arm64_wurzel() {
  local paket pakete=("libstdc++-$(g++ -dumpversion)-dev")
  for paket in "${debian_build[@]}"; do
    [[ $paket != *-dev ]] || pakete+=("$paket")
  done
  "$wurzel/scripts/arm64-root" "$wurzel/build/arm64-root" "${pakete[@]}"
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

# What a set needs, for systems whose packages are not known here. Libraries under the names of
# pkg-config.
bedarf() {
  case "$1" in
    build)
      echo "CMake 3.21, a C++20 compiler, Ninja, pkg-config, Python 3; libpipewire-0.3 libspa-0.2 libavcodec" \
        "libavformat libavutil libswresample libswscale libutf8proc nlohmann_json CLI11 xcb xcb-composite" \
        "xcb-shm xcb-damage xcb-xfixes xcb-res xau"
      ;;
    tonanlage)
      echo "pipewire with its tools (pw-cli, pw-link, pw-metadata, pw-play), wireplumber, Python 3 with numpy"
      ;;
    bildschirm) echo "Xvfb, openbox, twm" ;;
    test)
      bedarf build
      bedarf tonanlage
      bedarf bildschirm
      echo "GoogleTest, Google Benchmark, Clang 19 with its tools, git, shellcheck, unshare, ffmpeg, valgrind," \
        "libfftw3, libva, dbus-daemon, xprop, xwininfo, mandoc, zsh, fish; for Python dbus, gi, jsonschema," \
        "markdown_it and clang"
      ;;
    browser) echo "Chromium, Firefox, npm, pipewire-pulse, xdotool, xprop, the letters of DejaVu" ;;
    paket) echo "dpkg-deb, rpmbuild, git, gzip, file; markdown_it for Python" ;;
    wirte) echo "Node.js, a Swift compiler, pocketsphinx with its English model" ;;
    in-root | arm64) echo "Debian or a relative of it" ;;
    *)
      melde "unknown set $1"
      exit 64
      ;;
  esac
}

if command -v dpkg-query >/dev/null && command -v apt-get >/dev/null; then
  art=debian
elif command -v rpm >/dev/null && command -v dnf >/dev/null; then
  art=fedora
elif [[ "$(uname -s)" == Darwin ]]; then
  art=macos
else
  melde "neither apt-get nor dnf nor macOS: nothing is installed. What is needed (Debian's packages stand in" \
    "scripts/setup.sh):"
  for satz in "$@"; do
    bedarf "$satz" >&2
  done
  exit 0
fi

pakete=()
mit_arm64=false
for satz in "$@"; do
  case "$art-$satz" in
    debian-build) pakete+=("${debian_build[@]}") ;;
    debian-tonanlage) pakete+=("${debian_tonanlage[@]}") ;;
    debian-bildschirm) pakete+=("${debian_bildschirm[@]}") ;;
    debian-test)
      pakete+=("${debian_build[@]}" "${debian_tonanlage[@]}" "${debian_bildschirm[@]}" "${debian_test[@]}")
      ;;
    debian-in-root) pakete+=("${debian_in_root[@]}") ;;
    debian-arm64)
      pakete+=("${debian_build[@]}" "${debian_arm64[@]}")
      mit_arm64=true
      ;;
    debian-browser)
      pakete+=("${debian_browser[@]}")
      # Packages of Node.js from elsewhere bring their own npm and conflict with Debian's.
      command -v npm >/dev/null || pakete+=(npm)
      ;;
    debian-paket) pakete+=("${debian_paket[@]}") ;;
    debian-wirte)
      pakete+=("${debian_wirte[@]}")
      # Debian 13 has a compiler for Swift, Debian 12 has none.
      ! bekannt swiftlang || pakete+=(swiftlang)
      ;;
    fedora-browser) pakete+=("${fedora_browser[@]}") ;;
    fedora-paket) pakete+=("${fedora_paket[@]}") ;;
    fedora-wirte) pakete+=("${fedora_wirte[@]}") ;;
    fedora-build) pakete+=("${fedora_build[@]}") ;;
    fedora-tonanlage) pakete+=("${fedora_tonanlage[@]}") ;;
    fedora-bildschirm) pakete+=("${fedora_bildschirm[@]}") ;;
    fedora-test)
      pakete+=("${fedora_build[@]}" "${fedora_tonanlage[@]}" "${fedora_bildschirm[@]}" "${fedora_test[@]}")
      ;;
    macos-build) pakete+=("${brew_build[@]}") ;;
    macos-test) pakete+=("${brew_build[@]}" "${brew_test[@]}") ;;
    *)
      brauchte=$(bedarf "$satz")
      melde "the set $satz is not for this system; it needs: $brauchte"
      exit 69
      ;;
  esac
done
"$art" "${pakete[@]}"
! $mit_arm64 || arm64_wurzel
