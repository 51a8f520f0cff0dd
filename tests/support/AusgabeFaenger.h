// Catches what is written to the two output streams while it lives, through real files.
#pragma once

#include <unistd.h>

#include <array>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

#include "driver/Ausgabe.h"

namespace hallkorb {

class AusgabeFaenger {
 public:
  AusgabeFaenger()
      : ausgabe_(FileHandleTextOutput::standardOutput()),
        fehler_(FileHandleTextOutput::standardError()) {}

  // The lines of standard output and of standard error so far, without their line feeds. An
  // unfinished last line counts as one.
  [[nodiscard]] std::vector<std::string> zeilen() const { return ausgabe_.zeilen(); }
  [[nodiscard]] std::vector<std::string> fehlerZeilen() const { return fehler_.zeilen(); }

 private:
  class Umleitung {
   public:
    explicit Umleitung(FileHandleTextOutput& ausgabe)
        : ausgabe_(ausgabe), vorher_(ausgabe.handle), datei_(std::tmpfile()) {
      if (datei_ == nullptr) throw std::runtime_error("tmpfile");
      ausgabe_.handle = ::fileno(datei_);
    }
    Umleitung(const Umleitung&) = delete;
    Umleitung& operator=(const Umleitung&) = delete;
    ~Umleitung() {
      ausgabe_.handle = vorher_;
      std::fclose(datei_);
    }

    [[nodiscard]] std::vector<std::string> zeilen() const {
      std::vector<std::string> zeilen;
      bool offen = false;
      std::array<char, 4096> platz{};
      off_t stelle = 0;
      for (;;) {
        const ssize_t n = ::pread(::fileno(datei_), platz.data(), platz.size(), stelle);
        if (n <= 0) return zeilen;
        for (ssize_t k = 0; k < n; ++k) {
          const char zeichen = platz[static_cast<std::size_t>(k)];
          if (!offen) zeilen.emplace_back();
          offen = zeichen != '\n';
          if (offen) zeilen.back().push_back(zeichen);
        }
        stelle += n;
      }
    }

   private:
    FileHandleTextOutput& ausgabe_;
    int vorher_;
    std::FILE* datei_;
  };

  Umleitung ausgabe_;
  Umleitung fehler_;
};

}  // namespace hallkorb
