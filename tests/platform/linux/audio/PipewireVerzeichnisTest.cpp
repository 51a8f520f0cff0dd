// Who keeps the default devices, while session managers come, go and are busy. Against the real
// daemon, which keeps the metadata itself, or passes on what a session manager of the test does.

#include <gtest/gtest.h>
#include <pipewire/extensions/metadata.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "platform/linux/audio/Pipewire.h"
#include "platform/linux/audio/PipewireVerbindung.h"
#include "tests/support/Tonanlage.h"
#include "tests/support/Warten.h"

namespace hallkorb {
namespace {

// Keeps one default device, the loudspeakers, and forgets it without a word. While a test holds it
// up it answers nothing, as one that is busy.
class Verwalter {
 public:
  Verwalter() {
    static const pw_metadata_methods METHODEN = [] {
      pw_metadata_methods methoden{};
      methoden.version = PW_VERSION_METADATA_METHODS;
      methoden.add_listener = [](void* selbst, spa_hook* haken,
                                 const pw_metadata_events* ereignisse, void* wem) {
        static_cast<Verwalter*>(selbst)->nenne(*haken, *ereignisse, wem);
        return 0;
      };
      return methoden;
    }();
    spa_hook_list_init(&hoerer_);
    metadaten_.type = PW_TYPE_INTERFACE_Metadata;
    metadaten_.version = PW_VERSION_METADATA;
    metadaten_.cb.funcs = &METHODEN;
    metadaten_.cb.data = this;
    loop_ = pw_thread_loop_new("verwalter", nullptr);
    context_ = pw_context_new(pw_thread_loop_get_loop(loop_), nullptr, 0);
    pw_core* core = pw_context_connect(context_, nullptr, 0);
    if (core == nullptr) throw std::runtime_error("no connection for the session manager");
    const spa_dict_item name{PW_KEY_METADATA_NAME, "default"};
    const spa_dict eigenschaften{0, 1, &name};
    ausgestellt_ = pw_core_export(core, PW_TYPE_INTERFACE_Metadata, &eigenschaften, &metadaten_, 0);
    if (ausgestellt_ == nullptr) throw std::runtime_error("no metadata of the session manager");
    pw_thread_loop_start(loop_);
  }
  ~Verwalter() {
    pw_thread_loop_stop(loop_);
    pw_proxy_destroy(ausgestellt_);
    pw_context_destroy(context_);
    pw_thread_loop_destroy(loop_);
  }
  Verwalter(const Verwalter&) = delete;
  Verwalter& operator=(const Verwalter&) = delete;

  void halteAuf() { pw_thread_loop_lock(loop_); }
  void lassLos() { pw_thread_loop_unlock(loop_); }
  // While it is held up.
  void vergiss() { kennt_ = false; }

 private:
  void nenne(spa_hook& haken, const pw_metadata_events& ereignisse, void* wem) {
    spa_hook_list_append(&hoerer_, &haken, &ereignisse, wem);
    if (!kennt_) return;
    ereignisse.property(wem, PW_ID_CORE, "default.audio.sink", "Spa:String:JSON",
                        R"({"name":"speakers"})");
  }

  spa_interface metadaten_{};
  spa_hook_list hoerer_{};
  pw_thread_loop* loop_ = nullptr;
  pw_context* context_ = nullptr;
  pw_proxy* ausgestellt_ = nullptr;
  bool kennt_ = true;
};

class PipewireVerzeichnisTest : public testing::Test {
 protected:
  // A daemon with so many metadata of the name that session managers use.
  void starte(int metadaten) {
    const std::filesystem::path ordner =
        std::filesystem::path(std::getenv("XDG_CONFIG_HOME")) / "pipewire" / "pipewire.conf.d";
    std::filesystem::create_directories(ordner);
    std::ofstream datei(ordner / "metadaten.conf");
    datei << "context.objects = [\n";
    for (int i = 0; i < metadaten; ++i)
      datei << "  { factory = metadata args = { metadata.name = default } }\n";
    datei << "]\n";
    datei.close();
    anlage_.starteDaemon();
    auto neu = PipewireVerbindung::neu([] {});
    ASSERT_TRUE(std::holds_alternative<std::unique_ptr<PipewireVerbindung>>(neu));
    verbindung_ = std::get<std::unique_ptr<PipewireVerbindung>>(std::move(neu));
    ASSERT_TRUE(warteBis([this] {
      const PipewireVerbindung::Sperre sperre(*verbindung_);
      return verbindung_->bereit();
    }));
  }

  // The ids of those metadata, the oldest first. The daemon has others, too.
  [[nodiscard]] std::vector<int> ids() const {
    std::istringstream liste(anlage_.befehl({"pw-cli", "ls", "Metadata"}));
    const std::regex kopf("\\s*id ([0-9]+), type.*");
    std::vector<int> ids;
    int id = 0;
    for (std::string zeile; std::getline(liste, zeile);) {
      std::smatch treffer;
      if (std::regex_match(zeile, treffer, kopf)) id = std::stoi(treffer[1]);
      if (zeile.find(R"(metadata.name = "default")") != std::string::npos) ids.push_back(id);
    }
    std::sort(ids.begin(), ids.end());
    return ids;
  }

  // Removes the metadata that is bound; returns when the directory has heard of it.
  void entferneErste() {
    const std::vector<int> vorher = ids();
    anlage_.befehl({"pw-cli", "destroy", std::to_string(vorher.front())});
    ASSERT_TRUE(warteBis([&] { return ids().size() == vorher.size() - 1; }));
    warteAufAntwort();
  }

  // Returns when all that was requested so far is answered.
  void warteAufAntwort() {
    {
      const PipewireVerbindung::Sperre sperre(*verbindung_);
      verbindung_->frage();
    }
    ASSERT_TRUE(warteBis([this] {
      const PipewireVerbindung::Sperre sperre(*verbindung_);
      return verbindung_->antwortet();
    }));
  }
  void frischeAuf() {
    const PipewireVerbindung::Sperre sperre(*verbindung_);
    verbindung_->verzeichnis().frischeAuf();
  }

  [[nodiscard]] bool verwaltet() const {
    const PipewireVerbindung::Sperre sperre(*verbindung_);
    return verbindung_->verzeichnis().verwaltet();
  }
  [[nodiscard]] std::string standard() const {
    const PipewireVerbindung::Sperre sperre(*verbindung_);
    const auto knoten = verbindung_->verzeichnis().standard(PipewireQuelle::SYSTEM_AUDIO);
    return knoten ? knoten->name : "";
  }

  Tonanlage anlage_;
  std::unique_ptr<PipewireVerbindung> verbindung_;
};

TEST_F(PipewireVerzeichnisTest, TakesTheNextKeeperOfTheDefaultsWhenTheFirstGoes) {
  starte(2);
  ASSERT_EQ(ids().size(), 2U);
  ASSERT_TRUE(verwaltet());
  entferneErste();
  ASSERT_TRUE(verwaltet());
  anlage_.befehl(
      {"pw-metadata", "0", "default.audio.sink", R"({"name":"speakers"})", "Spa:String:JSON"});
  EXPECT_TRUE(warteBis([this] { return standard() == "speakers"; }));
  entferneErste();
  EXPECT_FALSE(verwaltet());
  EXPECT_EQ(standard(), "");
}

TEST_F(PipewireVerzeichnisTest, ADefaultLastsUntilAnAnswerDoesNotNameIt) {
  starte(0);
  Verwalter verwalter;
  ASSERT_TRUE(warteBis([this] { return standard() == "speakers"; }));
  verwalter.halteAuf();
  for (int mal = 0; mal < 3; ++mal) {
    frischeAuf();
    anlage_.befehl({"pw-link", "-l"});  // time for an answer that nobody gives
    EXPECT_EQ(standard(), "speakers") << mal;
  }
  verwalter.lassLos();
  warteAufAntwort();
  frischeAuf();
  warteAufAntwort();
  EXPECT_EQ(standard(), "speakers");

  verwalter.halteAuf();
  verwalter.vergiss();
  verwalter.lassLos();
  frischeAuf();
  warteAufAntwort();
  EXPECT_EQ(standard(), "speakers");
  frischeAuf();
  EXPECT_EQ(standard(), "");
}

}  // namespace
}  // namespace hallkorb
