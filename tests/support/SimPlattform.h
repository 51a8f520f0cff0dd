// A simulated computer: virtual clock, scripted devices, and one thread for everything.
//
// The live recorder is a program of many threads, and its worst cases (a signal while a device still
// starts, a block between the signal and the stop, a reader that goes in the middle of a line) come
// once in a thousand real runs. Here each is a script: the clock stands still while work is done and
// jumps to the next scripted moment when there is none, and which of several ready threads goes on is
// decided by a seeded generator. The same seed gives the same run.
//
// Everything runs on the calling thread. A start that waits for its device lets the others run.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "platform/Plattform.h"

namespace hallkorb::sim {

class SimPlattform;

// Host time at which every simulation begins.
inline constexpr double NULLZEIT = 5000.0;

// What a scripted device does, in seconds after time zero of the simulation.
struct Geraet {
  Ergebnis startFehler;        // start() fails with this
  double startDauer = 0.02;    // seconds that start() takes
  bool startHaengt = false;    // start() waits for ever, until stop() cancels it
  struct Schritt {
    double zeit = 0.0;                                  // when it reaches the capture's thread
    std::function<void(AudioInputListener&)> handlung;  //
  };
  std::vector<Schritt> schritte;

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
  ~SimPlattform() override;

  Geraet mikrofonGeraet;
  Geraet systemGeraet;

  // Scripted events, in seconds after the beginning.
  void am(double zeit, std::function<void()> ereignis);
  void signal(double zeit, int nummer);
  // The reader of standard output closes its end.
  void leserGeht(double zeit);

  // Seconds after the beginning.
  [[nodiscard]] double jetzt() const { return jetzt_; }
  // Signals whose default action is off.
  [[nodiscard]] const std::set<int>& gefangeneSignale() const { return gefangen_; }

  // Lets everything run that is ready, and scripted moments pass, until `fertig`. Whoever waits for
  // something that never comes is told so by an exception.
  void laufeBis(const std::function<bool()>& fertig);

  // Plattform
  const HostClock& uhr() const override { return *this; }
  RunLoop& runLoop() override { return *this; }
  Executor& executor() override { return *this; }
  std::unique_ptr<AudioInput> mikrofon() override;
  std::unique_ptr<AudioInput> systemAudio() override;
  std::unique_ptr<AudioConverter> konverter(const PcmFormat& eingang, double rate) override;
  // HostClock
  double sekunden() const override { return NULLZEIT + jetzt_; }
  std::int64_t unixMs() const override;
  // RunLoop
  void aufSignal(int nummer, Handler handler) override;
  void aufLeserWeg(int deskriptor, Handler handler) override;
  void post(Handler handler) override;
  int run() override;
  void quit(int status) override;
  // Executor
  std::unique_ptr<Task> starte(std::function<void()> arbeit) override;
  std::unique_ptr<SerialQueue> queue(const std::string& name) override;

 private:
  class SimQueue;
  class SimTask;
  class SimInput;
  // A thread of the simulation: work items in order, one of which may be running further down the
  // stack, in which case the thread is not free.
  struct Faden {
    std::deque<std::function<void()>> arbeit;
    bool laeuft = false;
    bool task = false;
  };

  bool einSchritt();  // runs one ready item or the next scripted event; false where there is none
  void fuehreAus(Faden& faden);

  std::mt19937_64 zufall_;
  double jetzt_ = 0.0;
  std::multimap<double, std::function<void()>> ereignisse_;
  std::vector<std::shared_ptr<Faden>> faeden_;
  std::shared_ptr<Faden> haupt_;
  std::map<int, Handler> signale_;
  std::set<int> gefangen_;
  Handler leserWeg_;
  std::optional<int> status_;
};

}  // namespace hallkorb::sim
