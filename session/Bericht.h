// The page about a recording: "sitzung.html" in its folder, to be opened in a browser.
//
// It is one file with everything in it but the sound and the picture, which it plays from the files
// beside it. So it opens from the file system, without a server and without the network, and goes
// wherever the folder goes.
//
// A page that was there is replaced, and so is a link of its name, which is not followed. If the
// folder allows that not, nothing is written.
//
// One thread at a time.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <variant>

#include "base/Fehler.h"
#include "session/Seitendaten.h"

namespace hallkorb {

inline constexpr char SEITENDATEI[] = "sitzung.html";

struct Bericht {
  double dauer = 0.0;          // seconds
  std::size_t auffaellig = 0;  // findings that are no hints
};

// The page as text.
[[nodiscard]] std::string baueSeite(const Seitendaten& daten);

// An error if the folder cannot be read, holds no recording, or cannot be written to.
[[nodiscard]] std::variant<Bericht, Fehler> schreibeBericht(
    const std::string& pfad, const std::function<void(double)>& fortschritt = nullptr);

}  // namespace hallkorb
