// Ranks the screen's windows as meeting windows.
//
// Whether a window is a candidate at all is decided by its application's rule (MeetingRegeln.h).
// Among candidates of the same rank a native application's window goes before a browser's, and a
// larger window before a smaller one, since small ones are previews and toolbars; otherwise the
// order of the list decides.
//
// Pure functions; any thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "meeting/FensterInfo.h"
#include "meeting/MeetingRegeln.h"
#include "meeting/Wahl.h"

namespace hallkorb {

inline constexpr std::string_view KEIN_BILD = "kein Meetingfenster – kein Bild";

struct MeetingKandidaten {
  std::vector<Wahl> liste;  // best first
  std::string ohne;         // why there would be no picture without candidates; always filled
};

[[nodiscard]] MeetingKandidaten meetingKandidaten(const std::vector<FensterInfo>& fenster);

// The best choice of a ranking, or "nichts" with the reason.
[[nodiscard]] Wahl besteWahl(const MeetingKandidaten& kandidaten);

// The best choice among these windows.
[[nodiscard]] Wahl waehleMeetingZiel(const std::vector<FensterInfo>& fenster);

}  // namespace hallkorb
