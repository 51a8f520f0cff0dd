// The chunker behind the C interface.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "audiofiles/ChannelChunker.h"
#include "library/Grenze.h"
#include "library/hallkorb/audio.h"
#include "library/Wachstum.h"

struct hallkorb_chunker {
  hallkorb_chunker(hallkorb::ChunkerEinstellung einstellung, hallkorb::Rueckruf an)
      : chunker(std::move(einstellung)), rueckruf(an) {}

  hallkorb::ChannelChunker chunker;
  hallkorb::Rueckruf rueckruf;
  std::vector<bool> maske;
  std::vector<float> heil;
  bool beendet = false;
};

namespace {

using hallkorb::gerufen;
using hallkorb::gescheitert;

constexpr double SEKUNDEN_BIS = 86400.0;

bool dauer(double sekunden) {
  return sekunden >= 0 && sekunden <= SEKUNDEN_BIS;
}

// The options up to the last field of their first version.
constexpr std::size_t ERSTE = offsetof(hallkorb_chunker_options, silence_seconds) + sizeof(double);

hallkorb_chunker_options vorgaben() {
  return {.size = sizeof(hallkorb_chunker_options),
          .channel = nullptr,
          .folder = nullptr,
          .rate = HALLKORB_ECHO_RATE,
          .turns = 1,
          .silence_rms = 0.006F,
          .chunk_seconds = 25.0,
          .min_seconds = 1.2,
          .max_seconds = 4.0,
          .silence_seconds = 0.6};
}

bool brauchbar(const hallkorb_chunker_options& o) {
  return hallkorb::brauchbarerName(o.channel) && o.folder != nullptr &&
         hallkorb::brauchbareRate(o.rate) && dauer(o.chunk_seconds) && dauer(o.min_seconds) &&
         dauer(o.max_seconds) && dauer(o.silence_seconds) && std::isfinite(o.silence_rms);
}

int beendet() {
  return gescheitert(HALLKORB_ENDED, "chunker: the stream has been finished");
}

}  // namespace

extern "C" {

int hallkorb_chunker_defaults(hallkorb_chunker_options* options, size_t size) {
  if (!hallkorb::gibHinaus(vorgaben(), ERSTE, size, options))
    return gescheitert(HALLKORB_INVALID, "chunker: null pointer, or no such size of the options");
  return HALLKORB_OK;
}

int hallkorb_chunker_new(hallkorb_chunker** chunker, const hallkorb_chunker_options* options,
                         hallkorb_text_fn line, hallkorb_text_fn diagnostic, void* user) {
  return gerufen([&] {
    const auto wahl = hallkorb::nimmHerein(options, ERSTE, vorgaben());
    if (chunker == nullptr || line == nullptr || !wahl || !brauchbar(*wahl))
      return gescheitert(HALLKORB_INVALID, "chunker: no callback, or no such options");
    *chunker = std::make_unique<hallkorb_chunker>(
                   hallkorb::ChunkerEinstellung{.channel = wahl->channel,
                                                .outDir = wahl->folder,
                                                .rate = wahl->rate,
                                                .chunkSeconds = wahl->chunk_seconds,
                                                .turnMode = wahl->turns != 0,
                                                .minSeconds = wahl->min_seconds,
                                                .maxSeconds = wahl->max_seconds,
                                                .silenceSeconds = wahl->silence_seconds,
                                                .silenceRms = wahl->silence_rms},
                   hallkorb::Rueckruf{.zeile = line, .diagnose = diagnostic, .user = user})
                   .release();
    return int{HALLKORB_OK};
  });
}

int hallkorb_chunker_append(hallkorb_chunker* chunker, const float* samples, const uint8_t* speech,
                            size_t count) {
  return gerufen([&] {
    if (chunker == nullptr || !hallkorb::lesbar(samples, count))
      return gescheitert(HALLKORB_INVALID, "chunker: null handle, or samples that cannot be read");
    if (chunker->beendet) return beendet();
    const hallkorb::Umleitung umleitung(chunker->rueckruf);
    if (speech != nullptr) chunker->maske.assign(speech, speech + count);
    chunker->chunker.append(hallkorb::geheilt(samples, count, chunker->heil),
                            speech != nullptr ? &chunker->maske : nullptr);
    return int{HALLKORB_OK};
  });
}

int hallkorb_chunker_finish(hallkorb_chunker* chunker) {
  return gerufen([&] {
    if (chunker == nullptr) return gescheitert(HALLKORB_INVALID, "chunker: null handle");
    if (chunker->beendet) return beendet();
    chunker->beendet = true;
    const hallkorb::Umleitung umleitung(chunker->rueckruf);
    chunker->chunker.finalizeRemainder();
    return int{HALLKORB_OK};
  });
}

void hallkorb_chunker_free(hallkorb_chunker* chunker) {
  delete chunker;
}

}  // extern "C"
