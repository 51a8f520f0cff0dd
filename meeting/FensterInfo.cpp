#include "meeting/FensterInfo.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <nlohmann/json.hpp>
#include <type_traits>
#include <utility>
#include <variant>

namespace hallkorb {
namespace {

using Json = nlohmann::ordered_json;

template <class Wert>
using Feld = Wert FensterInfo::*;

using EinFeld = std::variant<Feld<std::uint32_t>, Feld<std::int64_t>, Feld<double>, Feld<bool>,
                             Feld<std::string>>;

const std::array<std::pair<std::string_view, EinFeld>, 10> FELDER{{
    {"id", &FensterInfo::id},
    {"titel", &FensterInfo::titel},
    {"bundle", &FensterInfo::bundle},
    {"app", &FensterInfo::app},
    {"x", &FensterInfo::x},
    {"y", &FensterInfo::y},
    {"breite", &FensterInfo::breite},
    {"hoehe", &FensterInfo::hoehe},
    {"sichtbar", &FensterInfo::sichtbar},
    {"ebene", &FensterInfo::ebene},
}};

constexpr unsigned ALLE_FELDER = (1U << 10U) - 1;

// Puts `wert` into a field; false if it has another type or does not fit.
template <class Ziel, class Wert>
bool uebernimm(Ziel& ziel, Wert& wert) {
  if constexpr (std::is_same_v<Ziel, Wert>) {
    ziel = std::move(wert);
    return true;
  } else if constexpr (std::is_same_v<Wert, std::int64_t> || std::is_same_v<Wert, std::uint64_t>) {
    if constexpr (std::is_same_v<Ziel, double>) {
      ziel = static_cast<double>(wert);
      return true;
    } else if constexpr (std::is_integral_v<Ziel> && !std::is_same_v<Ziel, bool>) {
      if (!std::in_range<Ziel>(wert)) return false;
      ziel = static_cast<Ziel>(wert);
      return true;
    }
  }
  return false;
}

// Builds the list from the parser's events, without a tree in between: that needs no more memory
// than the records, and no recursion that a deeply nested file could exhaust.
class Leser final : public nlohmann::json_sax<nlohmann::json> {
 public:
  // The list, if the text held one. Once all of it has been read.
  [[nodiscard]] std::optional<Eingabe> eingabe() && {
    if (!hatListe_) return std::nullopt;
    return std::move(eingabe_);
  }

  bool null() override { return nichts(); }
  bool boolean(bool wert) override { return nimm(wert); }
  bool number_integer(number_integer_t wert) override {
    auto ganz = static_cast<std::int64_t>(wert);
    return nimm(ganz);
  }
  bool number_unsigned(number_unsigned_t wert) override {
    auto ganz = static_cast<std::uint64_t>(wert);
    return nimm(ganz);
  }
  bool number_float(number_float_t wert, const string_t& /*text*/) override { return nimm(wert); }
  bool string(string_t& wert) override { return nimm(wert); }
  bool binary(binary_t& /*wert*/) override { return false; }

  bool start_object(std::size_t /*anzahl*/) override {
    if (ueberspringt()) return steigAb();
    if (ort_ == Ort::vorne) {
      ort_ = Ort::oben;
    } else if (ort_ == Ort::liste) {
      ort_ = Ort::fenster;
      eingabe_.fenster.emplace_back();
      gelesen_ = 0;
    } else {
      return false;
    }
    return true;
  }

  bool key(string_t& name) override {
    if (tiefe_ > 0) return true;
    if (ort_ == Ort::oben) {
      fremd_ = name != "fenster";
      return true;
    }
    const auto feld = std::find_if(FELDER.begin(), FELDER.end(),
                                   [&](const auto& eintrag) { return eintrag.first == name; });
    fremd_ = feld == FELDER.end();
    if (!fremd_) feld_ = static_cast<std::size_t>(feld - FELDER.begin());
    return true;
  }

  bool end_object() override {
    if (tiefe_ > 0) return steigAuf();
    if (ort_ == Ort::fenster) {
      ort_ = Ort::liste;
      fremd_ = false;
      return gelesen_ == ALLE_FELDER;
    }
    return true;
  }

  bool start_array(std::size_t /*anzahl*/) override {
    if (ueberspringt()) return steigAb();
    if (ort_ != Ort::oben) return false;
    ort_ = Ort::liste;
    hatListe_ = true;
    eingabe_.fenster.clear();
    return true;
  }

  bool end_array() override {
    if (tiefe_ > 0) return steigAuf();
    ort_ = Ort::oben;
    return true;
  }

  bool parse_error(std::size_t /*stelle*/, const std::string& /*letztes*/,
                   const nlohmann::detail::exception& /*fehler*/) override {
    return false;
  }

 private:
  enum class Ort { vorne, oben, liste, fenster };

  // Whether the next value belongs to a foreign key.
  [[nodiscard]] bool ueberspringt() const { return tiefe_ > 0 || fremd_; }
  bool steigAb() {
    ++tiefe_;
    return true;
  }
  bool steigAuf() {
    --tiefe_;
    return true;
  }
  [[nodiscard]] bool nichts() const { return ueberspringt(); }

  template <class Wert>
  bool nimm(Wert& wert) {
    if (ueberspringt()) return true;
    if (ort_ != Ort::fenster) return false;
    gelesen_ |= 1U << feld_;
    return std::visit([&](auto feld) { return uebernimm(eingabe_.fenster.back().*feld, wert); },
                      FELDER[feld_].second);
  }

  Eingabe eingabe_;
  bool hatListe_ = false;
  Ort ort_ = Ort::vorne;
  bool fremd_ = false;     // the last key is foreign
  std::size_t tiefe_ = 0;  // open containers within a foreign key's value
  std::size_t feld_ = 0;   // the field that the last key names
  unsigned gelesen_ = 0;   // one bit for each field of the window
};

}  // namespace

std::vector<FensterInfo> metadaten(const ScreenContent& content) {
  std::vector<FensterInfo> fenster;
  fenster.reserve(content.windows.size());
  for (const ScreenWindow& w : content.windows) {
    if (!w.anwendung) continue;
    fenster.push_back({w.id, w.titel.value_or(""), w.anwendung->bundle, w.anwendung->name, w.x, w.y,
                       w.breite, w.hoehe, w.sichtbar, w.ebene});
  }
  return fenster;
}

std::optional<Eingabe> liesEingabe(std::string_view json) {
  Leser leser;
  if (!nlohmann::json::sax_parse(json.begin(), json.end(), &leser)) return std::nullopt;
  return std::move(leser).eingabe();
}

std::string eingabeJSON(const Eingabe& eingabe) {
  Json liste = Json::array();
  for (const FensterInfo& fenster : eingabe.fenster) {
    Json eintrag = Json::object();
    for (const auto& [name, feld] : FELDER) {
      std::visit([&, &schluessel = name](auto f) { eintrag[std::string(schluessel)] = fenster.*f; },
                 feld);
    }
    liste.push_back(std::move(eintrag));
  }
  return Json{{"fenster", std::move(liste)}}.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace hallkorb
