#include "platform/linux/video/H264Kodierer.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <iterator>
#include <string>
#include <utility>

#include "base/Ausgabe.h"

namespace hallkorb {
namespace {

constexpr int PUFFER_SEKUNDEN = 2;
constexpr int PROFIL_MAIN = 77;  // FFmpeg has renamed the constant
constexpr H264Art::Option X264[] = {{"profile", "main"},
                                    {"preset", "superfast"},
                                    {"tune", "zerolatency"},
                                    {"sc_threshold", "0"},
                                    {"crf", "19"}};
// Its rate control works only if it may drop frames.
constexpr H264Art::Option OPENH264[] = {{"rc_mode", "bitrate"}, {"allow_skip_frames", "1"}};
constexpr H264Art ARTEN[] = {{"libx264", AV_PIX_FMT_YUV420P, X264},
                             {"libopenh264", AV_PIX_FMT_YUV420P, OPENH264}};

}  // namespace

std::span<const H264Art> H264Kodierer::arten() {
  return ARTEN;
}

const H264Art* H264Kodierer::waehle(const std::function<bool(const char*)>& gibtEs) {
  const auto* art = std::find_if(std::begin(ARTEN), std::end(ARTEN),
                                 [&](const H264Art& a) { return gibtEs(a.name); });
  return art == std::end(ARTEN) ? nullptr : art;
}

const H264Art* H264Kodierer::vorhandene() {
  static const H264Art* art = [] {
    const H264Art* gewaehlt = waehle(
        [](const char* name) { return libav().avcodec_find_encoder_by_name(name) != nullptr; });
    if (gewaehlt != nullptr && gewaehlt != ARTEN) {
      log(std::string("[hallkorb] Bild: H.264-Kodierer ") + gewaehlt->name + " statt " +
          ARTEN[0].name);
    }
    return gewaehlt;
  }();
  return art;
}

Ergebnis H264Kodierer::oeffne(const VideoEinstellungen& einstellungen, const H264Art& art) {
  const AVCodec* codec = libav().avcodec_find_encoder_by_name(art.name);
  if (codec == nullptr) {
    return Fehler{"libav", ENOSYS, std::string("libavcodec hat keinen Kodierer ") + art.name};
  }
  kodierer_.reset(libav().avcodec_alloc_context3(codec));
  paket_.reset(libav().av_packet_alloc());
  if (!kodierer_ || !paket_) return Fehler::ausErrno(ENOMEM, "H.264-Kodierer");

  AVCodecContext& k = *kodierer_;
  k.width = einstellungen.breite;
  k.height = einstellungen.hoehe;
  k.pix_fmt = art.format;
  k.sample_aspect_ratio = {1, 1};
  k.time_base = {1, TICKS};
  k.framerate = av_d2q(einstellungen.bilderJeSekunde, 1000);
  k.profile = PROFIL_MAIN;
  k.gop_size = einstellungen.schluesselbildAbstand;
  k.max_b_frames = 0;
  k.bit_rate = einstellungen.bitrate;
  k.rc_max_rate = einstellungen.bitrate;
  k.rc_buffer_size = static_cast<int>(einstellungen.bitrate * PUFFER_SEKUNDEN);
  k.thread_count = 1;
  k.color_range = AVCOL_RANGE_MPEG;
  k.colorspace = AVCOL_SPC_BT709;
  k.color_primaries = AVCOL_PRI_BT709;
  k.color_trc = AVCOL_TRC_BT709;
  k.chroma_sample_location = AVCHROMA_LOC_LEFT;
  k.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  for (const auto& [name, wert] : art.optionen) {
    const int code = av_opt_set(k.priv_data, name, wert, 0);
    if (code < 0) return libavFehler(code, std::string("H.264-Kodierer, ") + name);
  }
  const int code = libav().avcodec_open2(&k, codec, nullptr);
  if (code < 0) return libavFehler(code, "H.264-Kodierer");
  return {};
}

// libx264 counts every picture as one of the full number. If more time has passed since the one
// before, as many bits more may be spent: a slide is to be sharp although it is a single picture.
void H264Kodierer::gibZeit(std::int64_t pts) {
  const double abstand = static_cast<double>(pts - std::exchange(letzte_, pts)) / TICKS;
  const double bilder = std::round(abstand * av_q2d(kodierer_->framerate));
  // One picture may not take more than the buffer holds.
  const double meiste = PUFFER_SEKUNDEN * av_q2d(kodierer_->framerate);
  kodierer_->rc_max_rate =
      std::llround(static_cast<double>(kodierer_->bit_rate) * std::clamp(bilder, 1.0, meiste));
}

Ergebnis H264Kodierer::kodiere(const AVFrame& bild, AVPacket*& paket) {
  gibZeit(bild.pts);
  paket = paket_.get();
  int code = libav().avcodec_send_frame(kodierer_.get(), &bild);
  if (code >= 0) code = libav().avcodec_receive_packet(kodierer_.get(), paket);
  if (code == AVERROR(EAGAIN)) {
    paket = nullptr;
    return {};
  }
  if (code < 0) return libavFehler(code, "H.264-Kodierer");
  return {};
}

}  // namespace hallkorb
