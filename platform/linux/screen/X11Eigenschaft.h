// One property of a window: asked for now, read later.
//
// The thread of the connection.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "platform/linux/screen/X11Verbindung.h"
#include "platform/linux/screen/Xcb.h"

namespace hallkorb {

class X11Eigenschaft {
 public:
  // Sends the request.
  X11Eigenschaft(xcb_connection_t* verbindung, xcb_window_t fenster, xcb_atom_t name)
      : verbindung_(verbindung),
        frage_(
            xcb_get_property(verbindung, 0, fenster, name, XCB_GET_PROPERTY_TYPE_ANY, 0, WORTE)) {}

  // Waits for the answer; before all that follows.
  void lies() { antwort_.reset(xcb_get_property_reply(verbindung_, frage_, nullptr)); }

  [[nodiscard]] xcb_atom_t art() const {
    return antwort_ ? antwort_->type : xcb_atom_t{XCB_ATOM_NONE};
  }
  // Empty if the property is absent or not made of bytes.
  [[nodiscard]] std::string_view bytes() const {
    if (!antwort_ || antwort_->format != 8) return {};
    const auto werte = inhalt<char>();
    return {werte.data(), werte.size()};
  }
  // Empty if the property is absent or not made of 32-bit numbers.
  [[nodiscard]] std::span<const std::uint32_t> zahlen() const {
    if (!antwort_ || antwort_->format != 32) return {};
    return inhalt<std::uint32_t>();
  }

 private:
  template <class Wert>
  [[nodiscard]] std::span<const Wert> inhalt() const {
    return x11Werte(*antwort_, static_cast<const Wert*>(xcb_get_property_value(antwort_.get())),
                    antwort_->value_len);
  }

  // Of 32 bits: as many windows, or four times as many bytes of a title.
  static constexpr std::uint32_t WORTE = 16384;

  xcb_connection_t* verbindung_;
  xcb_get_property_cookie_t frage_;
  X11Antwort<xcb_get_property_reply_t> antwort_;
};

}  // namespace hallkorb
