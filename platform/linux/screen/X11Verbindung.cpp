#include "platform/linux/screen/X11Verbindung.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <cerrno>
#include <utility>

#include "base/Faden.h"
#include "platform/linux/screen/X11Anschluss.h"

namespace hallkorb {

X11Verbindung::X11Verbindung(std::string display) : display_(std::move(display)) {}

X11Verbindung::~X11Verbindung() {
  if (verbindung_ != nullptr) xcb_disconnect(verbindung_);
}

Ergebnis X11Verbindung::oeffne() {
  X11Anschluss anschluss;
  if (Ergebnis ergebnis = verbindeX11(display_, anschluss); ergebnis.gescheitert()) return ergebnis;
  const int fd = ::fcntl(anschluss.socket.fd(), F_DUPFD_CLOEXEC, 0);
  if (fd < 0) return Fehler::ausErrno(errno, "X11-Verbindung");
  {
    const std::lock_guard halter(lock_);
    socket_ = std::move(anschluss.socket);
    if (abgebrochen_) ::shutdown(socket_.fd(), SHUT_RDWR);
  }
  std::string verfahren = "MIT-MAGIC-COOKIE-1";
  xcb_auth_info_t ausweis{static_cast<int>(verfahren.size()), verfahren.data(),
                          static_cast<int>(anschluss.cookie.size()), anschluss.cookie.data()};
  verbindung_ = xcb_connect_to_fd(fd, anschluss.cookie.empty() ? nullptr : &ausweis);
  if (auto fehler = verloren()) return *std::move(fehler);
  auto schirme = xcb_setup_roots_iterator(xcb_get_setup(verbindung_));
  for (int i = 0; i < anschluss.schirm && schirme.rem > 1; ++i)
    xcb_screen_next(&schirme);
  schirm_ = schirme.data;
  return {};
}

void X11Verbindung::brichAb() {
  const std::lock_guard halter(lock_);
  abgebrochen_ = true;
  if (socket_.fd() >= 0) ::shutdown(socket_.fd(), SHUT_RDWR);
}

std::optional<Fehler> X11Verbindung::verloren() const {
  const int grund = xcb_connection_has_error(verbindung_);
  if (grund == 0) return std::nullopt;
  return Fehler{"x11", grund, "die Verbindung zum X-Server ist weg"};
}

X11Frist::X11Frist(X11Verbindung& verbindung, std::chrono::milliseconds frist)
    : waechter_([this, &verbindung, frist] {
        beginneFaden("x11-frist");
        std::unique_lock halter(lock_);
        if (!ende_.wait_for(halter, frist, [this] { return vorbei_; })) verbindung.brichAb();
      }) {}

X11Frist::~X11Frist() {
  {
    const std::lock_guard halter(lock_);
    vorbei_ = true;
  }
  ende_.notify_one();
  waechter_.join();
}

}  // namespace hallkorb
