// Who keeps the default devices, while session managers come and go. Against the real daemon, which
// keeps the metadata itself here.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <variant>
#include <vector>

#include "platform/linux/audio/PipewireVerbindung.h"
#include "tests/support/Tonanlage.h"

namespace hallkorb {
namespace {

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
    {
      const PipewireVerbindung::Sperre sperre(*verbindung_);
      verbindung_->frage();
    }
    ASSERT_TRUE(warteBis([this] {
      const PipewireVerbindung::Sperre sperre(*verbindung_);
      return verbindung_->antwortet();
    }));
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

}  // namespace
}  // namespace hallkorb
