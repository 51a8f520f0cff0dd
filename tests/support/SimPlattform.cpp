#include "support/SimPlattform.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

namespace hallkorb::sim {
namespace {

constexpr std::int64_t UNIX_MS_AM_ANFANG = 1'700'000'000'123;

// Takes the nearest earlier sample of the first channel. A stand-in for the platform's filter that
// keeps its state over blocks and is exact where both rates are equal.
class SimKonverter final : public AudioConverter {
 public:
  SimKonverter(double von, double nach) : schritt_(von / nach) {}

  Ergebnis wandle(const PcmBlock& block, std::size_t kapazitaet,
                  std::vector<float>& ausgabe) override {
    ausgabe.clear();
    std::vector<float> platz;
    const auto kanal = block.ersterKanal(platz);
    for (; naechste_ < static_cast<double>(kanal.size()); naechste_ += schritt_) {
      if (ausgabe.size() == kapazitaet) return Fehler{"sim", 1, "Ausgabe zu klein"};
      ausgabe.push_back(kanal[static_cast<std::size_t>(naechste_)]);
    }
    naechste_ -= static_cast<double>(kanal.size());
    return std::nullopt;
  }

 private:
  double schritt_;
  double naechste_ = 0.0;
};

}  // namespace

void Geraet::block(double aufgenommen, PcmFormat format, std::vector<float> samples,
                   std::optional<double> behaupteteZeit) {
  const double zeit = NULLZEIT + behaupteteZeit.value_or(aufgenommen);
  const auto frames = static_cast<std::uint32_t>(samples.size() / format.channels);
  schritte.push_back({aufgenommen + frames / format.rate,
                      [=, daten = std::move(samples)](AudioInputListener& hoerer) {
                        hoerer.block({format, frames, daten, zeit});
                      }});
}

void Geraet::blockOhneZeit(double aufgenommen, PcmFormat format, std::vector<float> samples) {
  const auto frames = static_cast<std::uint32_t>(samples.size() / format.channels);
  schritte.push_back({aufgenommen + frames / format.rate,
                      [=, daten = std::move(samples)](AudioInputListener& hoerer) {
                        hoerer.block({format, frames, daten, std::nullopt});
                      }});
}

void Geraet::unterbrochen(double zeit, Fehler fehler) {
  schritte.push_back({zeit, [f = std::move(fehler)](AudioInputListener& hoerer) {
                        hoerer.unterbrochen(f);
                      }});
}

void Geraet::fortgesetzt(double zeit) {
  schritte.push_back({zeit, [](AudioInputListener& hoerer) { hoerer.fortgesetzt(); }});
}

void Geraet::verloren(double zeit, std::uint64_t bloecke) {
  schritte.push_back({zeit, [=](AudioInputListener& hoerer) { hoerer.verloren(bloecke); }});
}

class SimPlattform::SimQueue final : public SerialQueue {
 public:
  explicit SimQueue(SimPlattform& welt) : welt_(welt), faden_(std::make_shared<Faden>()) {
    welt_.faeden_.push_back(faden_);
  }
  ~SimQueue() override {
    while (!faden_->arbeit.empty()) welt_.fuehreAus(*faden_);
    std::erase(welt_.faeden_, faden_);
  }
  void async(Arbeit arbeit) override { faden_->arbeit.push_back(std::move(arbeit)); }
  void sync(Arbeit arbeit) override {
    bool fertig = false;
    async([&] {
      arbeit();
      fertig = true;
    });
    welt_.laufeBis([&] { return fertig; });
  }

 private:
  SimPlattform& welt_;
  std::shared_ptr<Faden> faden_;
};

class SimPlattform::SimTask final : public Task {
 public:
  SimTask(SimPlattform& welt, std::function<void()> arbeit)
      : welt_(welt), faden_(std::make_shared<Faden>()), fertig_(std::make_shared<bool>(false)) {
    faden_->arbeit.push_back([arbeit = std::move(arbeit), fertig = fertig_] {
      arbeit();
      *fertig = true;
    });
    faden_->task = true;
    welt_.faeden_.push_back(faden_);
  }
  ~SimTask() override {
    warte();
    std::erase(welt_.faeden_, faden_);
  }
  void warte() override {
    if (!faden_->laeuft && !*fertig_) welt_.fuehreAus(*faden_);
    welt_.laufeBis([this] { return *fertig_; });
  }

 private:
  SimPlattform& welt_;
  std::shared_ptr<Faden> faden_;
  std::shared_ptr<bool> fertig_;
};

// A device that follows its script. Its thread is the simulation's own: blocks arrive as events.
class SimPlattform::SimInput final : public AudioInput {
 public:
  SimInput(SimPlattform& welt, const Geraet& geraet)
      : welt_(welt), geraet_(geraet), zustand_(std::make_shared<Zustand>()) {}
  ~SimInput() override { stop(); }

  Ergebnis start(AudioInputListener& hoerer) override {
    const double bereit = welt_.jetzt_ + geraet_.startDauer;
    welt_.am(bereit, [] {});
    welt_.laufeBis([this, bereit] {
      return zustand_->gestoppt || (!geraet_.startHaengt && welt_.jetzt_ >= bereit);
    });
    if (zustand_->gestoppt) return Fehler{"sim", 89, "abgebrochen"};
    if (geraet_.startFehler) return geraet_.startFehler;
    for (const auto& schritt : geraet_.schritte) {
      if (schritt.zeit < welt_.jetzt_) continue;
      welt_.am(schritt.zeit, [zustand = zustand_, &hoerer, handlung = schritt.handlung] {
        if (!zustand->gestoppt) handlung(hoerer);
      });
    }
    return std::nullopt;
  }

  void stop() override { zustand_->gestoppt = true; }

 private:
  struct Zustand {
    bool gestoppt = false;
  };
  SimPlattform& welt_;
  const Geraet geraet_;
  std::shared_ptr<Zustand> zustand_;
};

SimPlattform::SimPlattform(std::uint64_t saat)
    : zufall_(saat), haupt_(std::make_shared<Faden>()) {
  faeden_.push_back(haupt_);
}

SimPlattform::~SimPlattform() = default;

void SimPlattform::am(double zeit, std::function<void()> ereignis) {
  ereignisse_.emplace(zeit, std::move(ereignis));
}

void SimPlattform::signal(double zeit, int nummer) {
  am(zeit, [this, nummer] {
    const auto handler = signale_.find(nummer);
    if (handler == signale_.end()) throw std::logic_error("signal with its default action");
    post(handler->second);
  });
}

void SimPlattform::leserGeht(double zeit) {
  am(zeit, [this] {
    if (leserWeg_) post(std::exchange(leserWeg_, nullptr));
  });
}

void SimPlattform::laufeBis(const std::function<bool()>& fertig) {
  while (!fertig()) {
    if (!einSchritt()) throw std::logic_error("the simulation waits for something that never comes");
  }
}

bool SimPlattform::einSchritt() {
  // A task that began while another one waits further down the stack could wait for that one, which
  // cannot go on before it: it begins when the other has ended.
  const bool taskLaeuft = std::any_of(faeden_.begin(), faeden_.end(),
                                      [](const auto& f) { return f->task && f->laeuft; });
  std::vector<Faden*> bereit;
  for (const auto& faden : faeden_) {
    if (faden->laeuft || faden->arbeit.empty() || (faden->task && taskLaeuft)) continue;
    bereit.push_back(faden.get());
  }
  if (!bereit.empty()) {
    fuehreAus(*bereit[zufall_() % bereit.size()]);
    return true;
  }
  if (ereignisse_.empty()) return false;
  auto ereignis = ereignisse_.extract(ereignisse_.begin());
  jetzt_ = std::max(jetzt_, ereignis.key());
  ereignis.mapped()();
  return true;
}

void SimPlattform::fuehreAus(Faden& faden) {
  const auto arbeit = std::move(faden.arbeit.front());
  faden.arbeit.pop_front();
  faden.laeuft = true;
  arbeit();
  faden.laeuft = false;
}

std::unique_ptr<AudioInput> SimPlattform::mikrofon() {
  return std::make_unique<SimInput>(*this, mikrofonGeraet);
}

std::unique_ptr<AudioInput> SimPlattform::systemAudio() {
  return std::make_unique<SimInput>(*this, systemGeraet);
}

std::unique_ptr<AudioConverter> SimPlattform::konverter(const PcmFormat& eingang, double rate) {
  if (!(rate > 0)) return nullptr;
  return std::make_unique<SimKonverter>(eingang.rate, rate);
}

std::int64_t SimPlattform::unixMs() const {
  return UNIX_MS_AM_ANFANG + std::llround(jetzt_ * 1000);
}

void SimPlattform::aufSignal(int nummer, Handler handler) {
  gefangen_.insert(nummer);
  signale_[nummer] = std::move(handler);
}

void SimPlattform::aufLeserWeg(int /*deskriptor*/, Handler handler) {
  leserWeg_ = std::move(handler);
}

void SimPlattform::post(Handler handler) { haupt_->arbeit.push_back(std::move(handler)); }

int SimPlattform::run() {
  laufeBis([this] { return status_.has_value(); });
  return *status_;
}

void SimPlattform::quit(int status) { status_ = status; }

std::unique_ptr<Task> SimPlattform::starte(std::function<void()> arbeit) {
  return std::make_unique<SimTask>(*this, std::move(arbeit));
}

std::unique_ptr<SerialQueue> SimPlattform::queue(const std::string& /*name*/) {
  return std::make_unique<SimQueue>(*this);
}

}  // namespace hallkorb::sim
