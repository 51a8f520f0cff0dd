// A simulated computer: virtual clock, scripted devices and screen, and threads of which one runs
// at a time.
//
// The live recorder is a program of many threads, and its worst cases (a signal while a device
// still starts, a block between the signal and the stop, a reader that closes in the middle of a
// line) come once in a thousand real runs. Here each is a script: the clock stands still while any
// thread can go on and jumps to the next scripted moment when none can, and which of several ready
// threads goes on is drawn by a seeded generator. The same seed gives the same run.
//
// The threads are real ones that hand the turn on to each other, so that one may wait for another
// wherever the recorder does; nothing ever sleeps. As on a real computer, the change to another
// thread and a first sleep take no memory.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "platform/Plattform.h"
#include "tests/support/SimBildschirm.h"

namespace hallkorb::sim {

class SimPlattform;

// Host time at which every simulation begins.
inline constexpr double NULLZEIT = 5000.0;

// What a scripted device does, in seconds after time zero of the simulation.
struct Geraet {
  std::optional<Fehler> stoppFehler;  // stop() returns this
  std::optional<Fehler> startFehler;  // start() fails with this
  double startDauer = 0.02;           // seconds that start() takes
  bool startHaengt = false;           // start() waits for ever, until stop() cancels it
  struct Schritt {
    double zeit = 0.0;  // when it reaches the capture's thread
    std::function<void(AudioInputListener&)> handlung;
  };
  std::vector<Schritt> schritte;
  // Makes what follows them, one step at a time, for hours that no script could hold; nullopt ends
  // it.
  std::function<std::optional<Schritt>()> weitere;

  // A block of `samples` (as its format says) whose first frame was captured at `aufgenommen`, and
  // which arrives when its last frame has been captured. `behaupteteZeit` is what its time stamp
  // says, for a clock that jitters; without a value the truth.
  void block(double aufgenommen, PcmFormat format, std::vector<float> samples,
             std::optional<double> behaupteteZeit = std::nullopt);
  // The same block, without a time stamp.
  void blockOhneZeit(double aufgenommen, PcmFormat format, std::vector<float> samples);
  void unterbrochen(double zeit, Fehler fehler);
  void fortgesetzt(double zeit);
  void verloren(double zeit, std::uint64_t bloecke);
};

class SimPlattform final : public Plattform, public RunLoop, public Executor, public HostClock {
 public:
  explicit SimPlattform(std::uint64_t saat = 1);
  // Lets independent work that still runs come to its end.
  ~SimPlattform() override;

  Geraet mikrofonGeraet;
  Geraet systemGeraet;
  Bildschirm bildschirm{*this};
  std::variant<Geraetenamen, Fehler> namen = Geraetenamen{"Simmikrofon", "Simlautsprecher"};
  std::vector<Genehmigung> erlaubt;
  std::optional<Fehler> spielerFehlt;  // spieleVor() fails with this
  double spielDauer = 1.0;             // seconds that spieleVor() takes
  std::vector<std::string> vorgespielt;
  std::size_t hoechstensUnabhaengige = 1000;  // more are refused, as by a system's limit
  std::set<std::string> ohneFaden;            // queues of these names, and the task "", get none
  mutable std::uint64_t rufe = 0;             // of its clock and its sleeps, so far
  double wanduhrVor = 0.0;  // seconds that the wall clock has gained, as in a sleep of the computer

  // Scripted events, in seconds after the beginning.
  void am(double zeit, std::function<void()> ereignis);
  void signal(double zeit, int nummer);
  // The reader of standard output closes its end.
  void leserGeht(double zeit);

  // Seconds after the beginning.
  [[nodiscard]] double jetzt() const { return jetzt_; }
  // Signals whose default action is off.
  [[nodiscard]] const std::set<int>& gefangeneSignale() const { return gefangen_; }

  // Lets the other threads run, and scripted moments pass, until `fertig`. Whoever waits for
  // something that never comes ends the process with a message.
  void warteBis(const std::function<bool()>& fertig);

  // Plattform
  const HostClock& uhr() const override { return *this; }
  RunLoop& runLoop() override { return *this; }
  Executor& executor() override { return *this; }
  std::unique_ptr<AudioInput> mikrofon() override;
  std::unique_ptr<AudioInput> systemAudio() override;
  std::unique_ptr<AudioConverter> konverter(const PcmFormat& quellformat, double rate) override;
  std::unique_ptr<ScreenCapture> screenCapture() override { return bildschirm.screenCapture(); }
  std::unique_ptr<VideoWriter> videoWriter(const std::string& pfad,
                                           const VideoEinstellungen& einstellungen,
                                           Fehler& fehler) override {
    return bildschirm.videoWriter(pfad, einstellungen, fehler);
  }
  std::variant<Geraetenamen, Fehler> geraetenamen() override { return namen; }
  std::vector<Genehmigung> genehmigungen() override { return erlaubt; }
  Ergebnis spieleVor(const std::string& wav) override;
  std::string abhilfe(Mangel mangel) const override {
    return "Rat " + std::to_string(static_cast<int>(mangel));
  }
  // HostClock
  double sekunden() const override {
    ++rufe;
    return NULLZEIT + jetzt_;
  }
  std::int64_t unixMs() const override;
  // RunLoop
  void aufSignal(int nummer, Handler handler) override;
  void aufLeserWeg(int deskriptor, Handler handler) override;
  void post(Handler handler) override;
  int run() override;
  void quit(int status) override;
  // Executor
  std::unique_ptr<Task> starte(std::function<void()> arbeit) override;
  bool starteUnabhaengig(std::function<void()> arbeit) override;
  std::unique_ptr<Schlaf> schlaf() override;
  std::unique_ptr<SerialQueue> queue(const std::string& name) override;

 private:
  class SimQueue;
  class SimTask;
  class SimInput;
  class SimSchlaf;
  struct Faden {
    std::thread thread;
    std::function<bool()> bereit;  // whether the thread can go on
    bool fertig = false;
  };

  // A new thread, which gets its turn some time later.
  std::shared_ptr<Faden> neuerFaden(std::function<void()> arbeit);
  // Waits for the thread's end.
  void sammleEin(Faden& faden);
  // A moment at which the scheduler of a real computer could have changed threads.
  void verzweige();
  // Hands the turn on to a thread that can go on.
  void gibWeiter();

  std::mt19937_64 zufall_;
  double jetzt_ = 0.0;
  std::multimap<double, std::function<void()>> ereignisse_;
  std::vector<std::shared_ptr<Faden>> faeden_;  // the first is the test's own
  std::vector<Faden*> bereite_;                 // of gibWeiter(), with room for all
  std::vector<std::shared_ptr<Faden>> unabhaengige_;
  Faden* amZug_;
  std::mutex lock_;
  std::condition_variable wechsel_;

  std::deque<Handler> haupt_;
  std::map<int, Handler> signale_;
  std::set<int> gefangen_;
  Handler leserWeg_;
  std::optional<int> status_;
};

}  // namespace hallkorb::sim
