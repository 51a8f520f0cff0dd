#include "driver/Config.h"

#include <array>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string_view>
#include <system_error>

namespace hallkorb {
namespace {

// A number in the notation of strtod and the C locale; nullopt if the value has a leading blank, is
// empty, or has anything after the number.
std::optional<double> zahl(const std::string& text) {
  if (text.empty() || text[0] == ' ' || (text[0] >= '\t' && text[0] <= '\r')) return std::nullopt;
  char* ende = nullptr;
  const double wert = std::strtod(text.c_str(), &ende);
  if (ende != text.c_str() + text.size()) return std::nullopt;
  return wert;
}

struct Option {
  std::string_view name;
  int werte;  // how many values follow
  // Applies the option. Given fewer values than `werte`, the command line ended within the option.
  std::function<void(Config&, std::vector<std::string>)> wirkung;
};

Option schalter(std::string_view name, bool Config::* feld, bool wert) {
  return {name, 0, [=](Config& c, const std::vector<std::string>&) { c.*feld = wert; }};
}

Option zahlOption(std::string_view name, double Config::* feld) {
  return {name, 1, [=](Config& c, const std::vector<std::string>& werte) {
            if (werte.empty()) return;
            if (const auto gelesen = zahl(werte[0])) c.*feld = *gelesen;
          }};
}

// A missing value cancels an earlier one.
Option pfadOption(std::string_view name, std::optional<std::string> Config::* feld) {
  return {name, 1, [=](Config& c, const std::vector<std::string>& werte) {
            c.*feld = werte.empty() ? std::nullopt : std::optional(werte[0]);
          }};
}

const auto& optionen() {
  static const std::array alle{
      Option{"--out", 1,
             [](Config& c, const std::vector<std::string>& werte) {
               if (!werte.empty()) c.outDir = werte[0];
             }},
      zahlOption("--chunk", &Config::chunkSeconds),
      zahlOption("--rate", &Config::sampleRate),
      schalter("--legacy-chunks", &Config::turnMode, false),
      zahlOption("--max", &Config::maxSeconds),
      schalter("--video", &Config::video, true),
      schalter("--no-video", &Config::video, false),
      zahlOption("--video-warten", &Config::videoWarten),
      schalter("--echo", &Config::echo, true),
      schalter("--kein-echo", &Config::echo, false),
      schalter("--kein-roh-mikro", &Config::rohMikro, false),
      Option{"--echo-datei", 3,
             [](Config& c, std::vector<std::string> werte) { c.echoDatei = std::move(werte); }},
      schalter("--ohne-nachfilter", &Config::ohneNachfilter, true),
      pfadOption("--chunk-ordner", &Config::chunkOrdner),
      schalter("--fenster-probe", &Config::fensterProbe, true),
      schalter("--alle", &Config::alleFenster, true),
      pfadOption("--fenster-wahl", &Config::fensterWahl),
      schalter("--zeitachse-test", &Config::zeitachseTest, true),
  };
  return alle;
}

}  // namespace

Config cfg;

std::string arbeitsverzeichnis() {
  std::error_code fehler;
  const auto pfad = std::filesystem::current_path(fehler);
  return fehler ? "." : pfad.string();
}

Modus modus(const Config& config) {
  if (config.echoDatei.size() == 3) return Modus::echoDatei;
  if (config.zeitachseTest) return Modus::zeitachseTest;
  if (config.fensterWahl) return Modus::fensterWahl;
  if (config.fensterProbe) return Modus::fensterProbe;
  return Modus::live;
}

Config parseArgs(int argc, const char* const* argv) {
  Config c;
  for (int i = 1; i < argc;) {
    const std::string_view argument = argv[i++];
    for (const Option& option : optionen()) {
      if (argument != option.name) continue;
      std::vector<std::string> werte;
      while (static_cast<int>(werte.size()) < option.werte && i < argc)
        werte.emplace_back(argv[i++]);
      option.wirkung(c, std::move(werte));
      break;
    }
  }
  return c;
}

}  // namespace hallkorb
