// The chunker's rules a second time, as plainly as possible: nothing remembered between blocks,
// everything searched anew, samples erased from the front. Slow, and the measure for the fast one.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/Text.h"

namespace hallkorb {

class ChunkerRegel {
 public:
  struct Werte {
    double rate;
    std::int64_t chunkSamples;
    std::int64_t searchSamples;
    bool turnMode;
    std::int64_t minSamples;
    std::int64_t maxSamples;
    std::int64_t silenceRun;
    float silenceRms;
  };

  enum class Los { geschrieben, still, ohneSprache };

  struct Chunk {
    Los los;
    std::int64_t von;
    std::vector<float> samples;
    std::optional<std::int64_t> spracheMs;
    [[nodiscard]] std::int64_t bis() const {
      return von + static_cast<std::int64_t>(samples.size());
    }
  };

  explicit ChunkerRegel(const Werte& werte) : w(werte) {}

  void append(std::span<const float> samples, const std::vector<bool>* sprache = nullptr) {
    buf.insert(buf.end(), samples.begin(), samples.end());
    if (sprache != nullptr && sprache->size() == samples.size()) {
      mitMaske = true;
      maske.insert(maske.end(), sprache->begin(), sprache->end());
    } else if (mitMaske) {
      maske.insert(maske.end(), samples.size(), true);
    }
    w.turnMode ? pausen() : laengen();
  }

  void finalizeRemainder() { flush(laenge()); }

  // The line that announces the written chunk number `i`.
  [[nodiscard]] std::string zeile(const Chunk& chunk, std::int64_t i, const std::string& channel,
                                  const std::string& pfad) const {
    std::string text = formatiert(R"({"chunk":%lld,"channel":"%s","path":"%s","t0":%.2f,"t1":%.2f)",
                                  static_cast<long long>(i), channel.c_str(), pfad.c_str(),
                                  static_cast<double>(chunk.von) / w.rate,
                                  static_cast<double>(chunk.bis()) / w.rate);
    if (chunk.spracheMs) {
      text += formatiert(R"(,"sprache_ms":%lld)", static_cast<long long>(*chunk.spracheMs));
    }
    return text + "}";
  }

  Werte w;
  std::vector<float> buf;
  std::vector<bool> maske;
  bool mitMaske = false;
  std::int64_t globalOffset = 0;
  std::vector<Chunk> chunks;  // all, in their order

 private:
  [[nodiscard]] std::int64_t laenge() const { return static_cast<std::int64_t>(buf.size()); }

  [[nodiscard]] float energie(std::int64_t von, std::int64_t anzahl) const {
    float teil[4] = {0, 0, 0, 0};
    std::int64_t i = 0;
    for (; i + 4 <= anzahl; i += 4) {
      for (std::int64_t k = 0; k < 4; ++k)
        teil[k] += at(von + i + k) * at(von + i + k);
    }
    float summe = (teil[0] + teil[1]) + (teil[2] + teil[3]);
    for (; i < anzahl; ++i)
      summe += at(von + i) * at(von + i);
    return summe;
  }

  [[nodiscard]] float at(std::int64_t i) const { return buf.at(static_cast<std::size_t>(i)); }

  [[nodiscard]] std::int64_t leiseste(std::int64_t lo, std::int64_t hi, std::int64_t c) const {
    float beste = std::numeric_limits<float>::max();
    for (std::int64_t k = lo; k + 160 < hi; k += 160) {
      if (energie(k, 160) < beste) {
        beste = energie(k, 160);
        c = k + 80;
      }
    }
    return c;
  }

  void laengen() {
    while (laenge() >= w.chunkSamples + w.searchSamples) {
      const std::int64_t lo = std::max<std::int64_t>(w.chunkSamples - w.searchSamples, 1);
      if (!flush(leiseste(lo, w.chunkSamples + w.searchSamples, w.chunkSamples))) return;
    }
  }

  void pausen() {
    for (;;) {
      if (laenge() >= w.maxSamples) {
        const std::int64_t c = std::max(w.minSamples, w.maxSamples - w.searchSamples);
        const std::int64_t lo = std::max<std::int64_t>(c - w.searchSamples, 1);
        if (!flush(leiseste(lo, std::min(c + w.searchSamples, laenge()), c))) return;
        continue;
      }
      if (w.minSamples + w.silenceRun >= laenge()) return;
      std::optional<std::int64_t> schnitt;
      std::int64_t beginn = -1;
      for (std::int64_t p = std::max<std::int64_t>(w.minSamples, 0); p + 160 <= laenge();
           p += 160) {
        if (!(std::sqrt(energie(p, 160) / 160.0F) < w.silenceRms)) {
          beginn = -1;
          continue;
        }
        if (beginn < 0) beginn = p;
        if (p + 160 - beginn >= w.silenceRun) {
          schnitt = std::min(beginn + w.silenceRun / 2, laenge());
          break;
        }
      }
      if (!schnitt || !flush(*schnitt)) return;
    }
  }

  // Whether the cut took anything.
  bool flush(std::int64_t count) {
    const std::int64_t n = std::min(laenge(), count);
    if (n < 1) return false;
    const float pegel = std::sqrt(energie(0, n) / static_cast<float>(n));
    const std::vector<float> samples(buf.begin(), buf.begin() + n);
    buf.erase(buf.begin(), buf.begin() + n);
    std::int64_t sprache = n;
    if (mitMaske) {
      const auto ende = maske.begin() + std::min(static_cast<std::int64_t>(maske.size()), n);
      sprache = std::count(maske.begin(), ende, true);
      maske.erase(maske.begin(), ende);
    }
    Chunk chunk{Los::geschrieben, globalOffset, samples, std::nullopt};
    globalOffset += n;
    if (w.turnMode && pegel < w.silenceRms) {
      chunk.los = Los::still;
    } else if (mitMaske && sprache < 768) {
      chunk.los = Los::ohneSprache;
    } else if (mitMaske) {
      chunk.spracheMs = static_cast<std::int64_t>(static_cast<double>(sprache) / w.rate * 1000.0);
    }
    chunks.push_back(chunk);
    return true;
  }
};

}  // namespace hallkorb
