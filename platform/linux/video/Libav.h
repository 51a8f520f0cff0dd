// The codec libraries, in our terms: owners for their objects, errors as values, and silence.
//
// They are loaded when the first video begins, not with the program. libavcodec brings more than a
// hundred other libraries along: if linked in, they would cost 15 MB and a tenth of a second at the
// start, even without a picture. A computer that lacks them still records the sound.
//
// The libraries write their opinion of a stream to standard error, whose lines must all be ours. So
// their log is off for the whole process, from the first use on (schweigeLibav()).
//
// Any thread, after ladeLibav() has succeeded.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswscale/swscale.h>
}

#include <cstdint>
#include <memory>
#include <string>

#include "base/Fehler.h"
#include "platform/linux/Avutil.h"

namespace hallkorb {

// What avio_alloc_context hands to the function that writes: constant since FFmpeg 7.
#if LIBAVFORMAT_VERSION_MAJOR >= 61
using AvioSchreibBytes = const std::uint8_t;
#else
using AvioSchreibBytes = std::uint8_t;
#endif

// Loads the libraries, once. Fails if one of them is not there in the version that the program was
// built with.
[[nodiscard]] Ergebnis ladeLibav();

// The functions in use, by the names and with the signatures that their headers give them. Those of
// libavutil are in ../Avutil.h.
// clang-format off
#define HALLKORB_LIBAVCODEC(RUF)                                                              \
  RUF(av_packet_alloc) RUF(av_packet_free) RUF(av_packet_move_ref) RUF(av_packet_unref)       \
  RUF(avcodec_alloc_context3) RUF(avcodec_find_encoder_by_name) RUF(avcodec_free_context)     \
  RUF(avcodec_open2) RUF(avcodec_parameters_from_context) RUF(avcodec_receive_packet)         \
  RUF(avcodec_send_frame)
#define HALLKORB_LIBAVFORMAT(RUF)                                                             \
  RUF(av_write_frame) RUF(avformat_alloc_output_context2) RUF(avformat_free_context)          \
  RUF(avformat_new_stream) RUF(avformat_write_header) RUF(avio_alloc_context)                 \
  RUF(avio_context_free) RUF(avio_flush)
#define HALLKORB_LIBSWSCALE(RUF)                                                              \
  RUF(sws_freeContext) RUF(sws_getContext) RUF(sws_scale)
// clang-format on

struct LibavAufrufe {
// NOLINTNEXTLINE(bugprone-macro-parentheses): the name of a member
#define HALLKORB_ZEIGER(name) decltype(&::name) name = nullptr;
  HALLKORB_LIBAVCODEC(HALLKORB_ZEIGER)
  HALLKORB_LIBAVFORMAT(HALLKORB_ZEIGER)
  HALLKORB_LIBSWSCALE(HALLKORB_ZEIGER)
#undef HALLKORB_ZEIGER
};

// The functions; only after ladeLibav() has succeeded.
[[nodiscard]] const LibavAufrufe& libav();

void schweigeLibav();

// An error of the libraries; `was` names what could not be done. Error numbers of the system among
// them come in the domain "posix".
[[nodiscard]] Fehler libavFehler(int code, const std::string& was);

struct LibavFreigabe {
  void operator()(AVBufferRef* puffer) const { av_buffer_unref(&puffer); }
  void operator()(AVFrame* bild) const { av_frame_free(&bild); }
  void operator()(AVPacket* paket) const { libav().av_packet_free(&paket); }
  void operator()(AVCodecContext* kodierer) const { libav().avcodec_free_context(&kodierer); }
  void operator()(AVFormatContext* datei) const { libav().avformat_free_context(datei); }
  void operator()(AVIOContext* strom) const {
    av_freep(static_cast<void*>(&strom->buffer));
    libav().avio_context_free(&strom);
  }
  void operator()(SwsContext* wandler) const { libav().sws_freeContext(wandler); }
};

template <class T>
using LibavZeiger = std::unique_ptr<T, LibavFreigabe>;

}  // namespace hallkorb
