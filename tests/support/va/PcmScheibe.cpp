#include "tests/support/va/PcmScheibe.h"

#include <algorithm>

namespace hallkorb {
namespace {

constexpr std::size_t STARTCODE = 4;

// Tables 9-44 and 9-45.
constexpr std::uint8_t WEITEN[64][4] = {
    {128, 176, 208, 240}, {128, 167, 197, 227}, {128, 158, 187, 216}, {123, 150, 178, 205},
    {116, 142, 169, 195}, {111, 135, 160, 185}, {105, 128, 152, 175}, {100, 122, 144, 166},
    {95, 116, 137, 158},  {90, 110, 130, 150},  {85, 104, 123, 142},  {81, 99, 117, 135},
    {77, 94, 111, 128},   {73, 89, 105, 122},   {69, 85, 100, 116},   {66, 80, 95, 110},
    {62, 76, 90, 104},    {59, 72, 86, 99},     {56, 69, 81, 94},     {53, 65, 77, 89},
    {51, 62, 73, 85},     {48, 59, 69, 80},     {46, 56, 66, 76},     {43, 53, 63, 72},
    {41, 50, 59, 69},     {39, 48, 56, 65},     {37, 45, 54, 62},     {35, 43, 51, 59},
    {33, 41, 48, 56},     {32, 39, 46, 53},     {30, 37, 43, 50},     {29, 35, 41, 48},
    {27, 33, 39, 45},     {26, 31, 37, 43},     {24, 30, 35, 41},     {23, 28, 33, 39},
    {22, 27, 32, 37},     {21, 26, 30, 35},     {20, 24, 29, 33},     {19, 23, 27, 31},
    {18, 22, 26, 30},     {17, 21, 25, 28},     {16, 20, 23, 27},     {15, 19, 22, 25},
    {14, 18, 21, 24},     {14, 17, 20, 23},     {13, 16, 19, 22},     {12, 15, 18, 21},
    {12, 14, 17, 20},     {11, 14, 16, 19},     {11, 13, 15, 18},     {10, 12, 15, 17},
    {10, 12, 14, 16},     {9, 11, 13, 15},      {9, 11, 12, 14},      {8, 10, 12, 14},
    {8, 9, 11, 13},       {7, 9, 11, 12},       {7, 9, 10, 12},       {7, 8, 10, 11},
    {6, 8, 9, 11},        {6, 7, 9, 10},        {6, 7, 8, 9},         {2, 2, 2, 2}};
constexpr std::uint8_t NACH_SELTENEM[64] = {
    0,  0,  1,  2,  2,  4,  4,  5,  6,  7,  8,  9,  9,  11, 11, 12, 13, 13, 15, 15, 16, 16,
    18, 18, 19, 19, 21, 21, 22, 22, 23, 24, 24, 25, 26, 26, 27, 27, 28, 29, 29, 30, 30, 30,
    31, 32, 32, 33, 33, 33, 34, 34, 35, 35, 35, 36, 36, 36, 37, 37, 37, 38, 38, 63};

// Tables 9-12 and 9-13: m and n of the contexts in use, for cabac_init_idc 0.
struct Anfang {
  int m;
  int n;
};
constexpr Anfang TYP[] = {{20, -15}, {2, 54}, {3, 74}};
constexpr Anfang UEBERSPRUNGEN[] = {{23, 33}, {23, 2}, {21, 0}};
constexpr Anfang P_TYP = {1, 9};
constexpr Anfang I_TYP_IN_P = {5, 57};

std::vector<std::uint8_t> ohneSchutz(std::span<const std::uint8_t> nal, std::size_t& bits) {
  std::vector<std::uint8_t> bytes;
  std::size_t nullen = 0;
  for (const std::uint8_t byte : nal) {
    if (nullen >= 2 && byte == 3) {
      nullen = 0;
      bits -= 8;
      continue;
    }
    nullen = byte == 0 ? nullen + 1 : 0;
    bytes.push_back(byte);
  }
  return bytes;
}

}  // namespace

PcmScheibe::PcmScheibe(const PcmKopf& kopf) : p_(kopf.p) {
  std::size_t bits = kopf.bits - STARTCODE * 8;
  bytes_ = ohneSchutz(kopf.nal.subspan(STARTCODE), bits);
  bytes_.resize((bits + 7) / 8);
  freie_ = static_cast<unsigned>(bytes_.size() * 8 - bits);
  if (!bytes_.empty()) bytes_.back() &= static_cast<std::uint8_t>(0xFFU << freie_);
  richteAus(true);
  for (std::size_t i = 0; i < 3; ++i) {
    typ_[i] = kontext(TYP[i].m, TYP[i].n, kopf.qp);
    uebersprungen_[i] = kontext(UEBERSPRUNGEN[i].m, UEBERSPRUNGEN[i].n, kopf.qp);
  }
  pTyp_ = kontext(P_TYP.m, P_TYP.n, kopf.qp);
  iTypInP_ = kontext(I_TYP_IN_P.m, I_TYP_IN_P.n, kopf.qp);
  beginneArithmetik();
}

void PcmScheibe::schreibe(const Block& block, bool links, bool oben, bool letzter) {
  // Neighbours count that are neither skipped nor of the one type without a number: all of them.
  const std::size_t nachbarn = (links ? 1U : 0U) + (oben ? 1U : 0U);
  if (p_) {
    entscheide(uebersprungen_[nachbarn], false);
    entscheide(pTyp_, true);
    entscheide(iTypInP_, true);
  } else {
    entscheide(typ_[nachbarn], true);
  }
  beende(true);
  richteAus(false);
  bytes_.insert(bytes_.end(), std::begin(block), std::end(block));
  beginneArithmetik();
  beende(letzter);
}

std::vector<std::uint8_t> PcmScheibe::nal() const {
  std::vector<std::uint8_t> ganz = {0, 0, 0, 1};
  std::size_t nullen = 0;
  for (const std::uint8_t byte : bytes_) {
    if (nullen >= 2 && byte <= 3) {
      ganz.push_back(3);
      nullen = 0;
    }
    ganz.push_back(byte);
    nullen = byte == 0 ? nullen + 1 : 0;
  }
  return ganz;
}

PcmScheibe::Kontext PcmScheibe::kontext(int m, int n, int qp) {
  const int wert = std::clamp(((m * std::clamp(qp, 0, 51)) >> 4) + n, 1, 126);
  return wert <= 63 ? Kontext{static_cast<unsigned>(63 - wert), false}
                    : Kontext{static_cast<unsigned>(wert - 64), true};
}

void PcmScheibe::beginneArithmetik() {
  tief_ = 0;
  weite_ = 510;
  erstes_ = true;
  ausstehende_ = 0;
}

void PcmScheibe::entscheide(Kontext& kontext, bool bit) {
  const unsigned seltene = WEITEN[kontext.zustand][weite_ >> 6 & 3];
  weite_ -= seltene;
  if (bit == kontext.wahrscheinlich) {
    kontext.zustand = std::min(kontext.zustand + 1, 62U);
  } else {
    tief_ += weite_;
    weite_ = seltene;
    if (kontext.zustand == 0) kontext.wahrscheinlich = !kontext.wahrscheinlich;
    kontext.zustand = NACH_SELTENEM[kontext.zustand];
  }
  normiere();
}

void PcmScheibe::beende(bool bit) {
  weite_ -= 2;
  if (!bit) {
    normiere();
    return;
  }
  tief_ += weite_;
  weite_ = 2;
  normiere();
  gib((tief_ >> 9 & 1) != 0);
  schreibeBit((tief_ >> 8 & 1) != 0);
  schreibeBit(true);
}

void PcmScheibe::normiere() {
  for (; weite_ < 256; weite_ <<= 1, tief_ <<= 1) {
    if (tief_ < 256) {
      gib(false);
    } else if (tief_ >= 512) {
      tief_ -= 512;
      gib(true);
    } else {
      tief_ -= 256;
      ++ausstehende_;
    }
  }
}

void PcmScheibe::gib(bool bit) {
  if (!erstes_) schreibeBit(bit);
  erstes_ = false;
  for (; ausstehende_ > 0; --ausstehende_)
    schreibeBit(!bit);
}

void PcmScheibe::schreibeBit(bool bit) {
  if (freie_ == 0) {
    bytes_.push_back(0);
    freie_ = 8;
  }
  --freie_;
  if (bit) bytes_.back() |= static_cast<std::uint8_t>(1U << freie_);
}

void PcmScheibe::richteAus(bool mit) {
  while (freie_ > 0)
    schreibeBit(mit);
}

}  // namespace hallkorb
