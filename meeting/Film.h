// The video file of a recording: complete pictures in, in the order of their times.
//
// There is one file whatever windows are recorded. It begins with the first complete picture, and
// its times come from one clock, so while no picture comes the last one stays. A writer that has
// failed stays so, and is reported once.
//
// A window whose title has changed may show something else than the meeting. Until the supervision
// has looked, its newest pictures are in doubt: the writer holds them back, however long that look
// takes, and if the recording ends before, they are dropped.
//
// `lock_` guards everything that changes. It is held while a picture is taken and, with the
// first picture, while the file is created: a disk that hangs then also holds up the stream's
// thread and the stop. Any thread.
#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "base/Dateien.h"
#include "platform/VideoWriter.h"

namespace hallkorb {

class Film {
 public:
  static constexpr int BREITE = 1280;  // pixels of stream and file
  static constexpr int HOEHE = 800;

  // What remains to be finished once the pictures have ended.
  struct Aufnahme {
    std::unique_ptr<VideoWriter> writer;
    std::int64_t frames = 0;
  };

  Film(std::string ziel, VideoWriterFactory& schreiber, Dateien& dateien);

  [[nodiscard]] static VideoEinstellungen einstellungen();
  [[nodiscard]] const std::string& ziel() const { return ziel_; }

  // Removes an earlier recording's file and makes the writer; does nothing once that has succeeded.
  // Both are for the supervision only.
  [[nodiscard]] Ergebnis writerAnlegen();
  [[nodiscard]] bool hatWriter() const { return schreiberAngelegt_; }
  // Puts a picture into the file. One that is not complete is dropped; so is one that comes while
  // the writer is not ready, or is too old, and then it returns false: the window is worth another.
  [[nodiscard]] bool nimm(const Bild& bild);
  // The window's title has changed.
  void zweifle();
  // The supervision looks at the titles: klaere() will end every doubt that there is by now.
  void beginneBlick();
  // It has found the window to be the meeting, or nimmZurueck() was called.
  void klaere();
  // Drops what the writer holds back, and every picture that was read before now: the window has
  // stopped being a meeting, perhaps a moment before its title said so.
  void nimmZurueck();
  // Reports a writer that has failed (in a still window no picture comes that would show it), and a
  // file that is no longer in its place. Does nothing while a picture is being taken.
  void pruefe();

  // Ends the pictures: one that comes later is dropped, and those in doubt are.
  [[nodiscard]] Aufnahme entnimm();
  // The same for a recording that has reported no picture yet, silently.
  void verwirf();
  // Finishes the file; false, with the reason logged, if there is no whole video in its place.
  [[nodiscard]] bool schliesseAb(Aufnahme& aufnahme);

 private:
  // Removes what is at the file's path; fails only if nothing may be written there.
  [[nodiscard]] Ergebnis raeumePlatz();

  // With `lock_` held.
  void beginne(double zeit);
  void meldeAusfall();
  void pruefeOrt();

  // Whether the file is still in its place; true as well if that cannot be found out.
  [[nodiscard]] bool amOrt() const;

  const std::string ziel_;  // the file's path
  VideoWriterFactory& schreiber_;
  Dateien& dateien_;
  bool schreiberAngelegt_ = false;  // the supervision's own

  std::mutex lock_;
  std::unique_ptr<VideoWriter> writer_;
  std::optional<double> basis_;  // time of the first picture, host seconds
  std::int64_t frames_ = 0;      // pictures in the file
  double frischAb_ = std::numeric_limits<double>::lowest();  // host seconds
  std::optional<double> zweifel_;                            // since when, host seconds
  std::optional<double> seitBlick_;  // the first doubt since the last look began
  bool ausfallGemeldet_ = false;
  std::optional<Dateien::Zustand> eigene_;  // the file as it was begun
  bool verlustGemeldet_ = false;
};

}  // namespace hallkorb
