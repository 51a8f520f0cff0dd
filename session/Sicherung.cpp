#include "session/Sicherung.h"

#include <fcntl.h>

#include <cerrno>
#include <span>

#include "base/Ersatzdatei.h"
#include "session/Lesedatei.h"

namespace hallkorb {
namespace {

constexpr char WAS[] = "Sicherung";

}  // namespace

// Waits until a file is on the disk; returns the error number or 0.
int Sicherung::sichereAufPlatte(const std::string& pfad) {
  const int griff = beharrlich([&] { return dateien_.oeffnen(pfad, O_RDONLY, 0); });
  if (griff < 0) return -griff;
  const int ergebnis = beharrlich([&] { return dateien_.aufPlatte(griff); });
  schliesse(griff, dateien_);
  return -ergebnis;
}

Ergebnis Sicherung::kopiere(const std::string& von, const std::string& nach) {
  Ersatzdatei ziel(nach, dateien_);
  const auto nimm = [&](std::span<const std::uint8_t> bytes) { ziel.schreibe(bytes); };
  if (!liesStueckweise(von, nimm, dateien_)) return Fehler::ausErrno(EIO, WAS);
  Ergebnis ergebnis = ziel.vollende();
  if (ergebnis.gescheitert()) return ergebnis;
  if (const int nummer = sichereAufPlatte(nach); nummer != 0) return Fehler::ausErrno(nummer, WAS);
  return {};
}

// Whether two files have the same content; false if it cannot be read to the end.
bool Sicherung::gleichen(const std::string& einer, const std::string& anderer) {
  const auto hier = Lesedatei::oeffne(einer, dateien_);
  const auto dort = Lesedatei::oeffne(anderer, dateien_);
  return hier && dort && hier->groesse() == dort->groesse() &&
         hier->gleicht(0, *dort, 0, hier->groesse());
}

// A link in the folder's place would lead the originals anywhere.
Ergebnis Sicherung::bereite() {
  const std::string pfad = pfadIn(ordner_, ORIGINALE);
  std::string egal;
  int ergebnis = beharrlich([&] { return dateien_.verweis(pfad, egal); });
  if (ergebnis >= 0) return Fehler::ausErrno(ENOTDIR, WAS);
  if (ergebnis == -ENOENT) {
    ergebnis = beharrlich([&] { return dateien_.ordnerAnlegen(pfad); });
  } else if (ergebnis == -EINVAL) {
    Dateien::Zustand zustand;
    ergebnis = beharrlich([&] { return dateien_.zustand(pfad, zustand); });
    if (ergebnis >= 0 && zustand.art != Dateien::Art::ordner) ergebnis = -ENOTDIR;
  }
  if (ergebnis < 0) return Fehler::ausErrno(-ergebnis, WAS);
  return {};
}

std::variant<Sicherung::Sicherungsort, Fehler> Sicherung::ortFuer(std::string_view name,
                                                                  const Dateien::Zustand* datei) {
  // Hidden names are for what is being written; an original is for people.
  if (name.starts_with('.')) name.remove_prefix(1);
  const std::string anfang = pfadIn(pfadIn(ordner_, ORIGINALE), std::string(name));
  std::string pfad = anfang;
  for (int nummer = 2;; ++nummer) {
    std::string egal;
    const int verweis = beharrlich([&] { return dateien_.verweis(pfad, egal); });
    if (verweis == -ENOENT) return Sicherungsort{std::move(pfad), false};
    if (verweis < 0 && verweis != -EINVAL) return Fehler::ausErrno(-verweis, WAS);
    Dateien::Zustand dort;
    if (datei != nullptr && verweis == -EINVAL &&
        beharrlich([&] { return dateien_.zustand(pfad, dort); }) == 0 && dort.selbeDatei(*datei)) {
      return Sicherungsort{std::move(pfad), true};
    }
    pfad = anfang + "." + std::to_string(nummer);
  }
}

Ergebnis Sicherung::bewahre(std::string_view name) {
  Ergebnis bereit = bereite();
  if (bereit.gescheitert()) return bereit;
  const std::string von = pfadIn(ordner_, std::string(name));
  Dateien::Zustand datei;
  if (const int nummer = beharrlich([&] { return dateien_.zustand(von, datei); }); nummer < 0)
    return Fehler::ausErrno(-nummer, WAS);
  auto ergebnis = ortFuer(name, &datei);
  if (auto* fehler = std::get_if<Fehler>(&ergebnis)) return std::move(*fehler);
  const Sicherungsort& ort = std::get<Sicherungsort>(ergebnis);
  if (ort.schonDa) return {};
  if (beharrlich([&] { return dateien_.verknuepfen(von, ort.pfad); }) == 0) return {};
  kopien_.insert_or_assign(std::string(name), ort.pfad);
  Ergebnis kopiert = kopiere(von, ort.pfad);
  if (kopiert.gescheitert()) gibFrei(name);
  return kopiert;
}

void Sicherung::gibFrei(std::string_view name) {
  const std::string von = pfadIn(ordner_, std::string(name));
  if (const auto kopie = kopien_.find(name); kopie != kopien_.end()) {
    if (gleichen(von, kopie->second)) beharrlich([&] { return dateien_.loeschen(kopie->second); });
    kopien_.erase(kopie);
    return;
  }
  Dateien::Zustand datei;
  if (beharrlich([&] { return dateien_.zustand(von, datei); }) < 0) return;
  const auto ergebnis = ortFuer(name, &datei);
  const Sicherungsort* ort = std::get_if<Sicherungsort>(&ergebnis);
  if (ort != nullptr && ort->schonDa) beharrlich([&] { return dateien_.loeschen(ort->pfad); });
}

Ergebnis Sicherung::raeumeWeg(std::string_view name) {
  Ergebnis bereit = bereite();
  if (bereit.gescheitert()) return bereit;
  auto ergebnis = ortFuer(name, nullptr);
  if (auto* fehler = std::get_if<Fehler>(&ergebnis)) return std::move(*fehler);
  const std::string von = pfadIn(ordner_, std::string(name));
  const std::string& nach = std::get<Sicherungsort>(ergebnis).pfad;
  const int nummer = beharrlich([&] { return dateien_.umbenennen(von, nach); });
  if (nummer < 0) return Fehler::ausErrno(-nummer, WAS);
  return {};
}

}  // namespace hallkorb
