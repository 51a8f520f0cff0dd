#include "platform/linux/audio/PipewireVerzeichnis.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <utility>

#include "platform/linux/audio/Metadatum.h"

namespace hallkorb {
namespace {

std::string wert(const spa_dict& eigenschaften, const char* schluessel) {
  const char* text = spa_dict_lookup(&eigenschaften, schluessel);
  return text != nullptr ? text : "";
}

std::uint32_t zahl(const spa_dict& eigenschaften, const char* schluessel) {
  const std::string text = wert(eigenschaften, schluessel);
  std::uint32_t zahl = PW_ID_ANY;
  std::from_chars(text.data(), text.data() + text.size(), zahl);
  return zahl;
}

}  // namespace

const pw_core_events PipewireVerzeichnis::CORE_EREIGNISSE = [] {
  pw_core_events ereignisse{};
  ereignisse.version = PW_VERSION_CORE_EVENTS;
  ereignisse.done = [](void* selbst, std::uint32_t id, int nummer) {
    if (id == PW_ID_CORE) static_cast<PipewireVerzeichnis*>(selbst)->antwort(nummer);
  };
  return ereignisse;
}();

const pw_registry_events PipewireVerzeichnis::REGISTRY_EREIGNISSE = {
    PW_VERSION_REGISTRY_EVENTS,
    [](void* selbst, std::uint32_t id, std::uint32_t, const char* art, std::uint32_t,
       const spa_dict* eigenschaften) {
      const spa_dict leer{};
      static_cast<PipewireVerzeichnis*>(selbst)->neues(
          id, art, eigenschaften != nullptr ? *eigenschaften : leer);
    },
    [](void* selbst, std::uint32_t id) { static_cast<PipewireVerzeichnis*>(selbst)->weg(id); },
};

const pw_metadata_events PipewireVerzeichnis::METADATEN_EREIGNISSE = {
    PW_VERSION_METADATA_EVENTS,
    [](void* selbst, std::uint32_t subjekt, const char* schluessel, const char*, const char* wert) {
      return static_cast<PipewireVerzeichnis*>(selbst)->metadatum(subjekt, schluessel, wert);
    },
};

PipewireVerzeichnis::PipewireVerzeichnis(pw_core* core, std::function<void()> geaendert)
    : core_(core),
      geaendert_(std::move(geaendert)),
      registry_(pw_core_get_registry(core, PW_VERSION_REGISTRY, 0)) {
  pw_core_add_listener(core_, &coreHaken_, &CORE_EREIGNISSE, this);
  if (registry_ != nullptr) {
    pw_registry_add_listener(registry_, &registryHaken_, &REGISTRY_EREIGNISSE, this);
  }
}

PipewireVerzeichnis::~PipewireVerzeichnis() {
  loeseMetadaten();
  spa_hook_remove(&coreHaken_);
  if (registry_ == nullptr) return;
  spa_hook_remove(&registryHaken_);
  pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry_));
}

void PipewireVerzeichnis::neues(std::uint32_t id, const char* art, const spa_dict& eigenschaften) {
  const std::string_view typ = art;
  if (typ == PW_TYPE_INTERFACE_Node) {
    knoten_[id] = {id, wert(eigenschaften, PW_KEY_OBJECT_SERIAL),
                   wert(eigenschaften, PW_KEY_NODE_NAME), wert(eigenschaften, PW_KEY_MEDIA_CLASS),
                   wert(eigenschaften, PW_KEY_NODE_DESCRIPTION)};
  } else if (typ == PW_TYPE_INTERFACE_Link) {
    links_[id] = {zahl(eigenschaften, PW_KEY_LINK_OUTPUT_NODE),
                  zahl(eigenschaften, PW_KEY_LINK_INPUT_NODE)};
  } else if (typ == PW_TYPE_INTERFACE_Metadata &&
             wert(eigenschaften, PW_KEY_METADATA_NAME) == "default") {
    metadatenIds_.insert(id);
    if (metadaten_ == nullptr) bindeMetadaten(id);
  } else if (typ == PW_TYPE_INTERFACE_Client) {
    ++programme_;
  } else {
    return;
  }
  geaendert_();
}

void PipewireVerzeichnis::weg(std::uint32_t id) {
  knoten_.erase(id);
  links_.erase(id);
  metadatenIds_.erase(id);
  if (metadaten_ != nullptr && id == metadatenId_) {
    vergissMetadaten();
    if (!metadatenIds_.empty()) bindeMetadaten(*metadatenIds_.begin());
  }
  geaendert_();
}

void PipewireVerzeichnis::bindeMetadaten(std::uint32_t id) {
  metadaten_ = static_cast<pw_metadata*>(
      pw_registry_bind(registry_, id, PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA, 0));
  if (metadaten_ == nullptr) return;
  metadatenId_ = id;
  pw_metadata_add_listener(metadaten_, &metadatenHaken_, &METADATEN_EREIGNISSE, this);
}

void PipewireVerzeichnis::frischeAuf() {
  if (metadaten_ == nullptr) return;
  if (!unbeantwortet_) {
    std::erase_if(standards_,
                  [&](const auto& eintrag) { return !bestaetigte_.contains(eintrag.first); });
  }
  bestaetigte_.clear();
  loeseMetadaten();
  bindeMetadaten(metadatenId_);
  // The daemon looks at nothing more from us until the session manager has named all it keeps. A
  // single key before that may be a change of another one.
  unbeantwortet_ = pw_core_sync(core_, PW_ID_CORE, 0);
}

void PipewireVerzeichnis::antwort(int nummer) {
  if (unbeantwortet_ == nummer) unbeantwortet_.reset();
}

void PipewireVerzeichnis::vergissMetadaten() {
  standards_.clear();
  bestaetigte_.clear();
  unbeantwortet_.reset();
  loeseMetadaten();
}

void PipewireVerzeichnis::loeseMetadaten() {
  if (metadaten_ == nullptr) return;
  spa_hook_remove(&metadatenHaken_);
  pw_proxy_destroy(reinterpret_cast<pw_proxy*>(std::exchange(metadaten_, nullptr)));
}

int PipewireVerzeichnis::metadatum(std::uint32_t subjekt, const char* schluessel,
                                   const char* json) {
  if (subjekt != PW_ID_CORE) return 0;
  if (schluessel == nullptr) {
    standards_.clear();
  } else if (json == nullptr) {
    standards_.erase(schluessel);
  } else {
    standards_[schluessel] = nameAusJson(json);
    bestaetigte_.insert(schluessel);
  }
  geaendert_();
  return 0;
}

const PipewireVerzeichnis::Knoten* PipewireVerzeichnis::knotenNamens(const std::string& name,
                                                                     PipewireQuelle quelle) const {
  for (const auto& [id, knoten] : knoten_) {
    if (knoten.name == name && geeignet(quelle, knoten.klasse)) return &knoten;
  }
  return nullptr;
}

bool PipewireVerzeichnis::hatGeraete() const {
  return std::any_of(knoten_.begin(), knoten_.end(), [](const auto& eintrag) {
    return eintrag.second.klasse.starts_with("Audio/");
  });
}

std::optional<PipewireVerzeichnis::Knoten> PipewireVerzeichnis::standard(
    PipewireQuelle quelle) const {
  const auto eintrag = standards_.find(standardSchluessel(quelle));
  if (eintrag == standards_.end()) return std::nullopt;
  const Knoten* knoten = knotenNamens(eintrag->second, quelle);
  return knoten != nullptr ? std::optional(*knoten) : std::nullopt;
}

bool PipewireVerzeichnis::nurMonitor() const {
  const auto eintrag = standards_.find(standardSchluessel(PipewireQuelle::MIKROFON));
  return eintrag != standards_.end() && !standard(PipewireQuelle::MIKROFON) &&
         knotenNamens(eintrag->second, PipewireQuelle::SYSTEM_AUDIO) != nullptr;
}

PipewireVerzeichnis::Herkunft PipewireVerzeichnis::herkunft(PipewireQuelle quelle,
                                                            std::uint32_t knoten) const {
  Herkunft ergebnis = Herkunft::UNVERBUNDEN;
  for (const auto& [id, link] : links_) {
    if (link.nach != knoten) continue;
    const auto von = knoten_.find(link.von);
    if (von == knoten_.end()) continue;  // its node is gone, and it will be
    if (!geeignet(quelle, von->second.klasse)) return Herkunft::FALSCH;
    ergebnis = Herkunft::RICHTIG;
  }
  return ergebnis;
}

}  // namespace hallkorb
