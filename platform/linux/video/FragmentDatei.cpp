#include "platform/linux/video/FragmentDatei.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <limits>
#include <string_view>
#include <utility>

#include "base/Dateien.h"
#include "platform/linux/video/H264Kodierer.h"

namespace hallkorb {
namespace {

constexpr char WAS[] = "Videodatei";
constexpr int PUFFER = 64 * 1024;

std::uint32_t zahlAus(const std::uint8_t* bytes) {
  return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
         std::uint32_t{bytes[2]} << 8 | bytes[3];
}

}  // namespace

Ergebnis FragmentDatei::beginne(const std::string& pfad, const AVCodecContext& strom) {
  if (::unlink(pfad.c_str()) != 0 && errno != ENOENT) return Fehler::ausErrno(errno, WAS);
  fd_ = Deskriptor(
      ::open(pfad.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, rechteNeuerDatei(pfad)));
  if (fd_.fd() < 0) return Fehler::ausErrno(errno, WAS);

  auto* puffer = static_cast<unsigned char*>(av_malloc(PUFFER));
  strom_.reset(
      libav().avio_alloc_context(puffer, PUFFER, 1, this, nullptr, &schreibeBytes, nullptr));
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
  if (Ergebnis ergebnis = geprueft(code); ergebnis.gescheitert()) return ergebnis;
  gesichert_ = laenge_;
  return {};
}

Ergebnis FragmentDatei::schreibe(AVPacket& paket) {
  const std::int64_t zeit = paket.pts;
  if (ungesichert()) {
    if (Ergebnis ergebnis = gibWeiter(zeit - letzte_); ergebnis.gescheitert()) return ergebnis;
  } else if (dauerFeld_) {
    if (Ergebnis ergebnis = setzeDauer(zeit); ergebnis.gescheitert()) return ergebnis;
    dauerFeld_.reset();
    // Otherwise the muxer would place the sample at the end of the duration that it was given.
    av_opt_set(datei_->priv_data, "movflags", "+frag_discont", 0);
  }
  libav().av_packet_move_ref(offen_.get(), &paket);
  letzte_ = zeit;
  return {};
}

Ergebnis FragmentDatei::sichere() {
  if (!ungesichert()) return {};
  if (Ergebnis ergebnis = beendeFragment(); ergebnis.gescheitert()) return ergebnis;
  const std::int64_t fragment = laenge_;
  if (Ergebnis ergebnis = gibWeiter(1); ergebnis.gescheitert()) return ergebnis;
  if (Ergebnis ergebnis = beendeFragment(); ergebnis.gescheitert()) return ergebnis;
  dauerFeld_ = sucheDauerFeld(fragment);
  return {};
}

Ergebnis FragmentDatei::verlaengere(std::int64_t bis) {
  return dauerFeld_ ? setzeDauer(bis) : Ergebnis();
}

Ergebnis FragmentDatei::schliesse() {
  if (!datei_) return {};
  Ergebnis ergebnis;
  if (schreibFehler_ == 0) {
    ergebnis = sichere();
    if (ergebnis.gelungen()) ergebnis = geprueft(libav().av_write_trailer(datei_.get()));
  }
  datei_.reset();
  strom_.reset();
  const int code = fd_.schliesse();
  if (ergebnis.gelungen() && code != 0) ergebnis = Fehler::ausErrno(code, WAS);
  return ergebnis;
}

int FragmentDatei::schreibeBytes(void* selbst, AvioSchreibBytes* daten, int anzahl) {
  auto& datei = *static_cast<FragmentDatei*>(selbst);
  int rest = anzahl;
  while (rest > 0 && datei.schreibFehler_ == 0) {
    const ssize_t n =
        ::pwrite(datei.fd_.fd(), daten, static_cast<std::size_t>(rest), datei.laenge_);
    if (n > 0) {
      daten += n;
      rest -= static_cast<int>(n);
      datei.laenge_ += n;
    } else if (n == 0 || errno != EINTR) {
      datei.schreibFehler_ = n == 0 ? EIO : errno;
    }
  }
  return datei.schreibFehler_ == 0 ? anzahl : AVERROR(datei.schreibFehler_);
}

// Hands the open sample to the muxer.
Ergebnis FragmentDatei::gibWeiter(std::int64_t dauer) {
  offen_->stream_index = 0;
  offen_->duration = dauer;
  const int code = libav().av_write_frame(datei_.get(), offen_.get());
  libav().av_packet_unref(offen_.get());
  return geprueft(code);
}

Ergebnis FragmentDatei::beendeFragment() {
  const int code = libav().av_write_frame(datei_.get(), nullptr);
  libav().avio_flush(strom_.get());
  if (Ergebnis ergebnis = geprueft(code); ergebnis.gescheitert()) return ergebnis;
  gesichert_ = laenge_;
  return {};
}

Ergebnis FragmentDatei::geprueft(int code) {
  if (schreibFehler_ != 0) {
    // Readers would stumble over half a fragment.
    [[maybe_unused]] const int gekuerzt = ::ftruncate(fd_.fd(), gesichert_);
    return Fehler::ausErrno(schreibFehler_, WAS);
  }
  if (code < 0) return libavFehler(code, WAS);
  return {};
}

Ergebnis FragmentDatei::setzeDauer(std::int64_t bis) {
  constexpr std::int64_t GROESSTE = std::numeric_limits<std::int32_t>::max();
  const auto dauer =
      static_cast<std::uint32_t>(std::clamp<std::int64_t>(bis - letzte_, 1, GROESSTE));
  const std::array<std::uint8_t, 4> bytes{
      static_cast<std::uint8_t>(dauer >> 24), static_cast<std::uint8_t>(dauer >> 16),
      static_cast<std::uint8_t>(dauer >> 8), static_cast<std::uint8_t>(dauer)};
  if (::pwrite(fd_.fd(), bytes.data(), bytes.size(), *dauerFeld_) !=
      static_cast<ssize_t>(bytes.size())) {
    return Fehler::ausErrno(errno, WAS);
  }
  return {};
}

// Where the fragment that begins at byte `fragment` holds the duration of its sample; nullopt if it
// is laid out in another way.
//
// A box begins with its length and its name, four bytes each. A fragment begins with the boxes
// moof, which contains mfhd and traf, which begins with tfhd:
//
//   0  moof   8  mfhd   24 traf   32 tfhd   40 version and flags   44 track   48 optional fields
//
// The flags say which optional fields follow: position of the data (8 bytes), description of the
// samples (4), their duration (4). If only the last is there, it is at byte 48.
std::optional<std::int64_t> FragmentDatei::sucheDauerFeld(std::int64_t fragment) const {
  constexpr std::int64_t TFHD = 32;
  constexpr std::int64_t FLAGGEN = 40;
  constexpr std::int64_t DAUER = 48;
  constexpr std::uint32_t MIT_ORT = 0x1;
  constexpr std::uint32_t MIT_BESCHREIBUNG = 0x2;
  constexpr std::uint32_t MIT_DAUER = 0x8;
  std::array<std::uint8_t, DAUER + 4> anfang{};
  if (::pread(fd_.fd(), anfang.data(), anfang.size(), fragment) !=
      static_cast<ssize_t>(anfang.size())) {
    return std::nullopt;
  }
  const bool tfhd = std::memcmp(anfang.data() + TFHD + 4, "tfhd", 4) == 0;
  const std::uint32_t flaggen = zahlAus(anfang.data() + FLAGGEN) & 0xFFFFFF;
  const bool nurDauer = (flaggen & (MIT_ORT | MIT_BESCHREIBUNG | MIT_DAUER)) == MIT_DAUER;
  return tfhd && nurDauer ? std::optional(fragment + DAUER) : std::nullopt;
}

}  // namespace hallkorb
