// What a platform says about itself to a person whose recording does not work: the devices by name,
// what the user has permitted, a way to make a sound, and what to do about what is missing.
//
// The recorder needs none of it: it takes the default devices, whatever they are called. But "no
// microphone" helps nobody; which device was tried and which setting to change does, and both are
// different on each platform.
//
// Any thread; geraetenamen() blocks for at most 3 seconds, spieleVor() for as long as the sound.
#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "base/Fehler.h"

namespace hallkorb {

// The default devices; absent if there is none, or if the platform does not name them.
struct Geraetenamen {
  std::optional<std::string> mikrofon;
  std::optional<std::string> lautsprecher;
};

// What may be missing.
enum class Mangel {
  tondienst,
  mikrofon,
  stummesMikrofon,
  systemAudio,
  vorrang,
  bildschirm,
  encoder,
};

// Something that the user must permit before it works.
struct Genehmigung {
  enum class Stand {
    erteilt,
    ungefragt,  // the first recording asks for it
    fehlt,      // refused, or nobody was asked yet: the platform does not tell them apart
    gesperrt,   // the user must not decide
  };

  std::string wofuer;
  Stand stand = Stand::erteilt;
  Mangel mangel = Mangel::mikrofon;  // what is missing without it
};

class Auskunft {
 public:
  // An error if the audio service cannot be reached.
  [[nodiscard]] virtual std::variant<Geraetenamen, Fehler> geraetenamen() = 0;
  // Empty if the platform asks its users for none.
  [[nodiscard]] virtual std::vector<Genehmigung> genehmigungen() = 0;
  // Plays a WAV file on the default speakers, to its end.
  [[nodiscard]] virtual Ergebnis spieleVor(const std::string& wav) = 0;
  // What to do about it: one German sentence without a full stop.
  [[nodiscard]] virtual std::string abhilfe(Mangel mangel) const = 0;

 protected:
  ~Auskunft() = default;
};

}  // namespace hallkorb
