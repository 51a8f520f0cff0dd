// The video file on Linux: libswscale, an H.264 encoder, and an MP4 that survives the process.
//
// The caller's thread fits each picture into a frame of the video (see Letterbox.h), straight from
// where it was read; an encoder thread takes the frames from a short queue. The frames are made
// once and reused. If the encoder falls behind, the queue is full and bereit() false: pictures are
// dropped, never stored up.
//
// The encoder takes a picture when it is `haltezeit` old; until then it can be taken back. If it
// leaves the newest one out (see H264Kodierer.h), it gets that one again until it takes it: in a
// still window no other would follow.
//
// Once a second the encoder thread writes what was recorded to the file; if no picture comes, it
// prolongs the last one until now. So a killed process loses no more than the last second and the
// frames in the queue, those that are held back included.
//
// Want of memory ends the video as any other error does, on each of its threads.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
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
  // Between two moments at which the file gets what was recorded.
  static constexpr std::chrono::seconds SICHERUNG{1};

  // Whether a writer for these settings can be made; otherwise the error.
  [[nodiscard]] static Ergebnis moeglich(const VideoEinstellungen& einstellungen);

  // `art` null: the best encoder that the libraries offer.
  H264Schreiber(std::string pfad, const VideoEinstellungen& einstellungen,
                const H264Art* art = nullptr, Dateien& dateien = posixDateien(),
                std::chrono::seconds sicherung = SICHERUNG);
  // Without schliesseAb() the file stays as it is, in fragments.
  ~H264Schreiber() override;
  H264Schreiber(const H264Schreiber&) = delete;
  H264Schreiber& operator=(const H264Schreiber&) = delete;

  [[nodiscard]] bool starte(double basis) override;
  [[nodiscard]] bool schreibt() const override;
  [[nodiscard]] bool bereit() const override;
  [[nodiscard]] bool haengeAn(const Bild& bild) override;
  void begrenze(std::optional<double> bis) override;
  [[nodiscard]] std::int64_t nimmZurueck() override;
  [[nodiscard]] bool schliesseAb(double ende) override;
  [[nodiscard]] std::int64_t ausgelassen() const override;
  [[nodiscard]] std::optional<Fehler> fehler() const override;

 private:
  using Uhr = std::chrono::steady_clock;

  struct Platz {
    LibavZeiger<AVFrame> bild;
    Uhr::time_point faellig;  // for the encoder
  };

  [[nodiscard]] Ergebnis beginne();
  [[nodiscard]] Ergebnis legeAn(LibavZeiger<AVFrame>& bild) const;
  void laufe();
  // With `lock_` held; the two steps let go of it meanwhile.
  [[nodiscard]] bool gehalten() const;
  [[nodiscard]] bool istFaellig() const;
  [[nodiscard]] bool istNachzuholen() const;
  [[nodiscard]] Uhr::time_point naechstesEreignis(Uhr::time_point sicherung) const;
  void nimmVorderstes(std::unique_lock<std::mutex>& halter);
  void holeNach(std::unique_lock<std::mutex>& halter);
  [[nodiscard]] bool kodiere(AVFrame& bild);
  [[nodiscard]] Ergebnis sichere(std::int64_t bis);
  void melde(Ergebnis ergebnis);
  [[nodiscard]] bool gescheitert() const;
  void beendeFaden();
  [[nodiscard]] std::int64_t takt(double zeit) const;

  const std::string pfad_;
  const VideoEinstellungen einstellungen_;
  const H264Art* const art_;
  const Uhr::duration haltezeit_;
  const std::chrono::seconds sicherung_;

  // The caller's.
  std::int64_t letzter_ = -1;  // time of the last picture taken
  Letterbox letterbox_;

  // The encoder thread's while it runs.
  H264Kodierer kodierer_;
  FragmentDatei datei_;
  std::int64_t kodierter_ = -1;    // time of the last picture that the encoder got
  LibavZeiger<AVFrame> rest_;      // the newest one if it was left out, otherwise spare
  bool nachholen_ = false;         // it was
  Uhr::time_point nachholzeit_{};  // when the encoder gets it again
  int versucheAmEnde_ = 0;         // to get it in

  // Places `vorderstes_` and the following ones are the encoder's, the others the caller's.
  std::vector<Platz> plaetze_;
  mutable std::mutex lock_;  // for what follows
  std::condition_variable neues_;
  double basis_ = 0.0;  // changed by the caller's thread alone
  std::size_t vorderstes_ = 0;
  std::size_t wartende_ = 0;
  std::optional<Uhr::time_point> grenze_;  // what is due later stays
  bool inArbeit_ = false;                  // the encoder is at the first of them
  bool angefangen_ = false;                // it has had one
  bool verschoben_ = false;                // the file begins with the next picture
  std::int64_t ausgelassen_ = 0;
  bool laeuft_ = false;
  bool zuEnde_ = false;
  std::optional<Fehler> fehler_;

  std::thread faden_;
};

}  // namespace hallkorb
