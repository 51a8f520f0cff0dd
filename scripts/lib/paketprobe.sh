#!/bin/bash
# Installs the packages in /packages with apt, tries them and removes them: inside of scripts/package-in-root.
set -euo pipefail
wurzel=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
export DEBIAN_FRONTEND=noninteractive

bestehe() { printf 'package: %s\n' "$*"; }

apt-get -qq update
apt-get -qq install -y --no-install-recommends /packages/*.deb
hallkorb --zeitachse-test >/dev/null
bestehe "installed without recommendations; the timeline's own test runs"

apt-get -qq install -y --fix-policy --install-recommends hallkorb
ffmpeg -version >/dev/null
zcat /usr/share/man/man1/hallkorb.1.gz | grep -q '^\.TH HALLKORB 1'
bestehe "recommendations installed; the manual page is there and compressed"

"$wurzel/scripts/setup.sh" sitzung
/usr/bin/python3 "$wurzel/scripts/lib/probe.py" /usr/bin
bestehe "recorded in a private session, and hallkorb-sitzung found the folder in order"

apt-get -qq purge -y hallkorb libhallkorb-audio-dev
! command -v hallkorb
[[ ! -e /usr/share/doc/hallkorb && ! -e /usr/include/hallkorb ]]
bestehe "removed without a trace"
