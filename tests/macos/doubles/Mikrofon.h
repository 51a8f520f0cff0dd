// How a test plays the microphone: what is plugged in, what it delivers, what goes wrong.
//
// Plain C++. One test thread; what the engine calls comes on threads of its own, as on the
// platform.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace hallkorb::ersatz::mikrofon {

// Calls into the engine that can raise an exception.
enum class Ruf { format, abgriff, entferne, bereite, starte, stoppe };

// What is plugged in; 0, 0: nothing. `anordnung` is the tag of the layout of more than two
// channels.
void geraet(double rate, unsigned kanaele, std::uint32_t anordnung = 0);
// Another device: running engines stop and post the notification.
void wechsle(double rate, unsigned kanaele);
// How many bits a sample of what is plugged in has; its bytes are four in any case.
void bits(std::uint32_t anzahl);
// The notification alone. `vorher` runs after the engine has decided to post and holds itself for
// that, and before the observers are called: there the program may be quicker.
void melde(const std::function<void()>& vorher = nullptr);
// Posts the notification during each start as well, from within and from the engine's own queue.
void meldeBeimStart(bool ja);

// One block, on the tap thread. `hostTime` is in ticks; 0: the block has no time. Returns when the
// block has been taken; false if nobody takes it.
bool liefere(const std::vector<std::vector<float>>& kanaele, std::uint64_t hostTime);
// As with liefere(), for a tap that has just been removed but whose last block still runs: the tap
// is kept from here on, and lieferSpaet() calls it.
void haltAbgriff();
bool liefereSpaet(const std::vector<std::vector<float>>& kanaele);
// How many frames the last tap asked for.
[[nodiscard]] std::uint32_t bestellteFrames();

void wirfBei(Ruf ruf, bool ja);
// The start says NO, with an error of that code or without one.
void startFehler(bool ja, bool mitFehler = true, long code = -10868);

// The permission's number, and the user's answer to the question for it, given `wieOft` times.
void erlaubnis(long status);
[[nodiscard]] bool gefragt();
void antworte(bool ja, int wieOft = 1);

// Engines that were deallocated on the queue of their own notification, or on the tap thread: both
// can deadlock on the platform.
[[nodiscard]] long falscheFreigaben();

}  // namespace hallkorb::ersatz::mikrofon
