// A private PipeWire session for a test: daemon and session manager in a folder of their own, with
// virtual devices.
//
//   speakers  the default sink; what is played into it is the system's sound
//   mic       the default source; silent unless something is linked to its input
//
// The daemons are the test's own processes, which it may kill, stop and start again. The
// environment of this process points to the session while it exists, so there is one at a time.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>
#include <vector>

namespace hallkorb {

class PipewireSitzung {
 public:
  enum class Geraete { BEIDE, NUR_LAUTSPRECHER, NUR_MIKROFON, KEINE };

  // Starts nothing.
  PipewireSitzung();
  // Ends what was started and removes the folder.
  ~PipewireSitzung();
  PipewireSitzung(const PipewireSitzung&) = delete;
  PipewireSitzung& operator=(const PipewireSitzung&) = delete;

  // Daemon and session manager, and returns when the default devices are there.
  void starte(Geraete geraete = Geraete::BEIDE);
  // Returns when the daemon takes connections.
  void starteDaemon(Geraete geraete = Geraete::BEIDE);
  void starteVerwaltung();

  // Ends a process by a signal and waits for its end.
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
  // The name of the default device, empty when there is none.
  [[nodiscard]] std::string standard(const std::string& art) const;

 private:
  pid_t starteProzess(const std::vector<std::string>& argumente, const std::string& ausgabe) const;
  static void beende(pid_t& prozess, int signal);

  std::string ordner_;
  pid_t daemon_ = -1;
  pid_t verwaltung_ = -1;
};

// Waits until `bedingung` holds, up to `sekunden`; whether it did. For what can only be asked for,
// as the state of another process.
bool warteBis(const std::function<bool()>& bedingung, double sekunden = 10.0);

}  // namespace hallkorb
