// Whether a picture of a window shows anything new.
//
// Some programs draw the same again and again, as fast as the screen allows. Each of these drawings
// is reported like any other, and converting and encoding what the film shows already would cost as
// much as a film. Comparing costs a fraction of that: in a window that changes, the row that
// differed last time mostly differs again, so nearly nothing is compared.
//
// One thread.
#pragma once

#include <optional>

#include "platform/linux/BgrBild.h"

namespace hallkorb {

class Bildvergleich {
 public:
  // Whether the picture has the size and the pixels of the one that merke() was given, whose memory
  // must still hold it. False if there is none.
  [[nodiscard]] bool gleich(const BgrBild& bild);
  void merke(const BgrBild& bild) { voriges_ = bild; }
  void vergiss() { voriges_.reset(); }

 private:
  std::optional<BgrBild> voriges_;
  int andereZeile_ = 0;  // one that differed last time
};

}  // namespace hallkorb
