// The echo path behind the C interface.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "echo/EchoStrecke.h"
#include "library/Grenze.h"
#include "library/hallkorb/audio.h"

struct hallkorb_echo {
  hallkorb_echo(hallkorb_cleaned_fn gereinigt, void* user) {
    strecke.ausgabe = [this, gereinigt, user](std::span<const float> samples,
                                              const std::vector<bool>& sprache) {
      maske.assign(sprache.begin(), sprache.end());
      gereinigt(user, samples.data(), maske.data(), samples.size());
    };
  }

  hallkorb::EchoStrecke strecke{hallkorb::EK_PARTITIONEN};
  std::vector<std::uint8_t> maske;
  std::vector<float> heil;
  std::string text;
  bool begonnen = false;
};

namespace {

using hallkorb::gerufen;
using hallkorb::gescheitert;

int beendet() {
  return gescheitert(HALLKORB_ENDED, "echo: the stream has been finished");
}

using Kanal = void (hallkorb::EchoStrecke::*)(std::span<const float>);

int speise(hallkorb_echo* echo, const float* samples, std::size_t anzahl, Kanal kanal) {
  return gerufen([&] {
    if (echo == nullptr || !hallkorb::lesbar(samples, anzahl))
      return gescheitert(HALLKORB_INVALID, "echo: null handle, or samples that cannot be read");
    if (echo->strecke.beendet()) return beendet();
    echo->begonnen = echo->begonnen || anzahl > 0;
    (echo->strecke.*kanal)(hallkorb::geheilt(samples, anzahl, echo->heil));
    return int{HALLKORB_OK};
  });
}

}  // namespace

extern "C" {

int hallkorb_echo_new(hallkorb_echo** echo, hallkorb_cleaned_fn cleaned, void* user) {
  return gerufen([&] {
    if (echo == nullptr || cleaned == nullptr)
      return gescheitert(HALLKORB_INVALID, "echo: no handle or no callback");
    *echo = std::make_unique<hallkorb_echo>(cleaned, user).release();
    return int{HALLKORB_OK};
  });
}

int hallkorb_echo_postfilter(hallkorb_echo* echo, int on) {
  return gerufen([&] {
    if (echo == nullptr) return gescheitert(HALLKORB_INVALID, "echo: null handle");
    if (echo->begonnen || echo->strecke.beendet())
      return gescheitert(HALLKORB_ENDED, "echo: the post-filter is switched before any samples");
    echo->strecke.nachfilter(on != 0);
    return int{HALLKORB_OK};
  });
}

int hallkorb_echo_reference(hallkorb_echo* echo, const float* samples, size_t count) {
  return speise(echo, samples, count, &hallkorb::EchoStrecke::referenz);
}

int hallkorb_echo_microphone(hallkorb_echo* echo, const float* samples, size_t count) {
  return speise(echo, samples, count, &hallkorb::EchoStrecke::mikro);
}

int hallkorb_echo_finish(hallkorb_echo* echo) {
  return gerufen([&] {
    if (echo == nullptr) return gescheitert(HALLKORB_INVALID, "echo: null handle");
    if (echo->strecke.beendet()) return beendet();
    echo->strecke.abschliessen();
    return int{HALLKORB_OK};
  });
}

int hallkorb_echo_statistics(hallkorb_echo* echo, const char** json) {
  return gerufen([&] {
    if (echo == nullptr || json == nullptr)
      return gescheitert(HALLKORB_INVALID, "echo: null handle");
    echo->text = echo->strecke.statistik();
    *json = echo->text.c_str();
    return int{HALLKORB_OK};
  });
}

void hallkorb_echo_free(hallkorb_echo* echo) {
  delete echo;
}

}  // extern "C"
