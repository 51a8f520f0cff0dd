#include "platform/linux/audio/PipewireGeraete.h"

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>

#include "platform/linux/audio/PipewireQuelle.h"
#include "platform/linux/audio/PipewireVerbindung.h"

namespace hallkorb {
namespace {

constexpr std::chrono::milliseconds FRIST{3000};
// Without a session manager nobody names defaults; one that starts with the daemon comes a little
// later.
constexpr std::chrono::milliseconds FRIST_OHNE_VERWALTER{1000};

std::optional<std::string> anzeige(const std::optional<PipewireVerzeichnis::Knoten>& knoten) {
  if (!knoten) return std::nullopt;
  return knoten->anzeige.empty() ? knoten->name : knoten->anzeige;
}

// Set by the loop's thread after each change, waited for by the caller.
struct Glocke {
  std::mutex lock;
  std::condition_variable neues;
  bool gelaeutet = false;

  void laeute() {
    {
      const std::lock_guard halter(lock);
      gelaeutet = true;
    }
    neues.notify_one();
  }
  void warteBis(std::chrono::steady_clock::time_point ende) {
    std::unique_lock halter(lock);
    neues.wait_until(halter, ende, [this] { return std::exchange(gelaeutet, false); });
  }
};

}  // namespace

std::variant<Geraetenamen, Fehler> pipewireGeraete() {
  const auto anfang = std::chrono::steady_clock::now();
  Glocke glocke;
  auto neue = PipewireVerbindung::neu([&glocke] { glocke.laeute(); });
  if (Fehler* fehler = std::get_if<Fehler>(&neue)) return std::move(*fehler);
  const auto& verbindung = std::get<std::unique_ptr<PipewireVerbindung>>(neue);
  Geraetenamen namen;
  bool bereit = false;
  for (;;) {
    {
      const PipewireVerbindung::Sperre sperre(*verbindung);
      if (verbindung->verloren()) break;
      bereit = verbindung->bereit();
      const PipewireVerzeichnis& verzeichnis = verbindung->verzeichnis();
      namen = {anzeige(verzeichnis.standard(PipewireQuelle::MIKROFON)),
               anzeige(verzeichnis.standard(PipewireQuelle::SYSTEM_AUDIO))};
    }
    if (namen.mikrofon && namen.lautsprecher) return namen;
    const auto ende = anfang + (bereit ? FRIST_OHNE_VERWALTER : FRIST);
    if (std::chrono::steady_clock::now() >= ende) break;
    glocke.warteBis(ende);
  }
  if (bereit) return namen;
  return Fehler{"pipewire", ETIMEDOUT, "PipeWire antwortet nicht"};
}

}  // namespace hallkorb
