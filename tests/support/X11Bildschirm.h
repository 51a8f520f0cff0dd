// A private X11 session for a test: an X server without a screen, a window manager, and windows.
//
// All of them are the test's own processes, which it may kill and stop. Nothing of the environment
// is used or changed, so sessions don't disturb each other.
#pragma once

#include <chrono>
#include <csignal>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/screen/X11ScreenCapture.h"
#include "tests/support/Prozess.h"
#include "tests/support/TempOrdner.h"

namespace hallkorb {

// A window of the program testfenster (see TestFenster.cpp, also for its options and commands).
class Fensterprogramm {
 public:
  Fensterprogramm(const std::string& display, std::vector<std::string> optionen);

  [[nodiscard]] std::uint32_t id() const { return id_; }
  // Returns when the command is done.
  void tu(const std::string& befehl);
  // Ends the program, and with it the window.
  void signal(int nummer) const { prozess_.signal(nummer); }
  void schliesse() { prozess_.beende(SIGTERM); }

 private:
  Prozess prozess_;
  std::uint32_t id_ = 0;
};

class X11Bildschirm {
 public:
  enum class Verwalter { OPENBOX, TWM, KEINER };  // TWM knows no EWMH
  struct Server {
    int farbtiefe = 24;
    std::vector<std::string> davor{};     // a command that starts the server
    std::vector<std::string> optionen{};  // further ones of the server
  };

  explicit X11Bildschirm(Verwalter verwalter = Verwalter::OPENBOX);
  X11Bildschirm(Verwalter verwalter, const Server& server);

  [[nodiscard]] const std::string& display() const { return display_; }
  [[nodiscard]] std::unique_ptr<Fensterprogramm> fenster(std::vector<std::string> optionen) const;

  // This screen, with an hour's patience: a server of a busy machine may be late.
  [[nodiscard]] X11ScreenCapture schirm(X11ScreenCapture::Weg weg = X11ScreenCapture::Weg::SEGMENT,
                                        const AnstrichFristen& fristen = {}) const {
    return X11ScreenCapture(display_, weg, std::chrono::hours(1), fristen);
  }
  [[nodiscard]] ScreenContent inventar() const;
  // The window in the inventory; nullopt if it is not there.
  [[nodiscard]] std::optional<ScreenWindow> finde(std::uint32_t id) const;
  // Waits until the inventory shows the window as expected, since window managers act in their own
  // time. Returns whether it did.
  [[nodiscard]] bool warteAuf(std::uint32_t id,
                              const std::function<bool(const ScreenWindow&)>& bedingung) const;

  // Moves the pointer, in the coordinates of the screen.
  void setzeZeiger(int x, int y) const;
  void beendeVerwalter();
  void beendeServer(int signal) { server_->beende(signal); }
  // SIGSTOP or SIGCONT.
  void signalAnServer(int signal) const { server_->signal(signal); }

 private:
  [[nodiscard]] bool verwalterDa() const;
  // Whether a window manager of any kind has taken over the windows.
  [[nodiscard]] bool fensterWerdenVerwaltet() const;

  TempOrdner ordner_;
  std::unique_ptr<Prozess> server_;
  std::string display_;
  std::unique_ptr<Prozess> verwalter_;
};

}  // namespace hallkorb
