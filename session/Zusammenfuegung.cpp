#include "session/Zusammenfuegung.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string_view>
#include <utility>

#include "base/Dateien.h"
#include "base/Ersatzdatei.h"
#include "base/Text.h"
#include "session/Ereignisse.h"
#include "session/Ffmpeg.h"
#include "session/FruehereAufnahme.h"
#include "session/Lesedatei.h"
#include "session/Marken.h"
#include "session/Mp4Befund.h"
#include "session/Sitzungsordner.h"
#include "session/Zeitplan.h"
#include "session/Zusammenschnitt.h"

namespace hallkorb {
namespace {

constexpr std::array BEIDE = {Kanal::me, Kanal::them};
constexpr char STEREO[] = "zusammen.wav";
constexpr char MARKEN[] = "zusammen.txt";
constexpr char UNTERTITEL[] = "zusammen.vtt";
constexpr char KAPITEL[] = "zusammen_kapitel.txt";
constexpr char FILM[] = "zusammen.mp4";

std::string kanalDatei(Kanal kanal) {
  return "zusammen_" + std::string(kanalName(kanal)) + ".wav";
}

class Zusammenfuegung {
 public:
  Zusammenfuegung(Sitzungsordner ordner, const Wuensche& wuensche,
                  const std::function<void(double)>& fortschritt, Dateien& dateien)
      : wuensche_(wuensche),
        fortschritt_(fortschritt),
        dateien_(dateien),
        ereignisse_(liesEreignisse(ordner.zu(EREIGNISSE), dateien)),
        ordner_(ohneFruehere(std::move(ordner), zeilen(), dateien)),
        plan_(planeZeit(ordner_, zeilen(), dateien)) {}

  [[nodiscard]] bool hatTon() const { return plan_.bis() > 0; }

  std::vector<Ergebnisdatei> laufe() {
    if (ereignisse_ && !ereignisse_->ganz)
      melde(false, EREIGNISSE, "ist nicht bis zum Ende lesbar");
    if (plan_.geschaetzt)
      melde(false, EREIGNISSE,
            "fehlt: die Chunks folgen ohne ihre Pausen aufeinander, die Zeiten stimmen nicht");
    for (const std::string& name : plan_.fremdeRate)
      melde(false, name, "hat eine andere Abtastrate und ist nicht dabei");
    meldeFehlende();
    const bool ton = schreibeAllenTon();
    for (const std::string& name : unlesbar_)
      melde(false, name, "ist nicht ganz lesbar; dort ist Stille");
    text(MARKEN, audacityMarken(plan_, zeilen()), "Marken fuer Audacity");
    text(UNTERTITEL, webVtt(plan_), "WebVTT: wer wann zu hoeren ist");
    const bool mitKapiteln = text(KAPITEL, kapitel(plan_, zeilen()), "Kapitel fuer ffmpeg");
    if (wuensche_.ohneVideo) return std::move(ergebnisse_);
    if (std::ranges::count(ordner_.frueher, VIDEODATEI) > 0)
      melde(false, VIDEODATEI, "ist von einer frueheren Aufnahme und nicht dabei");
    // It is made of them, and of nothing else that may lie there.
    if (ton && mitKapiteln && ordner_.video) schreibeFilm();
    return std::move(ergebnisse_);
  }

 private:
  [[nodiscard]] const Ereignisse* zeilen() const { return ereignisse_ ? &*ereignisse_ : nullptr; }
  [[nodiscard]] std::string zu(std::string_view name) const {
    return pfadIn(wuensche_.ziel.empty() ? ordner_.pfad : wuensche_.ziel, std::string(name));
  }
  void melde(bool gelungen, std::string_view datei, std::string text) {
    ergebnisse_.push_back({gelungen, zeigbar(datei), std::move(text)});
  }
  void melde(std::string_view datei, const Ergebnis& ergebnis, const std::string& was) {
    if (ergebnis.gelungen()) {
      melde(true, datei, was);
    } else {
      melde(false, datei, "ist nicht entstanden: " + zeigbar(ergebnis.fehler().description));
    }
  }

  void meldeFehlende() {
    if (!ereignisse_) {
      if (plan_.unlesbar)
        melde(false, "", "nicht jeder Chunk ist lesbar; was fehlt, ist nicht dabei");
      return;
    }
    std::size_t angesagt = 0;
    std::size_t da = 0;
    for (const Kanal kanal : BEIDE) {
      angesagt += ereignisse_->chunksVon(kanal).size();
      da += plan_.von(kanal).stuecke.size();
    }
    angesagt -= plan_.fremdeRate.size();
    if (da < angesagt)
      melde(false, EREIGNISSE,
            formatiert("%zu angesagte Chunks fehlen; dort ist Stille", angesagt - da));
  }

  bool schreibeAllenTon() {
    const std::string dauer = formatiert("%.2f s", plan_.sekunden(plan_.bis()));
    bool alles = true;
    const auto einer = [&](std::span<const Kanal> kanaele, const std::string& name,
                           const std::string& was) {
      const Ergebnis ergebnis =
          schreibeTon(ordner_, plan_, kanaele, zu(name), unlesbar_, fortschritt_, dateien_);
      alles = alles && ergebnis.gelungen();
      melde(name, ergebnis, was + ", " + dauer);
    };
    if (!wuensche_.einzeln) {
      einer(BEIDE, STEREO, "links \"me\", rechts \"them\"");
      return alles;
    }
    for (const Kanal& kanal : BEIDE)
      einer(std::span(&kanal, 1), kanalDatei(kanal), "\"" + std::string(kanalName(kanal)) + "\"");
    return alles;
  }

  bool text(const char* name, const std::string& inhalt, const std::string& was) {
    const std::vector<std::uint8_t> bytes(inhalt.begin(), inhalt.end());
    const Ergebnis ergebnis =
        ersetzeDatei(zu(name), bytes, dateien_, Verweise::ersetzen, Unersetzbar::lassen);
    melde(name, ergebnis, was);
    return ergebnis.gelungen();
  }

  void schreibeFilm() {
    if (!ereignisse_ || ereignisse_->bilder.empty()) {
      melde(false, FILM,
            "ist nicht entstanden: ohne Zeile ist nicht bekannt, wann das Bild beginnt");
      return;
    }
    const auto datei = Lesedatei::oeffne(ordner_.zu(VIDEODATEI), dateien_);
    const Mp4Befund mp4 = datei ? liesMp4Befund(*datei) : Mp4Befund{};
    if (!mp4.spielt()) {
      melde(false, FILM, "ist nicht entstanden: das Video enthaelt kein Bild");
      return;
    }
    const auto beiStand = [&](const FfmpegStand& stand) {
      if (fortschritt_) fortschritt_(stand.sekunden / plan_.sekunden(plan_.bis()));
    };
    switch (fuehreFfmpegAus(filmWorte(mp4.spielbarBis), zu(FILM), beiStand, dateien_)) {
      case FfmpegEnde::gelungen:
        melde(true, FILM, "das Video mit beiden Kanaelen");
        return;
      case FfmpegEnde::fehlt:
        melde(false, FILM, "ist nicht entstanden: dazu wird das Programm ffmpeg gebraucht");
        return;
      case FfmpegEnde::gescheitert:
        melde(false, FILM, "ist nicht entstanden: ffmpeg ist daran gescheitert");
        return;
    }
  }

  [[nodiscard]] std::vector<std::string> filmWorte(std::int64_t bytes) const {
    std::vector<std::string> worte{"-itsoffset", formatiert("%.3f", ereignisse_->bilder[0].zeit)};
    const auto dazu = [&](const std::vector<std::string>& weitere) {
      worte.insert(worte.end(), weitere.begin(), weitere.end());
    };
    dazu(ffmpegVideo(ordner_.zu(VIDEODATEI), bytes));
    dazu(ffmpegEingang("ffmetadata", zu(KAPITEL)));
    if (wuensche_.einzeln) {
      for (const Kanal kanal : BEIDE)
        dazu(ffmpegEingang("wav", zu(kanalDatei(kanal))));
      dazu({"-filter_complex", "[2:a][3:a]join=inputs=2:channel_layout=stereo[ton]", "-map",
            "0:v:0", "-map", "[ton]"});
    } else {
      dazu(ffmpegEingang("wav", zu(STEREO)));
      dazu({"-map", "0:v:0", "-map", "2:a"});
    }
    dazu({"-map_chapters", "1", "-c:v", "copy", "-c:a", "aac", "-b:a", "96k", "-movflags",
          "+faststart"});
    return worte;
  }

  const Wuensche& wuensche_;
  const std::function<void(double)>& fortschritt_;
  Dateien& dateien_;
  std::optional<Ereignisse> ereignisse_;
  // Without an earlier recording's chunks, and before the plan, on whose rate they have no vote.
  Sitzungsordner ordner_;
  Zeitplan plan_;
  std::set<std::string> unlesbar_;  // sound files of which something is missing in the results
  std::vector<Ergebnisdatei> ergebnisse_;
};

}  // namespace

std::variant<std::vector<Ergebnisdatei>, Fehler> fuegeZusammen(
    const std::string& pfad, const Wuensche& wuensche,
    const std::function<void(double)>& fortschritt, Dateien& dateien) {
  auto ordner = liesSitzungsordner(pfad, dateien);
  if (!ordner) return Fehler::eigener(Fehlercode::nichtLesbar, "der Ordner ist nicht lesbar");
  Zusammenfuegung arbeit(std::move(*ordner), wuensche, fortschritt, dateien);
  if (!arbeit.hatTon())
    return Fehler::eigener(Fehlercode::nichtsDa, "der Ordner enthaelt keinen Ton");
  if (!wuensche.ziel.empty()) {
    if (Ergebnis ergebnis = erzeugeOrdner(wuensche.ziel, dateien); ergebnis.gescheitert())
      return std::move(ergebnis).fehler();
  }
  return arbeit.laufe();
}

}  // namespace hallkorb
