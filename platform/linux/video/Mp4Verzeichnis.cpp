#include "platform/linux/video/Mp4Verzeichnis.h"

#include <algorithm>
#include <array>
#include <limits>
#include <span>
#include <string_view>

#include "platform/linux/video/H264Kodierer.h"

namespace hallkorb {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t MAX32 = std::numeric_limits<std::uint32_t>::max();

// Flags of a fragment's and of a run's head: which optional fields are there.
constexpr std::uint32_t TFHD_STELLE = 0x1;
constexpr std::uint32_t TFHD_BESCHREIBUNG = 0x2;
constexpr std::uint32_t TFHD_DAUER = 0x8;
constexpr std::uint32_t TFHD_GROESSE = 0x10;
constexpr std::uint32_t TRUN_STELLE = 0x1;
constexpr std::uint32_t TRUN_ERSTE_FLAGGEN = 0x4;
constexpr std::uint32_t TRUN_DAUER = 0x100;
constexpr std::uint32_t TRUN_GROESSE = 0x200;
constexpr std::uint32_t TRUN_FLAGGEN = 0x400;
constexpr std::uint32_t TRUN_VERSATZ = 0x800;

bool istEinesVon(std::string_view name, std::span<const std::string_view> namen) {
  return std::find(namen.begin(), namen.end(), name) != namen.end();
}

// Copies one of the three heads that hold a duration (mvhd, tkhd, mdhd), with `dauer`.
bool kopiereKopf(Bytes& ziel, const Mp4Kasten& kopf, std::uint64_t dauer) {
  const std::size_t anfang = ziel.size();
  ziel.insert(ziel.end(), kopf.ganz.begin(), kopf.ganz.end());
  const std::span<std::uint8_t> kopie(ziel.data() + anfang, kopf.ganz.size());
  // After version and flags two dates; then two words in the track's head, otherwise one.
  const bool breit = !kopf.inhalt.empty() && kopf.inhalt[0] == 1;
  const std::size_t stelle =
      MP4_KASTENKOPF + 4 + (breit ? 16U : 8U) + (kopf.name == "tkhd" ? 8U : 4U);
  if (breit) {
    return mp4SetzeVier(kopie, stelle, static_cast<std::uint32_t>(dauer >> 32)) &&
           mp4SetzeVier(kopie, stelle + 4, static_cast<std::uint32_t>(dauer));
  }
  // The largest number means "unknown"; readers then add up the samples'.
  return mp4SetzeVier(kopie, stelle,
                      static_cast<std::uint32_t>(std::min<std::uint64_t>(dauer, MAX32)));
}

// The pattern with the tables and durations of a whole file.
template <class Tafeln>
class Abschrift {
 public:
  Abschrift(std::uint64_t dauer, Tafeln tafeln) : dauer_(dauer), tafeln_(tafeln) {}

  // False if something is not where it belongs.
  [[nodiscard]] bool kopiere(Bytes& ziel, Mp4Bytes muster) {
    static constexpr std::array<std::string_view, 5> BEHAELTER{"moov", "trak", "mdia", "minf",
                                                               "stbl"};
    // What says that there are fragments, the empty tables, and an edit list, which would say that
    // nothing of it is shown.
    static constexpr std::array<std::string_view, 8> ENTFAELLT{"mvex", "edts", "stts", "stsc",
                                                               "stsz", "stco", "co64", "stss"};
    Mp4Kaesten kaesten(muster);
    bool heil = true;
    while (const auto kasten = kaesten.naechster()) {
      if (istEinesVon(kasten->name, ENTFAELLT)) continue;
      if (istEinesVon(kasten->name, BEHAELTER)) {
        mp4Kasten(ziel, kasten->name, [&] {
          heil = kopiere(ziel, kasten->inhalt) && heil;
          if (kasten->name != "stbl") return;
          tafeln_(ziel);
          ++spuren_;
        });
      } else if (kasten->name == "mdhd") {
        heil = kopiereKopf(ziel, *kasten, dauer_) && heil;
      } else if (kasten->name == "tkhd" || kasten->name == "mvhd") {
        if (kasten->name == "mvhd") liesMass(*kasten);
        heil = kopiereKopf(ziel, *kasten, dauerImMass()) && heil;
      } else {
        ziel.insert(ziel.end(), kasten->ganz.begin(), kasten->ganz.end());
      }
    }
    return heil && mass_ > 0;
  }
  [[nodiscard]] int spuren() const { return spuren_; }

 private:
  // The ticks a second in which the file and its tracks measure.
  void liesMass(const Mp4Kasten& mvhd) {
    Mp4Zahlen zahlen(mvhd.inhalt);
    const bool breit = !mvhd.inhalt.empty() && mvhd.inhalt[0] == 1;
    zahlen.ueberspringe(4 + (breit ? 16U : 8U));
    mass_ = zahlen.vier();
  }
  [[nodiscard]] std::uint64_t dauerImMass() const {
    return (dauer_ * mass_ + H264Kodierer::TICKS - 1) / H264Kodierer::TICKS;
  }

  std::uint64_t dauer_;
  std::uint64_t mass_ = 0;
  Tafeln tafeln_;
  int spuren_ = 0;
};

// Pairs of how often and what: the form that the tables of durations and block lengths share.
class Folgen {
 public:
  void nimm(std::uint32_t wert) {
    if (!folgen_.empty() && folgen_.back().wert == wert) {
      ++folgen_.back().anzahl;
    } else {
      folgen_.push_back({wert, 1});
    }
  }

  struct Folge {
    std::uint32_t wert;
    std::uint32_t anzahl;
  };
  [[nodiscard]] const std::vector<Folge>& alle() const { return folgen_; }

 private:
  std::vector<Folge> folgen_;
};

void schreibeDauern(Bytes& ziel, std::span<const std::uint32_t> dauern, std::uint32_t letzte) {
  Folgen folgen;
  for (const std::uint32_t dauer : dauern)
    folgen.nimm(dauer);
  folgen.nimm(letzte);
  mp4Kasten(ziel, "stts", [&] {
    mp4Vier(ziel, 0);
    mp4Vier(ziel, static_cast<std::uint32_t>(folgen.alle().size()));
    for (const auto& folge : folgen.alle()) {
      mp4Vier(ziel, folge.anzahl);
      mp4Vier(ziel, folge.wert);
    }
  });
}

void schreibeListe(Bytes& ziel, std::string_view name, std::span<const std::uint32_t> zahlen) {
  mp4Kasten(ziel, name, [&] {
    mp4Vier(ziel, 0);
    if (name == "stsz") mp4Vier(ziel, 0);  // no size that all have in common
    mp4Vier(ziel, static_cast<std::uint32_t>(zahlen.size()));
    for (const std::uint32_t zahl : zahlen)
      mp4Vier(ziel, zahl);
  });
}

}  // namespace

std::optional<std::int64_t> mp4DauerFeld(Mp4Bytes fragment) {
  const auto moof = mp4Inhalt(fragment, "moof");
  const auto traf = moof ? mp4Inhalt(*moof, "traf") : std::nullopt;
  const auto tfhd = traf ? mp4Inhalt(*traf, "tfhd") : std::nullopt;
  if (!tfhd) return std::nullopt;
  Mp4Zahlen zahlen(*tfhd);
  const std::uint32_t flaggen = zahlen.vier();
  zahlen.ueberspringe(4);  // number of the track
  if (flaggen & TFHD_STELLE) zahlen.ueberspringe(8);
  if (flaggen & TFHD_BESCHREIBUNG) zahlen.ueberspringe(4);
  const std::size_t stelle = zahlen.stelle();
  zahlen.ueberspringe(4);
  if ((flaggen & TFHD_DAUER) == 0 || !zahlen.heil()) return std::nullopt;
  return tfhd->data() - fragment.data() + static_cast<std::int64_t>(stelle);
}

void Mp4Verzeichnis::merke(std::int64_t zeit, bool schluesselbild) {
  if (anzahl_ > 0) {
    dauern_.push_back(
        static_cast<std::uint32_t>(std::clamp<std::int64_t>(zeit - letzte_, 0, MAX32)));
  }
  letzte_ = zeit;
  ++anzahl_;
  if (schluesselbild) schluessel_.push_back(anzahl_);
}

void Mp4Verzeichnis::nimmFragment(Mp4Bytes bytes, std::int64_t stelle) {
  Mp4Kaesten kaesten(bytes);
  const std::size_t block = bloecke_.size();
  const std::size_t probe = groessen_.size();
  bool passt = false;
  std::size_t gelesen = 0;
  while (const auto kasten = kaesten.naechster()) {
    const std::int64_t hier = stelle + static_cast<std::int64_t>(gelesen);
    if (kasten->name == "moof" && !nimmMoof(kasten->inhalt, hier)) unverstanden_ = true;
    if (kasten->name == "mdat") {
      const auto anfang = static_cast<std::uint64_t>(hier) + MP4_KASTENKOPF;
      passt = fuellen(block, probe, anfang, anfang + kasten->inhalt.size());
    }
    gelesen += kasten->ganz.size();
  }
  if (gelesen != bytes.size() || groessen_.size() != anzahl_ || !passt) unverstanden_ = true;
}

// Whether the blocks from number `block` on, which begin with sample number `probe`, lie one after
// the other in the bytes from `anfang` to `ende`.
bool Mp4Verzeichnis::fuellen(std::size_t block, std::size_t probe, std::uint64_t anfang,
                             std::uint64_t ende) const {
  for (; block < bloecke_.size(); ++block) {
    if (bloecke_[block].stelle != static_cast<std::int64_t>(anfang)) return false;
    for (std::uint32_t i = 0; i < bloecke_[block].anzahl && probe < groessen_.size(); ++i)
      anfang += groessen_[probe++];
  }
  return anfang == ende;
}

// `stelle` is where the fragment begins; places in it count from there unless it says otherwise.
bool Mp4Verzeichnis::nimmMoof(Mp4Bytes moof, std::int64_t stelle) {
  const auto traf = mp4Inhalt(moof, "traf");
  const auto tfhd = traf ? mp4Inhalt(*traf, "tfhd") : std::nullopt;
  if (!tfhd) return false;
  Mp4Zahlen zahlen(*tfhd);
  const std::uint32_t flaggen = zahlen.vier();
  zahlen.ueberspringe(4);  // number of the track
  if (flaggen & TFHD_STELLE) stelle = static_cast<std::int64_t>(zahlen.acht());
  if (flaggen & TFHD_BESCHREIBUNG) zahlen.ueberspringe(4);
  if (flaggen & TFHD_DAUER) zahlen.ueberspringe(4);
  const std::uint32_t groesse = flaggen & TFHD_GROESSE ? zahlen.vier() : 0;
  if (!zahlen.heil()) return false;
  Mp4Kaesten kaesten(*traf);
  while (const auto kasten = kaesten.naechster()) {
    if (kasten->name == "trun" && !nimmReihe(kasten->inhalt, groesse, stelle)) return false;
  }
  return true;
}

bool Mp4Verzeichnis::nimmReihe(Mp4Bytes trun, std::uint32_t groesse, std::int64_t stelle) {
  Mp4Zahlen zahlen(trun);
  const std::uint32_t flaggen = zahlen.vier();
  const std::uint32_t anzahl = zahlen.vier();
  // Without a place of its own it would follow the run before it.
  if ((flaggen & TRUN_STELLE) == 0 || anzahl > anzahl_ - groessen_.size()) return false;
  stelle += static_cast<std::int32_t>(zahlen.vier());
  if (flaggen & TRUN_ERSTE_FLAGGEN) zahlen.ueberspringe(4);
  if (anzahl > 0) bloecke_.push_back({stelle, anzahl});
  for (std::uint32_t i = 0; i < anzahl; ++i) {
    if (flaggen & TRUN_DAUER) zahlen.ueberspringe(4);
    groessen_.push_back(flaggen & TRUN_GROESSE ? zahlen.vier() : groesse);
    if (flaggen & TRUN_FLAGGEN) zahlen.ueberspringe(4);
    if (flaggen & TRUN_VERSATZ) zahlen.ueberspringe(4);
  }
  return zahlen.heil();
}

std::vector<std::uint8_t> Mp4Verzeichnis::kasten(Mp4Bytes muster, std::int64_t ende) const {
  if (unverstanden_ || anzahl_ == 0 || groessen_.size() != anzahl_) return {};
  constexpr std::int64_t LAENGSTE = std::numeric_limits<std::int32_t>::max();
  const auto letzteDauer =
      static_cast<std::uint32_t>(std::clamp<std::int64_t>(ende - letzte_, 1, LAENGSTE));
  std::uint64_t dauer = letzteDauer;
  for (const std::uint32_t d : dauern_)
    dauer += d;
  Abschrift abschrift(dauer, [&](Bytes& ziel) { schreibeTafeln(ziel, letzteDauer); });
  Bytes ziel;
  if (!abschrift.kopiere(ziel, muster) || abschrift.spuren() != 1) return {};
  return ziel;
}

void Mp4Verzeichnis::schreibeTafeln(std::vector<std::uint8_t>& ziel,
                                    std::uint32_t letzteDauer) const {
  schreibeDauern(ziel, dauern_, letzteDauer);
  schreibeListe(ziel, "stss", schluessel_);
  mp4Kasten(ziel, "stsc", [&] {
    const std::size_t anfang = ziel.size();
    mp4Acht(ziel, 0);
    std::uint32_t eintraege = 0;
    for (std::size_t i = 0; i < bloecke_.size(); ++i) {
      if (i > 0 && bloecke_[i].anzahl == bloecke_[i - 1].anzahl) continue;
      mp4Vier(ziel, static_cast<std::uint32_t>(i + 1));
      mp4Vier(ziel, bloecke_[i].anzahl);
      mp4Vier(ziel, 1);  // which description
      ++eintraege;
    }
    [[maybe_unused]] const bool passt = mp4SetzeVier(ziel, anfang + 4, eintraege);
  });
  schreibeListe(ziel, "stsz", groessen_);
  mp4Kasten(ziel, "co64", [&] {
    mp4Vier(ziel, 0);
    mp4Vier(ziel, static_cast<std::uint32_t>(bloecke_.size()));
    for (const Block& block : bloecke_)
      mp4Acht(ziel, static_cast<std::uint64_t>(block.stelle));
  });
}

}  // namespace hallkorb
