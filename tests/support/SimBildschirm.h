// The simulated computer's screen: its windows, streams and video files, all driven by a script.
//
// Everything may be changed at any scripted moment (SimPlattform::am) and takes effect with the
// next call. The recorder's calls are kept, and the film that it would have written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/ScreenCapture.h"
#include "platform/VideoWriter.h"

namespace hallkorb::sim {

class SimPlattform;

// One file that was written.
struct Film {
  std::string pfad;
  VideoEinstellungen einstellungen;
  std::optional<double> basis;  // seconds after the beginning of the simulation, as all times here
  std::vector<std::pair<double, std::uint32_t>> bilder;  // when, and of which window
  std::optional<double> ende;                            // when it was finished
};

class Bildschirm {
 public:
  explicit Bildschirm(SimPlattform& welt) : welt_(welt) {}

  std::vector<ScreenWindow> windows;

  // How the screen behaves.
  std::optional<Fehler> inventarFehler;
  std::function<void()> inventarBelegt;  // allocates what a snapshot needs: may throw
  double inventarDauer = 0.0;            // seconds that a snapshot takes
  bool inventarFrueh = false;            // it shows the windows at its beginning, not at its end
  std::optional<Fehler> startFehler;
  double startDauer = 0.0;
  double startEnde = 0.0;    // seconds from the stream's first picture to the end of its start
  bool startHaengt = false;  // a stop does not cancel a start or a switch
  std::optional<Fehler> endeNachStart;  // the service ends the next stream as soon as it runs
  std::optional<Fehler> wechselFehler;
  double wechselDauer = 0.0;
  std::function<void()> wechselBelegt;  // allocates, once the other window is shown: may throw
  double stopDauer = 0.0;
  std::function<void()> stopBelegt;  // allocates what the next stop of a stream needs: may throw
  bool bildNachStart = true;         // a picture follows each start and switch
  double bildVerzug = 0.0;           // seconds from reading a picture to its delivery
  bool meldetAnfang = false;  // the stream reports the title of each window that it begins with
  bool bietetAn = false;      // it gives another picture instead of one that was not taken

  // Makes a writer instead of the simulated one.
  std::function<std::unique_ptr<VideoWriter>(const std::string& pfad)> eigenerSchreiber;
  // How the simulated one behaves.
  std::optional<Fehler> schreiberFehlt;
  bool schreiberStartet = true;
  bool schreiberSchreibt = true;
  bool schreiberBereit = true;
  bool schreiberNimmt = true;
  bool schreiberHaelt = false;               // pictures back for as long as it is asked to
  std::int64_t schreiberLaesstAus = 0;       // so many of the pictures that it took
  std::optional<Fehler> schreiberScheitert;  // it fails with this when it is given a picture
  bool schreiberSchliesst = true;
  std::function<void()> abschlussBelegt;  // allocates what the end of a file needs: may throw
  std::optional<Fehler> schreiberFehler;

  // What was called: snapshots are counted, stream calls are listed ("start 4", "wechsle 5",
  // "stop").
  std::size_t inventare = 0;
  std::vector<std::string> aufrufe;
  std::vector<StreamKonfiguration> konfigurationen;
  std::vector<Film> filme;

  // The running stream delivers a picture of its window.
  void bild(BildStatus status = BildStatus::vollstaendig);
  // The platform reports that the recorded window's title changed.
  void titelNeu();
  // The same if that window is the recorded one.
  void titelNeu(std::uint32_t id);
  // The capture service ends the running stream.
  void beende(Fehler fehler);

  [[nodiscard]] std::unique_ptr<ScreenCapture> screenCapture();
  [[nodiscard]] std::unique_ptr<VideoWriter> videoWriter(const std::string& pfad,
                                                         const VideoEinstellungen& einstellungen,
                                                         Fehler& fehler);

 private:
  class Aufnahme;
  class Strom;
  class Schreiber;

  SimPlattform& welt_;
  std::vector<Strom*> stroeme_;  // those that run
};

// A window as most tests want it: visible, 1280 x 800, in front.
[[nodiscard]] ScreenWindow fenster(std::uint32_t id, const std::string& bundle,
                                   const std::string& titel);

}  // namespace hallkorb::sim
