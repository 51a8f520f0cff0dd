// A connection to the X server whose waits can be ended.
//
// Waiting for an answer happens inside libxcb, without limit. Only the end of the connection ends
// such a wait: brichAb() closes the socket under libxcb, and every wait, now or later, returns
// without an answer. Whoever knows the time limit calls it, or leaves that to an X11Frist.
//
// When a connection ends, the server undoes everything that was set up through it (redirections,
// damage, segments), so nothing has to be released in order.
//
// One thread uses the connection; brichAb() any thread.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>

#include "base/Fehler.h"
#include "platform/linux/Deskriptor.h"
#include "platform/linux/screen/Xcb.h"

namespace hallkorb {

struct MallocFreigabe {
  void operator()(void* speicher) const { std::free(speicher); }
};

// An answer of the server; null if it was an error or the connection is gone.
template <class T>
using X11Antwort = std::unique_ptr<T, MallocFreigabe>;

// The `anzahl` values from `anfang` on in an answer, or as many of them as the server has sent:
// libxcb does not compare the counts in an answer with its length.
template <class Wert, class T>
[[nodiscard]] std::span<const Wert> x11Werte(const T& antwort, const Wert* anfang,
                                             std::size_t anzahl) {
  constexpr std::size_t KOPF = 32;
  const auto davor = static_cast<std::size_t>(reinterpret_cast<const char*>(anfang) -
                                              reinterpret_cast<const char*>(&antwort));
  const std::size_t gesendet = KOPF + std::size_t{antwort.length} * 4;
  const std::size_t hoechstens = davor < gesendet ? (gesendet - davor) / sizeof(Wert) : 0;
  return {anfang, std::min(anzahl, hoechstens)};
}

class X11Verbindung {
 public:
  // `display` as for oeffneX11Socket(); its owner gives up after `frist`. Does nothing yet.
  X11Verbindung(std::string display, std::chrono::milliseconds frist);
  ~X11Verbindung();
  X11Verbindung(const X11Verbindung&) = delete;
  X11Verbindung& operator=(const X11Verbindung&) = delete;

  [[nodiscard]] Ergebnis oeffne();
  // From now on nothing on this connection succeeds or waits any more.
  void brichAb();
  // What has ended the connection; absent while it lives. After oeffne().
  [[nodiscard]] std::optional<Fehler> verloren() const;

  // After oeffne() has succeeded.
  [[nodiscard]] xcb_connection_t* get() const { return verbindung_; }
  [[nodiscard]] const xcb_screen_t& schirm() const { return *schirm_; }

 private:
  const std::string display_;
  const std::chrono::milliseconds frist_;
  xcb_connection_t* verbindung_ = nullptr;
  const xcb_screen_t* schirm_ = nullptr;

  std::mutex lock_;    // for what follows
  Deskriptor socket_;  // libxcb has its own descriptor for it and may close that at any time
  bool abgebrochen_ = false;
};

// A thread that breaks connections whose time is up. Its owner makes one in advance for all of its
// connections, one after another: later the system may have no thread left.
class X11Waechter {
 public:
  X11Waechter();
  ~X11Waechter();
  X11Waechter(const X11Waechter&) = delete;
  X11Waechter& operator=(const X11Waechter&) = delete;

  // Fails if there is still no thread for it.
  [[nodiscard]] Ergebnis bereit();

 private:
  friend class X11Frist;
  using Uhr = std::chrono::steady_clock;

  void beginne();
  void laufe();
  void bewache(X11Verbindung* verbindung, Uhr::time_point bis);

  std::mutex lock_;  // for what follows, up to the thread
  std::condition_variable neues_;
  X11Verbindung* bewacht_ = nullptr;
  Uhr::time_point bis_;
  bool zuEnde_ = false;
  std::optional<std::thread> faden_;
};

// Breaks a connection if this object lives for longer than `frist`. One at a time for each
// X11Waechter, which must be ready.
class X11Frist {
 public:
  X11Frist(X11Waechter& waechter, X11Verbindung& verbindung, std::chrono::milliseconds frist);
  ~X11Frist();
  X11Frist(const X11Frist&) = delete;
  X11Frist& operator=(const X11Frist&) = delete;

 private:
  X11Waechter& waechter_;
};

}  // namespace hallkorb
