#!/bin/bash
# Installs the packages in /packages with apt, tries them and removes them: inside of scripts/package-in-root.
set -euo pipefail
wurzel=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
export DEBIAN_FRONTEND=noninteractive

# Shows what apt says only if it fails.
apt() { apt-get -qq -o Dpkg::Use-Pty=0 "$@" >/tmp/apt.log 2>&1 || { cat /tmp/apt.log; return 1; }; }
bestehe() { printf 'package: %s\n' "$*"; }

apt update
apt install -y --no-install-recommends /packages/*.deb
hallkorb --zeitachse-test >/dev/null
bestehe "installed without recommendations; the timeline's own test runs"

apt install -y --fix-policy --install-recommends hallkorb
ffmpeg -version >/dev/null
zgrep -q '^\.TH HALLKORB 1' /usr/share/man/man1/hallkorb.1.gz
bestehe "recommendations installed; the manual page is there and compressed"

apt install -y --no-install-recommends zsh
# Without the user's files: what a shell that was just installed finds by itself.
# shellcheck disable=SC2016  # zsh's own variable
zsh -fc 'autoload -Uz compinit && compinit -D && [[ $_comps[hallkorb-sitzung] == _hallkorb-sitzung ]]'
bestehe "zsh finds the completions"

"$wurzel/scripts/setup.sh" tonanlage
/usr/bin/python3 "$wurzel/scripts/lib/probe.py" /usr/bin
bestehe "recorded in a private session, and hallkorb-sitzung found the folder in order"

apt purge -y hallkorb libhallkorb-audio-dev
[[ ! -e /usr/bin/hallkorb ]]
[[ ! -e /usr/share/doc/hallkorb && ! -e /usr/include/hallkorb ]]
bestehe "removed without a trace"
