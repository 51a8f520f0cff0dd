#include "tests/support/SimPlattform.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <utility>

#include "base/Faden.h"

namespace hallkorb::sim {
namespace {

constexpr std::int64_t UNIX_MS_AM_ANFANG = 1'700'000'000'123;

// Takes the nearest earlier sample of the first channel. A stand-in for the platform's filter that
// keeps its state over blocks and is exact if both rates are equal.
class SimKonverter final : public AudioConverter {
 public:
  SimKonverter(double von, double nach) : schritt_(von / nach) {}

  Umwandlung wandle(const PcmBlock& block, std::size_t kapazitaet,
                    std::vector<float>& ausgabe) override {
    ausgabe.clear();
    std::vector<float> platz;
    const auto kanal = block.ersterKanal(platz);
    for (; naechste_ < static_cast<double>(kanal.size()); naechste_ += schritt_) {
      if (ausgabe.size() == kapazitaet)
        return Umwandlung::gescheitert({"sim", 1, "Ausgabe zu klein"});
      ausgabe.push_back(kanal[static_cast<std::size_t>(naechste_)]);
    }
    naechste_ -= static_cast<double>(kanal.size());
    return {};
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
  schritte.push_back(
      {zeit, [f = std::move(fehler)](AudioInputListener& hoerer) { hoerer.unterbrochen(f); }});
}

void Geraet::fortgesetzt(double zeit) {
  schritte.push_back({zeit, [](AudioInputListener& hoerer) { hoerer.fortgesetzt(); }});
}

void Geraet::verloren(double zeit, std::uint64_t bloecke) {
  schritte.push_back({zeit, [=](AudioInputListener& hoerer) { hoerer.verloren(bloecke); }});
}

class SimPlattform::SimQueue final : public SerialQueue {
 public:
  explicit SimQueue(SimPlattform& welt) : welt_(welt) {
    faden_ = welt_.neuerFaden([this] {
      for (;;) {
        welt_.warteBis([this] { return zuEnde_ || !arbeit_.empty(); });
        if (arbeit_.empty()) return;
        const Arbeit arbeit = std::move(arbeit_.front());
        arbeit_.pop_front();
        arbeit();
      }
    });
  }
  ~SimQueue() override {
    zuEnde_ = true;
    welt_.sammleEin(*faden_);
  }
  void async(Arbeit arbeit) override {
    arbeit_.push_back(std::move(arbeit));
    welt_.verzweige();
  }
  void sync(Arbeit arbeit) override {
    bool fertig = false;
    async([&] {
      arbeit();
      fertig = true;
    });
    welt_.warteBis([&] { return fertig; });
  }

 private:
  SimPlattform& welt_;
  std::deque<Arbeit> arbeit_;
  bool zuEnde_ = false;
  std::shared_ptr<Faden> faden_;
};

class SimPlattform::SimTask final : public Task {
 public:
  SimTask(SimPlattform& welt, std::function<void()> arbeit)
      : welt_(welt), faden_(welt.neuerFaden(std::move(arbeit))) {}
  ~SimTask() override { welt_.sammleEin(*faden_); }
  void warte() override {
    welt_.warteBis([this] { return faden_->fertig; });
  }

 private:
  SimPlattform& welt_;
  std::shared_ptr<Faden> faden_;
};

class SimPlattform::SimSchlaf final : public Schlaf {
 public:
  explicit SimSchlaf(SimPlattform& welt) : welt_(welt) {
    std::multimap<double, std::function<void()>> einer;
    einer.emplace(0.0, [] {});
    erwachen_ = einer.extract(einer.begin());
  }
  bool warte(double sekunden) override {
    const double bis = welt_.jetzt_ + sekunden;
    if (erwachen_) {
      erwachen_.key() = bis;
      welt_.ereignisse_.insert(std::move(erwachen_));
    } else {
      welt_.am(bis, [] {});
    }
    welt_.warteBis([&] { return geweckt_ || welt_.jetzt_ >= bis; });
    return geweckt_;
  }
  void wecke() override {
    geweckt_ = true;
    welt_.verzweige();
  }

 private:
  SimPlattform& welt_;
  std::multimap<double, std::function<void()>>::node_type erwachen_;  // of the first sleep
  bool geweckt_ = false;
};

// A device that follows its script, on a thread of its own.
class SimPlattform::SimInput final : public AudioInput {
 public:
  SimInput(SimPlattform& welt, Geraet geraet) : welt_(welt), geraet_(std::move(geraet)) {}
  ~SimInput() override { static_cast<void>(stop()); }

  Ergebnis start(AudioInputListener& hoerer) override {
    const double bereit = welt_.jetzt_ + geraet_.startDauer;
    welt_.am(bereit, [] {});
    welt_.warteBis(
        [this, bereit] { return gestoppt_ || (!geraet_.startHaengt && welt_.jetzt_ >= bereit); });
    if (gestoppt_) return Fehler{"sim", 89, "abgebrochen"};
    if (geraet_.startFehler) return *geraet_.startFehler;
    for (const auto& schritt : geraet_.schritte)
      welt_.am(schritt.zeit, [] {});
    faden_ = welt_.neuerFaden([this, &hoerer, ab = welt_.jetzt_] { spiele(hoerer, ab); });
    return {};
  }

  Ergebnis stop() override {
    gestoppt_ = true;
    if (faden_) welt_.sammleEin(*faden_);
    return geraet_.stoppFehler ? Ergebnis(*geraet_.stoppFehler) : Ergebnis();
  }

 private:
  // What came before the start is not delivered; what came before the stop is.
  void spiele(AudioInputListener& hoerer, double ab) {
    for (const auto& schritt : geraet_.schritte) {
      if (schritt.zeit < ab) continue;
      welt_.warteBis([&] { return gestoppt_ || welt_.jetzt_ >= schritt.zeit; });
      if (welt_.jetzt_ < schritt.zeit) return;
      schritt.handlung(hoerer);
    }
    while (geraet_.weitere) {
      const auto schritt = geraet_.weitere();
      if (!schritt) return;
      welt_.am(schritt->zeit, [] {});
      welt_.warteBis([&] { return gestoppt_ || welt_.jetzt() >= schritt->zeit; });
      if (welt_.jetzt() < schritt->zeit) return;
      schritt->handlung(hoerer);
    }
  }

  SimPlattform& welt_;
  const Geraet geraet_;
  bool gestoppt_ = false;
  std::shared_ptr<Faden> faden_;
};

SimPlattform::SimPlattform(std::uint64_t saat) : zufall_(saat) {
  faeden_.push_back(std::make_shared<Faden>());
  bereite_.reserve(1);
  amZug_ = faeden_.front().get();
}

SimPlattform::~SimPlattform() {
  for (const auto& faden : unabhaengige_)
    sammleEin(*faden);
}

std::shared_ptr<SimPlattform::Faden> SimPlattform::neuerFaden(std::function<void()> arbeit) {
  auto faden = std::make_shared<Faden>();
  faden->bereit = [] { return true; };
  Faden* selbst = faden.get();
  faeden_.reserve(faeden_.size() + 1);
  bereite_.reserve(faeden_.size() + 1);
  faden->thread = std::thread([this, selbst, arbeit = std::move(arbeit)] {
    beginneFaden("sim");
    {
      std::unique_lock halter(lock_);
      wechsel_.wait(halter, [&] { return amZug_ == selbst; });
    }
    arbeit();
    selbst->fertig = true;
    gibWeiter();
  });
  faeden_.push_back(faden);
  verzweige();
  return faden;
}

void SimPlattform::sammleEin(Faden& faden) {
  if (!faden.thread.joinable()) return;
  warteBis([&] { return faden.fertig; });
  faden.thread.join();
  std::erase_if(faeden_, [&](const auto& f) { return f.get() == &faden; });
}

void SimPlattform::verzweige() {
  if (zufall_() % 2 == 0) return;
  bool dran = false;
  warteBis([&] { return std::exchange(dran, true); });
}

void SimPlattform::warteBis(const std::function<bool()>& fertig) {
  Faden* selbst = amZug_;
  while (!fertig()) {
    selbst->bereit = fertig;
    gibWeiter();
    std::unique_lock halter(lock_);
    wechsel_.wait(halter, [&] { return amZug_ == selbst; });
  }
}

void SimPlattform::gibWeiter() {
  for (;;) {
    bereite_.clear();
    for (const auto& faden : faeden_) {
      if (!faden->fertig && faden->bereit && faden->bereit()) bereite_.push_back(faden.get());
    }
    if (!bereite_.empty()) {
      const std::lock_guard halter(lock_);
      amZug_ = bereite_[zufall_() % bereite_.size()];
      amZug_->bereit = [] { return true; };
      wechsel_.notify_all();
      return;
    }
    if (ereignisse_.empty()) throw std::logic_error("the simulation waits for what never comes");
    auto ereignis = ereignisse_.extract(ereignisse_.begin());
    jetzt_ = std::max(jetzt_, ereignis.key());
    ereignis.mapped()();
  }
}

void SimPlattform::am(double zeit, std::function<void()> ereignis) {
  ereignisse_.emplace(zeit, std::move(ereignis));
}

void SimPlattform::signal(double zeit, int nummer) {
  am(zeit, [this, nummer] {
    const auto handler = signale_.find(nummer);
    if (handler == signale_.end()) throw std::logic_error("signal with its default action");
    haupt_.push_back(handler->second);
  });
}

void SimPlattform::leserGeht(double zeit) {
  am(zeit, [this] {
    if (leserWeg_) haupt_.push_back(std::exchange(leserWeg_, nullptr));
  });
}

std::unique_ptr<AudioInput> SimPlattform::mikrofon() {
  return std::make_unique<SimInput>(*this, mikrofonGeraet);
}

std::unique_ptr<AudioInput> SimPlattform::systemAudio() {
  return std::make_unique<SimInput>(*this, systemGeraet);
}

std::unique_ptr<AudioConverter> SimPlattform::konverter(const PcmFormat& quellformat, double rate) {
  if (!(rate > 0)) return nullptr;
  return std::make_unique<SimKonverter>(quellformat.rate, rate);
}

std::int64_t SimPlattform::unixMs() const {
  ++rufe;
  return UNIX_MS_AM_ANFANG + std::llround((jetzt_ + wanduhrVor) * 1000);
}

void SimPlattform::aufSignal(int nummer, Handler handler) {
  gefangen_.insert(nummer);
  signale_[nummer] = std::move(handler);
}

void SimPlattform::aufLeserWeg(int /*deskriptor*/, Handler handler) {
  leserWeg_ = std::move(handler);
}

void SimPlattform::post(Handler handler) {
  haupt_.push_back(std::move(handler));
  verzweige();
}

int SimPlattform::run() {
  for (;;) {
    warteBis([this] { return status_ || !haupt_.empty(); });
    if (status_) return *status_;
    const Handler handler = std::move(haupt_.front());
    haupt_.pop_front();
    handler();
  }
}

void SimPlattform::quit(int status) {
  status_ = status;
}

std::unique_ptr<Task> SimPlattform::starte(std::function<void()> arbeit) {
  if (ohneFaden.contains("")) return nullptr;
  return std::make_unique<SimTask>(*this, std::move(arbeit));
}

bool SimPlattform::starteUnabhaengig(std::function<void()> arbeit) {
  if (unabhaengige_.size() >= hoechstensUnabhaengige) return false;
  unabhaengige_.reserve(unabhaengige_.size() + 1);
  unabhaengige_.push_back(neuerFaden(std::move(arbeit)));
  return true;
}

std::unique_ptr<Schlaf> SimPlattform::schlaf() {
  ++rufe;
  return std::make_unique<SimSchlaf>(*this);
}

std::unique_ptr<SerialQueue> SimPlattform::queue(const std::string& name) {
  if (ohneFaden.contains(name)) return nullptr;
  return std::make_unique<SimQueue>(*this);
}

Ergebnis SimPlattform::spieleVor(const std::string& wav) {
  if (spielerFehlt) return *spielerFehlt;
  vorgespielt.push_back(wav);
  static_cast<void>(schlaf()->warte(spielDauer));
  return {};
}

}  // namespace hallkorb::sim
