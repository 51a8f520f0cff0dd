#include "session/Zeile.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

#include "base/Text.h"

namespace hallkorb {
namespace {

using Json = nlohmann::json;

// The recorder leaves control characters in texts as they are; JSON wants them escaped.
std::string alsStrengesJson(std::string_view text) {
  std::string ergebnis;
  ergebnis.reserve(text.size());
  for (const char zeichen : alsUtf8(text)) {
    const auto wert = static_cast<unsigned char>(zeichen);
    if (wert < 0x20) {
      ergebnis += formatiert("\\u%04x", wert);
    } else {
      ergebnis += zeichen;
    }
  }
  return ergebnis;
}

std::string textAus(const Json& satz, const char* name) {
  const auto feld = satz.find(name);
  return feld != satz.end() && feld->is_string() ? feld->get<std::string>() : std::string();
}

bool wahrIn(const Json& satz, const char* name, bool sonst = false) {
  const auto feld = satz.find(name);
  return feld != satz.end() && feld->is_boolean() ? feld->get<bool>() : sonst;
}

std::optional<std::int64_t> ganzeZahl(const Json& satz, const char* name) {
  const auto feld = satz.find(name);
  if (feld == satz.end() || !feld->is_number_integer()) return std::nullopt;
  if (feld->is_number_unsigned() &&
      feld->get<std::uint64_t>() > std::numeric_limits<std::int64_t>::max()) {
    return std::nullopt;
  }
  return feld->get<std::int64_t>();
}

std::optional<double> zeitAus(const Json& satz, const char* name) {
  const auto feld = satz.find(name);
  if (feld == satz.end() || !feld->is_number()) return std::nullopt;
  const auto wert = feld->get<double>();
  // Written so that NaN is refused, too.
  if (!(wert >= 0.0 && wert <= MAX_SEKUNDEN)) return std::nullopt;
  return wert;
}

std::optional<Kanal> kanalAus(std::string_view name) {
  if (name == "me") return Kanal::me;
  if (name == "them") return Kanal::them;
  return std::nullopt;
}

std::optional<Zeile> chunkAus(const Json& satz) {
  const auto nummer = ganzeZahl(satz, "chunk");
  const auto kanal = kanalAus(textAus(satz, "channel"));
  const auto t0 = zeitAus(satz, "t0");
  const auto t1 = zeitAus(satz, "t1");
  if (!nummer || *nummer < 0 || *nummer > MAX_NUMMER || !kanal || !t0 || !t1 || *t1 < *t0)
    return std::nullopt;
  return ChunkZeile{*nummer,
                    *kanal,
                    textAus(satz, "path"),
                    *t0,
                    *t1,
                    ganzeZahl(satz, "sprache_ms"),
                    textAus(satz, "quelle") == "mikro_roh"};
}

// Of statistics, what makes no sense counts as 0.
std::int64_t anzahlAus(const Json& satz, const char* name) {
  return std::max<std::int64_t>(ganzeZahl(satz, name).value_or(0), 0);
}

double wertAus(const Json& satz, const char* name, double hoechstens) {
  const auto feld = satz.find(name);
  if (feld == satz.end() || !feld->is_number()) return 0.0;
  const auto wert = feld->get<double>();
  return wert >= 0.0 && wert <= hoechstens ? wert : 0.0;
}

EchoZeile echoAus(const Json& satz) {
  EchoZeile zeile;
  zeile.verzoegerungMs = wertAus(satz, "verzoegerung_ms", MAX_SEKUNDEN);
  zeile.leck = wertAus(satz, "leck", 1.0);
  zeile.torAnteil = wertAus(satz, "tor_anteil", 1.0);
  zeile.nahAnteil = wertAus(satz, "nah_anteil", 1.0);
  zeile.versatzWechsel = anzahlAus(satz, "versatz_wechsel");
  zeile.resets = anzahlAus(satz, "resets");
  zeile.ohneReferenz = anzahlAus(satz, "ohne_referenz");
  zeile.ausfaelle = anzahlAus(satz, "ausfaelle");
  zeile.bloecke = anzahlAus(satz, "bloecke");
  zeile.chunksOhneSprache = anzahlAus(satz, "chunks_ohne_sprache");
  return zeile;
}

Korrektur korrekturAus(const Json& satz, const char* name) {
  const auto feld = satz.find(name);
  if (feld == satz.end() || !feld->is_object()) return {};
  constexpr double MAX_MS = MAX_SEKUNDEN * 1000.0;
  return {anzahlAus(*feld, "luecken"), wertAus(*feld, "luecken_ms", MAX_MS),
          anzahlAus(*feld, "ueberlappungen"), wertAus(*feld, "verworfen_ms", MAX_MS)};
}

std::optional<Zeile> ereignisAus(const Json& satz) {
  const std::string name = textAus(satz, "event");
  if (name == "started") {
    // A channel is missing only if the line says so.
    return StartZeile{wahrIn(satz, "mic", true), wahrIn(satz, "system", true),
                      wahrIn(satz, "video"), wahrIn(satz, "echo"),
                      ganzeZahl(satz, "null_unix_ms").value_or(0)};
  }
  if (name == "video_start" || name == "video_wechsel" || name == "video_pause") {
    const auto zeit = zeitAus(satz, "t_s");
    if (!zeit) return std::nullopt;
    const bool pause = name == "video_pause";
    return BildZeile{pause, textAus(satz, pause ? "message" : "quelle"), *zeit};
  }
  if (name == "video")
    return VideoZeile{ganzeZahl(satz, "frames").value_or(0), textAus(satz, "quelle")};
  if (name == "degraded" || name == "error" || name == "video_none")
    return MeldungZeile{name, textAus(satz, "message"), kanalAus(textAus(satz, "channel"))};
  if (name == "echo") return echoAus(satz);
  if (name == "zeitachse")
    return ZeitachseZeile{korrekturAus(satz, "me"), korrekturAus(satz, "them")};
  if (name == "done") return FertigZeile{};
  return AndereZeile{name};
}

// A chunk's path may hold quotes and backslashes, unescaped. It is not looked at any further than
// its last component, so it is cut out and the rest read as JSON.
std::optional<Zeile> chunkMitRohemPfad(std::string_view text) {
  constexpr std::string_view VOR_PFAD = "\",\"path\":\"";
  constexpr std::string_view NACH_PFAD = "\",\"t0\":";
  if (!text.starts_with("{\"chunk\":")) return std::nullopt;
  const std::size_t von = text.find(VOR_PFAD);
  const std::size_t bis = text.rfind(NACH_PFAD);
  if (von == std::string_view::npos || bis == std::string_view::npos ||
      von + VOR_PFAD.size() > bis) {
    return std::nullopt;
  }
  const std::string_view pfad = text.substr(von + VOR_PFAD.size(), bis - von - VOR_PFAD.size());
  std::string ohne(text.substr(0, von));
  ohne += text.substr(bis);
  const Json satz = Json::parse(alsStrengesJson(ohne), nullptr, false);
  if (!satz.is_object()) return std::nullopt;
  auto zeile = chunkAus(satz);
  if (zeile) std::get<ChunkZeile>(*zeile).pfad = pfad;
  return zeile;
}

}  // namespace

std::string_view kanalName(Kanal kanal) {
  return kanal == Kanal::me ? "me" : "them";
}

std::optional<Zeile> liesZeile(std::string_view text) {
  if (text.size() > MAX_ZEILE) return std::nullopt;
  while (!text.empty() && (text.back() == '\r' || text.back() == ' ' || text.back() == '\t'))
    text.remove_suffix(1);
  const Json satz = Json::parse(alsStrengesJson(text), nullptr, false);
  if (!satz.is_object()) return chunkMitRohemPfad(text);
  return satz.contains("chunk") ? chunkAus(satz) : ereignisAus(satz);
}

}  // namespace hallkorb
