#include "session/Ffmpeg.h"

#include <unistd.h>

#include <cstdio>

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

FfmpegEnde fuehreFfmpegAus(const std::vector<std::string>& argumente, const std::string& ziel) {
  const std::string ordner = ziel.substr(0, ziel.rfind('/') + 1);
  const std::string teil = ordner + ".hallkorb-" + std::to_string(::getpid()) + "-ffmpeg.teil";
  ::unlink(teil.c_str());  // a link would be followed
  std::vector<std::string> worte{"ffmpeg", "-nostdin", "-v", "error", "-y"};
  worte.insert(worte.end(), argumente.begin(), argumente.end());
  worte.insert(worte.end(), {"-f", "mp4", "file:" + teil});
  const Programmende ende = fuehreProgrammAus(worte);
  if (ende.gelungen() && std::rename(teil.c_str(), ziel.c_str()) == 0) return FfmpegEnde::gelungen;
  ::unlink(teil.c_str());
  return ende.fehlt() ? FfmpegEnde::fehlt : FfmpegEnde::gescheitert;
}

}  // namespace hallkorb
