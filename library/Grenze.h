// The boundary between the library's C interface and the rooms behind it.
//
// A caller in another language can neither catch an exception nor survive an abort, so every call
// runs through gerufen(), which turns exceptions into a status and a text. What the rooms would
// write to standard error and output (base/Ausgabe.h) goes to the callbacks of the object that is
// being called, and what would end the process (base/Abbruch.h) makes the call fail. So log(),
// emit() and abbruch() are those of Grenze.cpp here, and the program's are not part of the library.
//
// Any thread: text and callbacks are kept for each thread.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "base/Fehler.h"
#include "library/hallkorb/audio.h"

namespace hallkorb {

// Where an object's lines go. The callbacks may be null.
struct Rueckruf {
  hallkorb_text_fn zeile = nullptr;
  hallkorb_text_fn diagnose = nullptr;
  void* user = nullptr;
};

// Makes a callback's lines those of this thread while it lives.
class Umleitung {
 public:
  explicit Umleitung(const Rueckruf& rueckruf);
  Umleitung(const Umleitung&) = delete;
  Umleitung& operator=(const Umleitung&) = delete;
  ~Umleitung();

 private:
  const Rueckruf* vorher_;
};

// Notes `text` for hallkorb_error_text() and returns `status`.
int gescheitert(int status, const char* text) noexcept;
int gescheitert(const Fehler& fehler) noexcept;
// The status of the exception that is being handled.
int ausnahme() noexcept;

// Runs `tat`, which returns a status.
template <class Tat>
int gerufen(Tat&& tat) noexcept {
  try {
    return std::forward<Tat>(tat)();
  } catch (...) {
    return ausnahme();
  }
}

// Whether a pointer to `anzahl` samples can be read, and a rate or a name is one that every room
// takes.
bool lesbar(const void* zeiger, std::size_t anzahl) noexcept;
bool brauchbareRate(double rate) noexcept;
bool brauchbarerName(const char* name) noexcept;

// The samples, each that is no number replaced by silence; copied into `platz` only if there is
// one.
std::span<const float> geheilt(const float* samples, std::size_t anzahl, std::vector<float>& platz);

}  // namespace hallkorb
