// A daemon that reports anything: nodes, links, programs and metadata with arbitrary properties,
// added, changed and removed in any order. What is kept stays consistent, and a device that is the
// default is one that was reported, of the right kind.
#include <spa/utils/dict.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/Bytestrom.h"
#include "platform/linux/audio/PipewireVerzeichnis.h"

namespace hallkorb {
namespace {

// What the directory talks to: the objects of a connection, without one.
class Daemon {
 public:
  Daemon() {
    spa_hook_list_init(&registryHoerer_);
    spa_hook_list_init(&metadatenHoerer_);
    pw_proxy_destroy = [](pw_proxy*) {};
  }
  Daemon(const Daemon&) = delete;
  Daemon& operator=(const Daemon&) = delete;

  pw_core* core() { return reinterpret_cast<pw_core*>(&core_); }

  void neues(std::uint32_t id, const std::string& art, const spa_dict* eigenschaften) {
    rufe<pw_registry_events>(registryHoerer_, [&](const pw_registry_events& e, void* daten) {
      e.global(daten, id, 0, art.c_str(), 3, eigenschaften);
    });
  }
  void weg(std::uint32_t id) {
    rufe<pw_registry_events>(registryHoerer_, [&](const pw_registry_events& e, void* daten) {
      e.global_remove(daten, id);
    });
  }
  void metadatum(std::uint32_t subjekt, const char* schluessel, const char* wert) {
    rufe<pw_metadata_events>(metadatenHoerer_, [&](const pw_metadata_events& e, void* daten) {
      e.property(daten, subjekt, schluessel, "", wert);
    });
  }

 private:
  // The library's macro for this is no standard C++.
  template <class Ereignisse, class Tat>
  static void rufe(spa_hook_list& hoerer, const Tat& tat) {
    for (spa_list* glied = hoerer.list.next; glied != &hoerer.list; glied = glied->next) {
      const spa_callbacks& haken = reinterpret_cast<spa_hook*>(glied)->cb;
      tat(*static_cast<const Ereignisse*>(haken.funcs), haken.data);
    }
  }
  static pw_registry* gibRegistry(void* selbst, std::uint32_t, std::size_t) {
    return reinterpret_cast<pw_registry*>(&static_cast<Daemon*>(selbst)->registry_);
  }
  static int hoereRegistry(void* selbst, spa_hook* haken, const pw_registry_events* ereignisse,
                           void* daten) {
    spa_hook_list_append(&static_cast<Daemon*>(selbst)->registryHoerer_, haken, ereignisse, daten);
    return 0;
  }
  static void* binde(void* selbst, std::uint32_t, const char*, std::uint32_t, std::size_t) {
    return &static_cast<Daemon*>(selbst)->metadaten_;
  }
  static int hoereMetadaten(void* selbst, spa_hook* haken, const pw_metadata_events* ereignisse,
                            void* daten) {
    spa_hook_list_append(&static_cast<Daemon*>(selbst)->metadatenHoerer_, haken, ereignisse, daten);
    return 0;
  }

  pw_core_methods coreRufe_ = [] {
    pw_core_methods rufe{};
    rufe.get_registry = &gibRegistry;
    return rufe;
  }();
  pw_registry_methods registryRufe_ = [] {
    pw_registry_methods rufe{};
    rufe.add_listener = &hoereRegistry;
    rufe.bind = &binde;
    return rufe;
  }();
  pw_metadata_methods metadatenRufe_ = [] {
    pw_metadata_methods rufe{};
    rufe.add_listener = &hoereMetadaten;
    return rufe;
  }();
  spa_interface core_{PW_TYPE_INTERFACE_Core, PW_VERSION_CORE, {&coreRufe_, this}};
  spa_interface registry_{PW_TYPE_INTERFACE_Registry, PW_VERSION_REGISTRY, {&registryRufe_, this}};
  spa_interface metadaten_{
      PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA, {&metadatenRufe_, this}};
  spa_hook_list registryHoerer_{};
  spa_hook_list metadatenHoerer_{};
};

constexpr std::array ARTEN = {PW_TYPE_INTERFACE_Node, PW_TYPE_INTERFACE_Link,
                              PW_TYPE_INTERFACE_Metadata, PW_TYPE_INTERFACE_Client,
                              PW_TYPE_INTERFACE_Device};
constexpr std::array SCHLUESSEL = {
    PW_KEY_OBJECT_SERIAL,    PW_KEY_NODE_NAME,       PW_KEY_MEDIA_CLASS,  PW_KEY_NODE_DESCRIPTION,
    PW_KEY_LINK_OUTPUT_NODE, PW_KEY_LINK_INPUT_NODE, PW_KEY_METADATA_NAME};
constexpr std::array STANDARDS = {"default.audio.source", "default.audio.sink"};

// A text without a null byte, or in one of eight cases none at all.
class Text {
 public:
  explicit Text(Bytestrom& strom) : da_(strom.byte() % 8 != 0) {
    for (const std::uint8_t byte : strom.stueck(strom.byte())) {
      if (byte != 0) text_ += static_cast<char>(byte);
    }
  }
  [[nodiscard]] const char* zeiger() const { return da_ ? text_.c_str() : nullptr; }

 private:
  bool da_;
  std::string text_;
};

void meldeNeues(Daemon& daemon, Bytestrom& strom) {
  const std::uint32_t id = strom.byte();
  const std::string art = ARTEN[strom.byte() % ARTEN.size()];
  std::vector<Text> texte;
  std::vector<spa_dict_item> felder;
  const int anzahl = strom.byte() % 9;
  texte.reserve(static_cast<std::size_t>(anzahl));
  for (int i = 0; i < anzahl; ++i) {
    const char* schluessel = SCHLUESSEL[strom.byte() % SCHLUESSEL.size()];
    texte.emplace_back(strom);
    felder.push_back({schluessel, texte.back().zeiger()});
  }
  spa_dict eigenschaften{};
  eigenschaften.n_items = static_cast<std::uint32_t>(felder.size());
  eigenschaften.items = felder.data();
  daemon.neues(id, art, anzahl == 8 ? nullptr : &eigenschaften);
}

void laufe(Bytestrom strom) {
  Daemon daemon;
  std::size_t geaendert = 0;
  PipewireVerzeichnis verzeichnis(daemon.core(), [&] { ++geaendert; });
  while (!strom.leer()) {
    const std::uint8_t was = strom.byte();
    if (was % 8 < 4) {
      meldeNeues(daemon, strom);
    } else if (was % 8 == 4) {
      daemon.weg(strom.byte());
    } else if (was % 8 == 5) {
      verzeichnis.frischeAuf();
    } else {
      const std::uint32_t subjekt = strom.byte() % 4 == 0 ? 7 : PW_ID_CORE;
      const Text schluessel(strom);
      const Text wert(strom);
      daemon.metadatum(subjekt, was % 8 == 6 ? STANDARDS[was / 8 % 2] : schluessel.zeiger(),
                       wert.zeiger());
    }
    for (const PipewireQuelle quelle : {PipewireQuelle::MIKROFON, PipewireQuelle::SYSTEM_AUDIO}) {
      const auto standard = verzeichnis.standard(quelle);
      pruefe(!standard || (standard->id < 256 && geeignet(quelle, standard->klasse)));
      const auto herkunft = verzeichnis.herkunft(quelle, was);
      pruefe(herkunft == PipewireVerzeichnis::Herkunft::UNVERBUNDEN || geaendert >= 2);
    }
    pruefe(!verzeichnis.nurMonitor() || !verzeichnis.standard(PipewireQuelle::MIKROFON));
  }
}

}  // namespace
}  // namespace hallkorb

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t anzahl) {
  hallkorb::laufe(hallkorb::Bytestrom({bytes, anzahl}));
  return 0;
}
