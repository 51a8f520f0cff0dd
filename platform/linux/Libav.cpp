#include "platform/linux/Libav.h"

#include <array>

namespace hallkorb {

void schweigeLibav() {
  av_log_set_level(AV_LOG_QUIET);
}

Fehler libavFehler(int code, const std::string& was) {
  // Tags of the libraries themselves are negative four-letter words, far below any error number.
  constexpr int KLEINSTE_NUMMER = -4096;
  if (code < 0 && code > KLEINSTE_NUMMER) return Fehler::ausErrno(AVUNERROR(code), was);
  std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
  av_strerror(code, text.data(), text.size());
  return {"libav", code, was + ": " + text.data()};
}

}  // namespace hallkorb
