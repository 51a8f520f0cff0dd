// A player that knows the host time of every sample: what it plays is a function of that time.
//
// It is a node of the graph like a device's, with a port of its own, so that no resampler and no
// buffer lies between it and the device.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "tests/support/Tonanlage.h"

namespace hallkorb {

class PipewireSpieler {
 public:
  // Plays from now on into `geraet`, a device's port as "node:port". `signal` gives the sample that
  // belongs to a host time in seconds; it is called on a real-time thread.
  PipewireSpieler(const Tonanlage& anlage, const std::string& name, const std::string& geraet,
                  std::function<float(double)> signal);
  ~PipewireSpieler();
  PipewireSpieler(const PipewireSpieler&) = delete;
  PipewireSpieler& operator=(const PipewireSpieler&) = delete;

 private:
  struct Innen;
  std::unique_ptr<Innen> innen_;
};

}  // namespace hallkorb
