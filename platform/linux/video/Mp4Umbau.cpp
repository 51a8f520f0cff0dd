#include "platform/linux/video/Mp4Umbau.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <memory>

#include "base/Dateien.h"
#include "platform/linux/Deskriptor.h"
#include "platform/linux/video/Libav.h"

namespace hallkorb {
namespace {

constexpr char WAS[] = "Abschluss der Videodatei";
constexpr std::int64_t LAENGSTE = std::numeric_limits<std::int32_t>::max();  // a sample's duration

struct EingangFreigabe {
  void operator()(AVFormatContext* datei) const { libav().avformat_close_input(&datei); }
};

// A file as the libraries read and write it. Their own file access moves 32 kB at a time and asks
// the system for the size with nearly every sample; this one, with one pass instead of two, takes a
// third of the time.
class Datei {
 public:
  Datei(const std::string& pfad, int flaggen)
      : fd_(::open(pfad.c_str(), flaggen | O_CLOEXEC, rechteNeuerDatei(pfad))) {
    if (fd_.fd() < 0) {
      code_ = AVERROR(errno);
      return;
    }
    const bool schreibt = (flaggen & O_ACCMODE) != O_RDONLY;
    laenge_ = ::lseek(fd_.fd(), 0, SEEK_END);
    auto* puffer = static_cast<unsigned char*>(av_malloc(PUFFER));
    strom_.reset(libav().avio_alloc_context(puffer, PUFFER, schreibt ? 1 : 0, this, &lies,
                                            &schreibe, &springe));
    if (!strom_) code_ = AVERROR(ENOMEM);
  }
  Datei(const Datei&) = delete;
  Datei& operator=(const Datei&) = delete;

  // 0, or the error number of opening it.
  [[nodiscard]] int code() const { return code_; }
  [[nodiscard]] AVIOContext* strom() const { return strom_.get(); }
  // Returns whether everything written has arrived. Nothing may be written after that.
  [[nodiscard]] int beende() {
    libav().avio_flush(strom_.get());
    const int code = fd_.schliesse();
    return strom_->error < 0 ? strom_->error : AVERROR(code);
  }

 private:
  static constexpr int PUFFER = 1024 * 1024;

  static int lies(void* selbst, std::uint8_t* daten, int anzahl) {
    auto& datei = *static_cast<Datei*>(selbst);
    ssize_t n = 0;
    do {
      n = ::pread(datei.fd_.fd(), daten, static_cast<std::size_t>(anzahl), datei.ort_);
    } while (n < 0 && errno == EINTR);
    if (n < 0) return AVERROR(errno);
    datei.ort_ += n;
    return n == 0 ? AVERROR_EOF : static_cast<int>(n);
  }

  static int schreibe(void* selbst, AvioSchreibBytes* daten, int anzahl) {
    auto& datei = *static_cast<Datei*>(selbst);
    for (int rest = anzahl; rest > 0;) {
      const ssize_t n = ::pwrite(datei.fd_.fd(), daten, static_cast<std::size_t>(rest), datei.ort_);
      if (n < 0 && errno == EINTR) continue;
      if (n <= 0) return AVERROR(n == 0 ? EIO : errno);
      daten += n;
      rest -= static_cast<int>(n);
      datei.ort_ += n;
    }
    datei.laenge_ = std::max(datei.laenge_, datei.ort_);
    return anzahl;
  }

  static std::int64_t springe(void* selbst, std::int64_t ort, int wie) {
    auto& datei = *static_cast<Datei*>(selbst);
    if (wie == AVSEEK_SIZE) return datei.laenge_;
    if ((wie & ~AVSEEK_FORCE) != SEEK_SET) return AVERROR(EINVAL);
    datei.ort_ = ort;
    return ort;
  }

  Deskriptor fd_;
  int code_ = 0;
  std::int64_t ort_ = 0;
  std::int64_t laenge_ = 0;
  LibavZeiger<AVIOContext> strom_;
};

int schreibeKopf(AVFormatContext& aus, const AVStream& quelle) {
  AVStream* spur = libav().avformat_new_stream(&aus, nullptr);
  if (spur == nullptr) return AVERROR(ENOMEM);
  const int code = libav().avcodec_parameters_copy(spur->codecpar, quelle.codecpar);
  if (code < 0) return code;
  spur->time_base = quelle.time_base;
  AVDictionary* wahl = nullptr;
  av_dict_set_int(&wahl, "video_track_timescale", quelle.time_base.den, 0);
  const int kopf = libav().avformat_write_header(&aus, &wahl);
  av_dict_free(&wahl);
  return kopf;
}

// The demuxer does not report the last duration of each fragment. A sample lasts until the next
// one, which the muxer finds out by itself; only the last sample needs its duration set.
int kopiere(AVFormatContext& ein, AVFormatContext& aus, std::int64_t ende) {
  const LibavZeiger<AVPacket> naechstes(libav().av_packet_alloc());
  const LibavZeiger<AVPacket> paket(libav().av_packet_alloc());
  if (!naechstes || !paket) return AVERROR(ENOMEM);
  int gelesen = libav().av_read_frame(&ein, naechstes.get());
  while (gelesen >= 0) {
    libav().av_packet_move_ref(paket.get(), naechstes.get());
    gelesen = libav().av_read_frame(&ein, naechstes.get());
    const std::int64_t bis = gelesen >= 0 ? naechstes->dts : ende;
    paket->duration = std::clamp<std::int64_t>(bis - paket->dts, 1, LAENGSTE);
    paket->pos = -1;
    libav().av_packet_rescale_ts(paket.get(), ein.streams[0]->time_base, aus.streams[0]->time_base);
    const int code = libav().av_write_frame(&aus, paket.get());
    libav().av_packet_unref(paket.get());
    if (code < 0) return code;
  }
  return gelesen == AVERROR_EOF ? 0 : gelesen;
}

int schreibeNeu(const std::string& von, const std::string& nach, std::int64_t ende) {
  Datei alt(von, O_RDONLY);
  if (alt.code() < 0) return alt.code();
  AVFormatContext* roh = libav().avformat_alloc_context();
  if (roh == nullptr) return AVERROR(ENOMEM);
  roh->pb = alt.strom();
  // Fragment by fragment, as they come. Otherwise the demuxer would first run through the whole
  // file to list them for seeking.
  roh->flags |= AVFMT_FLAG_IGNIDX;
  int code = libav().avformat_open_input(&roh, nullptr, nullptr, nullptr);
  if (code < 0) return code;
  const std::unique_ptr<AVFormatContext, EingangFreigabe> ein(roh);
  if (ein->nb_streams != 1) return AVERROR_INVALIDDATA;

  AVFormatContext* neu = nullptr;
  code = libav().avformat_alloc_output_context2(&neu, nullptr, "mp4", nullptr);
  if (code < 0) return code;
  const LibavZeiger<AVFormatContext> aus(neu);
  // What is there is a killed recording's, or a link that would decide where this one's picture
  // goes.
  ::unlink(nach.c_str());
  Datei datei(nach, O_WRONLY | O_CREAT | O_EXCL);
  if (datei.code() < 0) return datei.code();
  aus->pb = datei.strom();
  aus->flush_packets = 0;  // otherwise each sample would be a write of its own

  code = schreibeKopf(*aus, *ein->streams[0]);
  if (code >= 0) code = kopiere(*ein, *aus, ende);
  if (code >= 0) code = libav().av_write_trailer(aus.get());
  const int geschrieben = datei.beende();
  return code < 0 ? code : geschrieben;
}

}  // namespace

std::string umbauPfad(const std::string& pfad) {
  return pfad + ".neu";
}

Ergebnis baueUm(const std::string& pfad, std::int64_t ende) {
  const std::string neu = umbauPfad(pfad);
  Ergebnis ergebnis;
  if (const int code = schreibeNeu(pfad, neu, ende); code < 0) {
    ergebnis = libavFehler(code, WAS);
  } else if (std::rename(neu.c_str(), pfad.c_str()) != 0) {
    ergebnis = Fehler::ausErrno(errno, WAS);
  }
  if (ergebnis.gescheitert()) ::unlink(neu.c_str());
  return ergebnis;
}

}  // namespace hallkorb
