#include "session/Sicherung.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "base/Dateien.h"
#include "base/Ersatzdatei.h"

namespace hallkorb {
namespace {

constexpr char WAS[] = "Sicherung";

// Waits until a file or folder is on the disk.
int sichereAufPlatte(const std::string& pfad) {
  const int griff = ::open(pfad.c_str(), O_RDONLY | O_CLOEXEC);
  if (griff < 0) return errno;
  const int nummer = ::fsync(griff) == 0 ? 0 : errno;
  ::close(griff);
  return nummer;
}

Ergebnis kopiere(const std::string& von, const std::string& nach) {
  Ersatzdatei ziel(nach);
  if (!liesStueckweise(von, [&](std::span<const std::uint8_t> bytes) { ziel.schreibe(bytes); }))
    return Fehler::ausErrno(EIO, WAS);
  Ergebnis ergebnis = ziel.vollende();
  if (ergebnis.gescheitert()) return ergebnis;
  if (const int nummer = sichereAufPlatte(nach); nummer != 0) return Fehler::ausErrno(nummer, WAS);
  return {};
}

}  // namespace

// A link in the folder's place would lead the originals anywhere.
Ergebnis Sicherung::bereite() {
  const std::string pfad = pfadIn(ordner_, ORIGINALE);
  std::error_code egal;
  const auto art = std::filesystem::symlink_status(pfad, egal).type();
  if (art == std::filesystem::file_type::directory) return {};
  if (art != std::filesystem::file_type::not_found) return Fehler::ausErrno(ENOTDIR, WAS);
  return erzeugeOrdner(pfad);
}

std::string Sicherung::freierPfad(std::string_view name) const {
  // Hidden names are for what is being written; an original is for people.
  if (name.starts_with('.')) name.remove_prefix(1);
  const std::string anfang = pfadIn(pfadIn(ordner_, ORIGINALE), std::string(name));
  std::string pfad = anfang;
  std::error_code egal;
  for (int nummer = 2;
       std::filesystem::symlink_status(pfad, egal).type() != std::filesystem::file_type::not_found;
       ++nummer) {
    pfad = anfang + "." + std::to_string(nummer);
  }
  return pfad;
}

Ergebnis Sicherung::bewahre(std::string_view name) {
  Ergebnis bereit = bereite();
  if (bereit.gescheitert()) return bereit;
  const std::string von = pfadIn(ordner_, std::string(name));
  const std::string nach = freierPfad(name);
  if (::link(von.c_str(), nach.c_str()) == 0) return {};
  return kopiere(von, nach);
}

Ergebnis Sicherung::raeumeWeg(std::string_view name) {
  Ergebnis bereit = bereite();
  if (bereit.gescheitert()) return bereit;
  const std::string von = pfadIn(ordner_, std::string(name));
  if (std::rename(von.c_str(), freierPfad(name).c_str()) != 0) return Fehler::ausErrno(errno, WAS);
  return {};
}

}  // namespace hallkorb
