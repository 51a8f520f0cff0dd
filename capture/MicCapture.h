// The microphone channel: the default input device, from its blocks to samples on the timeline
// "me".
//
// The device belongs to the platform; what is decided here is what people are told of it. A failure
// to start is the caller's to report, since it knows whether the recording can go on without.
//
// start() and stop() as in AudioInput; blocks run on the capture's thread.
#pragma once

#include <memory>

#include "capture/BlockWeg.h"
#include "platform/AudioInput.h"

namespace hallkorb {

class MicCapture final : private AudioInputListener {
 public:
  // `zeit` and `konverter` must outlive this object.
  MicCapture(double rate, Zeitachse& zeit, Weiter weiter, std::unique_ptr<AudioInput> eingang,
             AudioConverterFactory& konverter);
  ~MicCapture();
  MicCapture(const MicCapture&) = delete;
  MicCapture& operator=(const MicCapture&) = delete;

  [[nodiscard]] Ergebnis start();

  // Afterwards no block arrives any more.
  void stop();

 private:
  void block(const PcmBlock& block) override;
  void unterbrochen(const Fehler& fehler) override;
  void fortgesetzt() override;
  void verloren(std::uint64_t bloecke) override;
  void hinweis(const Fehler& fehler) override;

  BlockWeg weg_;
  std::unique_ptr<AudioInput> eingang_;
};

}  // namespace hallkorb
