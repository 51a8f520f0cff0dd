// testgeraete: a loudspeaker and a microphone with crystals of their own, and the air between them.
//
//   testgeraete [--sink NAME] [--sink-ppm P] [--source NAME] [--source-ppm P] [--prio N]
//               [--delay MS] [--gain G] [--near FILE.f32] [--wander US] [--pace MS]
//               [--latency N] [--lose-every S] [--misstamp-every S[:N]]
//
// Sample n of a device belongs to the moment t0 + n / (48000 (1 + P / 1e6)). If the graph makes a
// device the driver, its timer runs the graph at that speed, as a null sink's does at the
// computer's. If the device follows another one, it keeps its buffer's level with a delay-locked
// loop and the graph's adaptive resampler, as an ALSA sound card does. The microphone hears the
// loudspeaker after --delay (40) ms times --gain (0.5), with a few reflections, in true time, and
// FILE (mono floats at its own clock, repeated) beside it.
//
//   --prio N            how much the session manager prefers the two (1000)
//   --wander US         stamps waver by that much (rms, within 5 s), as those of a coarse pointer
//   --pace MS           after a stall of the machine cycles are caught up one by one, at least
//                       that far apart, so that no client loses blocks
//   --latency N         the microphone reports N graph cycles as its latency (0, reports none), as
//   a
//                       sound card's driver does
//   --lose-every S      every S seconds, half a second after a full one, the microphone loses 2048
//                       samples: the stamps jump, the graph's count does not, as after an overrun
//   --misstamp-every S[:N]
//                       every S seconds N (1) cycles in a row bear the stamp of the next one, as
//                       if the client had woken late; nothing is lost
//
// For a session without other devices. SIGINT and SIGTERM end it; then it prints how many losses
// and false stamps there were, and t0.
#include <pipewire/pipewire.h>
#include <spa/param/audio/format-utils.h>
#include <spa/param/latency-utils.h>
#include <spa/utils/dll.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <numbers>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

constexpr double RATE = 48000.0;
constexpr std::uint32_t VERLUST = 2048;  // samples
constexpr double HOECHSTENS = 10.0;      // s of a stall that --pace catches up
constexpr double MINDESTENS = 0.003;     // s for the clients' turn if a cycle is late

[[noreturn]] void gibAuf(const std::string& grund) {
  std::cerr << "testgeraete: " << grund << "\n";
  std::exit(1);
}

double jetzt() {
  timespec t{};
  clock_gettime(CLOCK_MONOTONIC, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

struct Wunsch {
  std::string lautsprecher = "speakers";
  std::string mikrofon = "mic";
  double lautsprecherPpm = 0.0;
  double mikrofonPpm = 0.0;
  int rang = 1000;
  double laufzeit = 0.040;
  double daempfung = 0.5;
  std::vector<float> nah;
  double wandern = 0.0;
  double abstand = 0.0;
  float zyklen = 0.0F;
  double verlustAlle = 0.0;
  double falschAlle = 0.0;
  int falscheFolge = 1;
};

// What the loudspeaker has played, by its own count, and what is heard of it.
class Luft {
 public:
  Luft() {
    for (std::size_t p = 0; p <= PHASEN; ++p) {
      for (std::size_t k = 0; k < TAPS; ++k)
        kern_[p][k] = gewicht(p, k);
    }
  }

  void spiele(std::int64_t stelle, float sample) {
    ring_[platz(stelle)] = sample;
    ende_ = stelle + 1;
  }

  // At a place between the samples.
  [[nodiscard]] double bei(double stelle) const {
    const double unten = std::floor(stelle);
    const auto erste = static_cast<std::int64_t>(unten) - (TAPS / 2 - 1);
    if (erste < 0 || erste + TAPS > ende_ || erste < ende_ - static_cast<std::int64_t>(GROESSE / 2))
      return 0.0;
    const double phase = (stelle - unten) * PHASEN;
    const auto p = static_cast<std::size_t>(phase);
    const double q = phase - static_cast<double>(p);
    double summe = 0.0;
    for (std::size_t k = 0; k < TAPS; ++k) {
      const double w = kern_[p][k] + q * (kern_[p + 1][k] - kern_[p][k]);
      summe += w * static_cast<double>(ring_[platz(erste + static_cast<std::int64_t>(k))]);
    }
    return summe;
  }

 private:
  static constexpr int TAPS = 32;
  static constexpr std::size_t PHASEN = 1024;
  static constexpr std::size_t GROESSE = std::size_t{1} << 20;

  static std::size_t platz(std::int64_t stelle) {
    return static_cast<std::size_t>(stelle) % GROESSE;
  }

  static double gewicht(std::size_t phase, std::size_t tap) {
    const double x =
        static_cast<double>(tap) - (TAPS / 2.0 - 1) - static_cast<double>(phase) / PHASEN;
    const double rand = x / (TAPS / 2.0);
    if (std::abs(rand) >= 1) return 0.0;
    const double winkel = std::numbers::pi * rand;
    const double fenster = 0.42 + 0.5 * std::cos(winkel) + 0.08 * std::cos(2 * winkel);
    const double y = std::numbers::pi * x;
    return std::abs(y) < 1e-9 ? fenster : std::sin(y) / y * fenster;
  }

  std::array<std::array<double, TAPS>, PHASEN + 1> kern_{};
  std::vector<float> ring_ = std::vector<float>(GROESSE);
  std::int64_t ende_ = 0;
};

// Either device. All but the making runs on the data thread.
class Geraet {
 public:
  Geraet(std::string name, double ppm, const Wunsch& wunsch, Luft& luft, double null)
      : wunsch_(wunsch),
        luft_(luft),
        name_(std::move(name)),
        hz_(RATE * (1 + ppm * 1e-6)),
        null_(null) {}
  virtual ~Geraet() = default;
  Geraet(const Geraet&) = delete;
  Geraet& operator=(const Geraet&) = delete;

  void erstelle(pw_core* core, pw_loop* faden, bool quelle);

  [[nodiscard]] int verluste() const { return verluste_; }
  [[nodiscard]] int falsche() const { return falsche_; }

 protected:
  // One cycle of the graph. `stand` is how far the hardware has got.
  virtual void takt(pw_buffer& puffer, double stand, std::uint32_t dauer) = 0;

  [[nodiscard]] double stelleBei(double zeit) const { return (zeit - null_) * hz_; }
  [[nodiscard]] double zeitVon(double stelle) const { return null_ + stelle / hz_; }
  // While another device drives: the graph's resampler is to bring `fehler` (samples) to 0.
  void gleicheAn(double fehler, std::uint32_t dauer, bool quelle);

  const Wunsch& wunsch_;
  Luft& luft_;
  bool treibt_ = false;
  bool gueltig_ = false;       // naechste_ is known
  std::int64_t naechste_ = 0;  // the sample that is written or read next

 private:
  static const pw_stream_events EREIGNISSE;
  void verarbeite();
  void wecker();
  void treibe(double zeit);
  void behalteRest();
  void stempele(double zeit, std::uint32_t dauer);
  void stelle(double zeit);

  const std::string name_;
  const double hz_;
  const double null_;
  pw_stream* stream_ = nullptr;
  spa_hook haken_{};
  pw_loop* faden_ = nullptr;
  spa_source* wecker_ = nullptr;
  spa_io_clock* uhr_ = nullptr;
  spa_io_position* lage_ = nullptr;
  spa_io_rate_match* angleich_ = nullptr;
  bool laeuft_ = false;
  bool quelle_ = false;
  std::uint32_t gefahren_ = 0;  // length of the cycle under way or just done; 0: none
  double wann_ = 0.0;           // the next cycle, as a driver
  std::uint64_t hardware_ = 0;  // samples by then
  std::uint64_t gezaehlt_ = 0;  // the graph's count
  double unterwegs_ = 0.0;      // since when a cycle is under way; 0: none
  spa_dll regler_{};
  std::uint32_t reglerDauer_ = 0;
  std::mt19937 zufall_{1};
  std::normal_distribution<double> normal_;
  double wandert_ = 0.0;
  double falschBei_ = 0.0;    // time of the next false stamp; 0: not yet a driver
  double verlorenBei_ = 0.0;  // time of the next loss
  int folge_ = 0;
  int verluste_ = 0;
  int falsche_ = 0;
};

const pw_stream_events Geraet::EREIGNISSE = [] {
  pw_stream_events e{};
  e.version = PW_VERSION_STREAM_EVENTS;
  e.state_changed = [](void* selbst, pw_stream_state, pw_stream_state neu, const char* fehler) {
    auto& g = *static_cast<Geraet*>(selbst);
    if (neu == PW_STREAM_STATE_ERROR) gibAuf(g.name_ + ": " + (fehler != nullptr ? fehler : "?"));
    g.laeuft_ = neu == PW_STREAM_STATE_STREAMING;
    if (!g.laeuft_) g.gueltig_ = false;
  };
  e.io_changed = [](void* selbst, std::uint32_t id, void* ort, std::uint32_t) {
    auto& g = *static_cast<Geraet*>(selbst);
    if (id == SPA_IO_Clock) g.uhr_ = static_cast<spa_io_clock*>(ort);
    if (id == SPA_IO_Position) g.lage_ = static_cast<spa_io_position*>(ort);
    if (id == SPA_IO_RateMatch) g.angleich_ = static_cast<spa_io_rate_match*>(ort);
  };
  e.process = [](void* selbst) { static_cast<Geraet*>(selbst)->verarbeite(); };
  e.trigger_done = [](void* selbst) {
    auto& g = *static_cast<Geraet*>(selbst);
    g.unterwegs_ = 0.0;
    g.behalteRest();
  };
  return e;
}();

void Geraet::erstelle(pw_core* core, pw_loop* faden, bool quelle) {
  spa_audio_info_raw info{};
  info.format = SPA_AUDIO_FORMAT_F32;
  info.rate = static_cast<std::uint32_t>(RATE);
  info.channels = quelle ? 1 : 2;
  info.position[0] = quelle ? SPA_AUDIO_CHANNEL_MONO : SPA_AUDIO_CHANNEL_FL;
  info.position[1] = SPA_AUDIO_CHANNEL_FR;
  pw_properties* eigen = pw_properties_new(
      PW_KEY_MEDIA_CLASS, quelle ? "Audio/Source" : "Audio/Sink", PW_KEY_NODE_NAME, name_.c_str(),
      PW_KEY_NODE_DESCRIPTION, name_.c_str(), PW_KEY_NODE_VIRTUAL, "false", nullptr);
  const std::string rang = std::to_string(wunsch_.rang + (quelle ? 1000 : 0));
  pw_properties_set(eigen, PW_KEY_PRIORITY_DRIVER, rang.c_str());
  pw_properties_set(eigen, PW_KEY_PRIORITY_SESSION, rang.c_str());
  stream_ = pw_stream_new(core, name_.c_str(), eigen);
  if (stream_ == nullptr) gibAuf("no stream");
  pw_stream_add_listener(stream_, &haken_, &EREIGNISSE, this);
  std::array<std::uint8_t, 1024> platz{};
  spa_pod_builder bauer{};
  spa_pod_builder_init(&bauer, platz.data(), static_cast<std::uint32_t>(platz.size()));
  quelle_ = quelle;
  spa_latency_info latenz{};
  latenz.direction = SPA_DIRECTION_OUTPUT;
  latenz.min_quantum = latenz.max_quantum = wunsch_.zyklen;
  std::array<const spa_pod*, 2> params{
      spa_format_audio_raw_build(&bauer, SPA_PARAM_EnumFormat, &info),
      spa_latency_build(&bauer, SPA_PARAM_Latency, &latenz)};
  const std::uint32_t zahl = quelle && wunsch_.zyklen > 0 ? 2 : 1;
  const int flags = PW_STREAM_FLAG_DRIVER | PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_RT_PROCESS;
  if (pw_stream_connect(stream_, quelle ? PW_DIRECTION_OUTPUT : PW_DIRECTION_INPUT, PW_ID_ANY,
                        static_cast<pw_stream_flags>(flags), params.data(), zahl) < 0) {
    gibAuf("no connection for " + name_);
  }
  faden_ = faden;
  wecker_ = pw_loop_add_timer(
      faden, [](void* selbst, std::uint64_t) { static_cast<Geraet*>(selbst)->wecker(); }, this);
  hardware_ = static_cast<std::uint64_t>(stelleBei(jetzt() + 0.05));
  wann_ = zeitVon(static_cast<double>(hardware_));
  stelle(wann_);
}

void Geraet::stelle(double zeit) {
  timespec wann{static_cast<std::time_t>(zeit), static_cast<long>((zeit - std::floor(zeit)) * 1e9)};
  pw_loop_update_timer(faden_, wecker_, &wann, nullptr, true);
}

// The graph makes a cycle shorter when the device has already filled it; clients then get its
// beginning. As in a sound card's buffer the rest stays for the next cycle, which is due earlier.
void Geraet::behalteRest() {
  if (!quelle_ || gefahren_ == 0 || lage_ == nullptr) return;
  const auto dauer = static_cast<std::uint32_t>(lage_->clock.duration);
  if (dauer == 0 || dauer >= gefahren_) return;
  const std::uint32_t rest = gefahren_ - dauer;
  gefahren_ = dauer;
  hardware_ -= rest;
  naechste_ -= rest;
  wann_ = zeitVon(static_cast<double>(hardware_));
  stelle(wann_);
}

void Geraet::wecker() {
  if (!laeuft_ || uhr_ == nullptr || lage_ == nullptr || !pw_stream_is_driving(stream_)) {
    hardware_ = static_cast<std::uint64_t>(stelleBei(jetzt() + 0.02));
    wann_ = zeitVon(static_cast<double>(hardware_));
    return stelle(wann_);
  }
  if (wunsch_.abstand > 0 && unterwegs_ > 0 && jetzt() - unterwegs_ < HOECHSTENS) {
    return stelle(jetzt() + 0.001);  // clients are still at the last cycle
  }
  if (jetzt() - wann_ > (wunsch_.abstand > 0 ? HOECHSTENS : 0.5)) {  // the machine has stalled
    hardware_ = static_cast<std::uint64_t>(stelleBei(jetzt()));
    wann_ = zeitVon(static_cast<double>(hardware_));
  }
  if (wunsch_.verlustAlle > 0 && verlorenBei_ > 0 && wann_ > verlorenBei_) {
    verlorenBei_ += wunsch_.verlustAlle;
    ++verluste_;
    hardware_ += VERLUST;
    naechste_ += VERLUST;
    wann_ = zeitVon(static_cast<double>(hardware_));
    return stelle(wann_);
  }
  behalteRest();
  treibe(wann_);
}

// One cycle of the graph, at our clock.
void Geraet::treibe(double zeit) {
  const auto dauer = static_cast<std::uint32_t>(lage_->clock.duration != 0 ? lage_->clock.duration
                                                                           : std::uint64_t{1024});
  // A longer cycle than those before is due only when its samples are there.
  if (const double da = static_cast<double>(hardware_) - static_cast<double>(naechste_);
      quelle_ && gueltig_ && da < dauer) {
    hardware_ += dauer - static_cast<std::uint32_t>(std::max(da, 0.0));
    wann_ = zeitVon(static_cast<double>(hardware_));
    return stelle(wann_);
  }
  stempele(zeit, dauer);
  wann_ = zeitVon(static_cast<double>(hardware_ + dauer));
  uhr_->next_nsec = static_cast<std::uint64_t>(wann_ * 1e9);
  unterwegs_ = jetzt();
  pw_stream_trigger_process(stream_);
  hardware_ += dauer;
  gefahren_ = dauer;
  stelle(std::max(wann_, jetzt() + std::max(wunsch_.abstand, MINDESTENS)));
}

void Geraet::stempele(double zeit, std::uint32_t dauer) {
  const double a = std::exp(-static_cast<double>(dauer) / RATE / 5);
  wandert_ = a * wandert_ + std::sqrt(1 - a * a) * wunsch_.wandern * normal_(zufall_);
  double stempel = zeit + wandert_;
  if (falschBei_ == 0.0) {
    falschBei_ = zeit + wunsch_.falschAlle;
    verlorenBei_ = zeit + wunsch_.verlustAlle + 0.5;
  }
  if (wunsch_.falschAlle > 0 && zeit > falschBei_) {
    stempel += dauer / RATE;
    ++falsche_;
    if (++folge_ >= wunsch_.falscheFolge) {
      folge_ = 0;
      falschBei_ += wunsch_.falschAlle;
    }
  }
  uhr_->nsec = static_cast<std::uint64_t>(stempel * 1e9);
  uhr_->rate = {1, 48000};
  uhr_->position = gezaehlt_ += dauer;
  uhr_->duration = dauer;
  uhr_->delay = 0;
  uhr_->rate_diff = hz_ / RATE;
}

void Geraet::verarbeite() {
  pw_buffer* puffer = pw_stream_dequeue_buffer(stream_);
  if (puffer == nullptr) return;
  if (puffer->buffer->datas[0].data != nullptr && lage_ != nullptr) {
    const bool treibt = pw_stream_is_driving(stream_);
    if (treibt != treibt_) {
      treibt_ = treibt;
      gueltig_ = false;
      gefahren_ = 0;
      spa_dll_init(&regler_);
      if (angleich_ != nullptr) {
        angleich_->rate = 1.0;
        angleich_->flags &= ~static_cast<std::uint32_t>(SPA_IO_RATE_MATCH_FLAG_ACTIVE);
      }
    }
    const double stand = treibt ? static_cast<double>(hardware_)
                                : stelleBei(static_cast<double>(lage_->clock.nsec) * 1e-9);
    takt(*puffer, stand, static_cast<std::uint32_t>(lage_->clock.duration));
  }
  pw_stream_queue_buffer(stream_, puffer);
}

void Geraet::gleicheAn(double fehler, std::uint32_t dauer, bool quelle) {
  if (!gueltig_ || std::abs(fehler) > 3.0 * dauer || angleich_ == nullptr) return;
  if (reglerDauer_ != dauer || regler_.bw == 0.0) {
    spa_dll_set_bw(&regler_, SPA_DLL_BW_MAX, dauer, static_cast<unsigned>(RATE));
    reglerDauer_ = dauer;
  }
  const double rate = spa_dll_update(&regler_, std::clamp(fehler, -256.0, 256.0));
  angleich_->flags |= SPA_IO_RATE_MATCH_FLAG_ACTIVE;
  angleich_->rate = quelle ? 1 / rate : rate;
}

class Lautsprecher final : public Geraet {
 public:
  using Geraet::Geraet;

 private:
  void takt(pw_buffer& puffer, double stand, std::uint32_t dauer) override {
    const spa_data& daten = puffer.buffer->datas[0];
    const auto* samples =
        static_cast<const float*>(daten.data) + daten.chunk->offset / sizeof(float);
    const std::uint32_t frames = std::min(daten.chunk->size, daten.maxsize) / (2 * sizeof(float));
    const auto ort = static_cast<double>(naechste_);
    if (!gueltig_ || ort < stand || ort > stand + 6.0 * dauer) {
      naechste_ = static_cast<std::int64_t>(stand) + 2 * dauer;
      gueltig_ = true;
    } else if (!treibt_) {
      gleicheAn(ort - stand - 2.0 * dauer, dauer, false);
    }
    for (std::uint32_t i = 0; i < frames; ++i)
      luft_.spiele(naechste_++, samples[std::size_t{2} * i]);
  }
};

class Mikrofon final : public Geraet {
 public:
  Mikrofon(const Wunsch& wunsch, Luft& luft, const double lautsprecherHz, double null)
      : Geraet(wunsch.mikrofon, wunsch.mikrofonPpm, wunsch, luft, null),
        lautsprecherHz_(lautsprecherHz),
        null_(null) {}

 private:
  void takt(pw_buffer& puffer, double stand, std::uint32_t dauer) override {
    const spa_data& daten = puffer.buffer->datas[0];
    auto* samples = static_cast<float*>(daten.data);
    // After a change of the length what is requested is the old one for a cycle.
    const auto verlangt =
        treibt_ || puffer.requested == 0 ? dauer : static_cast<std::uint32_t>(puffer.requested);
    const std::uint32_t frames = std::min<std::uint32_t>(verlangt, daten.maxsize / sizeof(float));
    const double vorrat = stand - static_cast<double>(naechste_);
    if (!gueltig_ || vorrat < frames || vorrat > 6.0 * dauer) {
      naechste_ = static_cast<std::int64_t>(stand) - (treibt_ ? frames : 2 * dauer);
      gueltig_ = true;
    } else if (!treibt_) {
      gleicheAn(2.0 * dauer - vorrat, dauer, true);
    }
    for (std::uint32_t i = 0; i < frames; ++i)
      samples[i] = gehoert(naechste_++);
    daten.chunk->offset = 0;
    daten.chunk->stride = sizeof(float);
    daten.chunk->size = frames * static_cast<std::uint32_t>(sizeof(float));
  }

  [[nodiscard]] float gehoert(std::int64_t n) const {
    constexpr std::array<std::array<double, 2>, 6> WEGE{
        {{0, 1}, {0.0031, -0.45}, {0.0077, 0.3}, {0.0142, -0.2}, {0.0231, 0.12}, {0.0387, -0.06}}};
    const double zeit = zeitVon(static_cast<double>(n)) - null_ - wunsch_.laufzeit;
    double summe = 0.0;
    if (wunsch_.daempfung != 0.0) {
      for (const auto& [spaeter, anteil] : WEGE) {
        summe += wunsch_.daempfung * anteil * luft_.bei((zeit - spaeter) * lautsprecherHz_);
      }
    }
    if (!wunsch_.nah.empty() && n > 0) {
      summe += static_cast<double>(wunsch_.nah[static_cast<std::size_t>(n) % wunsch_.nah.size()]);
    }
    return static_cast<float>(summe);
  }

  const double lautsprecherHz_;
  const double null_;
};

std::vector<float> liesFloats(const std::string& pfad) {
  std::ifstream datei(pfad, std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(datei)), {});
  std::vector<float> werte(bytes.size() / sizeof(float));
  if (werte.empty()) gibAuf("cannot read " + pfad);
  std::copy_n(bytes.data(), werte.size() * sizeof(float), reinterpret_cast<char*>(werte.data()));
  return werte;
}

Wunsch lies(int argc, char** argv) {
  Wunsch w;
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string name = argv[i];
    const std::string wert = argv[i + 1];
    const double zahl = std::atof(wert.c_str());
    if (name == "--sink")
      w.lautsprecher = wert;
    else if (name == "--source")
      w.mikrofon = wert;
    else if (name == "--sink-ppm")
      w.lautsprecherPpm = zahl;
    else if (name == "--source-ppm")
      w.mikrofonPpm = zahl;
    else if (name == "--prio")
      w.rang = static_cast<int>(zahl);
    else if (name == "--delay")
      w.laufzeit = zahl / 1000;
    else if (name == "--gain")
      w.daempfung = zahl;
    else if (name == "--near")
      w.nah = liesFloats(wert);
    else if (name == "--wander")
      w.wandern = zahl / 1e6;
    else if (name == "--pace")
      w.abstand = zahl / 1000;
    else if (name == "--latency")
      w.zyklen = static_cast<float>(zahl);
    else if (name == "--lose-every")
      w.verlustAlle = zahl;
    else if (name == "--misstamp-every") {
      w.falschAlle = zahl;
      if (const auto teiler = wert.find(':'); teiler != std::string::npos)
        w.falscheFolge = std::atoi(wert.c_str() + teiler + 1);
    } else
      gibAuf("what is " + name + "?");
  }
  if (argc % 2 == 0) gibAuf("the last argument has no value");
  return w;
}

}  // namespace

int main(int argc, char** argv) {
  const Wunsch wunsch = lies(argc, argv);
  Wunsch ohneVerluste = wunsch;
  ohneVerluste.verlustAlle = 0.0;  // those are the microphone's
  pw_init(nullptr, nullptr);
  pw_main_loop* schleife = pw_main_loop_new(nullptr);
  const auto ende = [](void* selbst, int) {
    pw_main_loop_quit(static_cast<pw_main_loop*>(selbst));
  };
  pw_loop_add_signal(pw_main_loop_get_loop(schleife), SIGINT, ende, schleife);
  pw_loop_add_signal(pw_main_loop_get_loop(schleife), SIGTERM, ende, schleife);
  pw_context* kontext =
      pw_context_new(pw_main_loop_get_loop(schleife),
                     pw_properties_new(PW_KEY_CONFIG_NAME, "client-rt.conf", nullptr), 0);
  pw_core* core = kontext != nullptr ? pw_context_connect(kontext, nullptr, 0) : nullptr;
  if (core == nullptr) gibAuf("PipeWire does not answer");
  pw_loop* faden = pw_data_loop_get_loop(pw_context_get_data_loop(kontext));

  const auto luft = std::make_unique<Luft>();
  const double null = std::floor(jetzt()) - 10;
  Lautsprecher lautsprecher(wunsch.lautsprecher, wunsch.lautsprecherPpm, ohneVerluste, *luft, null);
  Mikrofon mikrofon(wunsch, *luft, RATE * (1 + wunsch.lautsprecherPpm * 1e-6), null);
  lautsprecher.erstelle(core, faden, false);
  mikrofon.erstelle(core, faden, true);
  pw_main_loop_run(schleife);
  std::cout << "{\"verluste\":" << mikrofon.verluste() << ",\"falsche\":" << mikrofon.falsche()
            << ",\"t0\":" << static_cast<std::int64_t>(null) << "}" << std::endl;
  std::_Exit(0);  // nothing here has to be taken down
}
