// The channel of the far end: what the computer plays, from its blocks to samples on the timeline
// "them".
//
// start() and stop() as in AudioInput; blocks run on the capture's thread.
#pragma once

#include <memory>

#include "capture/BlockWeg.h"
#include "platform/AudioInput.h"

namespace hallkorb {

class SystemAudioCapture final : private AudioInputListener {
 public:
  // `zeit` and `konverter` must outlive this object.
  SystemAudioCapture(double rate, Zeitachse& zeit, std::unique_ptr<AudioInput> eingang,
                     AudioConverterFactory& konverter);
  ~SystemAudioCapture();
  SystemAudioCapture(const SystemAudioCapture&) = delete;
  SystemAudioCapture& operator=(const SystemAudioCapture&) = delete;

  [[nodiscard]] Ergebnis start();

  // Afterwards no block arrives any more. Returns what the platform says to the end of its capture.
  Ergebnis stop();

  // Receiver of the aligned samples; does nothing until the driver sets it, before start().
  Weiter weiter = [](const std::vector<float>&) {};

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
