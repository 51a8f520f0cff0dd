#include "session/Ffmpeg.h"

#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstddef>
#include <string_view>

#include "base/Fremdprogramm.h"
#include "base/Text.h"

namespace hallkorb {
namespace {

// Lines of "-progress": a name and a number each; "progress" closes a report.
void liesStand(const std::string& zeile, FfmpegStand& stand) {
  const std::size_t gleich = zeile.find('=');
  if (gleich == std::string::npos) return;
  const std::string_view name = std::string_view(zeile).substr(0, gleich);
  std::int64_t zahl = 0;  // stays 0 for "N/A"
  std::from_chars(zeile.data() + gleich + 1, zeile.data() + zeile.size(), zahl);
  if (name == "frame") stand.bilder = zahl;
  if (name == "out_time_us") stand.sekunden = static_cast<double>(zahl) / 1e6;
}

}  // namespace

std::vector<std::string> ffmpegVideo(const std::string& pfad, std::int64_t bytes) {
  return {"-protocol_whitelist",
          "file,subfile",
          "-f",
          "mov",
          "-i",
          formatiert("subfile,,start,0,end,%lld,,:file:", static_cast<long long>(bytes)) + pfad};
}

std::vector<std::string> ffmpegEingang(const std::string& format, const std::string& pfad) {
  return {"-protocol_whitelist", "file", "-f", format, "-i", "file:" + pfad};
}

FfmpegEnde fuehreFfmpegAus(const std::vector<std::string>& argumente, const std::string& ziel,
                           const std::function<void(const FfmpegStand&)>& beiStand,
                           Dateien& dateien) {
  const std::string ordner = ziel.substr(0, ziel.rfind('/') + 1);
  const std::string teil = ordner + ".hallkorb-" + std::to_string(::getpid()) + "-ffmpeg.teil";
  const auto entferne = [&] { return beharrlich([&] { return dateien.loeschen(teil); }); };
  // A link would be followed.
  if (const int ergebnis = entferne(); ergebnis < 0 && ergebnis != -ENOENT)
    return FfmpegEnde::gescheitert;
  std::vector<std::string> worte{"ffmpeg", "-nostdin", "-v",        "error",
                                 "-y",     "-nostats", "-progress", "pipe:1"};
  worte.insert(worte.end(), argumente.begin(), argumente.end());
  worte.insert(worte.end(), {"-f", "mp4", "file:" + teil});
  FfmpegStand stand;
  if (beiStand) beiStand(stand);
  const Programmende ende = fuehreProgrammAus(worte, [&](const std::string& zeile) {
    liesStand(zeile, stand);
    if (beiStand && zeile.starts_with("progress=")) beiStand(stand);
  });
  if (ende.gelungen() && beharrlich([&] { return dateien.umbenennen(teil, ziel); }) == 0)
    return FfmpegEnde::gelungen;
  entferne();
  return ende.fehlt() ? FfmpegEnde::fehlt : FfmpegEnde::gescheitert;
}

}  // namespace hallkorb
