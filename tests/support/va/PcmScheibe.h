// The rest of an H.264 slice whose header others wrote: macroblocks of raw samples (I_PCM), in a
// stream that is coded with CABAC (ITU-T H.264, 9.3.4) and cabac_init_idc 0.
//
// The smallest encoder that loses nothing. It cannot show how well another one compresses; what its
// pictures show is exactly what went in.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace hallkorb {

struct PcmKopf {
  std::span<const std::uint8_t> nal;  // with start code and emulation prevention
  std::size_t bits = 0;               // of it that the header takes
  bool p = false;                     // a P slice, otherwise an I slice
  int qp = 26;
};

class PcmScheibe {
 public:
  // One macroblock: 256 values of brightness, 64 of each chroma plane.
  using Block = std::uint8_t[384];

  explicit PcmScheibe(const PcmKopf& kopf);

  // The next macroblock, and which of its neighbours on the left and above are in the slice.
  void schreibe(const Block& block, bool links, bool oben, bool letzter);
  // The whole slice, with start code and emulation prevention.
  [[nodiscard]] std::vector<std::uint8_t> nal() const;

 private:
  struct Kontext {
    unsigned zustand = 0;
    bool wahrscheinlich = false;
  };

  [[nodiscard]] static Kontext kontext(int m, int n, int qp);
  void beginneArithmetik();
  void entscheide(Kontext& kontext, bool bit);
  void beende(bool bit);
  void normiere();
  void gib(bool bit);
  void schreibeBit(bool bit);
  void richteAus(bool mit);

  std::vector<std::uint8_t> bytes_;  // without start code and emulation prevention
  unsigned freie_ = 0;               // bits of the last byte
  bool p_ = false;
  Kontext typ_[3];            // mb_type in an I slice
  Kontext uebersprungen_[3];  // mb_skip_flag
  Kontext pTyp_;              // mb_type in a P slice, first bit
  Kontext iTypInP_;           // the first bit of the part after it
  unsigned tief_ = 0;
  unsigned weite_ = 0;
  bool erstes_ = false;
  unsigned ausstehende_ = 0;
};

}  // namespace hallkorb
