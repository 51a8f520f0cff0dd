// The check of a recorded folder: every file against its line and against its own header.
//
// A recording that was killed, copied by half or kept on a bad disk shows it in one of four ways: a
// file is missing, cut off, in doubt (what it holds and what is said of it differ), or left over.
// Each finding names its file and says in one German sentence what is wrong.
//
// Without the host's lines the files alone are checked, each against its header.
//
// Only reads. Any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "session/Ereignisse.h"
#include "session/Sitzungsordner.h"

namespace hallkorb {

enum class Befundart { hinweis, fehlt, abgeschnitten, zweifelhaft, uebrig };

// What a finding is about, if its kind and its file do not yet say it.
enum class Thema {
  sonst,
  zeile,       // lines, one by one
  zeilenende,  // the lines are not read to their end
  rate,        // another rate than most files have
  frueher      // left by an earlier recording
};

struct Befund {
  Befundart art = Befundart::hinweis;
  std::string datei;  // its name, or empty for the recording as a whole; as it may be shown
  std::string text;
  bool reparierbar = false;  // a repair puts it right
  Thema thema = Thema::sonst;
  std::size_t anzahl = 1;  // of what it is about

  friend bool operator==(const Befund&, const Befund&) = default;
};

// What a kind of finding is called.
[[nodiscard]] std::string_view befundName(Befundart art);

// Whether anything but hints is among them.
[[nodiscard]] bool istAuffaellig(const std::vector<Befund>& befunde);

// `ereignisse` null without lines.
[[nodiscard]] std::vector<Befund> pruefeSitzung(const Sitzungsordner& ordner,
                                                const Ereignisse* ereignisse);

}  // namespace hallkorb
