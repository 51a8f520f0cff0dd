#include "platform/linux/screen/X11Verbindung.h"

#include <fcntl.h>
#include <sys/socket.h>

#include <cerrno>
#include <utility>

#include "base/Faden.h"
#include "platform/linux/screen/X11Socket.h"

namespace hallkorb {

X11Verbindung::X11Verbindung(std::string display, std::chrono::milliseconds frist)
    : display_(std::move(display)), frist_(frist) {}

X11Verbindung::~X11Verbindung() {
  if (verbindung_ != nullptr) xcb_disconnect(verbindung_);
}

Ergebnis X11Verbindung::oeffne() {
  X11Socket x11;
  if (Ergebnis ergebnis = oeffneX11Socket(display_, frist_, x11); ergebnis.gescheitert())
    return ergebnis;
  const int fd = ::fcntl(x11.deskriptor.fd(), F_DUPFD_CLOEXEC, 0);
  if (fd < 0) return Fehler::ausErrno(errno, "X11-Verbindung");
  {
    const std::lock_guard halter(lock_);
    socket_ = std::move(x11.deskriptor);
    if (abgebrochen_) ::shutdown(socket_.fd(), SHUT_RDWR);
  }
  std::string verfahren = "MIT-MAGIC-COOKIE-1";
  xcb_auth_info_t ausweis{static_cast<int>(verfahren.size()), verfahren.data(),
                          static_cast<int>(x11.cookie.size()), x11.cookie.data()};
  verbindung_ = xcb_connect_to_fd(fd, x11.cookie.empty() ? nullptr : &ausweis);
  if (auto fehler = verloren()) return *std::move(fehler);
  auto schirme = xcb_setup_roots_iterator(xcb_get_setup(verbindung_));
  for (int i = 0; i < x11.schirm && schirme.rem > 1; ++i)
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

X11Waechter::X11Waechter() {
  beginne();
}

X11Waechter::~X11Waechter() {
  {
    const std::lock_guard halter(lock_);
    zuEnde_ = true;
  }
  neues_.notify_one();
  if (faden_) faden_->join();
}

Ergebnis X11Waechter::bereit() {
  if (!faden_) beginne();
  if (!faden_) return keinFaden();
  return {};
}

void X11Waechter::beginne() {
  faden_ = neuerFaden("x11-frist", [this] { laufe(); });
}

void X11Waechter::bewache(X11Verbindung* verbindung, Uhr::time_point bis) {
  {
    const std::lock_guard halter(lock_);
    bewacht_ = verbindung;
    bis_ = bis;
  }
  neues_.notify_one();
}

// A connection that is set is alive. Breaking it only closes a socket, so the lock may be held.
void X11Waechter::laufe() {
  std::unique_lock halter(lock_);
  while (!zuEnde_) {
    if (bewacht_ == nullptr) {
      neues_.wait(halter);
    } else if (Uhr::now() < bis_) {
      neues_.wait_until(halter, bis_);
    } else {
      bewacht_->brichAb();
      bewacht_ = nullptr;
    }
  }
}

X11Frist::X11Frist(X11Waechter& waechter, X11Verbindung& verbindung,
                   std::chrono::milliseconds frist)
    : waechter_(waechter) {
  waechter_.bewache(&verbindung, X11Waechter::Uhr::now() + frist);
}

X11Frist::~X11Frist() {
  waechter_.bewache(nullptr, {});
}

}  // namespace hallkorb
