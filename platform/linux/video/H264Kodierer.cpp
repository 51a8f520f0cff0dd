#include "platform/linux/video/H264Kodierer.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <string>
#include <utility>

#include "base/Ausgabe.h"

namespace hallkorb {
namespace {

constexpr int PUFFER_SEKUNDEN = 3;
constexpr int ANFANG_SEKUNDEN = 2;  // in the buffer at the beginning
constexpr VideoEinstellungen UEBLICH{1280, 800, 1'400'000, 30, 15.0};
constexpr int PROFIL_MAIN = 77;  // FFmpeg has renamed the constant
constexpr H264Art::Option X264[] = {
    {"profile", "main"}, {"preset", "superfast"}, {"tune", "zerolatency"}, {"sc_threshold", "0"},
    {"crf", "17"},       {"aq-mode", "0"},        {"chromaoffset", "-8"}};
// Its rate control works only if it may drop frames.
constexpr H264Art::Option OPENH264[] = {{"rc_mode", "bitrate"}, {"allow_skip_frames", "1"}};
// Not every card's driver can limit a quality by a rate.
constexpr H264Art::Option VAAPI_GUETE[] = {
    {"async_depth", "1"}, {"sei", "0"}, {"rc_mode", "QVBR"}, {"qp", "21"}};
constexpr H264Art::Option VAAPI_RATE[] = {{"async_depth", "1"}, {"sei", "0"}, {"rc_mode", "VBR"}};
constexpr char GERAETE[] = "/dev/dri";
constexpr H264Art ARTEN[] = {{"libx264", AV_PIX_FMT_YUV420P, X264},
                             {"libopenh264", AV_PIX_FMT_YUV420P, OPENH264},
                             {"h264_vaapi", AV_PIX_FMT_VAAPI, VAAPI_GUETE, GERAETE},
                             {"h264_vaapi", AV_PIX_FMT_VAAPI, VAAPI_RATE, GERAETE}};

}  // namespace

std::span<const H264Art> H264Kodierer::arten() {
  return ARTEN;
}

const H264Art* H264Kodierer::waehle(std::span<const H264Art> arten) {
  schweigeLibav();
  const auto art = std::find_if(arten.begin(), arten.end(), [](const H264Art& a) {
    return H264Kodierer().oeffne(UEBLICH, a).gelungen();
  });
  if (art == arten.end()) return nullptr;
  if (art != arten.begin()) {
    log(std::string("[hallkorb] Bild: H.264-Kodierer ") + art->name + " statt " + arten[0].name);
  }
  return &*art;
}

const H264Art* H264Kodierer::vorhandene() {
  static const H264Art* art = waehle(ARTEN);
  return art;
}

Ergebnis H264Kodierer::oeffne(const VideoEinstellungen& einstellungen, const H264Art& art) {
  const AVCodec* codec = libav().avcodec_find_encoder_by_name(art.name);
  if (codec == nullptr) {
    return Fehler{"libav", ENOSYS, std::string("libavcodec hat keinen Kodierer ") + art.name};
  }
  if (art.geraete == nullptr) return oeffneAuf(nullptr, einstellungen, art, *codec);
  Ergebnis ergebnis = Fehler::ausErrno(ENODEV, art.geraete);
  for (const std::string& knoten : Grafikspeicher::knoten(art.geraete)) {
    ergebnis = oeffneAuf(&knoten, einstellungen, art, *codec);
    if (ergebnis.gelungen()) break;
  }
  return ergebnis;
}

Ergebnis H264Kodierer::oeffneAuf(const std::string* knoten, const VideoEinstellungen& einstellungen,
                                 const H264Art& art, const AVCodec& codec) {
  grafik_.reset();
  kodierer_.reset(libav().avcodec_alloc_context3(&codec));
  paket_.reset(libav().av_packet_alloc());
  if (!kodierer_ || !paket_) return Fehler::ausErrno(ENOMEM, "H.264-Kodierer");
  kodierer_->pix_fmt = art.format;
  stelleEin(einstellungen);
  for (const auto& [name, wert] : art.optionen) {
    const int code = av_opt_set(kodierer_->priv_data, name, wert, 0);
    if (code < 0) return libavFehler(code, std::string("H.264-Kodierer, ") + name);
  }
  if (knoten != nullptr) {
    Ergebnis ergebnis = grafik_.emplace().oeffne(*knoten, *kodierer_);
    if (ergebnis.gescheitert()) return ergebnis;
  }
  const int code = libav().avcodec_open2(kodierer_.get(), &codec, nullptr);
  if (code < 0) return libavFehler(code, "H.264-Kodierer");
  // Some drivers put the parameters only in front of the first picture; the file's head needs them.
  if (kodierer_->extradata_size == 0) {
    return Fehler{"libav", ENOSYS, std::string(art.name) + " gibt keine Parameter des Stroms"};
  }
  return {};
}

void H264Kodierer::stelleEin(const VideoEinstellungen& einstellungen) {
  AVCodecContext& k = *kodierer_;
  k.width = einstellungen.breite;
  k.height = einstellungen.hoehe;
  k.sample_aspect_ratio = {1, 1};
  k.time_base = {1, TICKS};
  k.framerate = av_d2q(einstellungen.bilderJeSekunde, 1000);
  k.profile = PROFIL_MAIN;
  k.gop_size = einstellungen.schluesselbildAbstand;
  k.max_b_frames = 0;
  k.bit_rate = einstellungen.bitrate;
  k.rc_max_rate = einstellungen.bitrate;
  k.rc_buffer_size = static_cast<int>(einstellungen.bitrate * PUFFER_SEKUNDEN);
  k.rc_initial_buffer_occupancy = static_cast<int>(einstellungen.bitrate * ANFANG_SEKUNDEN);
  k.thread_count = 1;
  k.color_range = AVCOL_RANGE_MPEG;
  k.colorspace = AVCOL_SPC_BT709;
  k.color_primaries = AVCOL_PRI_BT709;
  k.color_trc = AVCOL_TRC_BT709;
  k.chroma_sample_location = AVCHROMA_LOC_LEFT;
  k.flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
}

// libx264 takes every picture for as long as the frame rate says. If more time has passed since the
// one before, more bits may be spent: a slide is to be sharp although it is a single picture.
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
  const AVFrame* quelle = &bild;
  if (grafik_) {
    if (Ergebnis ergebnis = grafik_->lade(bild, quelle); ergebnis.gescheitert()) return ergebnis;
  }
  paket = paket_.get();
  int code = libav().avcodec_send_frame(kodierer_.get(), quelle);
  if (code >= 0) code = libav().avcodec_receive_packet(kodierer_.get(), paket);
  if (code == AVERROR(EAGAIN)) {
    paket = nullptr;
    return {};
  }
  if (code < 0) return libavFehler(code, "H.264-Kodierer");
  return {};
}

}  // namespace hallkorb
