#include "platform/linux/audio/PipewireAufsicht.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <limits>
#include <string>
#include <utility>
#include <variant>

#include "platform/linux/audio/Vorrang.h"

namespace hallkorb {
namespace {

using namespace std::chrono_literals;

// Between two attempts at the same thing.
constexpr auto ABSTAND = 1s;
// Without a block for this long the source counts as gone. The longest graph cycle, 8192 frames,
// takes a sixth of it at 48 kHz and half of it at 16 kHz.
constexpr auto STILLE = 1s;
// Silent for this long, with a daemon that answers: something is stuck and the stream is made anew.
// Wireless headsets take seconds to wake up and must get them.
constexpr auto FESTGEFAHREN = 5s;
// The start fails after this long without a device from a daemon that answers, and without a block.
// A session that is just starting has its devices within half a second; a daemon on a busy machine
// may take seconds to answer, and a wireless headset to wake up.
constexpr auto START_OHNE_GERAET = 1s;
constexpr auto START_OHNE_BLOCK = 8s;
// The daemon does not report every change of the default devices (0.3.65 withholds one that comes
// while another program binds the same metadata), so they are requested anew, at intervals that
// double. The first is short enough that a hole is not reported, and differs for microphone and
// system audio, since a request withholds the answers to others, too.
constexpr std::array ERSTES_AUFFRISCHEN = {300ms, 450ms};
constexpr auto AUFFRISCHEN_OHNE_GERAET = 3s;
constexpr auto AUFFRISCHEN = 30s;
// A stream's thread should have its priority by then.
constexpr auto VORRANG_NACH = 1s;
// Handed over in one step, so that a slow listener does not keep it from everything else.
constexpr std::size_t BLOECKE_JE_SCHRITT = 32;

Fehler pipewireFehler(int nummer, std::string beschreibung) {
  return {"pipewire", nummer, std::move(beschreibung)};
}

// On some desktops PipeWire is there for screen sharing only and the devices are PulseAudio's. The
// socket alone does not show that: PipeWire's own PulseAudio server has it too, and a server that
// has crashed leaves it behind. To connect would start one.
Fehler ohneGeraet(const PipewireVerzeichnis& verzeichnis, std::string beschreibung) {
  const char* ordner = std::getenv("XDG_RUNTIME_DIR");
  if (ordner != nullptr && !verzeichnis.hatGeraete() &&
      ::access((std::string(ordner) + "/pulse/native").c_str(), F_OK) == 0) {
    beschreibung += " (falls PulseAudio die Geraete hat: PulseAudio allein genuegt nicht)";
  }
  return pipewireFehler(ENODEV, std::move(beschreibung));
}

}  // namespace

PipewireAufsicht::PipewireAufsicht(PipewireQuelle quelle, AudioInputListener& listener,
                                   const Wecker& wecker)
    : quelle_(quelle), listener_(listener), wecker_(wecker), takt_([this](const PcmBlock& block) {
        begonnen_ = true;
        listener_.block(block);
      }) {}

PipewireAufsicht::~PipewireAufsicht() {
  if (!verbindung_) return;
  const PipewireVerbindung::Sperre sperre(*verbindung_);
  strom_.reset();
}

void PipewireAufsicht::schritt() {
  const Zeitpunkt jetzt = Uhr::now();
  if (!verbindung_) verbinde(jetzt);
  if (verbindung_) pruefe(jetzt);
  uebergib(BLOECKE_JE_SCHRITT);
  melde();
}

void PipewireAufsicht::verbinde(Zeitpunkt jetzt) {
  if (verbindungsVersuch_ && jetzt - *verbindungsVersuch_ < ABSTAND) return;
  verbindungsVersuch_ = jetzt;
  auto versuch = PipewireVerbindung::neu([this] { wecker_.wecke(); });
  if (auto* fehler = std::get_if<Fehler>(&versuch)) {
    grund_ = std::move(*fehler);
  } else {
    verbindung_ = std::get<std::unique_ptr<PipewireVerbindung>>(std::move(versuch));
    auffrischen_ = Zeitpunkt::max();
    geseheneProgramme_ = 0;
  }
}

void PipewireAufsicht::pruefe(Zeitpunkt jetzt) {
  {
    const PipewireVerbindung::Sperre sperre(*verbindung_);
    if (!verbindung_->verloren()) {
      const auto gewuenscht = ziel();
      if (verbindung_->bereit()) frischeAuf(!gewuenscht, jetzt);
      if (gewuenscht) {
        pruefeStrom(*gewuenscht, jetzt);
      } else {
        strom_.reset();
      }
      return;
    }
    strom_.reset();
    grund_ = pipewireFehler(EPIPE, "die Verbindung zu PipeWire ist abgerissen");
  }
  verbindung_.reset();
  stromZiel_.reset();
}

// Requests the default devices if it is time to.
void PipewireAufsicht::frischeAuf(bool ohneZiel, Zeitpunkt jetzt) {
  PipewireVerzeichnis& verzeichnis = verbindung_->verzeichnis();
  const bool warOhne = std::exchange(warOhneZiel_, ohneZiel);
  if (std::exchange(geseheneProgramme_, verzeichnis.programme()) != verzeichnis.programme() ||
      warOhne != ohneZiel) {
    auffrischAbstand_ = ERSTES_AUFFRISCHEN[quelle_ == PipewireQuelle::MIKROFON ? 0 : 1];
    auffrischen_ = std::min(auffrischen_, jetzt + auffrischAbstand_);
  }
  if (jetzt < auffrischen_) return;
  verzeichnis.frischeAuf();
  auffrischAbstand_ = std::min<Zeitpunkt::duration>(
      2 * auffrischAbstand_, ohneZiel ? AUFFRISCHEN_OHNE_GERAET : AUFFRISCHEN);
  auffrischen_ = jetzt + auffrischAbstand_;
}

// The device to record; otherwise nullopt, and the reason in grund_.
std::optional<PipewireVerzeichnis::Knoten> PipewireAufsicht::ziel() {
  if (!verbindung_->bereit()) {
    grund_ = pipewireFehler(ETIMEDOUT, "PipeWire antwortet nicht");
    return std::nullopt;
  }
  if (!antwortSeit_) antwortSeit_ = Uhr::now();
  const PipewireVerzeichnis& verzeichnis = verbindung_->verzeichnis();
  if (!verzeichnis.verwaltet()) {
    grund_ = pipewireFehler(
        ENOTCONN,
        "PipeWire laeuft ohne Sitzungsverwaltung (etwa WirePlumber), die Geraete verbindet");
    return std::nullopt;
  }
  auto knoten = verzeichnis.standard(quelle_);
  if (knoten) return knoten;
  if (quelle_ == PipewireQuelle::SYSTEM_AUDIO) {
    grund_ =
        ohneGeraet(verzeichnis, "kein Ausgabegeraet gefunden, dessen Ton sich aufnehmen liesse");
  } else if (verzeichnis.nurMonitor()) {
    grund_ = pipewireFehler(
        ENODEV,
        "kein Mikrofon gefunden; die Standard-Eingabe ist nur der Mitschnitt des Ausgabegeraets");
  } else {
    grund_ = ohneGeraet(verzeichnis, "kein Mikrofon gefunden");
  }
  return std::nullopt;
}

// Takes the stream down if it cannot go on as it is, and makes a new one if none is left.
void PipewireAufsicht::pruefeStrom(const PipewireVerzeichnis::Knoten& ziel, Zeitpunkt jetzt) {
  const bool andereQuelle =
      !stromZiel_ || stromZiel_->id != ziel.id || stromZiel_->serial != ziel.serial;
  // The session manager moves the system audio by itself, and without a hole.
  if (strom_ && andereQuelle && quelle_ == PipewireQuelle::MIKROFON) strom_.reset();
  // Each of these may take the stream down.
  if (strom_) pruefeEnde();
  if (strom_) pruefeHerkunft();
  if (strom_) pruefeVorrang(jetzt);
  if (strom_) pruefeStille(jetzt);
  if (!strom_ && (andereQuelle || jetzt - stromSeit_ >= ABSTAND)) beginneStrom(ziel, jetzt);
}

void PipewireAufsicht::beginneStrom(const PipewireVerzeichnis::Knoten& ziel, Zeitpunkt jetzt) {
  stromZiel_ = ziel;
  stromSeit_ = jetzt;
  gefragt_.reset();
  grund_.reset();  // that of the last stream
  strom_ = std::make_unique<PipewireStrom>(verbindung_->core(), quelle_, ziel, ++stromNummer_,
                                           ring_, wecker_);
}

void PipewireAufsicht::pruefeEnde() {
  const auto ende = strom_->ende();
  if (!ende) return;
  grund_ = pipewireFehler(EIO, "PipeWire hat die Aufnahme beendet (" + *ende + ")");
  strom_.reset();
}

// Whether the stream is linked to the right device.
void PipewireAufsicht::pruefeHerkunft() {
  using Herkunft = PipewireVerzeichnis::Herkunft;
  switch (verbindung_->verzeichnis().herkunft(quelle_, strom_->knoten())) {
    case Herkunft::RICHTIG:
      gepruefte_.insert(stromNummer_);
      break;
    case Herkunft::FALSCH:
      // The blocks in the ring may already come from there: they are dropped.
      gepruefte_.erase(stromNummer_);
      grund_ = pipewireFehler(EXDEV, "die Aufnahme wurde mit einer unpassenden Quelle verbunden");
      strom_.reset();
      break;
    case Herkunft::UNVERBUNDEN:
      break;
  }
}

// PipeWire's library may have to ask another process for the priority, so it is given time.
void PipewireAufsicht::pruefeVorrang(Zeitpunkt jetzt) {
  const pid_t faden = strom_->datenfaden();
  if (!begonnen_ || faden == 0 || faden == gepruefterFaden_ || jetzt - stromSeit_ < VORRANG_NACH) {
    return;
  }
  gepruefterFaden_ = faden;
  if (hebeVorrang(faden) != Vorrang::KEINER) return;
  static std::atomic<bool> gemeldet{false};
  if (gemeldet.exchange(true)) return;
  listener_.hinweis(pipewireFehler(
      EPERM,
      "Vorrang vor anderen Programmen verweigert (RLIMIT_RTPRIO, RLIMIT_NICE, Portal, rtkit): "
      "bei hoher Last kann Ton fehlen"));
}

void PipewireAufsicht::pruefeStille(Zeitpunkt jetzt) {
  if (jetzt - std::max(letzterBlock_, stromSeit_) < FESTGEFAHREN) {
    gefragt_.reset();
    return;
  }
  if (!gefragt_) verbindung_->frage();
  if (!gefragt_ || !verbindung_->antwortet()) {
    gefragt_ = jetzt;
  } else if (jetzt - *gefragt_ >= STILLE) {
    strom_.reset();
  }
}

void PipewireAufsicht::uebergib(std::size_t hoechstens) {
  for (; hoechstens > 0; --hoechstens) {
    const auto eintrag = ring_.vorn();
    if (!eintrag) break;
    // Streams are numbered in their order: no block of an earlier one is left.
    gepruefte_.erase(gepruefte_.begin(), gepruefte_.lower_bound(eintrag->strom));
    const bool geprueft = gepruefte_.contains(eintrag->strom);
    if (!geprueft && strom_ && eintrag->strom == stromNummer_) break;  // may be verified yet
    if (geprueft) gib(*eintrag);
    ring_.raeumeVorn();
  }
  if (!takt_.leer() && Uhr::now() - letzterBlock_ >= takt_.pause()) takt_.leere();
  if (hoechstens == 0) wecker_.wecke();
  if (const std::uint64_t n = ring_.verlorene(); n > 0 && begonnen_) listener_.verloren(n);
}

void PipewireAufsicht::gib(const BlockRing::StromBlock& eintrag) {
  if (std::exchange(unterbrochen_, false)) listener_.fortgesetzt();
  // Another stream is another device, with a clock of its own.
  if (std::exchange(taktStrom_, eintrag.strom) != eintrag.strom) takt_.leere();
  takt_.nimm(eintrag.block);
  letzterBlock_ = Uhr::now();
  grund_.reset();
}

void PipewireAufsicht::melde() {
  if (!begonnen_ || unterbrochen_) return;
  if (verbindung_ && Uhr::now() - letzterBlock_ < STILLE) return;
  unterbrochen_ = true;
  takt_.leere();
  listener_.unterbrochen(
      grund_.value_or(pipewireFehler(ENODATA, "das Geraet liefert keine Daten")));
}

std::optional<Fehler> PipewireAufsicht::startFehler() const {
  const Zeitpunkt jetzt = Uhr::now();
  const bool ohneGeraet = !stromZiel_ && antwortSeit_ && jetzt - *antwortSeit_ >= START_OHNE_GERAET;
  const bool gescheitert = !verbindung_ || ohneGeraet || jetzt - anfang_ >= START_OHNE_BLOCK;
  if (begonnen_ || !gescheitert) return std::nullopt;
  return grund_.value_or(pipewireFehler(ENODATA, "das Geraet liefert keine Daten"));
}

void PipewireAufsicht::ende() {
  if (verbindung_) {
    const PipewireVerbindung::Sperre sperre(*verbindung_);
    if (strom_ && !verbindung_->verloren()) pruefeHerkunft();
    strom_.reset();
  }
  uebergib(std::numeric_limits<std::size_t>::max());
  takt_.leere();
}

}  // namespace hallkorb
