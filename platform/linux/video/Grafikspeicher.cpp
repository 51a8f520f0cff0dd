#include "platform/linux/video/Grafikspeicher.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <system_error>

namespace hallkorb {
namespace {

constexpr char WAS[] = "Grafikspeicher";

Ergebnis speicherMangel() {
  return Fehler::ausErrno(ENOMEM, WAS);
}

// The planes of `bild` as `nv12` has them; both have the same even size.
void verschraenke(const AVFrame& bild, AVFrame& nv12) {
  const auto breite = static_cast<std::size_t>(bild.width);
  for (std::ptrdiff_t y = 0; y < bild.height; ++y) {
    std::copy_n(bild.data[0] + y * bild.linesize[0], breite, nv12.data[0] + y * nv12.linesize[0]);
  }
  for (std::ptrdiff_t y = 0; y < bild.height / 2; ++y) {
    const std::uint8_t* u = bild.data[1] + y * bild.linesize[1];
    const std::uint8_t* v = bild.data[2] + y * bild.linesize[2];
    std::uint8_t* ziel = nv12.data[1] + y * nv12.linesize[1];
    for (std::size_t x = 0; x < breite / 2; ++x) {
      ziel[2 * x] = u[x];
      ziel[2 * x + 1] = v[x];
    }
  }
}

}  // namespace

std::vector<std::string> Grafikspeicher::knoten(const std::string& ordner) {
  std::vector<std::string> namen;
  std::error_code fehler;
  for (std::filesystem::directory_iterator i(ordner, fehler), ende; !fehler && i != ende;
       i.increment(fehler)) {
    if (i->path().filename().string().starts_with("renderD")) namen.push_back(i->path().string());
  }
  std::sort(namen.begin(), namen.end());
  return namen;
}

Ergebnis Grafikspeicher::oeffne(const std::string& knoten, AVCodecContext& kodierer) {
  AVDictionary* wahl = nullptr;
  av_dict_set(&wahl, "connection_type", "drm", 0);
  AVBufferRef* roh = nullptr;
  int code = av_hwdevice_ctx_create(&roh, AV_HWDEVICE_TYPE_VAAPI, knoten.c_str(), wahl, 0);
  av_dict_free(&wahl);
  const LibavZeiger<AVBufferRef> geraet(roh);
  if (code < 0) return libavFehler(code, knoten);

  rahmen_.reset(av_hwframe_ctx_alloc(geraet.get()));
  if (!rahmen_) return speicherMangel();
  auto& vorrat = *reinterpret_cast<AVHWFramesContext*>(rahmen_->data);
  vorrat.format = AV_PIX_FMT_VAAPI;
  vorrat.sw_format = AV_PIX_FMT_NV12;
  vorrat.width = kodierer.width;
  vorrat.height = kodierer.height;
  code = av_hwframe_ctx_init(rahmen_.get());
  if (code < 0) return libavFehler(code, knoten);

  nv12_.reset(av_frame_alloc());
  kopie_.reset(av_frame_alloc());
  kodierer.hw_frames_ctx = av_buffer_ref(rahmen_.get());
  if (!nv12_ || !kopie_ || kodierer.hw_frames_ctx == nullptr) return speicherMangel();
  nv12_->format = AV_PIX_FMT_NV12;
  nv12_->width = kodierer.width;
  nv12_->height = kodierer.height;
  code = av_frame_get_buffer(nv12_.get(), 0);
  return code < 0 ? Ergebnis(libavFehler(code, WAS)) : Ergebnis();
}

Ergebnis Grafikspeicher::lade(const AVFrame& bild, const AVFrame*& kopie) {
  verschraenke(bild, *nv12_);
  // The encoder may still need the one before; the pool takes it back by itself.
  av_frame_unref(kopie_.get());
  int code = av_hwframe_get_buffer(rahmen_.get(), kopie_.get(), 0);
  if (code >= 0) code = av_hwframe_transfer_data(kopie_.get(), nv12_.get(), 0);
  if (code < 0) return libavFehler(code, WAS);
  kopie_->pts = bild.pts;
  kopie = kopie_.get();
  return {};
}

}  // namespace hallkorb
