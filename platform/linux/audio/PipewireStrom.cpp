#include "platform/linux/audio/PipewireStrom.h"

#include <spa/node/io.h>
#include <spa/param/audio/format-utils.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <span>

#include "platform/clock/Stempelpruefung.h"
#include "platform/HostClock.h"
#include "platform/linux/audio/PipewireFassung.h"

namespace hallkorb {
namespace {

constexpr double NANO = 1e-9;

const char* strname(PipewireQuelle quelle) {
  return quelle == PipewireQuelle::MIKROFON ? "hallkorb.mikrofon" : "hallkorb.system";
}

pw_properties* eigenschaften(PipewireQuelle quelle, const PipewireVerzeichnis::Knoten& ziel) {
  pw_properties* e = pw_properties_new(
      PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, "Capture", PW_KEY_MEDIA_ROLE,
      "Communication", PW_KEY_NODE_NAME, strname(quelle), PW_KEY_APP_NAME, "hallkorb",
      // Only a wish: if the meeting application asks for a lower latency, that wins.
      PW_KEY_NODE_LATENCY, "1024/48000", nullptr);
  if (quelle == PipewireQuelle::MIKROFON) {
    pw_properties_set(e, PW_KEY_TARGET_OBJECT,
                      ziel.serial.empty() ? ziel.name.c_str() : ziel.serial.c_str());
  } else {
    pw_properties_set(e, PW_KEY_STREAM_CAPTURE_SINK, "true");
  }
  return e;
}

}  // namespace

const pw_stream_events PipewireStrom::EREIGNISSE = [] {
  pw_stream_events ereignisse{};
  ereignisse.version = PW_VERSION_STREAM_EVENTS;
  ereignisse.state_changed = [](void* selbst, pw_stream_state, pw_stream_state neu,
                                const char* fehler) {
    static_cast<PipewireStrom*>(selbst)->zustand(neu, fehler);
  };
  ereignisse.param_changed = [](void* selbst, std::uint32_t id, const spa_pod* param) {
    if (id == SPA_PARAM_Format) static_cast<PipewireStrom*>(selbst)->format(param);
  };
  ereignisse.io_changed = [](void* selbst, std::uint32_t id, void* ort, std::uint32_t) {
    if (id == SPA_IO_Position)
      static_cast<PipewireStrom*>(selbst)->lage_.setze(static_cast<spa_io_position*>(ort));
  };
  ereignisse.process = [](void* selbst) { static_cast<PipewireStrom*>(selbst)->verarbeite(); };
  return ereignisse;
}();

PipewireStrom::PipewireStrom(pw_core* core, PipewireQuelle quelle,
                             const PipewireVerzeichnis::Knoten& ziel, std::uint64_t nummer,
                             BlockRing& ring, const Wecker& wecker)
    : nummer_(nummer),
      ring_(ring),
      wecker_(wecker),
      zaehltFrames_(pipewireFassung(pw_get_library_version()).zaehltFrames) {
  stream_ = pw_stream_new(core, strname(quelle), eigenschaften(quelle, ziel));
  if (stream_ == nullptr) {
    ende_ = std::strerror(errno);
    return;
  }
  pw_stream_add_listener(stream_, &haken_, &EREIGNISSE, this);

  spa_audio_info_raw wunsch{};
  wunsch.format = SPA_AUDIO_FORMAT_F32;
  int flags = PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_RT_PROCESS;
  if (quelle == PipewireQuelle::MIKROFON) {
    flags |= PW_STREAM_FLAG_DONT_RECONNECT;
  } else {
    wunsch.rate = 48000;
    wunsch.channels = 2;
    wunsch.position[0] = SPA_AUDIO_CHANNEL_FL;
    wunsch.position[1] = SPA_AUDIO_CHANNEL_FR;
  }
  std::array<std::uint8_t, 1024> platz{};
  spa_pod_builder bauer{};
  spa_pod_builder_init(&bauer, platz.data(), static_cast<std::uint32_t>(platz.size()));
  const spa_pod* params = spa_format_audio_raw_build(&bauer, SPA_PARAM_EnumFormat, &wunsch);
  const int ergebnis = pw_stream_connect(stream_, PW_DIRECTION_INPUT, PW_ID_ANY,
                                         static_cast<pw_stream_flags>(flags), &params, 1);
  if (ergebnis < 0) ende_ = std::strerror(-ergebnis);
}

PipewireStrom::~PipewireStrom() {
  if (stream_ != nullptr) pw_stream_destroy(stream_);  // waits for the real-time thread
}

std::uint32_t PipewireStrom::knoten() const {
  return stream_ != nullptr ? pw_stream_get_node_id(stream_) : PW_ID_ANY;
}

void PipewireStrom::zustand(pw_stream_state neu, const char* fehler) {
  if (neu == PW_STREAM_STATE_ERROR) {
    ende_ = fehler != nullptr ? fehler : "error";
  } else if (neu == PW_STREAM_STATE_UNCONNECTED) {
    if (!ende_) ende_ = "unconnected";
  } else {
    // What follows a pause may come from another device.
    if (neu == PW_STREAM_STATE_PAUSED) wegUnbekannt_.store(true, std::memory_order_release);
    return;
  }
  wecker_.wecke();
}

void PipewireStrom::format(const spa_pod* param) {
  spa_audio_info_raw info{};
  std::uint64_t neu = 0;
  if (param != nullptr && spa_format_audio_raw_parse(param, &info) >= 0 &&
      info.format == SPA_AUDIO_FORMAT_F32 && info.rate > 0 && info.channels > 0) {
    neu = std::uint64_t{info.rate} << 32U | info.channels;
  }
  format_.store(neu, std::memory_order_release);
}

std::optional<double> PipewireStrom::zeit(std::uint32_t frames, double rate) {
  pw_time stand{};
  if (pw_stream_get_time_n(stream_, &stand, sizeof stand) < 0) return std::nullopt;
  if (stand.now <= 0 || stand.rate.denom == 0) return std::nullopt;
  // The block counts in our frames, the delay in the graph's ticks. What the graph's resampler
  // holds counts in one or the other, depending on the library's version; the wrong choice is 74 us
  // off with a graph at 44.1 kHz and 302 us at 96 kHz.
  const double takt = static_cast<double>(stand.rate.num) / stand.rate.denom;
  const double dauer = frames / rate;
  const auto zyklus = lage_.zyklus();
  merkeWeg(static_cast<double>(stand.delay) * takt,
           zyklus ? static_cast<double>(*zyklus) * takt : dauer, dauer);
  const double gehalten = static_cast<double>(stand.buffered) * (zaehltFrames_ ? 1.0 / rate : takt);
  return static_cast<double>(stand.now) * NANO - *weg_ - gehalten;
}

// The delay that a device reports is one cycle of the graph and some more, or 0. When another
// application shortens the cycles, what the device has captured is still delivered, only in shorter
// pieces: the way stays as long as it was, whatever is reported. Longer cycles make it longer, with
// the first block that is longer, since that is complete only after its duration. A change of the
// delay without one of the cycle is believed.
void PipewireStrom::merkeWeg(double gemeldet, double zyklus, double dauer) {
  if (wegUnbekannt_.exchange(false, std::memory_order_acquire) || !weg_) {
    weg_ = std::max(gemeldet, dauer);
  } else if (zyklus == zyklus_) {
    *weg_ += std::max(gemeldet, zyklus) - std::max(gemeldet_, zyklus);
  }
  if (gemeldet >= zyklus) weg_ = std::max(*weg_, gemeldet - zyklus + std::min(dauer, zyklus));
  gemeldet_ = gemeldet;
  zyklus_ = zyklus;
}

void PipewireStrom::verarbeite() {
  if (datenfaden_ == 0) datenfaden_ = ::gettid();
  pw_buffer* puffer = pw_stream_dequeue_buffer(stream_);
  if (puffer == nullptr) return;
  uebernimm(*puffer->buffer);
  pw_stream_queue_buffer(stream_, puffer);
}

void PipewireStrom::uebernimm(const spa_buffer& puffer) {
  const std::uint64_t format = format_.load(std::memory_order_acquire);
  if (format == 0 || puffer.n_datas == 0) return;
  const spa_data& daten = puffer.datas[0];
  if (daten.data == nullptr ||
      (static_cast<std::uint32_t>(daten.chunk->flags) & SPA_CHUNK_FLAG_CORRUPTED) != 0)
    return;

  PcmBlock block;
  block.format.rate = static_cast<double>(format >> 32U);
  block.format.channels = static_cast<std::uint32_t>(format);
  const std::uint32_t anfang = std::min(daten.chunk->offset, daten.maxsize);
  const std::uint32_t bytes = std::min(daten.chunk->size, daten.maxsize - anfang);
  block.frames = bytes / (static_cast<std::uint32_t>(sizeof(float)) * block.format.channels);
  if (block.frames == 0) return;
  const auto* samples =
      reinterpret_cast<const float*>(static_cast<const std::byte*>(daten.data) + anfang);
  block.samples = {samples, std::size_t{block.frames} * block.format.channels};
  block.hostTime = glaubhafterStempel(zeit(block.frames, block.format.rate), hostSekunden());
  ring_.schreibe(block, nummer_);
  wecker_.wecke();
}

}  // namespace hallkorb
