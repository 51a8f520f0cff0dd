#include "platform/macos/screen/SckEinstellungen.h"

#include <cmath>

namespace hallkorb {
namespace {

constexpr std::uint32_t BGRA = 0x42475241;  // 'BGRA'

// As a unit fraction if it is one, as all frame rates are; otherwise in microseconds.
StromEinstellungen::Abstand alsBruch(double sekunden) {
  if (!(sekunden > 0)) return {0, 1};
  const double jeSekunde = std::round(1 / sekunden);
  if (jeSekunde >= 1 && jeSekunde <= 1000 && std::abs(jeSekunde * sekunden - 1) < 1e-9) {
    return {1, static_cast<std::int32_t>(jeSekunde)};
  }
  return {std::llround(sekunden * 1e6), 1'000'000};
}

}  // namespace

StromEinstellungen tonEinstellungen() {
  StromEinstellungen e;
  e.capturesAudio = true;
  e.excludesCurrentProcessAudio = true;
  e.sampleRate = 48000;
  e.channelCount = 2;
  e.width = 2;
  e.height = 2;
  e.minimumFrameInterval = {1, 1};
  return e;
}

StromEinstellungen fensterEinstellungen(const StreamKonfiguration& konfiguration) {
  StromEinstellungen e;
  e.width = static_cast<std::size_t>(konfiguration.breite);
  e.height = static_cast<std::size_t>(konfiguration.hoehe);
  e.minimumFrameInterval = alsBruch(konfiguration.kleinsterAbstand);
  e.pixelFormat = BGRA;
  e.showsCursor = konfiguration.mitZeiger;
  e.queueDepth = konfiguration.warteschlange;
  e.scalesToFit = true;
  e.preservesAspectRatio = true;
  return e;
}

}  // namespace hallkorb
