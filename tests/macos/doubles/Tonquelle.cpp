#include "tests/macos/doubles/Tonquelle.h"

#include <thread>
#include <utility>

namespace hallkorb::ersatz {

Uhr::time_point skriptNull() {
  static const Uhr::time_point beginn = Uhr::now();
  return beginn;
}

double skriptZeit(Uhr::time_point wann) {
  return std::chrono::duration<double>(wann - skriptNull()).count();
}

Uhr::time_point uhrzeit(double skriptSekunden) {
  return skriptNull() +
         std::chrono::duration_cast<Uhr::duration>(std::chrono::duration<double>(skriptSekunden));
}

Tonquelle::Tonquelle(std::size_t frames, double rate, std::size_t kanaele, Abnehmer abnehmer)
    : frames_(frames), abnehmer_(std::move(abnehmer)), rate_(rate), kanaele_(kanaele) {}

void Tonquelle::starte() {
  ab_ = skriptZeit(Uhr::now());
  std::thread([this] { laufe(); }).detach();
}

void Tonquelle::wechsle(double rate, std::size_t kanaele, const std::function<void()>& tausch) {
  const std::lock_guard halter(geraet_);
  rate_ = rate;
  kanaele_ = kanaele;
  ab_ = skriptZeit(Uhr::now());
  gezaehlt_ = 0;
  tausch();
}

void Tonquelle::verstumme(bool ja) {
  const std::lock_guard halter(geraet_);
  stumm_ = ja;
}

void Tonquelle::warteAufAbnahme() {
  const double seit = skriptZeit(Uhr::now());
  std::unique_lock halter(lock_);
  genommen_.wait(halter, [&] { return zuletzt_ >= seit; });
}

void Tonquelle::laufe() {
  while (true) {
    double fertig = 0;
    {
      const std::lock_guard halter(geraet_);
      fertig = ab_ + static_cast<double>(gezaehlt_ + frames_) / rate_;
    }
    if (skriptZeit(Uhr::now()) < fertig) {
      std::this_thread::sleep_until(uhrzeit(fertig));
      continue;  // the device may have been changed meanwhile
    }
    liefere();
  }
}

void Tonquelle::liefere() {
  double wann = 0;
  {
    const std::lock_guard halter(geraet_);
    wann = ab_ + static_cast<double>(gezaehlt_) / rate_;
    if (skriptZeit(Uhr::now()) < wann + static_cast<double>(frames_) / rate_) return;
    std::vector<float> mono(frames_);
    klang.mische(wann, rate_, mono);
    gezaehlt_ += frames_;
    if (stumm_ || !abnehmer_(std::vector(kanaele_, mono), rate_, wann)) return;
  }
  const std::lock_guard halter(lock_);
  zuletzt_ = wann;
  genommen_.notify_all();
}

}  // namespace hallkorb::ersatz
