#include "session/Pruefung.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "audiofiles/RohWav.h"
#include "audiofiles/Wav.h"
#include "base/Text.h"
#include "session/FruehereAufnahme.h"
#include "session/Lesedatei.h"
#include "session/Mp4Befund.h"
#include "session/Nachtrag.h"
#include "session/WavBefund.h"
#include "session/Zeitplan.h"

namespace hallkorb {
namespace {

constexpr std::int64_t GENANNTE_LUECKEN = 100;
// Two chunks of one channel may seem to overlap by what rounding does.
constexpr double UEBERLAPPUNG = 0.0051;

std::string sekunden(double wert) {
  return formatiert("%.2f s", wert);
}

std::string letzterTeil(std::string_view pfad) {
  return std::string(pfad.substr(pfad.rfind('/') + 1));
}

class Pruefer {
 public:
  Pruefer(const Sitzungsordner& ordner, const Ereignisse* ereignisse)
      : ordner_(ohneFruehere(ordner, ereignisse)), ereignisse_(ereignisse) {
    if (ereignisse != nullptr) nachtrag_ = findeNachtrag(ordner_, *ereignisse);
  }

  std::vector<Befund> laufe() {
    pruefeNamen();
    if (ereignisse_ != nullptr) {
      pruefeZeilen();
    } else if (ordner_.zeilen) {
      melde(Befundart::zweifelhaft, EREIGNISSE,
            "ist nicht lesbar: jede Datei wird nur an ihrem Kopf geprueft");
    } else {
      melde(Befundart::hinweis, EREIGNISSE, "fehlt: jede Datei wird nur an ihrem Kopf geprueft");
    }
    for (const Kanal kanal : {Kanal::me, Kanal::them}) {
      liesChunks(kanal);
      if (ereignisse_ != nullptr) {
        pruefeAngesagte(kanal);
      } else {
        pruefeNummern(kanal);
      }
    }
    pruefeRaten();
    pruefeRohdatei();
    pruefeVideo();
    return std::move(befunde_);
  }

 private:
  void melde(Befundart art, std::string_view datei, std::string text, bool reparierbar = false) {
    befunde_.push_back({art, zeigbar(datei), std::move(text), reparierbar});
  }
  void melde(Befundart art, std::string_view datei, Thema thema, std::string text,
             std::size_t anzahl = 1) {
    befunde_.push_back({art, zeigbar(datei), std::move(text), false, thema, anzahl});
  }

  void pruefeNamen() {
    if (ordner_.leer()) melde(Befundart::fehlt, "", "der Ordner enthaelt keine Aufnahme");
    for (const std::string& name : ordner_.unfertig)
      melde(Befundart::uebrig, name, "unfertig: wurde beim Abbruch noch geschrieben", true);
    for (const std::string& name : ordner_.keineDatei)
      melde(Befundart::zweifelhaft, name, "ist keine gewoehnliche Datei und bleibt ungelesen");
    for (const std::string& name : ordner_.frueher)
      melde(Befundart::uebrig, name, Thema::frueher,
            "ist von einer frueheren Aufnahme in diesem Ordner");
  }

  void pruefeZeilen() {
    const Ereignisse& alle = *ereignisse_;
    if (!alle.ganz)
      melde(Befundart::zweifelhaft, EREIGNISSE, Thema::zeilenende, "ist nicht bis zum Ende lesbar");
    for (const std::size_t nummer : alle.unlesbar)
      melde(Befundart::zweifelhaft, EREIGNISSE, Thema::zeile,
            formatiert("Zeile %zu ist nicht lesbar", nummer));
    if (alle.unlesbare > alle.unlesbar.size())
      melde(Befundart::zweifelhaft, EREIGNISSE, Thema::zeile,
            formatiert("insgesamt %zu Zeilen sind nicht lesbar", alle.unlesbare),
            alle.unlesbare - alle.unlesbar.size());
    if (alle.aufnahmen > 1)
      melde(Befundart::hinweis, EREIGNISSE,
            formatiert("enthaelt %zu Aufnahmen; geprueft wird die letzte", alle.aufnahmen));
    if (!alle.start) melde(Befundart::fehlt, EREIGNISSE, "die Zeile \"started\" fehlt");
    if (!alle.fertig)
      melde(Befundart::abgeschnitten, EREIGNISSE,
            "endet ohne \"done\": die Aufnahme wurde abgebrochen oder laeuft noch");
    for (const MeldungZeile& meldung : alle.meldungen)
      melde(Befundart::hinweis, "", zeigbar(meldung.name + ": " + meldung.text));
    if (alle.fehltOhneGrund(Kanal::me))
      melde(Befundart::hinweis, "", "das Mikrofon wurde nicht aufgenommen");
    if (alle.fehltOhneGrund(Kanal::them))
      melde(Befundart::hinweis, "", "der Systemton wurde nicht aufgenommen");
  }

  void liesChunks(Kanal kanal) {
    for (const auto& [nummer, name] : ordner_.chunksVon(kanal))
      if (const auto wav = pruefeWav(name)) wav_.emplace(name, *wav);
  }

  // A file against its own header.
  std::optional<WavBefund> pruefeWav(const std::string& name) {
    const auto datei = Lesedatei::oeffne(ordner_.zu(name));
    if (!datei) {
      melde(Befundart::zweifelhaft, name, "ist nicht lesbar");
      return std::nullopt;
    }
    const auto wav = liesWavBefund(*datei);
    if (!wav) {
      const bool leer = datei->groesse() <= std::int64_t{WAV_KOPF_BYTES};
      melde(leer ? Befundart::abgeschnitten : Befundart::zweifelhaft, name,
            "hat keinen lesbaren WAV-Kopf", leer);
      return std::nullopt;
    }
    if (!wav->eigener) {
      melde(Befundart::zweifelhaft, name, "ist keine WAV-Datei dieses Programms (mono, 16 Bit)");
      return std::nullopt;
    }
    const auto proSekunde = static_cast<double>(wav->rate * 2);
    if (!wav->stimmt()) {
      melde(Befundart::abgeschnitten, name,
            "der Kopf nennt " + sekunden(static_cast<double>(wav->erklaert) / proSekunde) +
                ", die Datei hat " + sekunden(static_cast<double>(wav->vorhanden) / proSekunde),
            wav->erneuerbar());
    }
    return wav;
  }

  // The lines of a channel against its files.
  void pruefeAngesagte(Kanal kanal) {
    std::set<std::int64_t> angesagt;
    for (const ChunkZeile& zeile : ereignisse_->chunks) {
      if (zeile.kanal != kanal) continue;
      const std::string name = chunkName(kanal, zeile.nummer);
      if (!angesagt.insert(zeile.nummer).second)
        melde(Befundart::zweifelhaft, name, "ist mehrmals angesagt");
      if (letzterTeil(zeile.pfad) != name)
        melde(Befundart::zweifelhaft, name,
              "ist unter einem anderen Namen angesagt: " + zeigbar(letzterTeil(zeile.pfad)));
    }
    double bisher = 0.0;
    for (const ChunkZeile& zeile : ereignisse_->chunksVon(kanal)) {
      pruefeDauer(zeile);
      if (zeile.t0 < bisher - UEBERLAPPUNG)
        melde(Befundart::zweifelhaft, chunkName(kanal, zeile.nummer),
              "beginnt bei " + sekunden(zeile.t0) + ", vor dem Ende des vorigen bei " +
                  sekunden(bisher));
      bisher = std::max(bisher, zeile.t1);
    }
    pruefeLuecken(kanal, angesagt);
    for (const auto& [nummer, name] : ordner_.chunksVon(kanal))
      if (!angesagt.contains(nummer)) pruefeUebrigen(kanal, nummer, name);
  }

  void pruefeUebrigen(Kanal kanal, std::int64_t nummer, const std::string& name) {
    const auto& bekannte = nachtrag_.chunks;
    const auto chunk = std::find_if(bekannte.begin(), bekannte.end(), [&](const ChunkZeile& zeile) {
      return zeile.kanal == kanal && zeile.nummer == nummer;
    });
    if (chunk == bekannte.end()) {
      melde(Befundart::uebrig, name, "hat keine Zeile; ihre Lage ist nicht bekannt");
    } else {
      melde(Befundart::uebrig, name,
            "hat keine Zeile; nach ihrer Laenge reicht sie von " + sekunden(chunk->t0) + " bis " +
                sekunden(chunk->t1),
            true);
    }
  }

  // Of two rates that are as frequent the lower one counts, as in a Zeitplan.
  void pruefeRaten() {
    std::map<std::int64_t, int> anzahl;
    for (const auto& [name, wav] : wav_)
      ++anzahl[wav.rate];
    if (anzahl.empty()) return;
    rate_ = std::max_element(anzahl.begin(), anzahl.end(), [](const auto& a, const auto& b) {
              return a.second < b.second;
            })->first;
    for (const auto& [name, wav] : wav_) {
      if (wav.rate != rate_)
        melde(Befundart::zweifelhaft, name, Thema::rate,
              andereRate(wav.rate) + "; beim Zusammenfuegen fehlt sie");
    }
  }

  [[nodiscard]] std::string andereRate(std::int64_t rate) const {
    return formatiert("hat %lld Hz, die meisten Chunks haben %lld Hz", static_cast<long long>(rate),
                      static_cast<long long>(rate_));
  }

  void pruefeDauer(const ChunkZeile& zeile) {
    const std::string name = chunkName(zeile.kanal, zeile.nummer);
    if (!ordner_.chunksVon(zeile.kanal).contains(zeile.nummer)) {
      melde(
          Befundart::fehlt, name,
          "ist angesagt (" + sekunden(zeile.t0) + " bis " + sekunden(zeile.t1) + ") und nicht da");
      return;
    }
    const auto wav = wav_.find(name);
    if (wav == wav_.end()) return;
    const double dauer = zeile.t1 - zeile.t0;
    const double ist = wav->second.sekunden();
    if (std::abs(ist - dauer) > RUNDUNG)
      melde(ist < dauer ? Befundart::abgeschnitten : Befundart::zweifelhaft, name,
            "die Zeile nennt " + sekunden(dauer) + ", die Datei hat " + sekunden(ist));
  }

  void pruefeNummern(Kanal kanal) {
    std::set<std::int64_t> da;
    for (const auto& [nummer, name] : ordner_.chunksVon(kanal))
      da.insert(nummer);
    pruefeLuecken(kanal, da);
  }

  // A number that was used up without a file is a chunk that could not be written.
  void pruefeLuecken(Kanal kanal, const std::set<std::int64_t>& nummern) {
    std::int64_t erwartet = 0;
    std::int64_t gefehlt = 0;
    for (const std::int64_t nummer : nummern) {
      for (; erwartet < nummer && gefehlt < GENANNTE_LUECKEN; ++erwartet, ++gefehlt) {
        if (ereignisse_ != nullptr && ordner_.chunksVon(kanal).contains(erwartet)) continue;
        melde(Befundart::fehlt, chunkName(kanal, erwartet),
              "die Nummer fehlt: der Chunk konnte nicht geschrieben werden oder ging verloren");
      }
      erwartet = nummer + 1;
    }
  }

  void pruefeRohdatei() {
    if (!ordner_.roh) return;
    const auto wav = pruefeWav(ROHDATEI);
    if (!wav) return;
    if (rate_ != 0 && wav->rate != rate_)
      melde(Befundart::zweifelhaft, ROHDATEI, Thema::rate, andereRate(wav->rate));
    if (ereignisse_ == nullptr) return;
    double bisher = 0.0;
    for (const ChunkZeile& zeile : ereignisse_->chunksVon(Kanal::me))
      bisher = std::max(bisher, zeile.t1);
    const std::int64_t samples = wav->vorhanden / 2;
    const double roh = static_cast<double>(samples) / static_cast<double>(wav->rate);
    // A full one ends there, and the recording goes on without it.
    const bool voll = wav->vorhanden >= std::int64_t{RohWav::MAX_BYTES} / 2 * 2;
    if (bisher > roh + RUNDUNG && !voll) {
      melde(Befundart::abgeschnitten, ROHDATEI,
            "endet bei " + sekunden(roh) + ", die Chunks von \"me\" bei " + sekunden(bisher));
    } else if (nachtrag_.restAb) {
      const auto rest = static_cast<double>(samples - *nachtrag_.restAb);
      melde(Befundart::abgeschnitten, ROHDATEI,
            "die letzten " + sekunden(rest / static_cast<double>(wav->rate)) +
                " von \"me\" stehen nur hier",
            true);
    }
  }

  void pruefeVideo() {
    const bool angesagt = ereignisse_ != nullptr && ereignisse_->video;
    if (!ordner_.video) {
      pruefeFehlendesVideo();
      return;
    }
    const auto datei = Lesedatei::oeffne(ordner_.zu(VIDEODATEI));
    if (!datei) {
      melde(Befundart::zweifelhaft, VIDEODATEI, "ist nicht lesbar");
      return;
    }
    const Mp4Befund mp4 = liesMp4Befund(*datei);
    if (!mp4.spielt()) {
      melde(mp4.istMp4 || datei->groesse() == 0 ? Befundart::abgeschnitten : Befundart::zweifelhaft,
            VIDEODATEI, "enthaelt kein Bild, das sich abspielen laesst", true);
      return;
    }
    if (mp4.inFragmenten)
      melde(Befundart::abgeschnitten, VIDEODATEI,
            "ist noch in Fragmenten: es laesst sich abspielen, aber schlecht darin suchen", true);
    if (mp4.abgeschnitten)
      melde(Befundart::abgeschnitten, VIDEODATEI, "endet mitten in einem Teil", mp4.inFragmenten);
    if (angesagt && !mp4.inFragmenten && ereignisse_->video->bilder != mp4.bilder)
      melde(Befundart::zweifelhaft, VIDEODATEI,
            formatiert("die Zeile nennt %lld Bilder, die Datei hat %lld",
                       static_cast<long long>(ereignisse_->video->bilder),
                       static_cast<long long>(mp4.bilder)));
  }

  // A window that was found just before the stop leaves no picture, and the recorder no line.
  void pruefeFehlendesVideo() {
    if (ereignisse_ == nullptr) return;
    const auto& bilder = ereignisse_->bilder;
    const bool begonnen = std::any_of(bilder.begin(), bilder.end(),
                                      [](const BildZeile& bild) { return !bild.pause; });
    if (ereignisse_->video) {
      melde(Befundart::fehlt, VIDEODATEI, "ist angesagt und nicht da");
    } else if (begonnen) {
      melde(ereignisse_->fertig ? Befundart::hinweis : Befundart::fehlt, VIDEODATEI,
            "ein Fenster war gefunden, und es ist kein Video da");
    }
  }

  Sitzungsordner ordner_;
  const Ereignisse* ereignisse_;
  Nachtrag nachtrag_;
  std::map<std::string, WavBefund> wav_;
  std::int64_t rate_ = 0;  // of most chunks; 0 without any
  std::vector<Befund> befunde_;
};

}  // namespace

std::string_view befundName(Befundart art) {
  switch (art) {
    case Befundart::hinweis:
      return "Hinweis";
    case Befundart::fehlt:
      return "fehlt";
    case Befundart::abgeschnitten:
      return "abgeschnitten";
    case Befundart::zweifelhaft:
      return "zweifelhaft";
    case Befundart::uebrig:
      return "uebrig";
  }
  return "";
}

bool istAuffaellig(const std::vector<Befund>& befunde) {
  return std::any_of(befunde.begin(), befunde.end(),
                     [](const Befund& befund) { return befund.art != Befundart::hinweis; });
}

std::vector<Befund> pruefeSitzung(const Sitzungsordner& ordner, const Ereignisse* ereignisse) {
  return Pruefer(ordner, ereignisse).laufe();
}

}  // namespace hallkorb
