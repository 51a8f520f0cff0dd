// A video file on macOS: in which order the asset writer is set up, fed and finished.
//
// The file is written in fragments of two seconds, so that a killed process leaves a file that
// plays up to the last of them. If the system refuses fragments, the video goes on without them,
// and one line reports it.
//
// Threads as in VideoWriter.h.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/macos/video/SchreiberAufrufe.h"
#include "platform/VideoWriter.h"

namespace hallkorb {

// Seconds of the host clock as the system counts them, in nanoseconds; exact to the nanosecond for
// the first 48 days after the computer was started.
[[nodiscard]] Medienzeit medienzeit(double sekunden);

class AssetSchreiber final : public VideoWriter {
 public:
  // How long to wait for the end of the file. A slow disk may then have more to write than the last
  // fragment and the index; one that is gone never answers, and the audio's last lines wait for the
  // video. The process ends soon after; whatever becomes of the file then, its fragments play.
  static constexpr std::chrono::minutes ABSCHLUSS{2};

  // Null, with the reason in `fehler`, if the system has no encoder for the settings.
  [[nodiscard]] static std::unique_ptr<AssetSchreiber> neu(
      std::unique_ptr<SchreiberAufrufe> aufrufe, const std::string& pfad,
      const VideoEinstellungen& einstellungen, Fehler& fehler,
      std::chrono::milliseconds abschluss = ABSCHLUSS);

  [[nodiscard]] bool starte(double basis) override;
  [[nodiscard]] bool schreibt() const override;
  [[nodiscard]] bool bereit() const override;
  // Pictures of this platform only.
  [[nodiscard]] bool haengeAn(const Bild& bild) override;
  // The system's encoder has had all of them; and titles are known too late here to hold them back.
  void begrenze(std::optional<double> /*bis*/) override {}
  [[nodiscard]] std::int64_t nimmZurueck() override { return 0; }
  [[nodiscard]] bool schliesseAb(double ende) override;
  [[nodiscard]] std::int64_t ausgelassen() const override { return 0; }
  [[nodiscard]] std::optional<Fehler> fehler() const override;

 private:
  AssetSchreiber(std::unique_ptr<SchreiberAufrufe> aufrufe, std::string pfad,
                 std::chrono::milliseconds abschluss);
  [[nodiscard]] Ergebnis beginne(double basis);
  [[nodiscard]] bool vollende(double ende);
  // Keeps the first error; returns whether there was none.
  bool merke(Ergebnis ergebnis);

  std::unique_ptr<SchreiberAufrufe> aufrufe_;
  const std::string pfad_;
  const std::chrono::milliseconds abschluss_;
  bool begonnen_ = false;  // writing, and its session
  mutable std::mutex lock_;
  std::optional<Fehler> fehler_;  // the first of a call; under the lock
};

}  // namespace hallkorb
