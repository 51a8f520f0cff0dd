#include "library/Grenze.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstddef>
#include <exception>
#include <new>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "base/Abbruch.h"
#include "base/Ausgabe.h"
#include "base/Text.h"

namespace hallkorb {
namespace {

constexpr double RATE_VON = 1000;
constexpr double RATE_BIS = 768000;
constexpr std::size_t NAME_BIS = 64;
constexpr std::size_t ANZAHL_BIS = std::size_t{1} << 28U;  // samples of one call: 1 GiB

thread_local const Rueckruf* aktueller = nullptr;
thread_local std::string letzterFehler;

void gib(hallkorb_text_fn an, std::string_view text) {
  if (an != nullptr) an(aktueller->user, alsUtf8(text).c_str());
}

}  // namespace

void log(std::string_view text) {
  if (aktueller != nullptr) gib(aktueller->diagnose, text);
}

void emit(std::string_view text) {
  if (aktueller != nullptr) gib(aktueller->zeile, text);
}

void abbruch(std::string_view text) {
  throw std::logic_error(std::string(text));
}

Umleitung::Umleitung(const Rueckruf& rueckruf) : vorher_(aktueller) {
  aktueller = &rueckruf;
}

Umleitung::~Umleitung() {
  aktueller = vorher_;
}

int gescheitert(int status, const char* text) noexcept {
  try {
    letzterFehler = text;
  } catch (...) {
    letzterFehler.clear();
  }
  return status;
}

int gescheitert(const Fehler& fehler) noexcept {
  return gerufen([&] { return gescheitert(HALLKORB_FILE, fehler.gedruckt().c_str()); });
}

int ausnahme() noexcept {
  try {
    throw;
  } catch (const std::bad_alloc&) {
    return gescheitert(HALLKORB_NO_MEMORY, "no memory");
  } catch (const std::exception& fehler) {
    return gescheitert(HALLKORB_INTERNAL, fehler.what());
  } catch (...) {
    return gescheitert(HALLKORB_INTERNAL, "a callback threw something");
  }
}

bool lesbar(const void* zeiger, std::size_t anzahl) noexcept {
  return anzahl <= ANZAHL_BIS && (zeiger != nullptr || anzahl == 0);
}

bool brauchbareRate(double rate) noexcept {
  return rate >= RATE_VON && rate <= RATE_BIS;
}

bool brauchbarerName(const char* name) noexcept {
  if (name == nullptr) return false;
  const std::string_view text(name);
  return !text.empty() && text.size() <= NAME_BIS && std::ranges::all_of(text, [](unsigned char c) {
    return std::isalnum(c) != 0 || c == '-' || c == '_';
  });
}

std::span<const float> geheilt(const float* samples, std::size_t anzahl,
                               std::vector<float>& platz) {
  const std::span<const float> alle(samples, anzahl);
  const auto zahl = [](float x) { return std::isfinite(x); };
  if (std::ranges::all_of(alle, zahl)) return alle;
  platz.assign(alle.begin(), alle.end());
  std::ranges::replace_if(platz, [&](float x) { return !zahl(x); }, 0.0F);
  return platz;
}

}  // namespace hallkorb

extern "C" {

const char* hallkorb_audio_version() {
  return HALLKORB_VERSION;
}

const char* hallkorb_error_text() {
  return hallkorb::letzterFehler.c_str();
}

}  // extern "C"
