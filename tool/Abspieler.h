// Plays a recorded folder to a host, as the recorder would be: lines on standard output at their
// moments, each after its file, and the recorder's end.
//
// A host is developed against it without a microphone and a screen. So whatever a host may do to
// the recorder has the same answer here: a signal (SIGINT, SIGTERM, SIGHUP) stops at once, with
// what the chunks held until then as their rest; a second one changes nothing; a host that closes
// standard output ends it, and one that does not read delays the end by 5 seconds at most. Without
// a signal the recording ends when it ended.
//
// The figures of "echo" and "zeitachse", and the video, are always those of the whole recording.
//
// One thread plays; laufe() belongs to the main thread.
#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>

#include "platform/Plattform.h"
#include "session/Spieldateien.h"
#include "session/Spielplan.h"

namespace hallkorb {

class Abspieler {
 public:
  // `tempo`: recorded seconds in a second; 0 for as fast as possible. `dateien` and `plattform`
  // must outlive this object.
  Abspieler(Spielplan plan, Spieldateien& dateien, Plattform& plattform, double tempo);
  Abspieler(const Abspieler&) = delete;
  Abspieler& operator=(const Abspieler&) = delete;

  // Returns the recorder's exit status: 0 after "done", 2 after "error"; 1 if the recording breaks
  // off without either.
  [[nodiscard]] int laufe();

 private:
  [[nodiscard]] bool beginneEnde();
  void richteSignaleEin();
  void shutdown();
  int spiele();
  [[nodiscard]] bool warteAuf(double zeit);
  [[nodiscard]] double stelle() const;
  void gib(const Spielschritt& schritt);
  void gibChunk(const ChunkZeile& chunk, std::optional<double> bis);
  int spieleEnde(std::size_t ab);
  int brichAb(std::size_t ab);
  void gibReste(std::size_t ab, double bis, Kanal kanal);
  template <class Art>
  [[nodiscard]] const Spielschritt* schlusszeile() const;

  Spielplan plan_;
  Spieldateien& dateien_;
  Plattform& plattform_;
  const double tempo_;
  std::unique_ptr<Schlaf> schlaf_;
  double anfang_ = 0.0;    // host seconds
  double erreicht_ = 0.0;  // time of the last step, in recorded seconds
  std::atomic<bool> stopp_{false};
};

}  // namespace hallkorb
