// The examination of the computer: what a recording would find here.
//
// Nothing is asked that a recording does not need, and nothing is guessed: the devices are started
// as the recorder starts them, and what fails then is what would fail. What the user has permitted
// is named beforehand: a system that refuses it lets the start fail, or delivers nothing but zeros.
//
// It is silent but for the test sound, which is played only on request, and leaves nothing behind.
// It runs on a task beside the main thread's run loop, which some platforms need.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "platform/Plattform.h"
#include "tool/Pegelprobe.h"

namespace hallkorb {

enum class Lage {
  gut,
  hinweis,  // worth knowing
  mangel,   // something is lost, but a recording works
  fehlt,    // no recording without it
};

struct Diagnose {
  Lage lage = Lage::gut;
  std::string was;
  std::string text;
  std::string abhilfe;  // empty if nothing is to be done
};

class Arzt {
 public:
  static constexpr double HOERT_ZU = 3.0;  // seconds

  struct Anzeige {
    std::function<void(const Diagnose&)> diagnose;
    // Levels of the last tenth of a second, dBFS; absent for a device that does not run.
    std::function<void(std::optional<double> mikrofon, std::optional<double> system)> pegel;
  };

  Arzt(Plattform& plattform, Anzeige anzeige);

  // Examines everything for a recording into `ordner`; `mitEcho` plays the test sound. Returns
  // whether a recording would work. Main thread.
  [[nodiscard]] bool untersuche(const std::string& ordner, bool mitEcho);

 private:
  void melde(const Diagnose& diagnose);
  void pruefeTondienst();
  void pruefeGenehmigungen();
  void pruefeTon(bool mitEcho);
  bool starteProbe(Pegelprobe& probe, const char* was, const std::optional<std::string>& name,
                   Mangel mangel);
  void hoereZu(Pegelprobe* mikrofon, Pegelprobe* system);
  void meldePegel(Pegelprobe* mikrofon, Pegelprobe* system);
  [[nodiscard]] Diagnose pegelMikrofon(Pegelprobe& probe) const;
  [[nodiscard]] Diagnose pegelSystemton(Pegelprobe& probe) const;
  void pruefeVorrang(Pegelprobe* mikrofon, Pegelprobe* system);
  void pruefeEcho(Pegelprobe* mikrofon, Pegelprobe* system);
  void pruefeBildschirm();
  void pruefeEncoder(const std::string& ordner);
  void pruefeOrdner(const std::string& ordner);

  Plattform& plattform_;
  Anzeige anzeige_;
  Geraetenamen namen_;
  bool moeglich_ = true;
};

}  // namespace hallkorb
