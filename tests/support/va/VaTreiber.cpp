// hallkorbtest_drv_video.so: a driver of VA-API for a graphics card that is not there.
//
// libva loads it in the place of a card's own, by LIBVA_DRIVERS_PATH and LIBVA_DRIVER_NAME. It
// keeps pictures in memory and makes of each a slice of raw samples behind the headers that it is
// given (PcmScheibe.h). So a film that is encoded with it shows exactly what the card was given, in
// the stream that the card was asked to make.
//
// HALLKORB_VATREIBER names, between spaces, what this card cannot do:
//   keine-guete    no rate control by quality
//   nur-sparsam    only the unit of low power
//   keine-koepfe   it writes the headers itself
//   kein-kodierer  it only decodes
//   kein-abbild    a picture's memory cannot be mapped, only copied to
//   bild-N-faellt  the Nth picture fails
// HALLKORB_VABUCH is a file to which it appends what it was set to.
#include <va/va_backend.h>
#include <va/va_enc_h264.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "tests/support/va/PcmScheibe.h"

namespace hallkorb {
namespace {

constexpr VAProfile PROFILE[] = {VAProfileH264Main};
constexpr unsigned KOEPFE = VA_ENC_PACKED_HEADER_SEQUENCE | VA_ENC_PACKED_HEADER_PICTURE |
                            VA_ENC_PACKED_HEADER_SLICE | VA_ENC_PACKED_HEADER_MISC |
                            VA_ENC_PACKED_HEADER_RAW_DATA;

using Bytes = std::vector<std::uint8_t>;

struct Flaeche {
  unsigned breite = 0;
  unsigned hoehe = 0;
  std::shared_ptr<Bytes> nv12;
};

struct Puffer {
  VABufferType art{};
  std::shared_ptr<Bytes> bytes;
  VACodedBufferSegment stueck{};  // of a coded buffer
};

// The picture between its begin and its end.
struct Auftrag {
  VASurfaceID flaeche = VA_INVALID_SURFACE;
  VAEncPictureParameterBufferH264 bild{};
  VAEncSliceParameterBufferH264 scheibe{};
  unsigned kopfArt = 0;
  std::size_t kopfBits = 0;
  Bytes vorweg;  // headers before the slice
  Bytes kopf;    // the slice's
  std::size_t bits = 0;
};

class Treiber {
 public:
  static Treiber& von(VADriverContextP ctx) { return *static_cast<Treiber*>(ctx->pDriverData); }

  [[nodiscard]] bool kann(const char* wort) const {
    return maengel_.find(" " + std::string(wort) + " ") == std::string::npos;
  }
  void notiere(const std::string& zeile) const {
    if (buch_ != nullptr) std::ofstream(buch_, std::ios::app) << zeile << '\n';
  }
  unsigned neu(const Flaeche& flaeche) {
    return flaechen_.emplace(++letzte_, flaeche).first->first;
  }
  unsigned neu(Puffer puffer) { return puffer_.emplace(++letzte_, std::move(puffer)).first->first; }
  unsigned nummer() { return ++letzte_; }

  VAStatus uebernimm(const Puffer& puffer);
  VAStatus kodiere();

  std::mutex lock_;
  std::map<unsigned, Flaeche> flaechen_;
  std::map<unsigned, Puffer> puffer_;
  std::map<unsigned, VAImage> abbilder_;
  Auftrag auftrag_;

 private:
  const std::string maengel_ = " " + text("HALLKORB_VATREIBER") + " ";
  const char* const buch_ = std::getenv("HALLKORB_VABUCH");
  unsigned letzte_ = 0;
  int bilder_ = 0;

  static std::string text(const char* name) {
    const char* wert = std::getenv(name);
    return wert == nullptr ? "" : wert;
  }
};

template <class T>
T lies(const Bytes& bytes, std::size_t ab = 0) {
  T wert{};
  std::memcpy(&wert, bytes.data() + ab, std::min(sizeof wert, bytes.size() - ab));
  return wert;
}

VAStatus Treiber::uebernimm(const Puffer& puffer) {
  const Bytes& bytes = *puffer.bytes;
  switch (puffer.art) {
    case VAEncPictureParameterBufferType:
      auftrag_.bild = lies<VAEncPictureParameterBufferH264>(bytes);
      break;
    case VAEncSliceParameterBufferType:
      auftrag_.scheibe = lies<VAEncSliceParameterBufferH264>(bytes);
      break;
    case VAEncPackedHeaderParameterBufferType: {
      const auto kopf = lies<VAEncPackedHeaderParameterBuffer>(bytes);
      if (kopf.has_emulation_bytes == 0) return VA_STATUS_ERROR_UNIMPLEMENTED;
      auftrag_.kopfArt = kopf.type;
      auftrag_.kopfBits = kopf.bit_length;
      break;
    }
    case VAEncPackedHeaderDataBufferType: {
      const std::size_t laenge = (auftrag_.kopfBits + 7) / 8;
      Bytes& ziel = auftrag_.kopfArt == VAEncPackedHeaderSlice ? auftrag_.kopf : auftrag_.vorweg;
      ziel.insert(ziel.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(laenge));
      if (auftrag_.kopfArt == VAEncPackedHeaderSlice) auftrag_.bits = auftrag_.kopfBits;
      break;
    }
    case VAEncMiscParameterBufferType:
      if (lies<VAEncMiscParameterBuffer>(bytes).type == VAEncMiscParameterTypeRateControl) {
        const auto rate = lies<VAEncMiscParameterRateControl>(bytes, sizeof(std::uint32_t));
        notiere("rate " + std::to_string(rate.bits_per_second) + " anteil " +
                std::to_string(rate.target_percentage) + " guete " +
                std::to_string(rate.quality_factor));
      }
      break;
    default:
      break;
  }
  return VA_STATUS_SUCCESS;
}

// The macroblock at column `x` and row `y`; beyond the picture its last samples go on.
void liesBlock(const Flaeche& flaeche, unsigned x, unsigned y, PcmScheibe::Block& block) {
  const Bytes& nv12 = *flaeche.nv12;
  std::uint8_t* ziel = block;
  for (unsigned j = 0; j < 16; ++j) {
    for (unsigned i = 0; i < 16; ++i) {
      *ziel++ = nv12[std::size_t{std::min(y * 16 + j, flaeche.hoehe - 1)} * flaeche.breite +
                     std::min(x * 16 + i, flaeche.breite - 1)];
    }
  }
  const std::size_t farben = std::size_t{flaeche.breite} * flaeche.hoehe;
  for (unsigned ebene = 0; ebene < 2; ++ebene) {
    for (unsigned j = 0; j < 8; ++j) {
      for (unsigned i = 0; i < 8; ++i) {
        *ziel++ =
            nv12[farben + std::size_t{std::min(y * 8 + j, flaeche.hoehe / 2 - 1)} * flaeche.breite +
                 2 * std::min(x * 8 + i, flaeche.breite / 2 - 1) + ebene];
      }
    }
  }
}

VAStatus Treiber::kodiere() {
  if (!kann(("bild-" + std::to_string(++bilder_) + "-faellt").c_str())) {
    return VA_STATUS_ERROR_HW_BUSY;
  }
  const auto flaeche = flaechen_.find(auftrag_.flaeche);
  const auto ziel = puffer_.find(auftrag_.bild.coded_buf);
  if (flaeche == flaechen_.end() || ziel == puffer_.end()) return VA_STATUS_ERROR_INVALID_BUFFER;
  if (auftrag_.kopf.empty() || auftrag_.scheibe.cabac_init_idc != 0) {
    return VA_STATUS_ERROR_UNIMPLEMENTED;
  }
  const unsigned spalten = (flaeche->second.breite + 15) / 16;
  const unsigned anzahl = auftrag_.scheibe.num_macroblocks;
  if (auftrag_.scheibe.macroblock_address != 0 ||
      anzahl != spalten * ((flaeche->second.hoehe + 15) / 16)) {
    return VA_STATUS_ERROR_INVALID_PARAMETER;
  }
  PcmScheibe scheibe({.nal = auftrag_.kopf,
                      .bits = auftrag_.bits,
                      .p = auftrag_.scheibe.slice_type % 5 == 0,
                      .qp = auftrag_.bild.pic_init_qp + auftrag_.scheibe.slice_qp_delta});
  for (unsigned i = 0; i < anzahl; ++i) {
    PcmScheibe::Block block;
    liesBlock(flaeche->second, i % spalten, i / spalten, block);
    scheibe.schreibe(block, i % spalten > 0, i >= spalten, i + 1 == anzahl);
  }
  const Bytes nal = scheibe.nal();
  Bytes& strom = *ziel->second.bytes;
  strom = auftrag_.vorweg;
  strom.insert(strom.end(), nal.begin(), nal.end());
  return VA_STATUS_SUCCESS;
}

// --- The interface ------------------------------------------------------------------------------

// For what no encoder asks for.
template <class... Args>
VAStatus gibtEsNicht(Args...) {
  return VA_STATUS_ERROR_UNIMPLEMENTED;
}

template <class... Args>
VAStatus nichtsZuTun(Args...) {
  return VA_STATUS_SUCCESS;
}

VAStatus terminate(VADriverContextP ctx) {
  delete static_cast<Treiber*>(ctx->pDriverData);
  ctx->pDriverData = nullptr;
  return VA_STATUS_SUCCESS;
}

VAStatus queryConfigProfiles(VADriverContextP, VAProfile* liste, int* anzahl) {
  liste[0] = PROFILE[0];
  *anzahl = 1;
  return VA_STATUS_SUCCESS;
}

VAEntrypoint einheit(const Treiber& treiber) {
  if (!treiber.kann("kein-kodierer")) return VAEntrypointVLD;
  return treiber.kann("nur-sparsam") ? VAEntrypointEncSlice : VAEntrypointEncSliceLP;
}

VAStatus queryConfigEntrypoints(VADriverContextP ctx, VAProfile, VAEntrypoint* liste, int* anzahl) {
  liste[0] = einheit(Treiber::von(ctx));
  *anzahl = 1;
  return VA_STATUS_SUCCESS;
}

VAStatus getConfigAttributes(VADriverContextP ctx, VAProfile, VAEntrypoint, VAConfigAttrib* liste,
                             int anzahl) {
  const Treiber& treiber = Treiber::von(ctx);
  for (VAConfigAttrib* eines = liste; eines != liste + anzahl; ++eines) {
    switch (eines->type) {
      case VAConfigAttribRTFormat:
        eines->value = VA_RT_FORMAT_YUV420;
        break;
      case VAConfigAttribRateControl:
        eines->value = VA_RC_CQP | VA_RC_VBR;
        if (treiber.kann("keine-guete")) eines->value |= VA_RC_QVBR;
        break;
      case VAConfigAttribEncMaxRefFrames:
        eines->value = 1;
        break;
      case VAConfigAttribEncPackedHeaders:
        eines->value = treiber.kann("keine-koepfe") ? KOEPFE : VA_ATTRIB_NOT_SUPPORTED;
        break;
      case VAConfigAttribEncMaxSlices:
        eines->value = 1;
        break;
      case VAConfigAttribMaxPictureWidth:
      case VAConfigAttribMaxPictureHeight:
        eines->value = 4096;
        break;
      default:
        eines->value = VA_ATTRIB_NOT_SUPPORTED;
    }
  }
  return VA_STATUS_SUCCESS;
}

VAStatus createConfig(VADriverContextP ctx, VAProfile profil, VAEntrypoint eingang,
                      VAConfigAttrib* liste, int anzahl, VAConfigID* id) {
  Treiber& treiber = Treiber::von(ctx);
  if (profil != PROFILE[0]) return VA_STATUS_ERROR_UNSUPPORTED_PROFILE;
  if (eingang != einheit(treiber)) return VA_STATUS_ERROR_UNSUPPORTED_ENTRYPOINT;
  for (const VAConfigAttrib* eines = liste; eines != liste + anzahl; ++eines) {
    if (eines->type == VAConfigAttribRateControl) {
      treiber.notiere("regelung " + std::to_string(eines->value));
    }
  }
  *id = treiber.nummer();
  return VA_STATUS_SUCCESS;
}

VAStatus querySurfaceAttributes(VADriverContextP, VAConfigID, VASurfaceAttrib* liste,
                                unsigned* anzahl) {
  if (liste != nullptr) {
    liste[0] = {};
    liste[0].type = VASurfaceAttribPixelFormat;
    liste[0].flags = VA_SURFACE_ATTRIB_GETTABLE | VA_SURFACE_ATTRIB_SETTABLE;
    liste[0].value.type = VAGenericValueTypeInteger;
    liste[0].value.value.i = VA_FOURCC_NV12;
  }
  *anzahl = 1;
  return VA_STATUS_SUCCESS;
}

VAStatus createSurfaces2(VADriverContextP ctx, unsigned, unsigned breite, unsigned hoehe,
                         VASurfaceID* flaechen, unsigned anzahl, VASurfaceAttrib*, unsigned) {
  Treiber& treiber = Treiber::von(ctx);
  const std::lock_guard halter(treiber.lock_);
  for (unsigned i = 0; i < anzahl; ++i) {
    flaechen[i] = treiber.neu(
        Flaeche{breite, hoehe, std::make_shared<Bytes>(std::size_t{breite} * hoehe * 3 / 2)});
  }
  return VA_STATUS_SUCCESS;
}

VAStatus createSurfaces(VADriverContextP ctx, int breite, int hoehe, int format, int anzahl,
                        VASurfaceID* flaechen) {
  return createSurfaces2(ctx, static_cast<unsigned>(format), static_cast<unsigned>(breite),
                         static_cast<unsigned>(hoehe), flaechen, static_cast<unsigned>(anzahl),
                         nullptr, 0);
}

VAStatus destroySurfaces(VADriverContextP ctx, VASurfaceID* flaechen, int anzahl) {
  Treiber& treiber = Treiber::von(ctx);
  const std::lock_guard halter(treiber.lock_);
  for (int i = 0; i < anzahl; ++i)
    treiber.flaechen_.erase(flaechen[i]);
  return VA_STATUS_SUCCESS;
}

VAStatus createContext(VADriverContextP ctx, VAConfigID, int, int, int, VASurfaceID*, int,
                       VAContextID* id) {
  Treiber& treiber = Treiber::von(ctx);
  const std::lock_guard halter(treiber.lock_);
  *id = treiber.nummer();
  return VA_STATUS_SUCCESS;
}

VAStatus createBuffer(VADriverContextP ctx, VAContextID, VABufferType art, unsigned groesse,
                      unsigned anzahl, void* daten, VABufferID* id) {
  Treiber& treiber = Treiber::von(ctx);
  const std::lock_guard halter(treiber.lock_);
  auto bytes = std::make_shared<Bytes>(std::size_t{groesse} * anzahl);
  if (daten != nullptr) std::memcpy(bytes->data(), daten, bytes->size());
  *id = treiber.neu(Puffer{art, std::move(bytes), {}});
  return VA_STATUS_SUCCESS;
}

VAStatus destroyBuffer(VADriverContextP ctx, VABufferID id) {
  Treiber& treiber = Treiber::von(ctx);
  const std::lock_guard halter(treiber.lock_);
  return treiber.puffer_.erase(id) == 1 ? VA_STATUS_SUCCESS : VA_STATUS_ERROR_INVALID_BUFFER;
}

VAStatus mapBuffer(VADriverContextP ctx, VABufferID id, void** daten) {
  Treiber& treiber = Treiber::von(ctx);
  const std::lock_guard halter(treiber.lock_);
  const auto treffer = treiber.puffer_.find(id);
  if (treffer == treiber.puffer_.end()) return VA_STATUS_ERROR_INVALID_BUFFER;
  Puffer& puffer = treffer->second;
  *daten = puffer.bytes->data();
  if (puffer.art == VAEncCodedBufferType) {
    puffer.stueck.size = static_cast<unsigned>(puffer.bytes->size());
    puffer.stueck.buf = puffer.bytes->data();
    *daten = &puffer.stueck;
  }
  return VA_STATUS_SUCCESS;
}

VAStatus beginPicture(VADriverContextP ctx, VAContextID, VASurfaceID flaeche) {
  Treiber& treiber = Treiber::von(ctx);
  const std::lock_guard halter(treiber.lock_);
  treiber.auftrag_ = {};
  treiber.auftrag_.flaeche = flaeche;
  return VA_STATUS_SUCCESS;
}

VAStatus renderPicture(VADriverContextP ctx, VAContextID, VABufferID* puffer, int anzahl) {
  Treiber& treiber = Treiber::von(ctx);
  const std::lock_guard halter(treiber.lock_);
  for (int i = 0; i < anzahl; ++i) {
    const auto treffer = treiber.puffer_.find(puffer[i]);
    if (treffer == treiber.puffer_.end()) return VA_STATUS_ERROR_INVALID_BUFFER;
    const VAStatus status = treiber.uebernimm(treffer->second);
    if (status != VA_STATUS_SUCCESS) return status;
  }
  return VA_STATUS_SUCCESS;
}

VAStatus endPicture(VADriverContextP ctx, VAContextID) {
  Treiber& treiber = Treiber::von(ctx);
  const std::lock_guard halter(treiber.lock_);
  return treiber.kodiere();
}

VAStatus syncBuffer(VADriverContextP ctx, VABufferID id, std::uint64_t) {
  Treiber& treiber = Treiber::von(ctx);
  const std::lock_guard halter(treiber.lock_);
  return treiber.puffer_.contains(id) ? VA_STATUS_SUCCESS : VA_STATUS_ERROR_INVALID_BUFFER;
}

VAStatus querySurfaceStatus(VADriverContextP, VASurfaceID, VASurfaceStatus* status) {
  *status = VASurfaceReady;
  return VA_STATUS_SUCCESS;
}

VAStatus queryImageFormats(VADriverContextP, VAImageFormat* liste, int* anzahl) {
  liste[0] = {};
  liste[0].fourcc = VA_FOURCC_NV12;
  liste[0].byte_order = VA_LSB_FIRST;
  liste[0].bits_per_pixel = 12;
  *anzahl = 1;
  return VA_STATUS_SUCCESS;
}

VAStatus legeAbbildAn(Treiber& treiber, const Flaeche& flaeche, VAImage* abbild) {
  *abbild = {};
  int anzahl = 0;
  queryImageFormats(nullptr, &abbild->format, &anzahl);
  abbild->width = static_cast<std::uint16_t>(flaeche.breite);
  abbild->height = static_cast<std::uint16_t>(flaeche.hoehe);
  abbild->data_size = static_cast<unsigned>(flaeche.nv12->size());
  abbild->num_planes = 2;
  abbild->pitches[0] = abbild->pitches[1] = flaeche.breite;
  abbild->offsets[1] = flaeche.breite * flaeche.hoehe;
  abbild->buf = treiber.neu(Puffer{VAImageBufferType, flaeche.nv12, {}});
  abbild->image_id = treiber.nummer();
  treiber.abbilder_[abbild->image_id] = *abbild;
  return VA_STATUS_SUCCESS;
}

VAStatus createImage(VADriverContextP ctx, VAImageFormat*, int breite, int hoehe, VAImage* abbild) {
  Treiber& treiber = Treiber::von(ctx);
  const std::lock_guard halter(treiber.lock_);
  const auto b = static_cast<unsigned>(breite);
  const auto h = static_cast<unsigned>(hoehe);
  return legeAbbildAn(treiber, {b, h, std::make_shared<Bytes>(std::size_t{b} * h * 3 / 2)}, abbild);
}

VAStatus deriveImage(VADriverContextP ctx, VASurfaceID id, VAImage* abbild) {
  Treiber& treiber = Treiber::von(ctx);
  const std::lock_guard halter(treiber.lock_);
  if (!treiber.kann("kein-abbild")) return VA_STATUS_ERROR_OPERATION_FAILED;
  const auto flaeche = treiber.flaechen_.find(id);
  if (flaeche == treiber.flaechen_.end()) return VA_STATUS_ERROR_INVALID_SURFACE;
  return legeAbbildAn(treiber, flaeche->second, abbild);
}

VAStatus destroyImage(VADriverContextP ctx, VAImageID id) {
  Treiber& treiber = Treiber::von(ctx);
  const std::lock_guard halter(treiber.lock_);
  const auto abbild = treiber.abbilder_.find(id);
  if (abbild == treiber.abbilder_.end()) return VA_STATUS_ERROR_INVALID_IMAGE;
  treiber.puffer_.erase(abbild->second.buf);
  treiber.abbilder_.erase(abbild);
  return VA_STATUS_SUCCESS;
}

VAStatus putImage(VADriverContextP ctx, VASurfaceID flaeche, VAImageID id, int, int, unsigned,
                  unsigned, int, int, unsigned, unsigned) {
  Treiber& treiber = Treiber::von(ctx);
  const std::lock_guard halter(treiber.lock_);
  const auto ziel = treiber.flaechen_.find(flaeche);
  const auto abbild = treiber.abbilder_.find(id);
  if (ziel == treiber.flaechen_.end() || abbild == treiber.abbilder_.end()) {
    return VA_STATUS_ERROR_INVALID_IMAGE;
  }
  const Bytes& bytes = *treiber.puffer_.at(abbild->second.buf).bytes;
  if (bytes.size() != ziel->second.nv12->size()) return VA_STATUS_ERROR_INVALID_PARAMETER;
  *ziel->second.nv12 = bytes;
  return VA_STATUS_SUCCESS;
}

void fuelle(VADriverVTable& tafel) {
  tafel.vaTerminate = terminate;
  tafel.vaQueryConfigProfiles = queryConfigProfiles;
  tafel.vaQueryConfigEntrypoints = queryConfigEntrypoints;
  tafel.vaGetConfigAttributes = getConfigAttributes;
  tafel.vaCreateConfig = createConfig;
  tafel.vaDestroyConfig = nichtsZuTun;
  tafel.vaQueryConfigAttributes = gibtEsNicht;
  tafel.vaCreateSurfaces = createSurfaces;
  tafel.vaCreateSurfaces2 = createSurfaces2;
  tafel.vaQuerySurfaceAttributes = querySurfaceAttributes;
  tafel.vaDestroySurfaces = destroySurfaces;
  tafel.vaCreateContext = createContext;
  tafel.vaDestroyContext = nichtsZuTun;
  tafel.vaCreateBuffer = createBuffer;
  tafel.vaBufferSetNumElements = gibtEsNicht;
  tafel.vaMapBuffer = mapBuffer;
  tafel.vaUnmapBuffer = nichtsZuTun;
  tafel.vaDestroyBuffer = destroyBuffer;
  tafel.vaBeginPicture = beginPicture;
  tafel.vaRenderPicture = renderPicture;
  tafel.vaEndPicture = endPicture;
  tafel.vaSyncSurface = nichtsZuTun;
  tafel.vaSyncBuffer = syncBuffer;
  tafel.vaQuerySurfaceStatus = querySurfaceStatus;
  tafel.vaQuerySurfaceError = gibtEsNicht;
  tafel.vaQueryImageFormats = queryImageFormats;
  tafel.vaCreateImage = createImage;
  tafel.vaDeriveImage = deriveImage;
  tafel.vaDestroyImage = destroyImage;
  tafel.vaPutImage = putImage;
}

// libva refuses a driver that leaves any of these out.
void fuelleRest(VADriverVTable& tafel) {
  tafel.vaPutSurface = gibtEsNicht;
  tafel.vaSetImagePalette = gibtEsNicht;
  tafel.vaGetImage = gibtEsNicht;
  tafel.vaQuerySubpictureFormats = gibtEsNicht;
  tafel.vaCreateSubpicture = gibtEsNicht;
  tafel.vaDestroySubpicture = gibtEsNicht;
  tafel.vaSetSubpictureImage = gibtEsNicht;
  tafel.vaSetSubpictureChromakey = gibtEsNicht;
  tafel.vaSetSubpictureGlobalAlpha = gibtEsNicht;
  tafel.vaAssociateSubpicture = gibtEsNicht;
  tafel.vaDeassociateSubpicture = gibtEsNicht;
  tafel.vaQueryDisplayAttributes = gibtEsNicht;
  tafel.vaGetDisplayAttributes = gibtEsNicht;
  tafel.vaSetDisplayAttributes = gibtEsNicht;
}

}  // namespace
}  // namespace hallkorb

// The name by which libva looks for a driver.
extern "C" __attribute__((visibility("default"))) VAStatus
__vaDriverInit_1_0(VADriverContextP ctx) {
  ctx->version_major = VA_MAJOR_VERSION;
  ctx->version_minor = VA_MINOR_VERSION;
  ctx->max_profiles = ctx->max_entrypoints = ctx->max_image_formats = 1;
  ctx->max_attributes = 8;
  ctx->max_subpic_formats = ctx->max_display_attributes = 1;
  ctx->str_vendor = "hallkorb test";
  ctx->pDriverData = new hallkorb::Treiber;
  hallkorb::fuelle(*ctx->vtable);
  hallkorb::fuelleRest(*ctx->vtable);
  return VA_STATUS_SUCCESS;
}
