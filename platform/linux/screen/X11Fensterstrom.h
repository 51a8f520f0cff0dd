// The moving picture of one window of an X11 screen.
//
// A thread of its own reads the pictures and hands them to the listener, one at a time; while the
// listener is busy no other is read, so nothing queues up. One that it has no room for is read
// again later, or what a window showed last would be missing for as long as it stands still.
// start() and wechsle() leave their request with that thread and wait for the result, which comes
// when the window's first picture is about to be read (Anstrich.h): who notes the time then knows
// when the window is first seen. Two things delay that picture by up to a second more: the window
// changes at that moment, so that the picture is read anew; or a slow server has taken most of the
// time of start() or wechsle(), which succeed once three quarters of it are gone, even if the
// window is still being painted. If the server falls silent, those who wait notice: they break the
// connection when their time is up, and so does stop().
//
// The pictures have the window's own size; they are fitted into the video where they are converted
// (see Letterbox.h), so that they are touched only once. `warteschlange` has no meaning here for
// the same reason.
//
// If a change of window fails, the stream stays with the old one; so it does, with another first
// picture, if the new one is closed before it is painted.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "base/Fehler.h"
#include "platform/linux/Deskriptor.h"
#include "platform/linux/screen/Anstrich.h"
#include "platform/linux/screen/X11Verbindung.h"
#include "platform/ScreenCapture.h"

namespace hallkorb {

class X11Fensterstrom final : public WindowStream {
 public:
  // What start() and wechsle() may take, and after what time they wait no longer for the window to
  // be painted.
  struct Frist {
    std::chrono::milliseconds ganz;
    std::chrono::milliseconds ungemalt = ganz * 3 / 4;
  };

  // `display` as for oeffneX11Socket(), `mitSegment` as for X11Bildspeicher; `fristen` is what a
  // program may take to paint its window.
  X11Fensterstrom(const std::string& display, const StreamKonfiguration& konfiguration,
                  bool mitSegment, const Frist& frist, const AnstrichFristen& fristen = {});
  ~X11Fensterstrom() override;
  X11Fensterstrom(const X11Fensterstrom&) = delete;
  X11Fensterstrom& operator=(const X11Fensterstrom&) = delete;

  [[nodiscard]] Ergebnis start(std::uint32_t id, WindowStreamListener& listener) override;
  [[nodiscard]] Ergebnis wechsle(std::uint32_t id) override;
  void stop() override;

 private:
  using Uhr = Anstrich::Uhr;
  struct Auftrag {
    std::uint32_t fenster = 0;
    Uhr::time_point ungemaltAb;  // from then on it succeeds even if the window is not painted yet
  };

  void laufe(WindowStreamListener& listener);
  // Returns what has ended it by itself. `gezeigt` is the window of the last request that has
  // succeeded.
  [[nodiscard]] Ergebnis nimmAuf(WindowStreamListener& listener,
                                 std::optional<std::uint32_t>& gezeigt);
  [[nodiscard]] Ergebnis warteAufAntwort(std::unique_lock<std::mutex>& halter);
  [[nodiscard]] std::optional<Auftrag> auftrag();
  // False if nobody waits for it any more.
  bool antworte(const Ergebnis& ergebnis);
  [[nodiscard]] bool gestoppt();

  const StreamKonfiguration konfiguration_;
  const bool mitSegment_;
  const Frist frist_;
  const AnstrichFristen fristen_;
  X11Verbindung verbindung_;
  Wecker wecker_;  // set when the thread has something to look at

  std::mutex lock_;  // for what follows, up to the thread
  std::condition_variable geantwortet_;
  std::optional<Auftrag> auftrag_;  // until antwort_ is there
  std::optional<Ergebnis> antwort_;
  bool stopp_ = false;
  bool zuEnde_ = false;  // the thread takes no more requests

  std::mutex fadenLock_;  // for `faden_`; held by whoever waits for its end
  std::thread faden_;
};

}  // namespace hallkorb
