// The video file on Linux: libswscale, an H.264 encoder, and an MP4 that survives the process.
//
// The caller's thread fits each picture into a frame of the video (see Letterbox.h), straight from
// where it was read; an encoder thread takes the frames from a short queue. The frames are made
// once and reused. If the encoder falls behind, the queue is full and bereit() false: pictures are
// dropped, never stored up.
//
// The encoder takes a picture when it is `haltezeit` old; until then it can be taken back.
//
// Once a second the encoder thread writes what was recorded to the file; if no picture comes, it
// prolongs the last one until now. So a killed process loses no more than the last second and the
// frames in the queue, those that are held back included.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/video/FragmentDatei.h"
#include "platform/linux/video/H264Kodierer.h"
#include "platform/linux/video/Letterbox.h"
#include "platform/linux/video/Libav.h"
#include "platform/VideoWriter.h"

namespace hallkorb {

class H264Schreiber final : public VideoWriter {
 public:
  // Pictures that may wait for the encoder, beside those that are held back.
  static constexpr std::size_t WARTEPLAETZE = 5;

  // Whether a writer for these settings can be made; otherwise the error.
  [[nodiscard]] static Ergebnis moeglich(const VideoEinstellungen& einstellungen);

  // `art` null: the best encoder that the libraries offer.
  H264Schreiber(std::string pfad, const VideoEinstellungen& einstellungen,
                const H264Art* art = nullptr);
  // Without schliesseAb() the file stays as it is, in fragments.
  ~H264Schreiber() override;
  H264Schreiber(const H264Schreiber&) = delete;
  H264Schreiber& operator=(const H264Schreiber&) = delete;

  [[nodiscard]] bool starte(double basis) override;
  [[nodiscard]] bool schreibt() const override;
  [[nodiscard]] bool bereit() const override;
  [[nodiscard]] bool haengeAn(const Bild& bild) override;
  [[nodiscard]] std::int64_t nimmZurueck() override;
  [[nodiscard]] bool schliesseAb(double ende) override;
  [[nodiscard]] std::optional<Fehler> fehler() const override;

 private:
  using Uhr = std::chrono::steady_clock;

  struct Platz {
    LibavZeiger<AVFrame> bild;
    Uhr::time_point faellig;  // for the encoder
  };

  [[nodiscard]] Ergebnis beginne();
  [[nodiscard]] bool istFaellig() const;
  [[nodiscard]] Uhr::time_point naechstesEreignis(Uhr::time_point sicherung) const;
  void laufe();
  [[nodiscard]] Ergebnis kodiere(const AVFrame& bild);
  [[nodiscard]] Ergebnis sichere(std::int64_t bis);
  void melde(Ergebnis ergebnis);
  void beendeFaden();
  [[nodiscard]] std::int64_t takt(double zeit) const;

  const std::string pfad_;
  const VideoEinstellungen einstellungen_;
  const H264Art* const art_;
  const Uhr::duration haltezeit_;

  // The caller's.
  double basis_ = 0.0;
  std::int64_t letzter_ = -1;  // time of the last picture taken
  Letterbox letterbox_;

  // The encoder thread's while it runs.
  H264Kodierer kodierer_;
  FragmentDatei datei_;

  // Places `vorderstes_` and the following ones are the encoder's, the others the caller's.
  std::vector<Platz> plaetze_;
  mutable std::mutex lock_;  // for what follows
  std::condition_variable neues_;
  std::size_t vorderstes_ = 0;
  std::size_t wartende_ = 0;
  bool inArbeit_ = false;  // the encoder is at the first of them
  bool laeuft_ = false;
  bool zuEnde_ = false;
  std::optional<Fehler> fehler_;

  std::thread faden_;
};

}  // namespace hallkorb
