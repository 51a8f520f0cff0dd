#!/bin/bash
# What can be said about the calls into macOS on a machine without it.
#
#   tests/macos/check.sh
#
# Compiles platform/macos for both architectures with warnings as errors, looks up every symbol that it
# needs, and runs the static analyser over it. Then the check is checked: a file with a wrong selector, a
# wrong type, a member that is newer than the deployment target and not guarded, or a symbol that the
# platform does not have must not pass.
#
# The last line is "N passed, N failed"; the exit status is 0 when nothing failed.
set -u
hier=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
wurzel=$(cd "$hier/../.." && pwd)
ordner=$(mktemp -d) && trap 'rm -rf "$ordner"' EXIT
bestanden=0
gescheitert=0

pruefe() { # options and files of sdk/check.sh
  "$hier/sdk/check.sh" -I"$wurzel" -Wshadow "$@" >"$ordner/ausgabe" 2>&1
}

zaehle() { # what was tested, whether it went well
  if [[ $2 == ja ]]; then
    bestanden=$((bestanden + 1))
  else
    gescheitert=$((gescheitert + 1))
    echo "FAILED: $1"
    cat "$ordner/ausgabe"
  fi
}

# Runs the check on a copy of FILE in which `sed SCRIPT` has put a fault, and wants the message TEXT.
mit_fehler() { # what, FILE, SCRIPT, TEXT, options
  local was=$1 datei=$2 skript=$3 text=$4
  shift 4
  local kopie=$ordner/${datei##*/}
  sed "$skript" "$wurzel/platform/macos/$datei" >"$kopie"
  local gut=ja
  cmp -s "$kopie" "$wurzel/platform/macos/$datei" && gut=nein
  pruefe --arch arm64 "$@" "$kopie" && gut=nein
  grep -q -e "$text" "$ordner/ausgabe" || gut=nein
  zaehle "the check finds $was" $gut
}

if pruefe --object --analyze --blocks "$wurzel"/platform/macos/{,*/}*.mm; then
  zaehle "platform/macos" ja
else
  zaehle "platform/macos" nein
fi

mit_fehler "a wrong selector" audio/AvEngine.mm \
  's/removeTapOnBus:0/removeTapFromBus:0/' "no visible @interface"
mit_fehler "a wrong type" audio/AvEngine.mm \
  's/bufferSize:frames/bufferSize:@"4096"/' "incompatible\|cannot initialize"
mit_fehler "a missing availability guard" screen/ScreenCaptureKit.mm \
  's/if (@available(macOS 14.0, \*))/if (true)/' "only available on macOS 14.0"
mit_fehler "a missing symbol" MacHostClock.mm \
  's/^namespace hallkorb {/extern "C" uint64_t mach_no_such_time(void);\n&/; s/mach_absolute_time()/mach_no_such_time()/' \
  "_mach_no_such_time" --object
mit_fehler "a block inside a lambda that captures by reference" video/AvAssetWriter.mm \
  's/Handler:abschluss\]/Handler:^{ fertig(); }]/; /void (^const abschluss)/,/};/d' \
  "a block inside a lambda" --blocks
mit_fehler "such a block inside a method" screen/ScreenCaptureKit.mm \
  's/if (const auto ziel = _ziel.lock()) ziel->beendet.*/[\&] { dispatch_async(dispatch_get_main_queue(), ^{ (void)error.code; }); }();/' \
  "a block inside a lambda" --blocks
echo "$bestanden passed, $gescheitert failed"
[[ $gescheitert == 0 ]]
