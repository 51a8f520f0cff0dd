#include "platform/linux/Mp4Umbau.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <utility>

#include "platform/linux/Libav.h"

namespace hallkorb {
namespace {

constexpr char WAS[] = "Abschluss der Videodatei";

struct EingangFreigabe {
  void operator()(AVFormatContext* datei) const { libav().avformat_close_input(&datei); }
};
struct DateiFreigabe {
  void operator()(AVIOContext* strom) const { libav().avio_close(strom); }
};

// The libraries' names for files; without the scheme a colon in a path would be taken for one.
std::string alsAdresse(const std::string& pfad) {
  return "file:" + pfad;
}

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

// Readers of fragments don't tell the last duration of each. A sample lasts until the next one,
// which the muxer finds out by itself, but for the last.
int kopiere(AVFormatContext& ein, AVFormatContext& aus, std::int64_t ende) {
  const LibavZeiger<AVPacket> naechstes(libav().av_packet_alloc());
  const LibavZeiger<AVPacket> paket(libav().av_packet_alloc());
  if (!naechstes || !paket) return AVERROR(ENOMEM);
  int gelesen = libav().av_read_frame(&ein, naechstes.get());
  while (gelesen >= 0) {
    libav().av_packet_move_ref(paket.get(), naechstes.get());
    gelesen = libav().av_read_frame(&ein, naechstes.get());
    const std::int64_t bis = gelesen >= 0 ? naechstes->dts : ende;
    paket->duration = std::max<std::int64_t>(bis - paket->dts, 1);
    paket->pos = -1;
    libav().av_packet_rescale_ts(paket.get(), ein.streams[0]->time_base, aus.streams[0]->time_base);
    const int code = libav().av_write_frame(&aus, paket.get());
    libav().av_packet_unref(paket.get());
    if (code < 0) return code;
  }
  return gelesen == AVERROR_EOF ? 0 : gelesen;
}

int schreibeNeu(const std::string& von, const std::string& nach, std::int64_t ende) {
  AVFormatContext* roh = nullptr;
  int code = libav().avformat_open_input(&roh, alsAdresse(von).c_str(), nullptr, nullptr);
  if (code < 0) return code;
  const std::unique_ptr<AVFormatContext, EingangFreigabe> ein(roh);
  if (ein->nb_streams != 1) return AVERROR_INVALIDDATA;

  AVFormatContext* neu = nullptr;
  code = libav().avformat_alloc_output_context2(&neu, nullptr, "mp4", nullptr);
  if (code < 0) return code;
  const LibavZeiger<AVFormatContext> aus(neu);
  code = libav().avio_open(&aus->pb, alsAdresse(nach).c_str(), AVIO_FLAG_WRITE);
  if (code < 0) return code;
  std::unique_ptr<AVIOContext, DateiFreigabe> datei(aus->pb);

  code = schreibeKopf(*aus, *ein->streams[0]);
  if (code >= 0) code = kopiere(*ein, *aus, ende);
  if (code >= 0) code = libav().av_write_trailer(aus.get());
  libav().avio_flush(aus->pb);
  if (code >= 0) code = aus->pb->error;
  const int geschlossen = libav().avio_close(datei.release());
  return code < 0 ? code : geschlossen;
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
  if (ergebnis) ::unlink(neu.c_str());
  return ergebnis;
}

}  // namespace hallkorb
