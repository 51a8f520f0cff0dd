#include "session/Seitendaten.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <span>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "session/Bildbeginn.h"
#include "session/FruehereAufnahme.h"
#include "session/Lesedatei.h"
#include "session/Mp4Befund.h"
#include "session/Pruefung.h"
#include "session/Seitentext.h"
#include "session/WavBefund.h"
#include "session/Zeitplan.h"

namespace hallkorb {
namespace {

using Json = nlohmann::json;

constexpr std::array BEIDE = {Kanal::me, Kanal::them};
constexpr std::size_t MAX_TEXT = 300;       // bytes of a title or a message
constexpr std::size_t MAX_BILDER = 10'000;  // changes of the picture that are listed
constexpr std::size_t MAX_MELDUNGEN = 100;
constexpr std::size_t MAX_TEXTE = 50;  // findings of one kind that are listed
constexpr std::size_t BLOCK = std::size_t{64} * 1024;
constexpr std::string_view CHUNK = "chunk";

// Seconds to the hundredth of a millisecond: less than a sample, and short in the page.
double gerundet(double sekunden) {
  return std::round(sekunden * 1e5) / 1e5;
}

// The samples of a WAV file of the recorder, block by block.
template <class Nimm>
void liesSamples(const Lesedatei& datei, std::int64_t datenAb, std::int64_t anzahl, Nimm nimm) {
  std::vector<std::uint8_t> bytes(BLOCK);
  std::vector<std::int16_t> samples(BLOCK / 2);
  for (std::int64_t ab = 0; ab < anzahl;) {
    const auto soll =
        static_cast<std::size_t>(std::min(static_cast<std::int64_t>(BLOCK), (anzahl - ab) * 2));
    const std::size_t n = datei.liesAn(datenAb + ab * 2, std::span(bytes).first(soll)) / 2;
    if (n == 0) return;
    for (std::size_t i = 0; i < n; ++i)
      samples[i] = static_cast<std::int16_t>(bytes[2 * i] | bytes[2 * i + 1] << 8);
    nimm(ab, std::span<const std::int16_t>(samples).first(n));
    ab += static_cast<std::int64_t>(n);
  }
}

// Files that are reported together, as one kind of thing.
std::string_view klasseVon(std::string_view datei) {
  for (const std::string_view name : {EREIGNISSE, ROHDATEI, VIDEODATEI})
    if (datei == name) return name;
  return datei.starts_with("chunk_") ? CHUNK : "";
}

const char* themaName(Thema thema) {
  switch (thema) {
    case Thema::sonst:
      return "";
    case Thema::zeile:
      return "zeile";
    case Thema::zeilenende:
      return "zeilenende";
    case Thema::rate:
      return "rate";
    case Thema::frueher:
      return "frueher";
  }
  return "";
}

class Sammler {
 public:
  Sammler(const Sitzungsordner& ordner, const Ereignisse* ereignisse,
          const std::function<void(double)>& fortschritt)
      : ordner_(ohneFruehere(ordner, ereignisse)),
        ereignisse_(ereignisse),
        fortschritt_(fortschritt),
        plan_(planeZeit(ordner_, ereignisse)),
        rohdatei_(ordner_.roh ? Lesedatei::oeffne(ordner_.zu(ROHDATEI)) : std::nullopt) {
    if (rohdatei_) roh_ = liesWavBefund(*rohdatei_);
    if (roh_ && !roh_->eigener) roh_.reset();
  }

  Seitendaten laufe() {
    for (const Kanal kanal : BEIDE)
      for (const Stueck& stueck : plan_.von(kanal).stuecke)
        alleSamples_ += stueck.laenge;
    if (roh_) alleSamples_ += roh_->samples();
    daten_.me = pegelVon(Kanal::me);
    daten_.them = pegelVon(Kanal::them);
    daten_.roh = rohpegel();

    Json satz;
    satz["name"] = name();
    satz["zeilen"] = ereignisse_ != nullptr;
    satz["chunks"] = {{"me", chunks(Kanal::me)}, {"them", chunks(Kanal::them)}};
    satz["roh"] = rohdatei();
    satz["video"] = video();
    satz["bilder"] = bilder();
    satz["befunde"] = befunde();
    satz["pegel"] = {
        {"me", pegel(daten_.me)}, {"them", pegel(daten_.them)}, {"roh", pegel(daten_.roh)}};
    zeilen(satz);
    satz["dauer"] = gerundet(daten_.dauer);
    // Texts have been made valid; the handler is for what must never be an exception.
    daten_.json = satz.dump(-1, ' ', true, Json::error_handler_t::replace);
    return std::move(daten_);
  }

 private:
  [[nodiscard]] std::string name() const {
    std::error_code fehler;
    auto pfad = std::filesystem::weakly_canonical(ordner_.pfad, fehler);
    if (fehler) pfad = ordner_.pfad;
    return kurz(pfad.filename().string(), MAX_TEXT);
  }

  void reichtBis(double sekunden) { daten_.dauer = std::max(daten_.dauer, sekunden); }

  void schreiteFort(std::int64_t samples) {
    gelesen_ += samples;
    if (fortschritt_)
      fortschritt_(static_cast<double>(gelesen_) / static_cast<double>(alleSamples_));
  }

  Pegel pegelVon(Kanal kanal) {
    const auto& stuecke = plan_.von(kanal).stuecke;
    if (stuecke.empty()) return {};
    std::int64_t ende = 0;
    for (const Stueck& stueck : stuecke)
      ende = std::max(ende, stueck.bis());
    Pegelbau bau(plan_.rate, ende);
    for (const Stueck& stueck : stuecke) {
      if (const auto datei = Lesedatei::oeffne(ordner_.zu(stueck.datei)))
        liesSamples(*datei, stueck.datenAb, stueck.laenge,
                    [&](std::int64_t ab, std::span<const std::int16_t> samples) {
                      bau.nimm(stueck.ab + ab, samples);
                    });
      schreiteFort(stueck.laenge);
    }
    return bau.baue();
  }

  Pegel rohpegel() {
    if (!roh_ || roh_->samples() == 0) return {};
    Pegelbau bau(roh_->rate, roh_->samples());
    liesSamples(*rohdatei_, roh_->datenAb, roh_->samples(),
                [&](std::int64_t ab, std::span<const std::int16_t> samples) {
                  bau.nimm(ab, samples);
                  schreiteFort(static_cast<std::int64_t>(samples.size()));
                });
    return bau.baue();
  }

  // Each as [number, begin, seconds that are there, seconds that were announced, milliseconds of
  // speech or null, address or null, from the raw file], and true behind them if the file is there
  // but is not played, since its rate is another one.
  Json chunks(Kanal kanal) {
    std::map<std::int64_t, ChunkZeile> zeilen;
    if (ereignisse_ != nullptr)
      for (ChunkZeile& zeile : ereignisse_->chunksVon(kanal))
        zeilen.emplace(zeile.nummer, std::move(zeile));
    Json liste = Json::array();
    for (const Stueck& stueck : plan_.von(kanal).stuecke) {
      Json sprache = nullptr;
      bool ausRoh = false;
      if (const auto zeile = zeilen.extract(stueck.nummer)) {
        if (zeile.mapped().spracheMs)
          sprache = std::max<std::int64_t>(*zeile.mapped().spracheMs, 0);
        ausRoh = zeile.mapped().ausRoh;
      }
      reichtBis(plan_.sekunden(stueck.ab + std::max(stueck.soll, stueck.laenge)));
      liste.push_back({stueck.nummer, gerundet(plan_.sekunden(stueck.ab)),
                       gerundet(plan_.sekunden(stueck.laenge)),
                       gerundet(plan_.sekunden(stueck.soll)), std::move(sprache),
                       alsAdresse(stueck.datei), ausRoh});
    }
    // What is left was announced and cannot be played.
    const std::set<std::string> fremde(plan_.fremdeRate.begin(), plan_.fremdeRate.end());
    for (const auto& [nummer, zeile] : zeilen) {
      reichtBis(zeile.t1);
      liste.push_back({nummer, gerundet(zeile.t0), 0, gerundet(zeile.t1 - zeile.t0), nullptr,
                       nullptr, zeile.ausRoh});
      if (fremde.contains(chunkName(kanal, nummer))) liste.back().push_back(true);
    }
    std::stable_sort(liste.begin(), liste.end(), [](const Json& a, const Json& b) {
      return a[1].get<double>() < b[1].get<double>();
    });
    return liste;
  }

  Json rohdatei() {
    if (!roh_ || roh_->samples() == 0) return nullptr;
    reichtBis(roh_->sekunden());
    return {{"datei", alsAdresse(ROHDATEI)}, {"dauer", gerundet(roh_->sekunden())}};
  }

  Json video() {
    if (!ordner_.video) return nullptr;
    const auto datei = Lesedatei::oeffne(ordner_.zu(VIDEODATEI));
    const Mp4Befund mp4 = datei ? liesMp4Befund(*datei) : Mp4Befund{};
    if (!mp4.spielt()) return nullptr;
    Json ab = nullptr;
    if (ereignisse_ != nullptr) {
      if (const auto beginn = bildBeginn(mp4, *ereignisse_, bekanntesEnde(ordner_, *ereignisse_)))
        ab = *beginn;
    }
    return {{"datei", alsAdresse(VIDEODATEI)}, {"ab", std::move(ab)}};
  }

  Json bilder() {
    Json liste = Json::array();
    if (ereignisse_ == nullptr) return liste;
    auto alle = ereignisse_->bilder;
    std::stable_sort(alle.begin(), alle.end(),
                     [](const BildZeile& a, const BildZeile& b) { return a.zeit < b.zeit; });
    if (alle.size() > MAX_BILDER) alle.resize(MAX_BILDER);
    for (const BildZeile& bild : alle) {
      reichtBis(bild.zeit);
      liste.push_back({{"t", gerundet(bild.zeit)},
                       {"pause", bild.pause},
                       {"text", kurz(bild.quelle, MAX_TEXT)}});
    }
    return liste;
  }

  // Findings of one kind about one kind of file are one; hints are in the page's own words.
  Json befunde() {
    Json liste = Json::array();
    std::map<std::tuple<Befundart, std::string_view, Thema>, std::size_t> stelle;
    std::set<std::tuple<Befundart, std::string, Thema>> gezaehlte;
    for (const Befund& befund : pruefeSitzung(ordner_, ereignisse_)) {
      if (befund.art == Befundart::hinweis) continue;
      ++daten_.auffaellig;
      const std::string_view klasse = klasseVon(befund.datei);
      const auto [ort, neu] =
          stelle.emplace(std::tuple(befund.art, klasse, befund.thema), liste.size());
      if (neu)
        liste.push_back({{"art", befundName(befund.art)},
                         {"datei", klasse},
                         {"thema", themaName(befund.thema)},
                         {"anzahl", 0},
                         {"reparierbar", false},
                         {"texte", Json::array()}});
      Json& einer = liste[ort->second];
      // A chunk counts once in each, however much is wrong with it.
      if (klasse != CHUNK || gezaehlte.emplace(befund.art, befund.datei, befund.thema).second)
        einer["anzahl"] = einer["anzahl"].get<std::size_t>() + befund.anzahl;
      if (befund.reparierbar) einer["reparierbar"] = true;
      if (einer["texte"].size() < MAX_TEXTE)
        einer["texte"].push_back(
            kurz(befund.datei.empty() ? befund.text : befund.datei + ": " + befund.text, MAX_TEXT));
    }
    return liste;
  }

  static Json pegel(const Pegel& pegel) {
    Json laengen = Json::array();
    for (const auto& stufe : pegel.stufen)
      laengen.push_back(stufe.size() / 2);
    return {{"proSekunde", pegel.proSekunde},
            {"laengen", std::move(laengen)},
            {"uebersteuert", pegel.uebersteuert}};
  }

  // What only the lines know.
  void zeilen(Json& satz) const {
    satz["start"] = nullptr;
    satz["echo"] = nullptr;
    satz["zeitachse"] = nullptr;
    satz["fertig"] = false;
    satz["aufnahmen"] = 0;
    satz["meldungen"] = Json::array();
    satz["ohneGrund"] = Json::array();
    if (ereignisse_ == nullptr) return;
    for (const Kanal kanal : BEIDE)
      if (ereignisse_->fehltOhneGrund(kanal)) satz["ohneGrund"].push_back(kanalName(kanal));
    satz["fertig"] = ereignisse_->fertig;
    satz["aufnahmen"] = ereignisse_->aufnahmen;
    if (const auto& start = ereignisse_->start)
      satz["start"] = {{"mic", start->mic},
                       {"system", start->system},
                       {"video", start->video},
                       {"echo", start->echo},
                       {"null", start->nullUnixMs}};
    if (const auto& echo = ereignisse_->echo)
      satz["echo"] = {{"verzoegerungMs", echo->verzoegerungMs},
                      {"leck", echo->leck},
                      {"torAnteil", echo->torAnteil},
                      {"nahAnteil", echo->nahAnteil},
                      {"versatzWechsel", echo->versatzWechsel},
                      {"resets", echo->resets},
                      {"ohneReferenz", echo->ohneReferenz},
                      {"ausfaelle", echo->ausfaelle},
                      {"bloecke", echo->bloecke},
                      {"chunksOhneSprache", echo->chunksOhneSprache}};
    if (const auto& achse = ereignisse_->zeitachse)
      satz["zeitachse"] = {{"me", korrektur(achse->me)}, {"them", korrektur(achse->them)}};
    for (const MeldungZeile& meldung : ereignisse_->meldungen) {
      if (satz["meldungen"].size() == MAX_MELDUNGEN) break;
      satz["meldungen"].push_back({{"name", meldung.name},
                                   {"kanal", meldung.kanal ? kanalName(*meldung.kanal) : ""},
                                   {"text", kurz(meldung.text, MAX_TEXT)}});
    }
  }

  static Json korrektur(const Korrektur& korrektur) {
    return {{"luecken", korrektur.luecken},
            {"lueckenMs", korrektur.lueckenMs},
            {"ueberlappungen", korrektur.ueberlappungen},
            {"verworfenMs", korrektur.verworfenMs}};
  }

  Sitzungsordner ordner_;
  const Ereignisse* ereignisse_;
  const std::function<void(double)>& fortschritt_;
  Zeitplan plan_;
  std::optional<Lesedatei> rohdatei_;
  std::optional<WavBefund> roh_;
  std::int64_t alleSamples_ = 0;
  std::int64_t gelesen_ = 0;
  Seitendaten daten_;
};

}  // namespace

Seitendaten sammleSeitendaten(const Sitzungsordner& ordner, const Ereignisse* ereignisse,
                              const std::function<void(double)>& fortschritt) {
  return Sammler(ordner, ereignisse, fortschritt).laufe();
}

}  // namespace hallkorb
