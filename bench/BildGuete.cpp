// bildguete: raw pictures from standard input into a film, by the recorder's own writer.
//
//   bildguete FILE [NAME=VALUE...]
//
// Pictures of 1280 x 800 as X11 has them (blue, green, red, unused), 15 a second. One that equals
// its predecessor is left out, as that of a window in which nothing is drawn. NAME=VALUE are
// options of libx264 that are added to the recorder's. For bench/bildguete.py.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "meeting/Film.h"
#include "platform/linux/BgrBild.h"
#include "platform/linux/LinuxHostClock.h"
#include "platform/linux/video/H264Schreiber.h"

namespace hallkorb {
namespace {

constexpr std::size_t ZEILE = std::size_t{Film::BREITE} * 4;
constexpr double BASIS = 100.0;

bool lies(std::vector<std::uint8_t>& bild) {
  std::size_t da = 0;
  while (da < bild.size()) {
    const ssize_t n = ::read(STDIN_FILENO, bild.data() + da, bild.size() - da);
    if (n <= 0) return false;
    da += static_cast<std::size_t>(n);
  }
  return true;
}

// The best encoder, with more options; each is split at its first "=".
class Versuchsart {
 public:
  explicit Versuchsart(std::vector<std::string> angaben)
      : angaben_(std::move(angaben)),
        optionen_(H264Kodierer::arten().front().optionen.begin(),
                  H264Kodierer::arten().front().optionen.end()) {
    for (std::string& angabe : angaben_) {
      const std::size_t trenner = angabe.find('=');
      if (trenner == std::string::npos) continue;
      angabe[trenner] = '\0';
      optionen_.emplace_back(angabe.c_str(), angabe.c_str() + trenner + 1);
    }
    art_.optionen = optionen_;
  }
  [[nodiscard]] const H264Art& art() const { return art_; }

 private:
  std::vector<std::string> angaben_;
  std::vector<H264Art::Option> optionen_;
  H264Art art_ = H264Kodierer::arten().front();
};

int laufe(const char* pfad, std::vector<std::string> angaben) {
  VideoEinstellungen einstellungen = Film::einstellungen();
  einstellungen.haltezeit = 0.0;  // here pictures come as fast as the encoder takes them
  if (H264Schreiber::moeglich(einstellungen).gescheitert()) return 2;
  const Versuchsart versuch(std::move(angaben));
  H264Schreiber schreiber(pfad, einstellungen, &versuch.art());
  if (!schreiber.starte(BASIS)) return 1;
  std::vector<std::uint8_t> bild(ZEILE * Film::HOEHE);
  std::vector<std::uint8_t> voriges;
  int nummer = 0;
  for (; lies(bild); ++nummer) {
    const bool gleich = bild == voriges;
    voriges = bild;
    while (!schreiber.bereit() && schreiber.schreibt())
      std::this_thread::yield();
    const double zeit = BASIS + nummer / einstellungen.bilderJeSekunde;
    if (!gleich &&
        !schreiber.haengeAn(BgrBild(zeit, bild.data(), Film::BREITE, Film::HOEHE, ZEILE)))
      return 1;
  }
  return schreiber.schliesseAb(BASIS + nummer / einstellungen.bilderJeSekunde) ? 0 : 1;
}

}  // namespace
}  // namespace hallkorb

int main(int argc, char** argv) {
  using namespace hallkorb;
  LinuxHostClock uhr;
  setzeHostClock(uhr);
  return argc >= 2 ? laufe(argv[1], {argv + 2, argv + argc}) : 2;
}
