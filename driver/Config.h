// The run configuration: what the host's command line says, once, for the whole run.
//
// A host application starts the program with a flat list of options and reads no usage texts, so
// parsing never fails and never prints: what is unknown or cannot be read is passed over.
//
// Plain value. `cfg` is set before any other thread exists and only read afterwards.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace hallkorb {

// The process's current working directory; "." if it cannot be found out (removed, unreadable).
[[nodiscard]] std::string arbeitsverzeichnis();

struct Config {
  std::string outDir = arbeitsverzeichnis();  // folder for chunks, continuous files and the video
  double chunkSeconds = 25.0;                 // nominal chunk length in fixed mode
  double sampleRate = 16000.0;                // Hz, the common rate of all audio after resampling
  bool turnMode = true;                       // cut at pauses instead of at fixed lengths
  double minSeconds = 1.2;                    // turn mode: shortest chunk before a pause may cut
  double maxSeconds = 4.0;                    // turn mode: length at which a cut is forced
  double silenceSeconds = 0.6;                // turn mode: pause that allows a cut
  float silenceRms = 0.006F;                  // linear RMS below which a frame is silent
  bool video = true;                          // record the meeting window
  double videoWarten = 120.0;                 // seconds to keep looking for a meeting window
  bool echo = true;                           // remove the far-end echo from the microphone
  bool rohMikro = true;                       // keep the unprocessed microphone as one file
  std::vector<std::string> echoDatei;         // offline echo mode: microphone, reference, output
  bool ohneNachfilter = false;                // offline echo mode: without the post-filter
  std::optional<std::string> chunkOrdner;     // offline echo mode: folder for chunk files
  bool fensterProbe = false;                  // probe the windows of the current screen
  bool alleFenster = false;                   // the probe lists all windows
  std::optional<std::string> fensterWahl;     // rank the window list in this JSON file
  bool zeitachseTest = false;                 // self-test of the timeline
};

// What a run does; exactly one.
enum class Modus { echoDatei, zeitachseTest, fensterWahl, fensterProbe, live };

// The mode that the configuration asks for: the offline modes before the live recording, in the
// order of the enumeration. An "--echo-datei" without its three paths selects nothing.
[[nodiscard]] Modus modus(const Config& config);

// The process-wide configuration.
extern Config cfg;

// The configuration that the process's arguments ask for; the first one, the program's path, is
// skipped.
[[nodiscard]] Config parseArgs(int argc, const char* const* argv);

}  // namespace hallkorb
