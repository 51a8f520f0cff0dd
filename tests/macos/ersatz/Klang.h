// What sounds in the room of a test: recordings that begin at given times, mixed for a device.
//
// Times are seconds since the script's time zero. Recordings are mono, 48 kHz, 32-bit floats
// without a header. Any thread.
#pragma once

#include <mutex>
#include <span>
#include <string>
#include <vector>

namespace hallkorb::ersatz {

class Klang {
 public:
  // False if the file cannot be read.
  bool beginne(double wann, const std::string& pfad);
  // The sum of all recordings from `wann` on, at this rate.
  void mische(double wann, double rate, std::span<float> ziel) const;

 private:
  struct Spur {
    double beginn = 0;
    std::vector<float> werte;
  };
  mutable std::mutex lock_;
  std::vector<Spur> spuren_;
};

}  // namespace hallkorb::ersatz
