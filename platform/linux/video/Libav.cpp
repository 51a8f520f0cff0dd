#include "platform/linux/video/Libav.h"

#include <dlfcn.h>

#include <array>
#include <cerrno>

namespace hallkorb {
namespace {

LibavRufe rufe;

// A library by the name that the dynamic linker knows it by; it stays for the life of the process.
class Bibliothek {
 public:
  Bibliothek(const char* name, int version)
      : name_(std::string(name) + ".so." + std::to_string(version)),
        griff_(::dlopen(name_.c_str(), RTLD_NOW | RTLD_LOCAL)) {}

  // Fills `zeiger` with the function `ruf`; notes what is missing.
  template <class Zeiger>
  void finde(const char* ruf, Zeiger& zeiger) {
    if (griff_ != nullptr) zeiger = reinterpret_cast<Zeiger>(::dlsym(griff_, ruf));
    if (zeiger == nullptr) vollstaendig_ = false;
  }

  [[nodiscard]] Ergebnis ergebnis() const {
    if (vollstaendig_) return std::nullopt;
    return Fehler{"libav", ENOSYS, "fuer das Video fehlt die Bibliothek " + name_};
  }

 private:
  std::string name_;
  void* griff_;
  bool vollstaendig_ = true;
};

Ergebnis lade() {
#define HALLKORB_FINDE(name) bibliothek.finde(#name, rufe.name);
  {
    Bibliothek bibliothek("libavcodec", LIBAVCODEC_VERSION_MAJOR);
    HALLKORB_LIBAVCODEC(HALLKORB_FINDE)
    if (auto fehler = bibliothek.ergebnis()) return fehler;
  }
  {
    Bibliothek bibliothek("libavformat", LIBAVFORMAT_VERSION_MAJOR);
    HALLKORB_LIBAVFORMAT(HALLKORB_FINDE)
    if (auto fehler = bibliothek.ergebnis()) return fehler;
  }
  Bibliothek bibliothek("libswscale", LIBSWSCALE_VERSION_MAJOR);
  HALLKORB_LIBSWSCALE(HALLKORB_FINDE)
#undef HALLKORB_FINDE
  return bibliothek.ergebnis();
}

}  // namespace

Ergebnis ladeLibav() {
  static const Ergebnis ergebnis = lade();
  return ergebnis;
}

const LibavRufe& libav() {
  return rufe;
}

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
