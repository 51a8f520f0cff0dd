// Catches what the program writes to standard output and standard error while it lives.
//
// The real writers run on real file handles, which are just other ones. Not for tests that run at
// the same time in one process.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "base/Ausgabe.h"

namespace hallkorb {

class AusgabeFaenger {
 public:
  AusgabeFaenger()
      : ausgabe_(FileHandleTextOutput::standardOutput()),
        fehler_(FileHandleTextOutput::standardError()) {}

  // All that was written so far.
  [[nodiscard]] std::string ausgabe() const { return ausgabe_.inhalt(); }
  [[nodiscard]] std::string fehler() const { return fehler_.inhalt(); }
  // The same by lines, without their line feeds.
  [[nodiscard]] std::vector<std::string> ausgabeZeilen() const { return zeilen(ausgabe()); }
  [[nodiscard]] std::vector<std::string> fehlerZeilen() const { return zeilen(fehler()); }

 private:
  class Umleitung {
   public:
    explicit Umleitung(FileHandleTextOutput& strom)
        : strom_(strom), vorher_(strom.handle), datei_(std::tmpfile(), &std::fclose) {
      strom_.handle = ::fileno(datei_.get());
    }
    ~Umleitung() { strom_.handle = vorher_; }
    Umleitung(const Umleitung&) = delete;
    Umleitung& operator=(const Umleitung&) = delete;

    [[nodiscard]] std::string inhalt() const {
      std::string text;
      char puffer[4096];
      for (ssize_t n = 0; (n = ::pread(::fileno(datei_.get()), puffer, sizeof puffer,
                                       static_cast<off_t>(text.size()))) > 0;) {
        text.append(puffer, static_cast<std::size_t>(n));
      }
      return text;
    }

   private:
    FileHandleTextOutput& strom_;
    int vorher_;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> datei_;
  };

  static std::vector<std::string> zeilen(const std::string& text) {
    std::vector<std::string> alle;
    std::size_t anfang = 0;
    for (std::size_t ende = 0; (ende = text.find('\n', anfang)) != std::string::npos;
         anfang = ende + 1) {
      alle.push_back(text.substr(anfang, ende - anfang));
    }
    if (anfang < text.size()) alle.push_back(text.substr(anfang));
    return alle;
  }

  Umleitung ausgabe_;
  Umleitung fehler_;
};

}  // namespace hallkorb
