// What a person at a terminal gets beyond plain lines: colours and a bar for long work.
//
// Both only if the stream is a terminal, so that what goes into a file or another program stays
// plain text; colours not if NO_COLOR is set (no-color.org) or the terminal has none.
//
// One thread at a time.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace hallkorb {

enum class Farbe { ohne, rot, gelb, gruen, blass };

// Whether colours may go to this open file.
[[nodiscard]] bool darfFarbe(int griff);

// `text` in a colour; unchanged if `an` is false.
[[nodiscard]] std::string gefaerbt(std::string_view text, Farbe farbe, bool an);

// A bar on standard error that is gone when the work is done.
class Balken {
 public:
  // `an`: whether there is a terminal to draw it on.
  Balken(std::string was, bool an) : was_(std::move(was)), an_(an) {}
  Balken(const Balken&) = delete;
  Balken& operator=(const Balken&) = delete;
  ~Balken();

  // Draws it if a percent has been added: from 0 to 1.
  void zeige(double anteil);

 private:
  std::string was_;
  bool an_;
  int prozent_ = -1;
};

// Two levels that move, on one line of standard error; gone when something else is to be printed.
class Pegelbalken {
 public:
  // `an`: whether there is a terminal to draw them on.
  explicit Pegelbalken(bool an) : an_(an) {}
  Pegelbalken(const Pegelbalken&) = delete;
  Pegelbalken& operator=(const Pegelbalken&) = delete;
  ~Pegelbalken() { raeume(); }

  // dBFS; absent for one that is not measured.
  void zeige(std::optional<double> mikrofon, std::optional<double> system);
  void raeume();

 private:
  bool an_;
  bool steht_ = false;
};

// Both levels side by side, in less than the 80 columns that a terminal usually has: a line that
// wraps cannot be drawn over.
[[nodiscard]] std::string pegelZeile(std::optional<double> mikrofon, std::optional<double> system);

// A level as a bar: empty at -60 dBFS, full at 0.
[[nodiscard]] std::string pegelBalken(double db);

}  // namespace hallkorb
