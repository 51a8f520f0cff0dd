// A picture as the capture service delivers it: a sample buffer, untouched on its way to the
// encoder.
//
// The buffer is borrowed from the callback that hands it over, and only the platform's own code
// looks into it; here it is an address.
#pragma once

#include <cstdint>
#include <optional>

#include "platform/ScreenCapture.h"

namespace hallkorb {

// The state of a picture from its number in SCFrameStatus; nullopt for an unknown number.
[[nodiscard]] constexpr std::optional<BildStatus> bildStatus(std::int64_t nummer) {
  switch (nummer) {
    case 0:
      return BildStatus::vollstaendig;
    case 1:
      return BildStatus::unveraendert;
    case 2:
      return BildStatus::leer;
    case 3:
      return BildStatus::angehalten;
    case 4:
      return BildStatus::begonnen;
    case 5:
      return BildStatus::beendet;
    default:
      return std::nullopt;
  }
}

class MacBild final : public Bild {
 public:
  // `probe` is a CMSampleBufferRef, which does not know its window.
  MacBild(double zeit, BildStatus status, const void* probe, std::uint32_t fenster = 0)
      : zeit_(zeit), status_(status), probe_(probe), fenster_(fenster) {}

  [[nodiscard]] double zeit() const override { return zeit_; }
  [[nodiscard]] BildStatus status() const override { return status_; }
  [[nodiscard]] std::uint32_t fenster() const override { return fenster_; }
  [[nodiscard]] const void* probe() const { return probe_; }

 private:
  double zeit_;
  BildStatus status_;
  const void* probe_;
  std::uint32_t fenster_;
};

}  // namespace hallkorb
