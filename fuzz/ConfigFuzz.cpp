// Arbitrary argument vectors: the configuration is what a plain reading of the options says.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "driver/Config.h"
#include "fuzz/Bytestrom.h"

namespace hallkorb {
namespace {

bool gleich(double a, double b) {
  return a == b || (std::isnan(a) && std::isnan(b));
}

// Sets the number, if the text is one and nothing else.
void setze(double& zahl, const std::string& text) {
  if (text.empty() || std::string(" \t\n\v\f\r").find(text[0]) != std::string::npos) return;
  char* ende = nullptr;
  const double wert = std::strtod(text.c_str(), &ende);
  if (*ende == '\0') zahl = wert;
}

// The plainest reading: one option after another.
Config soll(const std::vector<std::string>& argumente) {
  Config c;
  for (std::size_t i = 0; i < argumente.size(); ++i) {
    const std::string& a = argumente[i];
    const bool noch = i + 1 < argumente.size();
    if (a == "--legacy-chunks") c.turnMode = false;
    if (a == "--video") c.video = true;
    if (a == "--no-video") c.video = false;
    if (a == "--echo") c.echo = true;
    if (a == "--kein-echo") c.echo = false;
    if (a == "--kein-roh-mikro") c.rohMikro = false;
    if (a == "--ohne-nachfilter") c.ohneNachfilter = true;
    if (a == "--fenster-probe") c.fensterProbe = true;
    if (a == "--alle") c.alleFenster = true;
    if (a == "--zeitachse-test") c.zeitachseTest = true;
    if (a == "--echo-datei") {
      c.echoDatei.clear();
      while (c.echoDatei.size() < 3 && i + 1 < argumente.size())
        c.echoDatei.push_back(argumente[++i]);
    }
    if (a == "--chunk-ordner") c.chunkOrdner = noch ? std::optional(argumente[++i]) : std::nullopt;
    if (a == "--fenster-wahl") c.fensterWahl = noch ? std::optional(argumente[++i]) : std::nullopt;
    if (a == "--out" && noch) {
      c.outDir = argumente[++i];
    } else if (a == "--chunk" && noch) {
      setze(c.chunkSeconds, argumente[++i]);
    } else if (a == "--rate" && noch) {
      setze(c.sampleRate, argumente[++i]);
    } else if (a == "--max" && noch) {
      setze(c.maxSeconds, argumente[++i]);
    } else if (a == "--video-warten" && noch) {
      setze(c.videoWarten, argumente[++i]);
    }
  }
  return c;
}

// Null bytes separate the arguments.
void laufe(Bytestrom eingabe) {
  std::vector<std::string> argumente(1);
  for (const char zeichen : eingabe.text()) {
    if (zeichen == '\0') {
      argumente.emplace_back();
    } else {
      argumente.back() += zeichen;
    }
  }
  std::vector<const char*> vektor{"hallkorb"};
  for (const std::string& argument : argumente)
    vektor.push_back(argument.c_str());
  const Config ist = parseArgs(static_cast<int>(vektor.size()), vektor.data());
  const Config c = soll(argumente);
  pruefe(ist.outDir == c.outDir && ist.chunkOrdner == c.chunkOrdner);
  pruefe(ist.fensterWahl == c.fensterWahl && ist.echoDatei == c.echoDatei);
  pruefe(gleich(ist.chunkSeconds, c.chunkSeconds) && gleich(ist.sampleRate, c.sampleRate));
  pruefe(gleich(ist.maxSeconds, c.maxSeconds) && gleich(ist.videoWarten, c.videoWarten));
  pruefe(ist.turnMode == c.turnMode && ist.video == c.video && ist.echo == c.echo);
  pruefe(ist.rohMikro == c.rohMikro && ist.ohneNachfilter == c.ohneNachfilter);
  pruefe(ist.fensterProbe == c.fensterProbe && ist.alleFenster == c.alleFenster);
  pruefe(ist.zeitachseTest == c.zeitachseTest && modus(ist) == modus(c));
}

}  // namespace
}  // namespace hallkorb

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t anzahl) {
  hallkorb::laufe(hallkorb::Bytestrom(std::span(bytes, anzahl)));
  return 0;
}
