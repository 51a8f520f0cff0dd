#include "platform/linux/screen/X11Socket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <bit>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/linux/screen/Xcb.h"

namespace hallkorb {
namespace {

using Uhr = std::chrono::steady_clock;

constexpr std::chrono::milliseconds VORSPRUNG{800};
constexpr std::string_view VERFAHREN = "MIT-MAGIC-COOKIE-1";

// The parts of DISPLAY.
struct Ziel {
  std::string name;
  std::string rechner;
  int nummer = 0;
  int schirm = 0;
};

Fehler fehler(int code, const std::string& text) {
  return {"x11", code, text};
}

Ergebnis zerlege(const std::string& display, Ziel& ziel) {
  ziel.name = display;
  if (ziel.name.empty()) {
    const char* umgebung = std::getenv("DISPLAY");
    if (umgebung != nullptr) ziel.name = umgebung;
  }
  if (ziel.name.empty()) return fehler(ENOENT, "kein Bildschirm: DISPLAY ist nicht gesetzt");
  char* rechner = nullptr;
  if (xcb_parse_display(ziel.name.c_str(), &rechner, &ziel.nummer, &ziel.schirm) == 0) {
    return fehler(EINVAL, "DISPLAY ist nicht lesbar: " + ziel.name);
  }
  ziel.rechner = rechner;
  std::free(rechner);
  return {};
}

bool warteAuf(int fd, short ereignis, Uhr::time_point ende) {
  while (true) {
    const auto rest = std::chrono::ceil<std::chrono::milliseconds>(ende - Uhr::now()).count();
    pollfd warten{fd, ereignis, 0};
    const int n = ::poll(&warten, 1, static_cast<int>(rest > 0 ? rest : 0));
    if (n > 0) return true;
    if (n == 0 || errno != EINTR) return false;
  }
}

// Connects; if that fails, the descriptor is empty and errno set.
Deskriptor verbinde(const sockaddr* adresse, std::size_t laenge, Uhr::time_point ende) {
  Deskriptor fd(::socket(adresse->sa_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (fd.fd() < 0) return {};
  if (::connect(fd.fd(), adresse, static_cast<socklen_t>(laenge)) == 0) return fd;
  if (errno != EINPROGRESS) return {};
  int grund = ETIMEDOUT;
  socklen_t grundLaenge = sizeof grund;
  if (warteAuf(fd.fd(), POLLOUT, ende)) {
    ::getsockopt(fd.fd(), SOL_SOCKET, SO_ERROR, &grund, &grundLaenge);
  }
  if (grund == 0) return fd;
  errno = grund;
  return {};
}

Deskriptor verbindeOertlich(const std::string& pfad, bool abstrakt, Uhr::time_point ende) {
  sockaddr_un adresse{};
  adresse.sun_family = AF_UNIX;
  if (pfad.size() + 2 > sizeof adresse.sun_path) {
    errno = ENAMETOOLONG;
    return {};
  }
  // A name of the abstract kind begins with a null byte and ends with its length.
  std::memcpy(adresse.sun_path + (abstrakt ? 1 : 0), pfad.data(), pfad.size());
  const std::size_t laenge = offsetof(sockaddr_un, sun_path) + pfad.size() + 1;
  return verbinde(reinterpret_cast<const sockaddr*>(&adresse), laenge, ende);
}

Deskriptor verbindeLocalhost(int nummer, Uhr::time_point ende) {
  const auto port = htons(static_cast<std::uint16_t>(6000 + nummer));
  sockaddr_in vier{};
  vier.sin_family = AF_INET;
  vier.sin_port = port;
  vier.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  Deskriptor fd = verbinde(reinterpret_cast<const sockaddr*>(&vier), sizeof vier, ende);
  if (fd.fd() >= 0) return fd;
  sockaddr_in6 sechs{};
  sechs.sin6_family = AF_INET6;
  sechs.sin6_port = port;
  sechs.sin6_addr = in6addr_loopback;
  return verbinde(reinterpret_cast<const sockaddr*>(&sechs), sizeof sechs, ende);
}

Deskriptor verbindeZu(const Ziel& ziel, Uhr::time_point ende) {
  if (ziel.rechner.starts_with('/')) return verbindeOertlich(ziel.rechner, false, ende);
  if (ziel.rechner.empty() || ziel.rechner == "unix") {
    const std::string pfad = "/tmp/.X11-unix/X" + std::to_string(ziel.nummer);
    Deskriptor fd = verbindeOertlich(pfad, false, ende);
    // A container may have its own folder but share the abstract names.
    return fd.fd() >= 0 ? std::move(fd) : verbindeOertlich(pfad, true, ende);
  }
  if (ziel.rechner == "localhost" || ziel.rechner == "127.0.0.1" || ziel.rechner == "::1") {
    return verbindeLocalhost(ziel.nummer, ende);
  }
  errno = EHOSTUNREACH;
  return {};
}

std::string leseCookie(int nummer) {
  std::array<char, 256> rechner{};
  if (::gethostname(rechner.data(), rechner.size() - 1) != 0) return {};
  const std::string anzeige = std::to_string(nummer);
  std::string verfahren(VERFAHREN);
  char* namen[] = {verfahren.data()};
  const int laengen[] = {static_cast<int>(verfahren.size())};
  const std::unique_ptr<Xauth, decltype(XauDisposeAuth)> eintrag(
      XauGetBestAuthByAddr(FamilyLocal, static_cast<unsigned short>(std::strlen(rechner.data())),
                           rechner.data(), static_cast<unsigned short>(anzeige.size()),
                           anzeige.c_str(), 1, namen, laengen),
      XauDisposeAuth);
  if (!eintrag) return {};
  return {eintrag->data, eintrag->data_length};
}

bool liesGenau(int fd, void* ziel, std::size_t laenge, Uhr::time_point ende) {
  auto* p = static_cast<char*>(ziel);
  while (laenge > 0) {
    const ssize_t n = ::recv(fd, p, laenge, 0);
    if (n > 0) {
      p += n;
      laenge -= static_cast<std::size_t>(n);
    } else if (n == 0 || (errno != EAGAIN && errno != EINTR) || !warteAuf(fd, POLLIN, ende)) {
      return false;
    }
  }
  return true;
}

// Greets the server on a connection made for that; returns the reason if it refuses us.
Ergebnis gruesse(int fd, const Ziel& ziel, const std::string& cookie, Uhr::time_point ende) {
  const std::string_view verfahren = cookie.empty() ? std::string_view() : VERFAHREN;
  const auto gerundet = [](std::size_t laenge) { return (laenge + 3) / 4 * 4; };
  xcb_setup_request_t gruss{};
  gruss.byte_order = std::endian::native == std::endian::little ? 'l' : 'B';
  gruss.protocol_major_version = 11;
  gruss.authorization_protocol_name_len = static_cast<std::uint16_t>(verfahren.size());
  gruss.authorization_protocol_data_len = static_cast<std::uint16_t>(cookie.size());
  std::string bytes(reinterpret_cast<const char*>(&gruss), sizeof gruss);
  bytes.append(verfahren).resize(sizeof gruss + gerundet(verfahren.size()));
  bytes.append(cookie).resize(sizeof gruss + gerundet(verfahren.size()) + gerundet(cookie.size()));

  xcb_setup_failed_t antwort{};
  if (::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(bytes.size()) ||
      !liesGenau(fd, &antwort, sizeof antwort, ende)) {
    return fehler(ETIMEDOUT, "der X-Server " + ziel.name + " antwortet nicht");
  }
  constexpr std::uint8_t WILLKOMMEN = 1;
  if (antwort.status == WILLKOMMEN) return {};
  std::string grund(antwort.reason_len, '\0');
  if (!liesGenau(fd, grund.data(), grund.size(), ende)) grund.clear();
  while (!grund.empty() && (grund.back() == '\n' || grund.back() == '\0'))
    grund.pop_back();
  return fehler(EACCES, "der X-Server " + ziel.name + " lehnt ab: " + grund);
}

}  // namespace

Ergebnis oeffneX11Socket(const std::string& display, std::chrono::milliseconds frist,
                         X11Socket& x11) {
  if (Ergebnis ergebnis = ladeXcb(); ergebnis.gescheitert()) return ergebnis;
  const auto ende = Uhr::now() + frist - VORSPRUNG;
  Ziel ziel;
  if (Ergebnis ergebnis = zerlege(display, ziel); ergebnis.gescheitert()) return ergebnis;
  x11.schirm = ziel.schirm;
  x11.cookie = leseCookie(ziel.nummer);
  const Deskriptor probe = verbindeZu(ziel, ende);
  if (probe.fd() < 0) return fehler(errno, "kein X-Server antwortet auf " + ziel.name);
  if (Ergebnis ergebnis = gruesse(probe.fd(), ziel, x11.cookie, ende); ergebnis.gescheitert())
    return ergebnis;
  x11.deskriptor = verbindeZu(ziel, ende);
  if (x11.deskriptor.fd() < 0) return fehler(errno, "kein X-Server antwortet auf " + ziel.name);
  return {};
}

}  // namespace hallkorb
