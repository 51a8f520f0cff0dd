// The command line of hallkorb-sitzung.
//
// Unlike the recorder, which a program starts and which skips what it does not know, this is for
// people: a mistake is named, and nothing happens. Only `abspielen` stands in the recorder's place
// and skips what follows its folder as the recorder would. One thread.
#pragma once

#include <string>
#include <variant>

namespace hallkorb {

// Exit statuses.
inline constexpr int ALLES_GUT = 0;
inline constexpr int AUFFAELLIG = 1;  // something was found, or could not be put right
inline constexpr int UNMOEGLICH = 2;  // wrong usage, or the folder cannot be read

enum class Befehl { bericht, pruefen, reparieren, zusammen, abspielen, arzt };

struct Aufruf {
  Befehl befehl = Befehl::pruefen;
  std::string ordner;
  std::string ziel;        // zusammen: folder for the results; empty for `ordner`; abspielen:
                           // folder for the files
  bool einzeln = false;    // zusammen: one file for each channel
  bool ohneVideo = false;  // zusammen: no video
  double tempo = 1.0;      // abspielen: recorded seconds in a second; 0 for as fast as possible
  bool echo = false;       // arzt: play a test sound
};

// The call, or the status to end with: what there was to print (help, version, a mistake) has been
// printed.
[[nodiscard]] std::variant<Aufruf, int> liesAufruf(int anzahl, const char* const* worte);

}  // namespace hallkorb
