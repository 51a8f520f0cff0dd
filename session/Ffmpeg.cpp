#include "session/Ffmpeg.h"

#include <unistd.h>

#include <charconv>
#include <cstddef>
#include <cstdio>
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
                           const std::function<void(const FfmpegStand&)>& beiStand) {
  const std::string ordner = ziel.substr(0, ziel.rfind('/') + 1);
  const std::string teil = ordner + ".hallkorb-" + std::to_string(::getpid()) + "-ffmpeg.teil";
  ::unlink(teil.c_str());  // a link would be followed
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
  if (ende.gelungen() && std::rename(teil.c_str(), ziel.c_str()) == 0) return FfmpegEnde::gelungen;
  ::unlink(teil.c_str());
  return ende.fehlt() ? FfmpegEnde::fehlt : FfmpegEnde::gescheitert;
}

}  // namespace hallkorb
