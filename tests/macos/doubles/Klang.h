// What sounds in the room of a test: recordings that begin at given times, mixed for a device.
//
// Times are seconds since the script's time zero. Recordings are mono, 48 kHz, 32-bit floats
// without a header. Any thread.
#pragma once

#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace hallkorb::ersatz {

class Klang {
 public:
  // Nothing is mixed, by none of them, while this is held.
  [[nodiscard]] static std::unique_lock<std::mutex> halte();

  // The samples of a file; nullopt if it cannot be read.
  [[nodiscard]] static std::optional<std::vector<float>> lies(const std::string& pfad);
  // To be held. A block mixed later than `wann` would lack the recording's beginning.
  void beginne(double wann, std::vector<float> werte);
  // The sum of all recordings from `wann` on, at this rate.
  void mische(double wann, double rate, std::span<float> ziel) const;

 private:
  struct Spur {
    double beginn = 0;
    std::vector<float> werte;
  };
  std::vector<Spur> spuren_;
};

}  // namespace hallkorb::ersatz
