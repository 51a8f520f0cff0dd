// macOS: AVFAudio for the microphone and the conversion, ScreenCaptureKit for the sound of the
// computer and its windows, AVFoundation for the video file, Dispatch and the main run loop.
//
// Made by main() on the main thread, before anything else asks for the screen (see
// MacPlattform.mm).
#pragma once

#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "platform/macos/MacHostClock.h"
#include "platform/macos/MacRunLoop.h"
#include "platform/macos/screen/SckAufrufe.h"
#include "platform/Plattform.h"
#include "platform/ThreadExecutor.h"
#include "platform/VideoWriter.h"

namespace hallkorb {

class MacPlattform final : public Plattform {
 public:
  MacPlattform();
  ~MacPlattform() override;
  MacPlattform(const MacPlattform&) = delete;
  MacPlattform& operator=(const MacPlattform&) = delete;

  [[nodiscard]] const HostClock& uhr() const override { return uhr_; }
  [[nodiscard]] RunLoop& runLoop() override { return runLoop_; }
  [[nodiscard]] Executor& executor() override { return executor_; }
  [[nodiscard]] std::unique_ptr<AudioInput> mikrofon() override;
  [[nodiscard]] std::unique_ptr<AudioInput> systemAudio() override;
  [[nodiscard]] std::unique_ptr<AudioConverter> konverter(const PcmFormat& quellformat,
                                                          double rate) override;
  [[nodiscard]] std::unique_ptr<ScreenCapture> screenCapture() override;
  [[nodiscard]] std::unique_ptr<VideoWriter> videoWriter(const std::string& pfad,
                                                         const VideoEinstellungen& einstellungen,
                                                         Fehler& fehler) override;
  [[nodiscard]] std::variant<Geraetenamen, Fehler> geraetenamen() override;
  [[nodiscard]] std::vector<Genehmigung> genehmigungen() override;
  [[nodiscard]] Ergebnis spieleVor(const std::string& wav) override;
  [[nodiscard]] std::string abhilfe(Mangel mangel) const override;

 private:
  class Wachhaltung;

  MacHostClock uhr_;
  MacRunLoop runLoop_;
  ThreadExecutor executor_;
  std::shared_ptr<SckAufrufe> sck_;
  std::unique_ptr<Wachhaltung> wach_;
};

}  // namespace hallkorb
