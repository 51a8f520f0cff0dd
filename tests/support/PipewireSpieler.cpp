#include "tests/support/PipewireSpieler.h"

#include <pipewire/filter.h>
#include <pipewire/pipewire.h>

#include <cstdint>
#include <stdexcept>
#include <utility>

#include "tests/support/Warten.h"

namespace hallkorb {

struct PipewireSpieler::Innen {
  std::function<float(double)> signal;
  pw_thread_loop* loop = nullptr;
  pw_filter* filter = nullptr;
  void* port = nullptr;

  ~Innen() {
    if (loop != nullptr) pw_thread_loop_stop(loop);
    if (filter != nullptr) pw_filter_destroy(filter);
    if (loop != nullptr) pw_thread_loop_destroy(loop);
  }

  void spiele(const spa_io_position& stand) {
    const auto n = static_cast<std::uint32_t>(stand.clock.duration);
    auto* samples = static_cast<float*>(pw_filter_get_dsp_buffer(port, n));
    if (samples == nullptr) return;
    const double schritt = static_cast<double>(stand.clock.rate.num) / stand.clock.rate.denom;
    const double anfang = static_cast<double>(stand.clock.nsec) * 1e-9;
    for (std::uint32_t i = 0; i < n; ++i)
      samples[i] = signal(anfang + i * schritt);
  }
};

PipewireSpieler::PipewireSpieler(const Tonanlage& anlage, const std::string& name,
                                 const std::string& geraet, std::function<float(double)> signal)
    : innen_(std::make_unique<Innen>()) {
  static const pw_filter_events EREIGNISSE = [] {
    pw_filter_events ereignisse{};
    ereignisse.version = PW_VERSION_FILTER_EVENTS;
    ereignisse.process = [](void* innen, spa_io_position* stand) {
      static_cast<Innen*>(innen)->spiele(*stand);
    };
    return ereignisse;
  }();
  pw_init(nullptr, nullptr);
  innen_->signal = std::move(signal);
  innen_->loop = pw_thread_loop_new("spieler", nullptr);
  innen_->filter = pw_filter_new_simple(
      pw_thread_loop_get_loop(innen_->loop), name.c_str(),
      pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_NODE_NAME, name.c_str(), nullptr),
      &EREIGNISSE, innen_.get());
  if (innen_->filter == nullptr) throw std::runtime_error("no connection for the player");
  innen_->port = pw_filter_add_port(innen_->filter, PW_DIRECTION_OUTPUT,
                                    PW_FILTER_PORT_FLAG_MAP_BUFFERS, sizeof(void*),
                                    pw_properties_new(PW_KEY_FORMAT_DSP, "32 bit float mono audio",
                                                      PW_KEY_PORT_NAME, "out", nullptr),
                                    nullptr, 0);
  pw_filter_connect(innen_->filter, PW_FILTER_FLAG_RT_PROCESS, nullptr, 0);
  pw_thread_loop_start(innen_->loop);
  const std::string port = name + ":out";
  const bool verbunden = warteBis([&] {
    anlage.befehl({"pw-link", port, geraet});
    return anlage.befehl({"pw-link", "-l"}).find(port) != std::string::npos;
  });
  if (!verbunden) throw std::runtime_error("the player's port cannot be linked to " + geraet);
}

PipewireSpieler::~PipewireSpieler() = default;

}  // namespace hallkorb
