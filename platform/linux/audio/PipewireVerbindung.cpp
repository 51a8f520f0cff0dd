#include "platform/linux/audio/PipewireVerbindung.h"

#include <cerrno>
#include <cstdint>
#include <mutex>
#include <utility>

#include "platform/linux/audio/PipewireFassung.h"

namespace hallkorb {
namespace {

// Contexts are made and taken down one at a time: the library then asks for the user's name, which
// the C library answers in memory that all threads share.
std::mutex contextLock;

// Once per process and never undone: other captures may be running at any time.
void bereitePipewire() {
  static const bool bereit = [] {
    pw_init(nullptr, nullptr);
    return true;
  }();
  static_cast<void>(bereit);
}

}  // namespace

const pw_core_events PipewireVerbindung::CORE_EREIGNISSE = [] {
  pw_core_events ereignisse{};
  ereignisse.version = PW_VERSION_CORE_EVENTS;
  ereignisse.done = [](void* selbst, std::uint32_t id, int nummer) {
    if (id == PW_ID_CORE) static_cast<PipewireVerbindung*>(selbst)->antwort(nummer);
  };
  ereignisse.error = [](void* selbst, std::uint32_t id, int, int code, const char*) {
    static_cast<PipewireVerbindung*>(selbst)->fehler(id, code);
  };
  return ereignisse;
}();

PipewireVerbindung::PipewireVerbindung(std::function<void()> geaendert)
    : geaendert_(std::move(geaendert)) {}

std::variant<std::unique_ptr<PipewireVerbindung>, Fehler> PipewireVerbindung::neu(
    std::function<void()> geaendert) {
  if (Ergebnis ergebnis = ladePipewire(); ergebnis.gescheitert())
    return std::move(ergebnis).fehler();
  bereitePipewire();
  std::unique_ptr<PipewireVerbindung> verbindung(new PipewireVerbindung(std::move(geaendert)));
  if (Ergebnis ergebnis = verbindung->verbinde(); ergebnis.gescheitert())
    return std::move(ergebnis).fehler();
  return verbindung;
}

Ergebnis PipewireVerbindung::verbinde() {
  const std::lock_guard halter(contextLock);
  loop_.reset(pw_thread_loop_new("hallkorb.pw", nullptr));
  if (!loop_) return Fehler::ausErrno(errno, "PipeWire konnte nicht vorbereitet werden");
  const PipewireFassung fassung = pipewireFassung(pw_get_library_version());
  context_.reset(
      pw_context_new(pw_thread_loop_get_loop(loop_.get()),
                     pw_properties_new(PW_KEY_CONFIG_NAME, fassung.konfiguration, nullptr), 0));
  if (!context_) return Fehler::ausErrno(errno, "PipeWire konnte nicht vorbereitet werden");
  core_.reset(pw_context_connect(context_.get(), nullptr, 0));
  if (!core_) {
    return Fehler{"pipewire", errno,
                  "PipeWire ist nicht erreichbar; laeuft der Audiodienst in dieser Sitzung? "
                  "(PulseAudio allein genuegt nicht)"};
  }
  pw_core_add_listener(core_.get(), &coreHaken_, &CORE_EREIGNISSE, this);
  verzeichnis_ = std::make_unique<PipewireVerzeichnis>(core_.get(), geaendert_);
  frage();
  if (pw_thread_loop_start(loop_.get()) < 0) {
    return Fehler::ausErrno(errno, "PipeWire konnte nicht vorbereitet werden");
  }
  return {};
}

PipewireVerbindung::~PipewireVerbindung() {
  if (loop_) pw_thread_loop_stop(loop_.get());
  const std::lock_guard halter(contextLock);
  verzeichnis_.reset();
  if (core_) spa_hook_remove(&coreHaken_);
  core_.reset();
  context_.reset();
  loop_.reset();
}

void PipewireVerbindung::frage() {
  frage_ = pw_core_sync(core_.get(), PW_ID_CORE, 0);
}

void PipewireVerbindung::antwort(int nummer) {
  if (nummer != frage_) return;
  antwort_ = nummer;
  // The first answer comes after all objects have been announced. Their metadata was requested on
  // that announcement, so it comes before the second answer.
  if (++antworten_ == 1) frage();
  geaendert_();
}

void PipewireVerbindung::fehler(std::uint32_t id, int code) {
  // Other errors concern single objects, or requests that crossed with an object's end.
  if (id != PW_ID_CORE || code != -EPIPE) return;
  verloren_ = true;
  geaendert_();
}

}  // namespace hallkorb
