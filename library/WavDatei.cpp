// WAV files behind the C interface.

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "audiofiles/WavSchreiber.h"
#include "audiofiles/WavStrom.h"
#include "base/Fehler.h"
#include "library/Grenze.h"
#include "library/hallkorb/audio.h"

struct hallkorb_wav_reader {
  std::unique_ptr<hallkorb::WavStrom> strom;
};

struct hallkorb_wav_writer {
  std::optional<hallkorb::WavSchreiber> schreiber;
  std::vector<float> heil;
  bool beendet = false;
};

namespace {

using hallkorb::gerufen;
using hallkorb::gescheitert;

// What a header can declare: 4 GiB less its own rest of 36 bytes, two bytes each.
constexpr std::size_t SAMPLES_BIS = (0xFFFFFFFFU - 36) / 2;

}  // namespace

extern "C" {

int hallkorb_wav_open(hallkorb_wav_reader** reader, const char* path) {
  return gerufen([&] {
    if (reader == nullptr || path == nullptr)
      return gescheitert(HALLKORB_INVALID, "wav: no handle or no path");
    auto strom = hallkorb::WavStrom::oeffne(path);
    if (!strom) return gescheitert(HALLKORB_FILE, "wav: not a WAV file that can be read");
    if (!strom->pcm16()) return gescheitert(HALLKORB_FILE, "wav: the samples are not 16-bit PCM");
    *reader = std::make_unique<hallkorb_wav_reader>(std::move(strom)).release();
    return int{HALLKORB_OK};
  });
}

int hallkorb_wav_rate(hallkorb_wav_reader* reader, double* rate) {
  return gerufen([&] {
    if (reader == nullptr || rate == nullptr)
      return gescheitert(HALLKORB_INVALID, "wav: null pointer");
    *rate = reader->strom->rate();
    return int{HALLKORB_OK};
  });
}

int hallkorb_wav_read(hallkorb_wav_reader* reader, float* samples, size_t capacity, size_t* count) {
  return gerufen([&] {
    if (reader == nullptr || count == nullptr || !hallkorb::lesbar(samples, capacity))
      return gescheitert(HALLKORB_INVALID, "wav: null pointer");
    const auto gelesen = reader->strom->lies(std::span(samples, capacity));
    if (!gelesen) return gescheitert(HALLKORB_FILE, "wav: the file cannot be read on");
    *count = *gelesen;
    return int{HALLKORB_OK};
  });
}

void hallkorb_wav_close(hallkorb_wav_reader* reader) {
  delete reader;
}

int hallkorb_wav_create(hallkorb_wav_writer** writer, const char* path, double rate) {
  return gerufen([&] {
    if (writer == nullptr || path == nullptr || !hallkorb::brauchbareRate(rate))
      return gescheitert(HALLKORB_INVALID, "wav: no handle, no path or no such rate");
    auto neu = std::make_unique<hallkorb_wav_writer>();
    neu->schreiber.emplace(path, rate);
    *writer = neu.release();
    return int{HALLKORB_OK};
  });
}

int hallkorb_wav_write(hallkorb_wav_writer* writer, const float* samples, size_t count) {
  return gerufen([&] {
    if (writer == nullptr || !hallkorb::lesbar(samples, count))
      return gescheitert(HALLKORB_INVALID, "wav: null pointer");
    if (writer->beendet) return gescheitert(HALLKORB_ENDED, "wav: the file has been finished");
    if (count > SAMPLES_BIS - writer->schreiber->samples())
      return gescheitert(HALLKORB_INVALID, "wav: more than a WAV file can hold");
    writer->schreiber->schreibe(hallkorb::geheilt(samples, count, writer->heil));
    return int{HALLKORB_OK};
  });
}

int hallkorb_wav_finish(hallkorb_wav_writer* writer) {
  return gerufen([&] {
    if (writer == nullptr) return gescheitert(HALLKORB_INVALID, "wav: null handle");
    if (writer->beendet) return gescheitert(HALLKORB_ENDED, "wav: the file has been finished");
    writer->beendet = true;
    const hallkorb::Ergebnis ergebnis = writer->schreiber->vollende();
    return ergebnis.gescheitert() ? gescheitert(ergebnis.fehler()) : int{HALLKORB_OK};
  });
}

void hallkorb_wav_free(hallkorb_wav_writer* writer) {
  delete writer;
}

}  // extern "C"
