// A private PipeWire session for a test, with virtual devices:
//
//   speakers  the default sink; what is played into it is the system's sound
//   mic       the default source; silent unless something is linked to its input
//
// It is the sound system of scripts/tonanlage, which runs beside the test and does what this class
// asks: what is configured and waited for is written down there alone. A test may kill, stop and
// start the daemons as it likes. The environment of this process points to the session, so there is
// one at a time.
//
// Every call returns once its request has taken effect, and throws if that fails.
#pragma once

#include <sys/types.h>

#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace hallkorb {

class Tonanlage {
 public:
  enum class Geraete { BEIDE, NUR_LAUTSPRECHER, NUR_MIKROFON, KEINE };

  // Starts nothing.
  Tonanlage();
  // Ends the session, its daemons and its folder.
  ~Tonanlage();
  Tonanlage(const Tonanlage&) = delete;
  Tonanlage& operator=(const Tonanlage&) = delete;

  // Daemon and session manager; the default devices are there afterwards.
  void starte(Geraete geraete = Geraete::BEIDE);
  void starteDaemon(Geraete geraete = Geraete::BEIDE);
  void starteVerwaltung();

  // Ends a process by a signal.
  void beendeDaemon(int signal);
  void beendeVerwaltung(int signal);
  // SIGSTOP or SIGCONT.
  void signalAnDaemon(int signal) const;

  // Runs a tool of the session (pw-cli, pw-metadata, pw-link), returns what it printed.
  std::string befehl(const std::vector<std::string>& argumente) const;
  // Makes a device that stays: media class and channel positions ("FL,FR").
  void neuesGeraet(const std::string& name, const std::string& klasse, const std::string& kanaele,
                   int prioritaet) const;
  void entferne(const std::string& name) const;
  // The user's choice of the default device; `art` is "sink" or "source".
  void waehle(const std::string& art, const std::string& name) const;
  void setze(const std::string& einstellung, int wert) const;
  // Returns when that device is the default, by whomever it was chosen.
  void warteStandard(const std::string& art, const std::string& name) const;
  // The name of the default device, or empty. A change of it may be withheld from the one who looks
  // if another client asks just then; warteStandard() looks anew.
  [[nodiscard]] std::string standard(const std::string& art) const;

 private:
  // Sends a request and returns its answer's value.
  nlohmann::json bitte(const nlohmann::json& anfrage) const;
  [[nodiscard]] nlohmann::json liesZeile() const;

  int leitung_ = -1;
  pid_t prozess_ = -1;
};

}  // namespace hallkorb
