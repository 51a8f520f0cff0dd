// What is known of the computer's audio devices: the nodes of the graph, the links between them,
// and which node the session manager has made the default.
//
// The default "source" needs a second look. Without a microphone the session manager names a sink,
// meaning its monitor; a stream that simply asked for the default source would then record what the
// computer plays and call it the microphone. So it counts only if its media class is that of a
// source.
//
// Fed by callbacks of the connection's loop, read under its lock; no lock of its own.
#pragma once

#include <pipewire/extensions/metadata.h>

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "platform/linux/audio/Pipewire.h"
#include "platform/linux/audio/PipewireQuelle.h"

namespace hallkorb {

class PipewireVerzeichnis {
 public:
  struct Knoten {
    std::uint32_t id = 0;
    std::string serial;  // unlike the id, never used twice
    std::string name;
    std::string klasse;   // "media.class"
    std::string anzeige;  // for people; may be empty
  };

  // What the links into a node say about where its samples come from.
  enum class Herkunft { UNVERBUNDEN, RICHTIG, FALSCH };

  // `geaendert` is called on the loop's thread after each change. `core` must outlive this object.
  PipewireVerzeichnis(pw_core* core, std::function<void()> geaendert);
  PipewireVerzeichnis(const PipewireVerzeichnis&) = delete;
  PipewireVerzeichnis& operator=(const PipewireVerzeichnis&) = delete;
  // While the loop is stopped.
  ~PipewireVerzeichnis();

  // Requests the defaults once more. What is known stays until the answer, and what that does not
  // name any more until the next request; a session manager that is busy takes nothing away. Under
  // the lock.
  void frischeAuf();
  // How many programs have connected to the daemon so far.
  [[nodiscard]] std::uint64_t programme() const { return programme_; }
  // Whether somebody (the session manager) keeps the defaults.
  [[nodiscard]] bool verwaltet() const { return metadaten_ != nullptr; }
  // Whether there is any audio device, of whatever kind.
  [[nodiscard]] bool hatGeraete() const;
  // The default device of this kind, if there is a real one.
  [[nodiscard]] std::optional<Knoten> standard(PipewireQuelle quelle) const;
  // Whether the default source is only a sink's monitor.
  [[nodiscard]] bool nurMonitor() const;
  // Whether all that flows into `knoten` comes from devices that may be recorded as `quelle`.
  [[nodiscard]] Herkunft herkunft(PipewireQuelle quelle, std::uint32_t knoten) const;

 private:
  struct Verbund {
    std::uint32_t von = 0;
    std::uint32_t nach = 0;
  };

  void neues(std::uint32_t id, const char* art, const spa_dict& eigenschaften);
  void weg(std::uint32_t id);
  void antwort(int nummer);
  void bindeMetadaten(std::uint32_t id);
  void loeseMetadaten();
  void vergissMetadaten();
  int metadatum(std::uint32_t subjekt, const char* schluessel, const char* wert);
  [[nodiscard]] const Knoten* knotenNamens(const std::string& name, PipewireQuelle quelle) const;

  static const pw_core_events CORE_EREIGNISSE;
  static const pw_registry_events REGISTRY_EREIGNISSE;
  static const pw_metadata_events METADATEN_EREIGNISSE;

  pw_core* core_;
  std::function<void()> geaendert_;
  spa_hook coreHaken_{};
  pw_registry* registry_ = nullptr;
  spa_hook registryHaken_{};
  pw_metadata* metadaten_ = nullptr;
  spa_hook metadatenHaken_{};
  std::uint32_t metadatenId_ = 0;
  // All that hold defaults, in the order of their ids: a session manager that takes over announces
  // its own before the other's are gone.
  std::set<std::uint32_t> metadatenIds_;

  std::uint64_t programme_ = 0;
  std::map<std::uint32_t, Knoten> knoten_;
  std::map<std::uint32_t, Verbund> links_;
  std::map<std::string, std::string> standards_;  // metadata key to node name
  std::set<std::string> bestaetigte_;             // keys that were named since the last request
  // The number of the sync behind the last request while its answer is not complete.
  std::optional<int> unbeantwortet_;
};

}  // namespace hallkorb
