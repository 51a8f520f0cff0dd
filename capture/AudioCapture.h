// One channel's capture: a device, from its blocks to samples on the channel's timeline.
//
// The device belongs to the platform; what is decided here is what people read about it. A failure
// to start is the caller's to report, since it knows whether the recording can go on without.
//
// start() and stop() as in AudioInput; blocks run on the capture's thread.
#pragma once

#include <memory>

#include "capture/BlockWeg.h"
#include "capture/Nullenwacht.h"
#include "platform/AudioInput.h"

namespace hallkorb {

class AudioCapture : private AudioInputListener {
 public:
  AudioCapture(const AudioCapture&) = delete;
  AudioCapture& operator=(const AudioCapture&) = delete;

  [[nodiscard]] Ergebnis start();

  // Afterwards no block arrives any more. Returns how the platform's capture ended.
  Ergebnis stop();

  // Receiver of the aligned samples; to be set before start().
  Weiter weiter;

 protected:
  // How the log names the device.
  struct Texte {
    const char* name;           // "... wieder da"
    const char* unterbrechung;  // before the reason
  };

  // `zeit` and `konverter` must outlive this object.
  AudioCapture(const Texte& texte, double rate, Zeitachse& zeit, Weiter empfaenger,
               std::unique_ptr<AudioInput> input, AudioConverterFactory& konverter);
  ~AudioCapture();

 private:
  void block(const PcmBlock& block) override;
  void unterbrochen(const Fehler& fehler) override;
  void fortgesetzt() override;
  void verloren(std::uint64_t bloecke) override;
  void hinweis(const Fehler& fehler) override;

  const Texte texte_;
  BlockWeg weg_;
  Nullenwacht nullen_;
  std::unique_ptr<AudioInput> input_;
};

}  // namespace hallkorb
