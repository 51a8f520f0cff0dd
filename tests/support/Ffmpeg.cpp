#include "tests/support/Ffmpeg.h"

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

#include "tests/support/Prozess.h"

namespace hallkorb {
namespace {

std::string ausgabe(const std::vector<std::string>& befehl) {
  return Prozess(befehl).liesAlles();
}

}  // namespace

std::map<std::string, std::string> videoEigenschaften(const std::string& pfad) {
  std::istringstream zeilen(ausgabe({"ffprobe", "-v", "error", "-count_packets", "-show_streams",
                                     "-show_format", "-of", "flat", pfad}));
  std::map<std::string, std::string> alle;
  for (std::string zeile; std::getline(zeilen, zeile);) {
    const std::size_t gleich = zeile.find('=');
    std::string name = zeile.substr(0, gleich);
    std::string wert = zeile.substr(gleich + 1);
    const std::string strom = "streams.stream.0.";
    if (name.starts_with(strom)) name.erase(0, strom.size());
    wert.erase(std::remove(wert.begin(), wert.end(), '"'), wert.end());
    alle[name] = wert;
  }
  return alle;
}

std::vector<VideoPaket> videoPakete(const std::string& pfad) {
  std::istringstream zeilen(
      ausgabe({"ffprobe", "-v", "error", "-show_entries", "packet=pts_time,duration_time,flags",
               "-of", "csv=p=0", pfad}));
  std::vector<VideoPaket> pakete;
  for (std::string zeile; std::getline(zeilen, zeile);) {
    VideoPaket paket;
    char* rest = nullptr;
    paket.zeit = std::strtod(zeile.c_str(), &rest);
    paket.dauer = std::strtod(rest + 1, &rest);
    paket.schluesselbild = std::string(rest).find('K') != std::string::npos;
    pakete.push_back(paket);
  }
  return pakete;
}

std::string dekodierFehler(const std::string& pfad) {
  return ausgabe({"sh", "-c",
                  "exec ffmpeg -nostdin -v warning -i \"$0\" -fps_mode passthrough -enc_time_base "
                  "1:90000 -f null - 2>&1",
                  pfad});
}

std::uint32_t VideoBild::farbe(int x, int y) const {
  const std::size_t i = (static_cast<std::size_t>(y) * static_cast<std::size_t>(breite) +
                         static_cast<std::size_t>(x)) *
                        3;
  const auto byte = [&](std::size_t k) {
    return std::uint32_t{static_cast<std::uint8_t>(punkte[k])};
  };
  return byte(i) << 16 | byte(i + 1) << 8 | byte(i + 2);
}

VideoBild videoBild(const std::string& pfad, double zeit, int breite, int hoehe) {
  // The last picture that is not later, found without seeking: seeking has a test of its own.
  VideoBild bild{breite, hoehe, {}};
  const std::string auswahl = "select='lte(t," + std::to_string(zeit) + "+0.0005)'";
  const std::string alle =
      ausgabe({"ffmpeg", "-nostdin", "-v", "error", "-i", pfad, "-vf", auswahl, "-fps_mode",
               "passthrough", "-f", "rawvideo", "-pix_fmt", "rgb24", "-"});
  const std::size_t groesse =
      static_cast<std::size_t>(breite) * static_cast<std::size_t>(hoehe) * 3;
  if (alle.size() < groesse || alle.size() % groesse != 0) throw std::runtime_error("no picture");
  bild.punkte = alle.substr(alle.size() - groesse);
  return bild;
}

int farbAbstand(std::uint32_t a, std::uint32_t b) {
  int groesster = 0;
  for (const int stelle : {0, 8, 16}) {
    const int x = static_cast<int>(a >> stelle & 0xFF);
    const int y = static_cast<int>(b >> stelle & 0xFF);
    groesster = std::max(groesster, std::abs(x - y));
  }
  return groesster;
}

}  // namespace hallkorb
