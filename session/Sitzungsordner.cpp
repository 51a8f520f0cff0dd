#include "session/Sitzungsordner.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "base/Text.h"
#include "session/Ereignisse.h"

namespace hallkorb {
namespace {

constexpr char VIDEO_NEU[] = "video.mp4.neu";  // of recorders that rewrote the video at the stop

struct ChunkDatei {
  Kanal kanal;
  std::int64_t nummer;
};

std::optional<ChunkDatei> alsChunk(std::string_view name) {
  for (const Kanal kanal : {Kanal::me, Kanal::them}) {
    const std::string anfang = "chunk_" + std::string(kanalName(kanal)) + "_";
    if (!name.starts_with(anfang)) continue;
    std::int64_t nummer = -1;
    const char* ab = name.data() + anfang.size();
    const auto [bis, fehler] = std::from_chars(ab, name.data() + name.size(), nummer);
    if (fehler == std::errc{} && nummer >= 0 && nummer <= MAX_NUMMER &&
        name == chunkName(kanal, nummer)) {
      return ChunkDatei{kanal, nummer};
    }
  }
  return std::nullopt;
}

bool istUnfertig(std::string_view name) {
  return name == VIDEO_NEU || (name.starts_with(".hallkorb-") && name.ends_with(".teil"));
}

void ordneEin(const std::string& name, bool datei, Sitzungsordner& ordner) {
  const auto chunk = alsChunk(name);
  const bool unfertig = istUnfertig(name);
  if (!chunk && !unfertig && name != ROHDATEI && name != VIDEODATEI && name != EREIGNISSE) return;
  if (!datei) {
    ordner.keineDatei.push_back(name);
    if (chunk) {
      std::int64_t& hoechste = ordner.hoechsteFremde[static_cast<std::size_t>(chunk->kanal)];
      hoechste = std::max(hoechste, chunk->nummer);
    }
  } else if (chunk) {
    ordner.chunks[static_cast<std::size_t>(chunk->kanal)].emplace(chunk->nummer, name);
  } else if (unfertig) {
    ordner.unfertig.push_back(name);
  } else {
    ordner.roh |= name == ROHDATEI;
    ordner.video |= name == VIDEODATEI;
    ordner.zeilen |= name == EREIGNISSE;
  }
}

}  // namespace

std::string chunkName(Kanal kanal, std::int64_t nummer) {
  return formatiert("chunk_%s_%03lld.wav", kanal == Kanal::me ? "me" : "them",
                    static_cast<long long>(nummer));
}

std::string Sitzungsordner::zu(std::string_view name) const {
  return pfadIn(pfad, std::string(name));
}

std::optional<Sitzungsordner> liesSitzungsordner(const std::string& pfad, Dateien& dateien) {
  std::vector<Dateien::Eintrag> eintraege;
  const int ergebnis = beharrlich([&] {
    eintraege.clear();
    return dateien.ordnerLesen(pfad, eintraege);
  });
  if (ergebnis < 0) return std::nullopt;
  Sitzungsordner ordner;
  ordner.pfad = pfad;
  for (const auto& [name, art] : eintraege)
    ordneEin(name, art == Dateien::Art::datei, ordner);
  std::sort(ordner.unfertig.begin(), ordner.unfertig.end());
  std::sort(ordner.keineDatei.begin(), ordner.keineDatei.end());
  return ordner;
}

std::string zeigbar(std::string_view text) {
  std::string ergebnis;
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::size_t laenge = utf8Laenge(rest);
    const auto erstes = static_cast<unsigned char>(rest.front());
    // C0, DEL, and C1, which starts with byte C2 in UTF-8.
    const bool steuert =
        erstes < 0x20 || erstes == 0x7F ||
        (laenge == 2 && erstes == 0xC2 && static_cast<unsigned char>(rest[1]) < 0xA0);
    if (laenge == 0 || steuert) {
      ergebnis += UTF8_ERSATZ;
    } else {
      ergebnis += rest.substr(0, laenge);
    }
    rest.remove_prefix(std::max<std::size_t>(laenge, 1));
  }
  return ergebnis;
}

}  // namespace hallkorb
