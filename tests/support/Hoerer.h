// A listener that records every call, so that a test can wait for calls and check them.
#pragma once

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/AudioInput.h"

namespace hallkorb {

class Hoerer final : public AudioInputListener {
 public:
  struct Block {
    PcmFormat format;
    double zeit = 0.0;  // NaN without a time
    double dauer = 0.0;
    std::vector<float> samples;  // the first channel
  };
  struct Stand {
    std::vector<Block> bloecke;
    // "unterbrochen: " + description, "fortgesetzt", "verloren", in order.
    std::vector<std::string> ereignisse;
    std::uint64_t verloren = 0;
    bool mehrereFaeden = false;  // calls came from more than one thread

    // Largest step between a block's time and the end of the one before, from block `ab` on.
    [[nodiscard]] double groessteAbweichung(std::size_t ab = 0) const {
      double groesste = 0.0;
      for (std::size_t i = ab + 1; i < bloecke.size(); ++i) {
        const Block& vorher = bloecke[i - 1];
        groesste = std::fmax(groesste, std::abs(bloecke[i].zeit - vorher.zeit - vorher.dauer));
      }
      return groesste;
    }
    // Whether the blocks join to within 5 ms. On a busy machine the graph misses cycles, or is
    // halted as a whole: one join in ten may be off by as much as that makes.
    [[nodiscard]] bool fortlaufend() const {
      std::size_t spruenge = 0;
      for (std::size_t i = 1; i < bloecke.size(); ++i) {
        const Block& vorher = bloecke[i - 1];
        spruenge += std::abs(bloecke[i].zeit - vorher.zeit - vorher.dauer) >= 0.005;
      }
      return 10 * spruenge <= bloecke.size();
    }
    // The events without the interruptions for want of data: a machine on which the graph or this
    // process is halted for more than a second has those at any time.
    [[nodiscard]] std::vector<std::string> ohneAussetzer() const {
      std::vector<std::string> rest;
      bool ausgesetzt = false;
      for (const std::string& ereignis : ereignisse) {
        const bool zurueck = std::exchange(ausgesetzt, ereignis == KEINE_DATEN);
        if (!ausgesetzt && !(zurueck && ereignis == "fortgesetzt")) rest.push_back(ereignis);
      }
      return rest;
    }
    // The same, and each of the interruptions left a hole that accounts for it.
    [[nodiscard]] bool ungestoert() const {
      std::size_t aussetzer = 0;
      for (std::size_t i = 1; i < ereignisse.size(); i += 2)
        aussetzer += ereignisse[i - 1] == KEINE_DATEN && ereignisse[i] == "fortgesetzt";
      std::size_t loecher = 0;
      for (std::size_t i = 1; i < bloecke.size(); ++i)
        loecher += bloecke[i].zeit - bloecke[i - 1].zeit - bloecke[i - 1].dauer > 0.5;
      return ohneAussetzer().empty() && aussetzer <= loecher;
    }
  };

  static constexpr const char* KEINE_DATEN = "unterbrochen: das Geraet liefert keine Daten";

  // Called on the capture's thread within each block, before it is kept.
  std::function<void()> imBlock;

  // Waits up to 60 s until `bedingung` holds for what has come so far; returns whether it did.
  bool warteAuf(const std::function<bool(const Stand&)>& bedingung) {
    std::unique_lock halter(lock_);
    return neues_.wait_for(halter, std::chrono::seconds(60), [&] { return bedingung(stand_); });
  }
  // Waits for `n` blocks more than there are now.
  bool warteAufBloecke(std::size_t n) {
    const std::size_t bisher = stand().bloecke.size();
    return warteAuf([&](const Stand& s) { return s.bloecke.size() >= bisher + n; });
  }
  // Waits for the n-th event, of those without the interruptions for want of data.
  bool warteAufEreignis(std::size_t n) {
    return warteAuf([&](const Stand& s) { return s.ohneAussetzer().size() >= n; });
  }
  [[nodiscard]] Stand stand() const {
    const std::lock_guard halter(lock_);
    return stand_;
  }

  void block(const PcmBlock& block) override {
    if (imBlock) imBlock();
    std::vector<float> platz;
    const std::span<const float> kanal = block.ersterKanal(platz);
    aendere([&](Stand& s) {
      s.bloecke.push_back({block.format,
                           block.hostTime.value_or(std::nan("")),
                           block.dauer(),
                           {kanal.begin(), kanal.end()}});
    });
  }
  void unterbrochen(const Fehler& fehler) override {
    aendere([&](Stand& s) { s.ereignisse.push_back("unterbrochen: " + fehler.description); });
  }
  void fortgesetzt() override {
    aendere([](Stand& s) { s.ereignisse.emplace_back("fortgesetzt"); });
  }
  void verloren(std::uint64_t bloecke) override {
    aendere([&](Stand& s) {
      s.ereignisse.emplace_back("verloren");
      s.verloren += bloecke;
    });
  }
  void hinweis(const Fehler&) override {}

 private:
  void aendere(const std::function<void(Stand&)>& aenderung) {
    const std::lock_guard halter(lock_);
    if (faden_ == std::thread::id{}) faden_ = std::this_thread::get_id();
    stand_.mehrereFaeden |= faden_ != std::this_thread::get_id();
    aenderung(stand_);
    neues_.notify_all();
  }

  mutable std::mutex lock_;
  std::condition_variable neues_;
  std::thread::id faden_;
  Stand stand_;
};

}  // namespace hallkorb
