// How a test plays the system as such: its version, and its own threads coming to rest.
//
// Plain C++, any thread.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace hallkorb::ersatz {

// The system's version from now on; 13.0 is the oldest that the program runs on.
void setzeSystem(int haupt, int neben);

// Waits until no block is left on any queue but the main queue and none is running, so that
// whatever those held is released. False if that takes more than a minute.
[[nodiscard]] bool ruhe();

// What was put off with dispatch_after runs only here: all that is due within so many seconds, on
// a queue of its own. Returns when it has run.
void lassZeitVergehen(double sekunden);

// Observers registered with the notification centre, and activities that keep the system awake.
[[nodiscard]] long beobachter();
[[nodiscard]] long aktivitaeten();
// How often the connection to the window server was asked for.
[[nodiscard]] long fensterserver();

// The default devices' names; nullopt for no device.
void geraetenamen(std::optional<std::string> eingang, std::optional<std::string> ausgang);
// What the audio service answers when asked for a device, and for its name (0: what it has); or it
// answers nothing at all.
void tondienstFehler(std::int32_t geraet, std::int32_t name);
void stummerTondienst(bool ja);
// Waits until it has given so many answers.
void warteAufTondienst(long antworten);
// The permission to record the screen.
void bildschirmErlaubt(bool ja);
// The program that plays sounds on the platform; nullopt for none.
void abspielprogramm(std::optional<std::string> pfad);

// Sources watch, but never report it to their registration handlers.
void stummeAnmeldung(bool ja);
// Runs `tat` for each source of a signal at that moment: when it watches and has not yet reported
// it; when the signal is about to be ignored. Without a moment never.
enum class Signalmoment { angemeldet, vorDemIgnorieren };
void im(std::optional<Signalmoment> wann, std::function<void()> tat = nullptr);
// The kernel gives no event queue, for this reason; 0 to let it.
void keineEreignisse(int fehlernummer);
// What the event queue reports as free in a pipe: so many bytes, no event if it is negative, and
// without a value what is really free.
void setzeRohrplatz(std::optional<long> bytes);
// It refuses to watch anything, for this reason, as an event if there is room for one and
// otherwise, or always with `ohneEreignis`, as a call that fails; 0 to let it.
void keineWache(int fehlernummer, bool ohneEreignis = false);
// Threads get no names, for this reason; 0 to let them.
void keinFadenname(int fehlernummer);

// Everything that a test can set, as at the start of the process.
void setzeZurueck();

}  // namespace hallkorb::ersatz
