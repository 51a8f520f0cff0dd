// The way to the X server: a connected socket, already greeted.
//
// libxcb can connect by itself, but it waits without limit for a server that accepts and then says
// nothing (one that is stopped, or hangs in its driver), and it writes the reason of a refusal to
// standard error. Neither is bearable in a program that must go on recording sound and whose lines
// on standard error all are its own. So the socket is made here, and the server's welcome is tried
// out on a first connection, with a time limit and with the refusal as an error value.
//
// The server is one of this computer: sockets of the local kind, and those of `localhost` that a
// remote login leaves behind. A recorder runs where the meeting's sound is; and looking up names
// knows no time limit either.
//
// Only the cookie of the user's authority file is offered (MIT-MAGIC-COOKIE-1); that a server lets
// the user in by his local identity needs none. Any thread.
#pragma once

#include <string>

#include "base/Fehler.h"
#include "platform/linux/Deskriptor.h"

namespace hallkorb {

struct X11Socket {
  Deskriptor deskriptor;
  int schirm = 0;
  std::string cookie;  // empty when there is none
};

// Connects to `display` (":1", "localhost:10.0", ...; empty means the environment's DISPLAY). At
// most about 2 seconds.
[[nodiscard]] Ergebnis oeffneX11Socket(const std::string& display, X11Socket& x11);

}  // namespace hallkorb
