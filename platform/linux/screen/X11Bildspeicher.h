// Where the pixels of a drawable arrive: a segment of memory shared with the X server (MIT-SHM) or,
// if the two cannot share any (another machine, another IPC name space), the answer on the socket,
// at about five times the cost.
//
// The segment grows with the pictures and is never made smaller; it is marked for removal as soon
// as both have it, so that nothing stays behind however the process ends.
//
// The thread of the connection.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/linux/screen/X11Punktformat.h"
#include "platform/linux/screen/X11Verbindung.h"
#include "platform/linux/screen/Xcb.h"

namespace hallkorb {

class X11Bildspeicher {
 public:
  // A pending request. What is requested before it and read after it belongs to the same moment.
  struct Frage {
    bool geteilt = false;
    xcb_shm_get_image_cookie_t perSegment{};
    xcb_get_image_cookie_t perSocket{};
    std::size_t bytes = 0;
  };

  // `mitSegment`: whether to try shared memory.
  X11Bildspeicher(const X11Verbindung& verbindung, bool mitSegment);
  ~X11Bildspeicher();
  X11Bildspeicher(const X11Bildspeicher&) = delete;
  X11Bildspeicher& operator=(const X11Bildspeicher&) = delete;

  // Sends the request for a rectangle of pixels of a drawable of this format.
  [[nodiscard]] Frage frage(xcb_drawable_t quelle, int x, int y, int breite, int hoehe,
                            const X11Punktformat& format);
  // Waits for the pixels; null if there are none. Valid until the next call.
  [[nodiscard]] std::uint8_t* lies(const Frage& frage);
  // Whether pictures come through shared memory.
  [[nodiscard]] bool geteilt() const { return geteilt_; }

 private:
  void vergroessere(std::size_t bytes);
  void gibFrei();

  const X11Verbindung& verbindung_;
  bool geteilt_ = false;
  xcb_shm_seg_t segment_ = XCB_NONE;
  std::uint8_t* speicher_ = nullptr;
  std::size_t groesse_ = 0;
  X11Antwort<xcb_get_image_reply_t> antwort_;
};

}  // namespace hallkorb
