#include "session/Ffmpeg.h"

#include <unistd.h>

#include <cerrno>

#include "base/Fremdprogramm.h"
#include "base/Text.h"

namespace hallkorb {

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
                           Dateien& dateien) {
  const std::string ordner = ziel.substr(0, ziel.rfind('/') + 1);
  const std::string teil = ordner + ".hallkorb-" + std::to_string(::getpid()) + "-ffmpeg.teil";
  const auto entferne = [&] { return beharrlich([&] { return dateien.loeschen(teil); }); };
  // A link would be followed.
  if (const int ergebnis = entferne(); ergebnis < 0 && ergebnis != -ENOENT)
    return FfmpegEnde::gescheitert;
  std::vector<std::string> worte{"ffmpeg", "-nostdin", "-v", "error", "-y"};
  worte.insert(worte.end(), argumente.begin(), argumente.end());
  worte.insert(worte.end(), {"-f", "mp4", "file:" + teil});
  const Programmende ende = fuehreProgrammAus(worte);
  if (ende.gelungen() && beharrlich([&] { return dateien.umbenennen(teil, ziel); }) == 0)
    return FfmpegEnde::gelungen;
  entferne();
  return ende.fehlt() ? FfmpegEnde::fehlt : FfmpegEnde::gescheitert;
}

}  // namespace hallkorb
