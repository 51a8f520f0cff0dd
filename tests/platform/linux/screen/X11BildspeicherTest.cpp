// The ways that a window's pixels take.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/linux/Deskriptor.h"
#include "platform/linux/screen/X11Bildspeicher.h"
#include "platform/linux/screen/X11Verbindung.h"
#include "tests/support/Prozess.h"
#include "tests/support/X11Bildschirm.h"

namespace hallkorb {
namespace {

constexpr auto KEINER = X11Bildschirm::Verwalter::KEINER;

// Reads pictures that grow and returns whether they came through shared memory.
bool geteiltGelesen(const X11Bildschirm& bildschirm, const std::string& display) {
  const auto fenster = bildschirm.fenster({"--farbe", "2060A0", "--groesse", "400", "300"});
  X11Verbindung verbindung(display, std::chrono::hours(1));
  if (const Ergebnis ergebnis = verbindung.oeffne(); ergebnis.gescheitert()) {
    ADD_FAILURE() << ergebnis.fehler().gedruckt();
    return false;
  }
  X11Bildspeicher speicher(verbindung, true);
  for (const int breite : {40, 400}) {
    const std::uint8_t* daten = speicher.lies(speicher.frage(fenster->id(), 0, 0, breite, 300, {}));
    EXPECT_NE(daten, nullptr);
    if (daten == nullptr) continue;
    const std::uint8_t* letzter = daten + (299 * breite + breite - 1) * 4;
    EXPECT_EQ(letzter[0], 0xA0);
    EXPECT_EQ(letzter[1], 0x60);
    EXPECT_EQ(letzter[2], 0x20);
  }
  return speicher.geteilt();
}

// A way to the server like that of a remote login: a port of localhost, whose connections reach the
// server like those of a local program.
class Fernanmeldung {
 public:
  explicit Fernanmeldung(const std::string& display)
      : ziel_("/tmp/.X11-unix/X" + display.substr(1)),
        horcher_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in adresse{};
    adresse.sin_family = AF_INET;
    adresse.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    do {
      adresse.sin_port = htons(static_cast<std::uint16_t>(6000 + ++nummer_));
    } while (nummer_ < 1000 && ::bind(horcher_.fd(), reinterpret_cast<const sockaddr*>(&adresse),
                                      sizeof adresse) != 0);
    if (::listen(horcher_.fd(), 4) != 0) throw std::runtime_error("no port");
    thread_ = std::thread([this] { laufe(); });
  }
  ~Fernanmeldung() {
    ende_.wecke();
    thread_.join();
  }
  Fernanmeldung(const Fernanmeldung&) = delete;
  Fernanmeldung& operator=(const Fernanmeldung&) = delete;

  [[nodiscard]] std::string display() const { return "localhost:" + std::to_string(nummer_); }

 private:
  // Two ends, by their indices in `enden_` beside each other.
  void laufe() {
    while (true) {
      std::vector<pollfd> warten{{ende_.fd(), POLLIN, 0}, {horcher_.fd(), POLLIN, 0}};
      for (const Deskriptor& ende : enden_)
        warten.push_back({ende.fd(), POLLIN, 0});
      ::poll(warten.data(), warten.size(), -1);
      if (warten[0].revents != 0) return;
      for (std::size_t i = enden_.size(); i-- > 0;) {
        if (warten[i + 2].revents == 0 || reiche(enden_[i].fd(), enden_[i ^ 1U].fd())) continue;
        enden_[i] = Deskriptor();
        enden_[i ^ 1U] = Deskriptor();
      }
      if (warten[1].revents != 0) nimmAn();
    }
  }
  void nimmAn() {
    sockaddr_un adresse{};
    adresse.sun_family = AF_UNIX;
    ziel_.copy(adresse.sun_path, sizeof adresse.sun_path - 1);
    enden_.emplace_back(::accept4(horcher_.fd(), nullptr, nullptr, SOCK_CLOEXEC));
    enden_.emplace_back(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (::connect(enden_.back().fd(), reinterpret_cast<const sockaddr*>(&adresse),
                  sizeof adresse) != 0) {
      ADD_FAILURE() << ziel_;
    }
  }
  // False if one of them has ended.
  static bool reiche(int von, int nach) {
    std::array<char, 65536> bytes{};
    const ssize_t n = ::recv(von, bytes.data(), bytes.size(), 0);
    for (ssize_t i = 0; i < n;) {
      const ssize_t m =
          ::send(nach, bytes.data() + i, static_cast<std::size_t>(n - i), MSG_NOSIGNAL);
      if (m <= 0) return false;
      i += m;
    }
    return n > 0;
  }

  const std::string ziel_;
  Deskriptor horcher_;
  int nummer_ = 400;
  Wecker ende_;
  std::vector<Deskriptor> enden_;
  std::thread thread_;
};

TEST(X11Bildspeicher, AServerOfThisComputerSharesItsMemory) {
  const X11Bildschirm bildschirm(KEINER);
  EXPECT_TRUE(geteiltGelesen(bildschirm, bildschirm.display()));
}

TEST(X11Bildspeicher, AServerBehindARemoteLoginIsNotOfThisComputer) {
  // It would take the segment's number for one of its own.
  const X11Bildschirm bildschirm(KEINER);
  const Fernanmeldung fern(bildschirm.display());
  EXPECT_FALSE(geteiltGelesen(bildschirm, fern.display()));
}

TEST(X11Bildspeicher, AServerWithoutTheExtension) {
  const X11Bildschirm bildschirm(KEINER, {.optionen = {"-extension", "MIT-SHM"}});
  EXPECT_FALSE(geteiltGelesen(bildschirm, bildschirm.display()));
}

TEST(X11Bildspeicher, ASegmentThatTheServerRefuses) {
  // It looks for it among those of its own name space.
  if (Prozess({"unshare", "--ipc", "true"}, Prozess::Fehlerausgabe::VERWORFEN).warte() != 0) {
    GTEST_SKIP() << "no right to make an IPC name space";
  }
  const X11Bildschirm bildschirm(KEINER, {.davor = {"unshare", "--ipc"}});
  EXPECT_FALSE(geteiltGelesen(bildschirm, bildschirm.display()));
}

}  // namespace
}  // namespace hallkorb
