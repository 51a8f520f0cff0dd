#include "fuzz/XServer.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace hallkorb {
namespace {

// Numbers that this server gives its extensions.
enum Erweiterung : std::uint8_t { COMPOSITE = 140, DAMAGE, XFIXES, SHM, RES };
constexpr std::uint8_t ERSTES_EREIGNIS = 90;
constexpr std::uint32_t WURZEL = 0x100;
constexpr std::uint32_t VISUAL = 0x21;

bool liesGenau(int fd, void* ziel, std::size_t laenge) {
  auto* p = static_cast<std::uint8_t*>(ziel);
  while (laenge > 0) {
    const ssize_t n = ::recv(fd, p, laenge, 0);
    if (n <= 0) return false;
    p += n;
    laenge -= static_cast<std::size_t>(n);
  }
  return true;
}

bool sende(int fd, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t n = ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (n <= 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(n));
  }
  return true;
}

template <class T>
void haengeAn(std::vector<std::uint8_t>& bytes, const T& wert) {
  const auto* p = reinterpret_cast<const std::uint8_t*>(&wert);
  bytes.insert(bytes.end(), p, p + sizeof wert);
}

template <class T>
void setze(std::vector<std::uint8_t>& bytes, std::size_t stelle, T wert) {
  std::memcpy(bytes.data() + stelle, &wert, sizeof wert);
}

// One screen of 24 bits, as most have.
std::vector<std::uint8_t> begruessung() {
  xcb_setup_t setup{};
  setup.status = 1;
  setup.protocol_major_version = 11;
  setup.resource_id_base = 0x200000;
  setup.resource_id_mask = 0x1FFFFF;
  setup.maximum_request_length = 65535;
  setup.roots_len = 1;
  setup.pixmap_formats_len = 2;
  setup.min_keycode = 8;
  setup.max_keycode = 255;
  xcb_screen_t schirm{};
  schirm.root = WURZEL;
  schirm.width_in_pixels = 1920;
  schirm.height_in_pixels = 1080;
  schirm.root_visual = VISUAL;
  schirm.root_depth = 24;
  schirm.allowed_depths_len = 2;
  const auto visual = [](std::uint32_t id, std::uint32_t rot, std::uint32_t gruen) {
    xcb_visualtype_t v{};
    v.visual_id = id;
    v.red_mask = rot;
    v.green_mask = gruen;
    v.blue_mask = gruen == 0xFF00 ? 0xFF : 0x1F;
    return v;
  };
  std::vector<std::uint8_t> bytes;
  haengeAn(bytes, setup);
  haengeAn(bytes, xcb_format_t{24, 32, 32, {}});
  haengeAn(bytes, xcb_format_t{16, 16, 32, {}});
  haengeAn(bytes, schirm);
  haengeAn(bytes, xcb_depth_t{24, 0, 1, {}});
  haengeAn(bytes, visual(VISUAL, 0xFF0000, 0xFF00));
  haengeAn(bytes, xcb_depth_t{16, 0, 1, {}});
  haengeAn(bytes, visual(VISUAL + 1, 0xF800, 0x7E0));
  setze(bytes, offsetof(xcb_setup_t, length), static_cast<std::uint16_t>((bytes.size() - 8) / 4));
  return bytes;
}

}  // namespace

XServer::XServer() {
  // An abstract name leaves no file behind, and the process's number makes it unique.
  const int nummer = 100000 + ::getpid();
  display_ = ":" + std::to_string(nummer);
  const std::string name = "/tmp/.X11-unix/X" + std::to_string(nummer);
  sockaddr_un adresse{};
  adresse.sun_family = AF_UNIX;
  std::memcpy(adresse.sun_path + 1, name.data(), name.size());
  const auto laenge = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
  tuer_ = Deskriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  pruefe(::bind(tuer_.fd(), reinterpret_cast<const sockaddr*>(&adresse), laenge) == 0);
  pruefe(::listen(tuer_.fd(), 4) == 0);
  faden_ = std::thread([this] { laufe(); });
}

XServer::~XServer() {
  {
    const std::lock_guard halter(lock_);
    zuEnde_ = true;
  }
  geaendert_.notify_all();
  faden_.join();
}

void XServer::beginne(std::span<const std::uint8_t> bytes) {
  {
    const std::lock_guard halter(lock_);
    bytes_ = bytes;
    laeuft_ = true;
  }
  geaendert_.notify_all();
}

void XServer::warte() {
  std::unique_lock halter(lock_);
  geaendert_.wait(halter, [this] { return !laeuft_; });
}

void XServer::laufe() {
  std::unique_lock halter(lock_);
  while (true) {
    geaendert_.wait(halter, [this] { return laeuft_ || zuEnde_; });
    if (zuEnde_) return;
    Bytestrom strom(bytes_);
    halter.unlock();
    {
      const Deskriptor probe(::accept(tuer_.fd(), nullptr, nullptr));
      const Deskriptor eigentlich(
          gruesse(probe.fd(), false) ? ::accept(tuer_.fd(), nullptr, nullptr) : -1);
      if (eigentlich.fd() >= 0 && gruesse(eigentlich.fd(), true)) bediene(eigentlich.fd(), strom);
    }
    halter.lock();
    laeuft_ = false;
    geaendert_.notify_all();
  }
}

bool XServer::gruesse(int fd, bool ganz) {
  xcb_setup_request_t gruss{};
  if (!liesGenau(fd, &gruss, sizeof gruss)) return false;
  const auto gerundet = [](std::size_t laenge) { return (laenge + 3) / 4 * 4; };
  std::vector<std::uint8_t> ausweis(gerundet(gruss.authorization_protocol_name_len) +
                                    gerundet(gruss.authorization_protocol_data_len));
  if (!liesGenau(fd, ausweis.data(), ausweis.size())) return false;
  const std::vector<std::uint8_t> antwort = begruessung();
  return sende(fd, std::span(antwort).first(ganz ? antwort.size() : 8));
}

void XServer::bediene(int fd, Bytestrom& strom) {
  Anfrage anfrage;
  for (std::uint16_t nummer = 1; liesAnfrage(fd, anfrage) && !strom.leer(); ++nummer) {
    if (!hatAntwort(anfrage)) continue;
    if (!sende(fd, antwort(anfrage, strom, nummer))) return;
  }
}

bool XServer::liesAnfrage(int fd, Anfrage& anfrage) {
  std::array<std::uint8_t, 4> kopf{};
  if (!liesGenau(fd, kopf.data(), kopf.size())) return false;
  std::uint16_t worte = 0;
  std::memcpy(&worte, kopf.data() + 2, sizeof worte);
  if (worte == 0) return false;  // only of requests of more than 256 KiB
  anfrage.was = kopf[0];
  anfrage.genau = kopf[1];
  anfrage.bytes.resize((std::size_t{worte} - 1) * 4);
  return liesGenau(fd, anfrage.bytes.data(), anfrage.bytes.size());
}

bool XServer::hatAntwort(const Anfrage& anfrage) {
  switch (anfrage.was) {
    case XCB_GET_WINDOW_ATTRIBUTES:
    case XCB_GET_GEOMETRY:
    case XCB_QUERY_TREE:
    case XCB_INTERN_ATOM:
    case XCB_GET_PROPERTY:
    case XCB_QUERY_POINTER:
    case XCB_TRANSLATE_COORDINATES:
    case XCB_GET_INPUT_FOCUS:
    case XCB_GET_IMAGE:
    case XCB_QUERY_EXTENSION:
      return true;
    case COMPOSITE:
    case DAMAGE:
      return anfrage.genau == 0;
    case XFIXES:
    case SHM:
    case RES:
      return anfrage.genau == 0 || anfrage.genau == 4;
    default:
      return false;
  }
}

// What a well-behaved server says, as far as the program reads it; what varies is drawn.
std::vector<std::uint8_t> XServer::ueblich(const Anfrage& anfrage, Bytestrom& strom) {
  std::vector<std::uint8_t> a(32);
  switch (anfrage.was) {
    case XCB_QUERY_EXTENSION: {
      const auto* text = reinterpret_cast<const char*>(anfrage.bytes.data());
      const std::string_view name(text + 4, anfrage.bytes.size() - 4);
      const std::array<std::string_view, 5> namen{"Composite", "DAMAGE", "XFIXES", "MIT-SHM",
                                                  "X-Resource"};
      for (std::uint8_t k = 0; k < namen.size(); ++k) {
        if (!name.starts_with(namen[k])) continue;
        a[8] = 1;
        a[9] = static_cast<std::uint8_t>(COMPOSITE + k);
        a[10] = static_cast<std::uint8_t>(ERSTES_EREIGNIS + k);
      }
      break;
    }
    case XCB_INTERN_ATOM:
      setze(a, 8, std::uint32_t{strom.byte()});
      break;
    case XCB_GET_WINDOW_ATTRIBUTES:
      a.resize(44);
      setze(a, 8, VISUAL + strom.byte() % 2);
      setze(a, 12, std::uint16_t{XCB_WINDOW_CLASS_INPUT_OUTPUT});
      a[26] = XCB_MAP_STATE_VIEWABLE;
      break;
    case XCB_GET_GEOMETRY:
      a[1] = strom.byte() % 2 == 0 ? 24 : 16;
      setze(a, 8, WURZEL);
      setze(a, 16, static_cast<std::uint16_t>(strom.byte() / 4));
      setze(a, 18, static_cast<std::uint16_t>(strom.byte() / 4));
      break;
    case XCB_QUERY_TREE:
    case XCB_GET_PROPERTY: {
      const std::size_t worte = strom.byte() % 32;
      a.resize(32 + 4 * worte);
      const auto inhalt = strom.stueck(4 * worte);
      std::copy(inhalt.begin(), inhalt.end(), a.begin() + 32);
      if (anfrage.was == XCB_QUERY_TREE) {
        setze(a, 8, WURZEL);
        setze(a, 12, std::uint32_t{strom.byte()});
        setze(a, 16, static_cast<std::uint16_t>(worte));
      } else {
        a[1] = strom.byte() % 2 == 0 ? 32 : 8;
        setze(a, 8, std::uint32_t{strom.byte()});
        setze(a, 16, static_cast<std::uint32_t>(a[1] == 32 ? worte : 4 * worte));
      }
      break;
    }
    case XFIXES:
      if (anfrage.genau == 4) {
        const std::size_t breite = strom.byte() % 16;
        const std::size_t hoehe = strom.byte() % 16;
        a.resize(32 + 4 * breite * hoehe, strom.byte());
        setze(a, 12, static_cast<std::uint16_t>(breite));
        setze(a, 14, static_cast<std::uint16_t>(hoehe));
      } else {
        a[8] = 4;
      }
      break;
    case XCB_GET_IMAGE:
      a.resize(32 + std::size_t{64} * 64 * 4, strom.byte());
      a[1] = 24;
      break;
    default:
      a[8] = 1;
      a[12] = 4;
      break;
  }
  return a;
}

std::vector<std::uint8_t> XServer::antwort(const Anfrage& anfrage, Bytestrom& strom,
                                           std::uint16_t nummer) {
  const std::uint8_t art = strom.byte() % 16;
  std::vector<std::uint8_t> davor;
  if (art == 14) {  // an event first
    davor.resize(32);
    const auto inhalt = strom.stueck(31);
    std::copy(inhalt.begin(), inhalt.end(), davor.begin() + 1);
    davor[0] = static_cast<std::uint8_t>(2 + strom.byte() % 92);
    if (davor[0] == XCB_GE_GENERIC) davor[0] = XCB_UNMAP_NOTIFY;
    setze(davor, 2, static_cast<std::uint16_t>(nummer - 1));
  }
  std::vector<std::uint8_t> a = ueblich(anfrage, strom);
  if (art == 0) {
    a.assign(32, 0);
    a[1] = strom.byte();
  } else {
    const bool fest = anfrage.was == XCB_QUERY_EXTENSION;
    if (fest) {
      // With another number a request without an answer would get one, which libxcb aborts for.
    } else if (art < 6) {  // some bytes of it are others
      for (int k = 0; k < art; ++k)
        a[8 + std::size_t{strom.byte()} % 24] = strom.byte();
    } else if (art == 15) {  // anything
      a.resize(32 + 4 * (std::size_t{strom.byte()} % 64));
      const auto inhalt = strom.stueck(a.size());
      std::copy(inhalt.begin(), inhalt.end(), a.begin());
    }
    a[0] = 1;
    a.resize((a.size() + 3) / 4 * 4);
    setze(a, 4, static_cast<std::uint32_t>((a.size() - 32) / 4));
  }
  setze(a, 2, nummer);
  davor.insert(davor.end(), a.begin(), a.end());
  return davor;
}

}  // namespace hallkorb
