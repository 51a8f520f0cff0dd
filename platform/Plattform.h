// Everything the program needs of the computer it runs on, in one place.
//
// Linux, macOS, or in the tests a simulated one with a virtual clock and scripted devices.
// DiesePlattform.h picks one; nothing else in the program knows which.
#pragma once

#include <memory>

#include "platform/AudioConverter.h"
#include "platform/AudioInput.h"
#include "platform/Auskunft.h"
#include "platform/Executor.h"
#include "platform/HostClock.h"
#include "platform/RunLoop.h"
#include "platform/ScreenCapture.h"
#include "platform/VideoWriter.h"

namespace hallkorb {

class Plattform : public AudioConverterFactory, public VideoWriterFactory, public Auskunft {
 public:
  virtual ~Plattform() = default;

  [[nodiscard]] virtual const HostClock& uhr() const = 0;
  [[nodiscard]] virtual RunLoop& runLoop() = 0;
  [[nodiscard]] virtual Executor& executor() = 0;

  // The default microphone, in whatever format it delivers.
  [[nodiscard]] virtual std::unique_ptr<AudioInput> mikrofon() = 0;
  // What the computer plays on its default output; 48000 Hz stereo is asked for.
  [[nodiscard]] virtual std::unique_ptr<AudioInput> systemAudio() = 0;
  // The screen's windows. Never null, and returned at once, even without a screen: each query finds
  // out anew whether there is one. May outlive this object, because a pending query may.
  [[nodiscard]] virtual std::unique_ptr<ScreenCapture> screenCapture() = 0;
};

}  // namespace hallkorb
