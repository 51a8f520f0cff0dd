// The codec libraries, in our terms: owners for their objects, errors as values, and silence.
//
// The libraries write to standard error what they think of a stream, where each line is to be ours.
// So their log is off for the whole process, from the first use on (schweigeLibav()).
//
// Any thread.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

#include <memory>
#include <string>

#include "platform/Fehler.h"

namespace hallkorb {

void schweigeLibav();

// An error of the libraries; `was` names what could not be done. Error numbers of the system among
// them come in the domain "posix".
[[nodiscard]] Fehler libavFehler(int code, const std::string& was);

struct LibavFreigabe {
  void operator()(AVFrame* bild) const { av_frame_free(&bild); }
  void operator()(AVPacket* paket) const { av_packet_free(&paket); }
  void operator()(AVCodecContext* kodierer) const { avcodec_free_context(&kodierer); }
  void operator()(AVFormatContext* datei) const { avformat_free_context(datei); }
  void operator()(AVIOContext* strom) const {
    av_freep(&strom->buffer);
    avio_context_free(&strom);
  }
  void operator()(SwsContext* wandler) const { sws_freeContext(wandler); }
};

template <class T>
using LibavZeiger = std::unique_ptr<T, LibavFreigabe>;

}  // namespace hallkorb
