// A connected socket to the X server, which is known to answer and to let us in.
//
// libxcb can connect by itself, but it waits without limit for a server that accepts and then says
// nothing (one that is stopped, or hangs in its driver), and it writes the reason of a refusal to
// standard error. A program that must go on recording sound, and whose lines on standard error are
// all its own, can afford neither. So the socket is made here, and a first connection tries whether
// the server accepts us, with a time limit and with a refusal as an error value.
//
// The server is one of this computer: local sockets, and those of `localhost` that a remote login
// forwards. A recorder runs where the meeting's sound is, and looking up host names has no time
// limit either.
//
// Only the cookie of the user's authority file is offered (MIT-MAGIC-COOKIE-1); a server that
// admits the user by his local identity needs none. Any thread.
#pragma once

#include <chrono>
#include <string>

#include "base/Fehler.h"
#include "platform/linux/Deskriptor.h"

namespace hallkorb {

struct X11Socket {
  Deskriptor deskriptor;
  int schirm = 0;
  std::string cookie;  // may be empty
};

// Connects to `display` (":1", "localhost:10.0", ...; empty means the environment's DISPLAY).
// Ends 0.8 seconds before `frist`, so that the caller learns the reason.
[[nodiscard]] Ergebnis oeffneX11Socket(const std::string& display, std::chrono::milliseconds frist,
                                       X11Socket& x11);

}  // namespace hallkorb
