#include "session/Reparatur.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <iterator>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

#include "audiofiles/Wav.h"
#include "base/Dateien.h"
#include "base/Ersatzdatei.h"
#include "base/Text.h"
#include "session/Ereignisse.h"
#include "session/Ffmpeg.h"
#include "session/FruehereAufnahme.h"
#include "session/Lesedatei.h"
#include "session/Mp4Befund.h"
#include "session/Nachtrag.h"
#include "session/Sicherung.h"
#include "session/Sitzungsordner.h"
#include "session/WavBefund.h"

namespace hallkorb {
namespace {

constexpr std::size_t BLOCK = std::size_t{256} * 1024;
constexpr char UNVERSTANDEN[] = "ist nicht zu reparieren: der Inhalt ist unverstaendlich";
constexpr char UNLESBAR[] = "ist nicht zu reparieren: sie laesst sich nicht lesen";

// Another process neither records into the folder nor repairs it while this lives.
class Ordnersperre {
 public:
  Ordnersperre(const std::string& pfad, Dateien& dateien)
      : dateien_(dateien),
        griff_(beharrlich([&] { return dateien.oeffnen(pfad, O_RDONLY | O_DIRECTORY, 0); })) {
    if (griff_ >= 0) nummer_ = -beharrlich([&] { return dateien_.sperren(griff_); });
  }
  Ordnersperre(const Ordnersperre&) = delete;
  Ordnersperre& operator=(const Ordnersperre&) = delete;
  ~Ordnersperre() {
    if (griff_ >= 0) schliesse(griff_, dateien_);
  }

  [[nodiscard]] bool lesbar() const { return griff_ >= 0; }
  [[nodiscard]] bool besetzt() const { return nummer_ == EWOULDBLOCK; }

 private:
  Dateien& dateien_;
  int griff_;
  int nummer_ = 0;
};

class Reparierer {
 public:
  Reparierer(Sitzungsordner ordner, Fortschritt fortschritt, Dateien& dateien)
      : dateien_(dateien),
        ordner_(std::move(ordner)),
        sicherung_(ordner_.pfad, dateien),
        fortschritt_(std::move(fortschritt)),
        ereignisse_(liesEreignisse(ordner_.zu(EREIGNISSE), dateien)) {
    // What an earlier recording has left is not of this one, and keeps its time of last change, by
    // which that is known.
    ordner_ = ohneFruehere(std::move(ordner_), ereignisse_ ? &*ereignisse_ : nullptr, dateien);
  }

  std::vector<Tat> laufe() {
    pruefeZeilen();
    for (const std::string& name : ordner_.unfertig)
      raeumeWeg(name, "war unfertig");
    for (auto& chunks : ordner_.chunks) {
      for (auto chunk = chunks.begin(); chunk != chunks.end();)
        chunk = repariereKopf(chunk->second) ? std::next(chunk) : chunks.erase(chunk);
    }
    if (ordner_.roh) ordner_.roh = repariereKopf(ROHDATEI);
    if (ordner_.roh) ergaenzeZeilen();
    if (ordner_.video) repariereVideo();
    return std::move(taten_);
  }

 private:
  void melde(bool gelungen, std::string_view datei, std::string text) {
    taten_.push_back({gelungen, zeigbar(datei), std::move(text)});
  }
  void gescheitert(std::string_view datei, const Fehler& fehler) {
    melde(false, datei, "ist nicht zu reparieren: " + zeigbar(fehler.description));
  }

  // Half of the lines would move the end of "me" to an earlier moment.
  void pruefeZeilen() {
    if (!ordner_.zeilen || (ereignisse_ && ereignisse_->ganz)) return;
    ereignisse_.reset();
    melde(false, EREIGNISSE, UNLESBAR);
  }

  // Whether it is gone.
  bool raeumeWeg(const std::string& name, const std::string& warum) {
    const Ergebnis ergebnis = sicherung_.raeumeWeg(name);
    if (ergebnis.gescheitert()) {
      gescheitert(name, ergebnis.fehler());
    } else {
      melde(true, name, warum + " und liegt jetzt in " + ORIGINALE);
    }
    return ergebnis.gelungen();
  }

  // Calls `nimm` with the bytes of `datei` from `ab` to `bis`, piece by piece, until it returns
  // false.
  template <class Nimm>
  Ergebnis liesBereich(const Lesedatei& datei, std::int64_t ab, std::int64_t bis, Nimm nimm) {
    std::vector<std::uint8_t> block(BLOCK);
    while (ab < bis) {
      const auto bitte =
          std::span(block).first(static_cast<std::size_t>(std::min<std::int64_t>(bis - ab, BLOCK)));
      if (datei.liesAn(ab, bitte) < bitte.size())
        return Fehler::ausErrno(datei.fehlernummer() != 0 ? datei.fehlernummer() : EIO, "Lesen");
      if (!nimm(std::span<const std::uint8_t>(bitte))) break;
      ab += static_cast<std::int64_t>(bitte.size());
    }
    return {};
  }

  // Writes `kopf` and then the bytes of `datei` from `ab` to `bis` as the file `name`.
  Ergebnis schreibe(const std::string& name, std::span<const std::uint8_t> kopf,
                    const Lesedatei& datei, std::int64_t ab, std::int64_t bis) {
    // Who left a link there must not decide what is written over.
    if (istVerweis(ordner_.zu(name), dateien_)) return Fehler::ausErrno(ELOOP, name);
    // Its original may be the same file by another name.
    Ersatzdatei ziel(ordner_.zu(name), dateien_, Unersetzbar::lassen);
    ziel.schreibe(kopf);
    std::int64_t fertig = 0;
    Ergebnis gelesen = liesBereich(datei, ab, bis, [&](std::span<const std::uint8_t> bytes) {
      ziel.schreibe(bytes);
      fertig += static_cast<std::int64_t>(bytes.size());
      if (fortschritt_) fortschritt_(static_cast<double>(fertig) / static_cast<double>(bis - ab));
      return true;
    });
    if (gelesen.gescheitert()) return gelesen;
    return ziel.vollende();
  }

  // Whether the file is still there.
  bool repariereKopf(const std::string& name) {
    const auto datei = Lesedatei::oeffne(ordner_.zu(name), dateien_);
    const auto wav = datei ? liesWavBefund(*datei) : std::nullopt;
    if (!datei || datei->fehlernummer() != 0) {
      melde(false, name, UNLESBAR);
      tonOffen_ = true;
    } else if (!wav && datei->groesse() <= std::int64_t{WAV_KOPF_BYTES}) {
      const bool weg = raeumeWeg(name, "enthielt noch nichts");
      tonOffen_ |= !weg;
      return !weg;
    } else if (!wav || (!wav->stimmt() && !wav->erneuerbar())) {
      melde(false, name, UNVERSTANDEN);
    } else if (!wav->stimmt()) {
      erneuereKopf(name, *datei, *wav);
    }
    return true;
  }

  void erneuereKopf(const std::string& name, const Lesedatei& datei, const WavBefund& wav) {
    const std::int64_t bytes = wav.ganzeBytes();
    Ergebnis ergebnis = sicherung_.bewahre(name);
    if (ergebnis.gelungen()) {
      ergebnis = schreibe(name, wavKopf(wav.rate, static_cast<std::uint32_t>(bytes)), datei,
                          wav.datenAb, wav.datenAb + bytes);
    }
    if (ergebnis.gescheitert()) {
      tonOffen_ = true;
      sicherung_.gibFrei(name);
      gescheitert(name, ergebnis.fehler());
      return;
    }
    const auto proSekunde = static_cast<double>(wav.rate * 2);
    melde(true, name,
          formatiert("der Kopf nennt jetzt die %.2f s, die da sind (vorher %.2f s)",
                     static_cast<double>(bytes) / proSekunde,
                     static_cast<double>(wav.erklaert) / proSekunde));
  }

  // Lines that are missing: of chunks that were never announced, and of the end of "me", which is
  // cut from the raw file.
  void ergaenzeZeilen() {
    if (!ereignisse_ || ereignisse_->fertig) return;
    Nachtrag nachtrag = findeNachtrag(ordner_, *ereignisse_, dateien_);
    if (nachtrag.unlesbar || tonOffen_) {
      melde(false, ROHDATEI,
            "der Rest von \"me\" bleibt vorerst hier: nicht jede Tondatei war zu lesen und zu "
            "reparieren");
      return;
    }
    if (nachtrag.chunks.empty() && !nachtrag.restAb) return;
    if (const Ergebnis bewahrt = sicherung_.bewahre(EREIGNISSE); bewahrt.gescheitert()) {
      gescheitert(EREIGNISSE, bewahrt.fehler());
      return;
    }
    if (nachtrag.restAb) {
      if (auto rest = schneideRest(*nachtrag.restAb)) nachtrag.chunks.push_back(std::move(*rest));
    }
    std::string zeilen;
    for (const ChunkZeile& chunk : nachtrag.chunks)
      zeilen += chunkZeile(chunk);
    const Ergebnis ergebnis = zeilen.empty() ? Ergebnis{} : haengeAn(zeilen);
    if (zeilen.empty() || ergebnis.gescheitert()) sicherung_.gibFrei(EREIGNISSE);
    for (const ChunkZeile& chunk : nachtrag.chunks) {
      const std::string name = chunkName(chunk.kanal, chunk.nummer);
      if (ergebnis.gescheitert()) {
        gescheitert(name, ergebnis.fehler());
      } else {
        melde(true, name, chunk.ausRoh ? ausRohText(chunk) : angesagtText(chunk));
      }
    }
  }

  // The samples of the raw file from `ab` on, as a chunk.
  std::optional<ChunkZeile> schneideRest(std::int64_t ab) {
    const auto datei = Lesedatei::oeffne(ordner_.zu(ROHDATEI), dateien_);
    const auto wav = datei ? liesWavBefund(*datei) : std::nullopt;
    if (!datei || datei->fehlernummer() != 0) {
      melde(false, ROHDATEI, UNLESBAR);
      return std::nullopt;
    }
    if (!wav || !wav->eigener || !wav->stimmt()) return std::nullopt;  // already reported
    const std::int64_t nummer = naechsteNummer(ordner_, *ereignisse_);
    const std::string name = chunkName(Kanal::me, nummer);
    const auto bytes = static_cast<std::uint32_t>(2 * (wav->samples() - ab));
    const Ergebnis ergebnis = schreibe(name, wavKopf(wav->rate, bytes), *datei,
                                       wav->datenAb + 2 * ab, wav->datenAb + 2 * wav->samples());
    if (ergebnis.gescheitert()) {
      gescheitert(name, ergebnis.fehler());
      return std::nullopt;
    }
    return ChunkZeile{nummer,
                      Kanal::me,
                      ordner_.zu(name),
                      static_cast<double>(ab) / static_cast<double>(wav->rate),
                      wav->sekunden(),
                      std::nullopt,
                      true};
  }

  [[nodiscard]] std::string ausRohText(const ChunkZeile& chunk) const {
    return formatiert("die letzten %.2f s von \"me\", aus %s geschnitten", chunk.t1 - chunk.t0,
                      ROHDATEI) +
           (mitEcho() ? "; vor der Echo-Entfernung: die Gegenseite kann zu hoeren sein" : "");
  }
  static std::string angesagtText(const ChunkZeile& chunk) {
    return formatiert("war nie angesagt und hat jetzt ihre Zeile: %.2f s bis %.2f s", chunk.t0,
                      chunk.t1);
  }

  // Whether the chunks are without the echo that the raw file has; unknown if it was killed early.
  [[nodiscard]] bool mitEcho() const { return !ereignisse_->start || ereignisse_->start->echo; }

  [[nodiscard]] static std::string chunkZeile(const ChunkZeile& chunk) {
    return formatiert("{\"chunk\":%lld,\"channel\":\"%s\",\"path\":\"",
                      static_cast<long long>(chunk.nummer),
                      chunk.kanal == Kanal::me ? "me" : "them") +
           jsonEscape(zeigbar(chunk.pfad)) +
           formatiert("\",\"t0\":%.2f,\"t1\":%.2f%s}\n", chunk.t0, chunk.t1,
                      chunk.ausRoh ? ",\"quelle\":\"mikro_roh\"" : "");
  }

  Ergebnis haengeAn(const std::string& zeile) {
    const std::string pfad = ordner_.zu(EREIGNISSE);
    if (istVerweis(pfad, dateien_)) return Fehler::ausErrno(ELOOP, EREIGNISSE);
    Ersatzdatei ziel(pfad, dateien_, Unersetzbar::lassen);
    const auto schreibeText = [&](std::string_view text) {
      ziel.schreibe(std::vector<std::uint8_t>(text.begin(), text.end()));
    };
    const auto nimm = [&](std::span<const std::uint8_t> bytes) { ziel.schreibe(bytes); };
    if (!liesStueckweise(pfad, nimm, dateien_)) return Fehler::ausErrno(EIO, EREIGNISSE);
    if (ereignisse_->offen) schreibeText("\n");
    schreibeText(zeile);
    return ziel.vollende();
  }

  void repariereVideo() {
    const auto datei = Lesedatei::oeffne(ordner_.zu(VIDEODATEI), dateien_);
    const Mp4Befund alt = datei ? liesMp4Befund(*datei) : Mp4Befund{};
    if (!datei || datei->fehlernummer() != 0) {
      melde(false, VIDEODATEI, UNLESBAR);
    } else if (!alt.spielt()) {
      raeumeWeg(VIDEODATEI, "enthielt kein Bild, das sich abspielen laesst,");
    } else if (alt.inFragmenten) {
      entferneFragmente(alt);
    }
  }

  void entferneFragmente(const Mp4Befund& alt) {
    const std::string pfad = ordner_.zu(VIDEODATEI);
    const std::string neu = ordner_.zu(".hallkorb-video.teil");
    std::vector<std::string> worte = ffmpegVideo(pfad, alt.spielbarBis);
    worte.insert(worte.end(), {"-map", "0:v:0", "-c", "copy"});
    const auto beiStand = [&](const FfmpegStand& stand) {
      if (fortschritt_)
        fortschritt_(static_cast<double>(stand.bilder) / static_cast<double>(alt.bilder));
    };
    const FfmpegEnde ende = fuehreFfmpegAus(worte, neu, beiStand, dateien_);
    const auto neue = Lesedatei::oeffne(neu, dateien_);
    const Mp4Befund ergebnis = neue ? liesMp4Befund(*neue) : Mp4Befund{};
    const bool gut = neue && neue->fehlernummer() == 0 && ergebnis.heil();
    if (ende == FfmpegEnde::fehlt) {
      melde(false, VIDEODATEI, "bleibt in Fragmenten: dazu wird das Programm ffmpeg gebraucht");
    } else if (ende != FfmpegEnde::gelungen || !gut || ergebnis.bilder < alt.bilder) {
      melde(false, VIDEODATEI, "bleibt in Fragmenten: ffmpeg ist daran gescheitert");
      entferne(neu);
    } else if (const Ergebnis bewahrt = sicherung_.bewahre(VIDEODATEI); bewahrt.gescheitert()) {
      gescheitert(VIDEODATEI, bewahrt.fehler());
      entferne(neu);
    } else if (const int nummer = beharrlich([&] { return dateien_.umbenennen(neu, pfad); });
               nummer < 0) {
      gescheitert(VIDEODATEI, Fehler::ausErrno(-nummer, VIDEODATEI));
      entferne(neu);
      sicherung_.gibFrei(VIDEODATEI);
    } else {
      melde(true, VIDEODATEI,
            formatiert("ist jetzt eine gewoehnliche Datei mit %lld Bildern",
                       static_cast<long long>(ergebnis.bilder)));
    }
  }

  void entferne(const std::string& pfad) {
    beharrlich([&] { return dateien_.loeschen(pfad); });
  }

  Dateien& dateien_;
  Sitzungsordner ordner_;
  Sicherung sicherung_;
  Fortschritt fortschritt_;
  std::optional<Ereignisse> ereignisse_;
  std::vector<Tat> taten_;
  bool tonOffen_ =
      false;  // a sound file is as it was: where "me" ends, and its next number, are open
};

}  // namespace

std::variant<std::vector<Tat>, Fehler> repariereSitzung(const std::string& pfad,
                                                        const Fortschritt& fortschritt,
                                                        Dateien& dateien) {
  const Ordnersperre sperre(pfad, dateien);
  if (sperre.besetzt())
    return Fehler::eigener(Fehlercode::inArbeit, "in diesen Ordner wird gerade aufgenommen");
  auto ordner = liesSitzungsordner(pfad, dateien);
  if (!sperre.lesbar() || !ordner)
    return Fehler::eigener(Fehlercode::nichtLesbar, "der Ordner ist nicht lesbar");
  return Reparierer(std::move(*ordner), fortschritt, dateien).laufe();
}

}  // namespace hallkorb
