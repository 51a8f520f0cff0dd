// How a test plays ScreenCaptureKit: what can be captured, what a stream delivers, when and how the
// service answers.
//
// Plain C++, any thread. Output and delegate are held weakly by a stream, which is the harder case.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tests/macos/doubles/Proben.h"

namespace hallkorb::ersatz::bildschirm {

struct Fenster {
  std::uint32_t id = 0;
  std::optional<std::string> titel = {};
  std::optional<std::string> app = {};  // name and bundle identifier
  double x = 0;
  double y = 0;
  double breite = 0;
  double hoehe = 0;
  bool sichtbar = true;
  long ebene = 0;
};

// Calls that the service answers later.
enum class Frage { inhalt, start, stopp, wechsel };

void inhalt(std::vector<Fenster> fenster, int displays);
// The answers to such calls have this code from now on; 0: no error. With `ohneFehler` a failed
// query for the content comes without an error object.
void fehler(Frage frage, long code, bool ohneFehler = false);
// Adding an output fails with this code, or without an error object if it is 0.
void ausgangFehler(long code);
// The stream cannot be made: nil.
void keinStrom(bool ja);

// Such calls are not answered until antworte(), which answers those that wait, `wieOft` times each.
void stumm(Frage frage, bool ja);
void antworte(int wieOft = 1);
[[nodiscard]] int offeneFragen();
// Returns when one waits.
void warteAufFrage();

enum class Art { bild, ton };

// One sample buffer to the output of the stream of its kind that was started last, on its queue;
// false if none runs.
bool ton(const Ton& ton, const Zeitpunkt& wann);
bool bild(const Schnappschuss& bild, const Zeitpunkt& wann, bool gueltig = true);
// A sample of an output that was not asked for.
bool fremdeProbe();
// The service ends the stream that was started last, or the last one of that kind.
void beende(long code, bool mitFehler = true);
void beende(Art art, long code);
// The service ends the stream whose start it was asked for last, on a thread of its own: the start
// can be answered meanwhile.
void beendeVorDerAntwort(long code);
// The window that the running stream of pictures shows.
[[nodiscard]] std::optional<std::uint32_t> gezeigtesFenster();

// Of the stream made last.
[[nodiscard]] std::map<std::string, double> konfiguration();
[[nodiscard]] std::string queue();
// Streams deallocated while a stop of theirs was not answered, by the answer itself, while they
// still captured, or, as their delegates, while the service called the delegate.
[[nodiscard]] long zuFruehFreigegeben();

}  // namespace hallkorb::ersatz::bildschirm
