#include "platform/linux/video/FragmentDatei.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <new>
#include <string_view>
#include <utility>

#include "base/Speichermangel.h"
#include "platform/linux/video/H264Kodierer.h"
#include "platform/linux/video/Mp4Kaesten.h"

namespace hallkorb {
namespace {

constexpr char WAS[] = "Videodatei";
constexpr char ABSCHLUSS[] = "Abschluss der Videodatei";
constexpr int PUFFER = 64 * 1024;

}  // namespace

FragmentDatei::~FragmentDatei() {
  if (griff_ >= 0) hallkorb::schliesse(griff_, dateien_);
}

// Without memory a step may have ended anywhere, so nothing more is written.
template <class Schritt>
Ergebnis FragmentDatei::versuche(Schritt schritt) {
  try {
    return schritt();
  } catch (const std::bad_alloc&) {
    verloren_ = true;
    return keinSpeicher();
  }
}

Ergebnis FragmentDatei::beginne(const std::string& pfad, const AVCodecContext& strom) {
  return versuche([&] { return legeAn(pfad, strom); });
}

Ergebnis FragmentDatei::legeAn(const std::string& pfad, const AVCodecContext& strom) {
  const int weg = beharrlich([&] { return dateien_.loeschen(pfad); });
  if (weg < 0 && weg != -ENOENT) return Fehler::ausErrno(-weg, WAS);
  const mode_t rechte = rechteNeuerDatei(pfad, dateien_);
  griff_ = beharrlich([&] { return dateien_.oeffnen(pfad, O_WRONLY | O_CREAT | O_EXCL, rechte); });
  if (griff_ < 0) return Fehler::ausErrno(-griff_, WAS);

  void* puffer = av_malloc(PUFFER);
  if (puffer == nullptr) return Fehler::ausErrno(ENOMEM, WAS);
  strom_.reset(libav().avio_alloc_context(static_cast<unsigned char*>(puffer), PUFFER, 1, this,
                                          nullptr, &sammle, nullptr));
  if (!strom_) av_freep(static_cast<void*>(&puffer));
  AVFormatContext* datei = nullptr;
  libav().avformat_alloc_output_context2(&datei, nullptr, "mp4", nullptr);
  datei_.reset(datei);
  offen_.reset(libav().av_packet_alloc());
  AVStream* spur = datei_ ? libav().avformat_new_stream(datei_.get(), nullptr) : nullptr;
  if (!strom_ || spur == nullptr || !offen_) return Fehler::ausErrno(ENOMEM, WAS);
  strom_->seekable = 0;
  datei_->pb = strom_.get();
  spur->time_base = strom.time_base;
  spur->avg_frame_rate = strom.framerate;
  if (const int code = libav().avcodec_parameters_from_context(spur->codecpar, &strom); code < 0) {
    return libavFehler(code, WAS);
  }
  AVDictionary* wahl = nullptr;
  av_dict_set(&wahl, "movflags", "frag_custom+empty_moov+default_base_moof+skip_trailer", 0);
  av_dict_set_int(&wahl, "video_track_timescale", H264Kodierer::TICKS, 0);
  const int code = libav().avformat_write_header(datei_.get(), &wahl);
  av_dict_free(&wahl);
  libav().avio_flush(strom_.get());
  if (verloren_) return keinSpeicher();
  return code < 0 ? libavFehler(code, WAS) : schreibeKopf();
}

// The muxer's head, with room for the switch in it. Its places count from each fragment's
// beginning, so they hold all the same.
Ergebnis FragmentDatei::schreibeKopf() {
  Mp4Kaesten kaesten(gesammelt_);
  const auto ftyp = kaesten.naechster();
  const auto moov = kaesten.naechster();
  if (!ftyp || ftyp->name != "ftyp" || !moov || moov->name != "moov") {
    return libavFehler(AVERROR_INVALIDDATA, WAS);
  }
  kopf_.assign(moov->ganz.begin(), moov->ganz.end());
  schalter_ = static_cast<std::int64_t>(ftyp->ganz.size());
  std::vector<std::uint8_t> alles(ftyp->ganz.begin(), ftyp->ganz.end());
  mp4Kasten(alles, "free", [&] { mp4Acht(alles, 0); });
  alles.insert(alles.end(), gesammelt_.begin() + schalter_, gesammelt_.end());
  gesammelt_.clear();
  return haengeAn(alles);
}

Ergebnis FragmentDatei::schreibe(AVPacket& paket) {
  return versuche([&] { return nimm(paket); });
}

Ergebnis FragmentDatei::nimm(AVPacket& paket) {
  const std::int64_t zeit = paket.pts;
  if (ungesichert()) {
    if (Ergebnis ergebnis = gibWeiter(zeit - letzte_); ergebnis.gescheitert()) return ergebnis;
  } else if (dauerFeld_) {
    if (Ergebnis ergebnis = setzeDauer(zeit); ergebnis.gescheitert()) return ergebnis;
    dauerFeld_.reset();
    // Otherwise the muxer would place the sample at the end of the duration that it was given.
    const int code = av_opt_set(datei_->priv_data, "movflags", "+frag_discont", 0);
    if (code < 0) return libavFehler(code, WAS);
  }
  libav().av_packet_move_ref(offen_.get(), &paket);
  letzte_ = zeit;
  return {};
}

Ergebnis FragmentDatei::sichere() {
  return versuche([this] { return beendeFragmente(); });
}

Ergebnis FragmentDatei::beendeFragmente() {
  if (!ungesichert()) return {};
  if (Ergebnis ergebnis = beendeFragment(); ergebnis.gescheitert()) return ergebnis;
  if (Ergebnis ergebnis = gibWeiter(1); ergebnis.gescheitert()) return ergebnis;
  return beendeFragment();
}

Ergebnis FragmentDatei::verlaengere(std::int64_t bis) {
  return versuche([&] { return dauerFeld_ ? setzeDauer(bis) : Ergebnis(); });
}

Ergebnis FragmentDatei::schliesseAb(std::int64_t ende) {
  if (griff_ < 0) return {};
  Ergebnis ergebnis = sichere();
  if (ergebnis.gelungen()) ergebnis = versuche([&] { return stelleUm(ende); });
  return schliesseDatei(std::move(ergebnis));
}

Ergebnis FragmentDatei::schliesse() {
  if (griff_ < 0) return {};
  return schliesseDatei(verloren_ ? Ergebnis() : sichere());
}

Ergebnis FragmentDatei::schliesseDatei(Ergebnis bisher) {
  datei_.reset();
  strom_.reset();
  const int nummer = hallkorb::schliesse(std::exchange(griff_, -1), dateien_);
  if (bisher.gelungen() && nummer != 0)
    return versuche([&] { return Ergebnis(Fehler::ausErrno(nummer, WAS)); });
  return bisher;
}

// The muxer's output; a fragment reaches the file whole or not at all. An exception must not pass
// through the library.
int FragmentDatei::sammle(void* selbst, AvioSchreibBytes* daten, int anzahl) {
  auto& datei = *static_cast<FragmentDatei*>(selbst);
  const Ergebnis ergebnis = datei.versuche([&] {
    datei.gesammelt_.insert(datei.gesammelt_.end(), daten, daten + anzahl);
    return Ergebnis();
  });
  return ergebnis.gelungen() ? anzahl : AVERROR(ENOMEM);
}

// Hands the open sample to the muxer.
Ergebnis FragmentDatei::gibWeiter(std::int64_t dauer) {
  verzeichnis_.merke(letzte_, (offen_->flags & AV_PKT_FLAG_KEY) != 0);
  offen_->stream_index = 0;
  offen_->duration = dauer;
  const int code = libav().av_write_frame(datei_.get(), offen_.get());
  libav().av_packet_unref(offen_.get());
  return code < 0 ? Ergebnis(libavFehler(code, WAS)) : Ergebnis();
}

Ergebnis FragmentDatei::beendeFragment() {
  const int code = libav().av_write_frame(datei_.get(), nullptr);
  libav().avio_flush(strom_.get());
  if (verloren_) return keinSpeicher();
  if (code < 0) {
    verloren_ = true;  // half of the fragment may have come
    return libavFehler(code, WAS);
  }
  if (gesammelt_.empty()) return {};  // no sample since the last one
  const std::int64_t anfang = laenge_;
  if (Ergebnis ergebnis = haengeAn(gesammelt_); ergebnis.gescheitert()) return ergebnis;
  verzeichnis_.nimmFragment(gesammelt_, anfang);
  dauerFeld_ = mp4DauerFeld(gesammelt_);
  if (dauerFeld_) *dauerFeld_ += anfang;
  gesammelt_.clear();
  return {};
}

Ergebnis FragmentDatei::haengeAn(std::span<const std::uint8_t> bytes) {
  const int nummer = schreibeGanzAn(griff_, bytes, laenge_, dateien_).nummer;
  if (nummer == 0) {
    laenge_ += static_cast<std::int64_t>(bytes.size());
    return {};
  }
  verloren_ = true;
  // Readers would stumble over half a fragment.
  beharrlich([&] { return dateien_.laengeSetzen(griff_, laenge_); });
  return Fehler::ausErrno(nummer, WAS);
}

Ergebnis FragmentDatei::schreibeAn(std::span<const std::uint8_t> bytes, std::int64_t stelle) {
  const int nummer = schreibeGanzAn(griff_, bytes, stelle, dateien_).nummer;
  return nummer == 0 ? Ergebnis() : Fehler::ausErrno(nummer, WAS);
}

Ergebnis FragmentDatei::setzeDauer(std::int64_t bis) {
  constexpr std::int64_t GROESSTE = std::numeric_limits<std::int32_t>::max();
  std::vector<std::uint8_t> bytes;
  mp4Vier(bytes, static_cast<std::uint32_t>(std::clamp<std::int64_t>(bis - letzte_, 1, GROESSTE)));
  return schreibeAn(bytes, *dauerFeld_);
}

// Each write leaves a file that plays to its end: the last one alone changes what readers see, and
// it lies in one sector of a disk.
Ergebnis FragmentDatei::stelleUm(std::int64_t ende) {
  const std::vector<std::uint8_t> moov = verzeichnis_.kasten(kopf_, ende);
  if (moov.empty()) return libavFehler(AVERROR_INVALIDDATA, ABSCHLUSS);
  std::vector<std::uint8_t> verdeckt;
  mp4Kasten(verdeckt, "free", [&] { verdeckt.insert(verdeckt.end(), moov.begin(), moov.end()); });
  if (Ergebnis ergebnis = haengeAn(verdeckt); ergebnis.gescheitert()) {
    return Fehler::ausErrno(static_cast<int>(ergebnis.fehler().code), ABSCHLUSS);
  }
  const std::int64_t neues = laenge_ - static_cast<std::int64_t>(moov.size());
  // A length of 1 means that the real one follows the name.
  std::vector<std::uint8_t> laenge;
  mp4Acht(laenge, static_cast<std::uint64_t>(neues - schalter_));
  std::vector<std::uint8_t> schalter;
  mp4Vier(schalter, 1);
  for (const char zeichen : std::string_view("mdat"))
    schalter.push_back(static_cast<std::uint8_t>(zeichen));
  Ergebnis ergebnis = schreibeAn(laenge, schalter_ + 8);
  return ergebnis.gescheitert() ? ergebnis : schreibeAn(schalter, schalter_);
}

}  // namespace hallkorb
