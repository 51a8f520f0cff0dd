#include "platform/linux/video/H264Kodierer.h"

#include <cerrno>
#include <string>
#include <utility>

namespace hallkorb {
namespace {

constexpr char NAME[] = "libx264";

}  // namespace

bool H264Kodierer::vorhanden() {
  return libav().avcodec_find_encoder_by_name(NAME) != nullptr;
}

Ergebnis H264Kodierer::oeffne(const VideoEinstellungen& einstellungen) {
  const AVCodec* codec = libav().avcodec_find_encoder_by_name(NAME);
  if (codec == nullptr) return Fehler{"libav", ENOSYS, "libavcodec hat keinen Kodierer libx264"};
  kodierer_.reset(libav().avcodec_alloc_context3(codec));
  paket_.reset(libav().av_packet_alloc());
  if (!kodierer_ || !paket_) return Fehler::ausErrno(ENOMEM, "H.264-Kodierer");

  AVCodecContext& k = *kodierer_;
  k.width = einstellungen.breite;
  k.height = einstellungen.hoehe;
  k.pix_fmt = AV_PIX_FMT_YUV420P;
  k.sample_aspect_ratio = {1, 1};
  k.time_base = {1, TAKT};
  k.framerate = av_d2q(einstellungen.bilderJeSekunde, 1000);
  k.gop_size = einstellungen.schluesselbildAbstand;
  k.max_b_frames = 0;
  k.bit_rate = einstellungen.bitrate;
  k.rc_max_rate = einstellungen.bitrate / 2 * 3;
  k.rc_buffer_size = static_cast<int>(einstellungen.bitrate * 2);
  k.thread_count = 1;
  k.color_range = AVCOL_RANGE_MPEG;
  k.colorspace = AVCOL_SPC_BT709;
  k.color_primaries = AVCOL_PRI_BT709;
  k.color_trc = AVCOL_TRC_BT709;
  k.chroma_sample_location = AVCHROMA_LOC_LEFT;
  k.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  for (const auto& [name, wert] :
       {std::pair{"profile", "main"}, std::pair{"preset", "superfast"},
        std::pair{"tune", "zerolatency"}, std::pair{"sc_threshold", "0"}}) {
    const int code = av_opt_set(k.priv_data, name, wert, 0);
    if (code < 0) return libavFehler(code, std::string("H.264-Kodierer, ") + name);
  }
  const int code = libav().avcodec_open2(&k, codec, nullptr);
  if (code < 0) return libavFehler(code, "H.264-Kodierer");
  return {};
}

Ergebnis H264Kodierer::kodiere(const AVFrame& bild, AVPacket*& paket) {
  paket = paket_.get();
  int code = libav().avcodec_send_frame(kodierer_.get(), &bild);
  if (code >= 0) code = libav().avcodec_receive_packet(kodierer_.get(), paket);
  if (code < 0) return libavFehler(code, "H.264-Kodierer");
  return {};
}

}  // namespace hallkorb
