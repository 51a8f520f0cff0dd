#include "base/Ausgabe.h"

#include <cstdio>

#include "base/Text.h"

namespace hallkorb {
namespace {

// A line of `text`. File names are bytes and need not be UTF-8; the line that names such a file is
// worth more than the exact name.
std::string zeile(std::string_view text) {
  return alsUtf8(text) + '\n';
}

}  // namespace

void log(std::string_view text) {
  FileHandleTextOutput::standardError().write(zeile(text));
}

void emit(std::string_view text) {
  FileHandleTextOutput::standardOutput().write(zeile(text));
}

void halteZeilenZurueck() {
  FileHandleTextOutput::standardOutput().halteZurueck();
}

void gibZeilenFrei(const std::vector<std::string>& zuerst) {
  std::vector<std::string> zeilen;
  zeilen.reserve(zuerst.size());
  for (const std::string& text : zuerst)
    zeilen.push_back(zeile(text));
  FileHandleTextOutput::standardOutput().gibFrei(zeilen);
}

bool starteAusgabeFaeden() {
  const bool ausgabe = FileHandleTextOutput::standardOutput().starteFaden();
  return FileHandleTextOutput::standardError().starteFaden() && ausgabe;
}

void begrenzeAusgabe(double sekunden) {
  FileHandleTextOutput::standardOutput().begrenze(sekunden);
  FileHandleTextOutput::standardError().begrenze(sekunden);
}

void leereAusgabe() {
  FileHandleTextOutput::standardOutput().leere();
  FileHandleTextOutput::standardError().leere();
}

bool druckeErgebnis(std::string_view text) {
  const std::string ganz = zeile(text);
  return std::fwrite(ganz.data(), 1, ganz.size(), stdout) == ganz.size() &&
         std::fflush(stdout) == 0;
}

}  // namespace hallkorb
