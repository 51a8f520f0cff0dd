#include "session/FruehereAufnahme.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <utility>

namespace hallkorb {
namespace {

// Some file systems round times down to two seconds, and here they are whole ones.
constexpr std::int64_t RUNDUNG = 3;

class Sonderer {
 public:
  Sonderer(Sitzungsordner& ordner, std::int64_t grenze, Dateien& dateien)
      : ordner_(ordner), grenze_(grenze), dateien_(dateien) {}

  [[nodiscard]] bool istFrueher(const std::string& name) const {
    const auto zeit = geaendert(name);
    return zeit && *zeit < grenze_;
  }
  [[nodiscard]] bool istSpaeter(const std::string& name) const {
    const auto zeit = geaendert(name);
    return zeit && *zeit >= grenze_;
  }

  void sondere(const char* name, bool& da) {
    if (!da || !istFrueher(name)) return;
    da = false;
    ordner_.frueher.emplace_back(name);
  }

  void sondereChunks(Kanal kanal, const std::set<std::int64_t>& angesagt) {
    const auto stelle = static_cast<std::size_t>(kanal);
    auto& chunks = ordner_.chunks[stelle];
    for (auto chunk = chunks.begin(); chunk != chunks.end();) {
      const auto& [nummer, name] = *chunk;
      if (angesagt.contains(nummer) || !istFrueher(name)) {
        ++chunk;
        continue;
      }
      // Its number stays taken.
      ordner_.hoechsteFremde[stelle] = std::max(ordner_.hoechsteFremde[stelle], nummer);
      ordner_.frueher.push_back(name);
      chunk = chunks.erase(chunk);
    }
  }

 private:
  // nullopt if that cannot be found out.
  [[nodiscard]] std::optional<std::int64_t> geaendert(const std::string& name) const {
    Dateien::Zustand zustand;
    if (beharrlich([&] { return dateien_.zustand(ordner_.zu(name), zustand); }) < 0)
      return std::nullopt;
    return zustand.geaendert;
  }

  Sitzungsordner& ordner_;
  std::int64_t grenze_;
  Dateien& dateien_;
};

}  // namespace

Sitzungsordner ohneFruehere(Sitzungsordner ordner, const Ereignisse* ereignisse, Dateien& dateien) {
  if (ereignisse == nullptr || !ereignisse->start || ereignisse->start->nullUnixMs <= 0)
    return ordner;
  Sonderer sonderer(ordner, ereignisse->start->nullUnixMs / 1000 - RUNDUNG, dateien);
  if (!sonderer.istSpaeter(EREIGNISSE)) return ordner;
  for (const Kanal kanal : {Kanal::me, Kanal::them}) {
    std::set<std::int64_t> angesagt;
    for (const ChunkZeile& zeile : ereignisse->chunks)
      if (zeile.kanal == kanal) angesagt.insert(zeile.nummer);
    sonderer.sondereChunks(kanal, angesagt);
  }
  sonderer.sondere(ROHDATEI, ordner.roh);
  sonderer.sondere(VIDEODATEI, ordner.video);
  return ordner;
}

}  // namespace hallkorb
