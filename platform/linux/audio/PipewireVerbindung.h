// A connection to the PipeWire daemon, with a loop and a thread of its own.
//
// Each capture has its own, so that nothing that happens to one of them, not even a lost
// connection, can hold up the other.
//
// All methods are called by the capture's thread. What the callbacks change is read under the
// loop's lock (`Sperre`); callbacks only note and wake, they never take anything down.
#pragma once

#include <functional>
#include <memory>
#include <variant>

#include "base/Fehler.h"
#include "platform/linux/audio/Pipewire.h"
#include "platform/linux/audio/PipewireVerzeichnis.h"

namespace hallkorb {

class PipewireVerbindung {
 public:
  // Holds the loop's lock: no callback runs meanwhile.
  class Sperre {
   public:
    explicit Sperre(const PipewireVerbindung& verbindung) : loop_(verbindung.loop_.get()) {
      pw_thread_loop_lock(loop_);
    }
    ~Sperre() { pw_thread_loop_unlock(loop_); }
    Sperre(const Sperre&) = delete;
    Sperre& operator=(const Sperre&) = delete;

   private:
    pw_thread_loop* loop_;
  };

  // Connects; fails at once if no daemon is there. `geaendert` is called on the loop's thread after
  // each change of what can be read here.
  [[nodiscard]] static std::variant<std::unique_ptr<PipewireVerbindung>, Fehler> neu(
      std::function<void()> geaendert);
  // Streams on this connection must be gone. Returns even if the daemon hangs.
  ~PipewireVerbindung();
  PipewireVerbindung(const PipewireVerbindung&) = delete;
  PipewireVerbindung& operator=(const PipewireVerbindung&) = delete;

  // Under the lock.
  [[nodiscard]] pw_core* core() const { return core_.get(); }
  // Under the lock. The daemon is gone; it does not come back on this connection.
  [[nodiscard]] bool verloren() const { return verloren_; }
  // Under the lock. The directory has been filled once.
  [[nodiscard]] bool bereit() const { return antworten_ >= 2; }
  // Under the lock.
  [[nodiscard]] PipewireVerzeichnis& verzeichnis() { return *verzeichnis_; }
  // Under the lock. Asks the daemon for a sign of life; `antwortet()` is false until it comes.
  void frage();
  [[nodiscard]] bool antwortet() const { return frage_ == antwort_; }

 private:
  struct LoopFreigabe {
    void operator()(pw_thread_loop* loop) const { pw_thread_loop_destroy(loop); }
  };
  struct ContextFreigabe {
    void operator()(pw_context* context) const { pw_context_destroy(context); }
  };
  struct CoreFreigabe {
    void operator()(pw_core* core) const { pw_core_disconnect(core); }
  };

  explicit PipewireVerbindung(std::function<void()> geaendert);
  [[nodiscard]] Ergebnis verbinde();
  void antwort(int nummer);
  void fehler(std::uint32_t id, int code);

  static const pw_core_events CORE_EREIGNISSE;

  std::function<void()> geaendert_;
  std::unique_ptr<pw_thread_loop, LoopFreigabe> loop_;
  std::unique_ptr<pw_context, ContextFreigabe> context_;
  std::unique_ptr<pw_core, CoreFreigabe> core_;
  spa_hook coreHaken_{};
  std::unique_ptr<PipewireVerzeichnis> verzeichnis_;
  bool verloren_ = false;
  int antworten_ = 0;
  int frage_ = 0;
  int antwort_ = 0;
};

}  // namespace hallkorb
