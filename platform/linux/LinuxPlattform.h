// Linux: PipeWire for the audio, libswresample for the conversion, X11 for the windows, libavcodec
// for the video, poll(2) for the run loop.
//
// Made by main() before any other thread is started (see LinuxRunLoop.h).
#pragma once

#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "platform/linux/LinuxHostClock.h"
#include "platform/linux/LinuxRunLoop.h"
#include "platform/Plattform.h"
#include "platform/ThreadExecutor.h"

namespace hallkorb {

class LinuxPlattform final : public Plattform {
 public:
  LinuxPlattform();
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
  LinuxHostClock uhr_;
  LinuxRunLoop runLoop_;
  ThreadExecutor executor_;
};

}  // namespace hallkorb
