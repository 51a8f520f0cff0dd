// Plays the platform to a whole process, from a script: devices and screen in real time, refusals,
// failures. Linked into the program of the tests alone, in which it begins before main().
//
// HALLKORB_DREHBUCH names the script, mostly a pipe: one JSON object a line, "tu" says what is to
// be done, and is done at once. What stands before {"tu":"los"} is done before main().
// HALLKORB_PROTOKOLL names the file into which is written at the end of the process what the
// stand-ins have kept.
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/macos/doubles/Bildquelle.h"
#include "tests/macos/doubles/Bildschirm.h"
#include "tests/macos/doubles/Mikrofon.h"
#include "tests/macos/doubles/Schreiber.h"
#include "tests/macos/doubles/System.h"
#include "tests/macos/doubles/Tonquelle.h"
#include "tests/macos/runtime/Laufzeit.h"

namespace hallkorb::ersatz {
namespace {

using nlohmann::json;

constexpr std::size_t MIKRO_FRAMES = 4800;
constexpr double MIKRO_RATE = 48000;
constexpr std::size_t SYSTEM_FRAMES = 960;
constexpr double TICKS = 24e6;  // of the host clock in a second

double hostZeit(double skriptSekunden) {
  return std::chrono::duration<double>(uhrzeit(skriptSekunden).time_since_epoch()).count();
}

bool nimmMikro(const std::vector<std::vector<float>>& kanaele, double, double wann) {
  return mikrofon::liefere(kanaele, static_cast<std::uint64_t>(hostZeit(wann) * TICKS));
}

bool nimmSystem(const std::vector<std::vector<float>>& kanaele, double rate, double wann) {
  const Ton ton{.kanaele = kanaele, .rate = rate};
  return bildschirm::ton(ton, {.sekunden = hostZeit(wann)});
}

// Never destroyed: the threads run until the process is gone.
class Drehbuch {
 public:
  void beginne(const char* pfad);
  void protokolliere(const char* pfad) const;

 private:
  using Tat = std::function<void(const json&)>;

  void trageEin();
  bool naechsteZeile();
  void folge();
  void spiele(const json& zeile);
  void lassUhrLaufen();
  Tonquelle& quelle(const json& zeile);

  std::ifstream skript_;
  std::map<std::string, Tat> taten_;
  Tonquelle mikro_{MIKRO_FRAMES, MIKRO_RATE, 1, nimmMikro};
  Tonquelle system_{SYSTEM_FRAMES, 48000, 2, nimmSystem};
  Bildquelle bild_;
  bool los_ = false;
};

[[noreturn]] void falsch(const std::string& was) {
  std::fprintf(stderr, "Drehbuch: %s\n", was.c_str());
  std::abort();
}

// Statics of this file are made after the first lines of the script have been done.
bildschirm::Frage frage(const json& zeile) {
  using bildschirm::Frage;
  static const std::map<std::string, Frage> fragen{{"inhalt", Frage::inhalt},
                                                   {"start", Frage::start},
                                                   {"stopp", Frage::stopp},
                                                   {"wechsel", Frage::wechsel}};
  return fragen.at(zeile.at("frage").get<std::string>());
}

bool ja(const json& zeile) {
  return zeile.value("ja", true);
}

bildschirm::Fenster fenster(const json& zeile) {
  bildschirm::Fenster f;
  f.id = zeile.at("id");
  f.app = zeile.at("app").get<std::string>();
  f.titel = zeile.at("titel").get<std::string>();
  f.x = zeile.value("x", 40.0);
  f.y = zeile.value("y", 40.0);
  f.breite = zeile.value("breite", 1200.0);
  f.hoehe = zeile.value("hoehe", 760.0);
  f.sichtbar = zeile.value("sichtbar", true);
  return f;
}

Tonquelle& Drehbuch::quelle(const json& zeile) {
  return zeile.at("auf") == "mikro" ? mikro_ : system_;
}

void Drehbuch::trageEin() {
  taten_["los"] = [this](const json&) { los_ = true; };
  // Sound and devices.
  taten_["spiele"] = [this](const json& z) { spiele(z); };
  taten_["verstumme"] = [this](const json& z) { quelle(z).verstumme(ja(z)); };
  taten_["warte"] = [this](const json& z) { quelle(z).warteAufAbnahme(); };
  // Another device, or none at the rate 0. "geraet" is one that is there from the beginning.
  taten_["wechsle"] = [this](const json& z) {
    const double rate = z.at("rate");
    const unsigned kanaele = z.at("kanaele");
    mikro_.wechsle(rate > 0 ? rate : MIKRO_RATE, kanaele,
                   [&] { mikrofon::wechsle(rate, kanaele); });
  };
  taten_["geraet"] = [this](const json& z) {
    const double rate = z.at("rate");
    const unsigned kanaele = z.at("kanaele");
    mikro_.wechsle(rate > 0 ? rate : MIKRO_RATE, kanaele, [&] { mikrofon::geraet(rate, kanaele); });
  };
  taten_["systemformat"] = [this](const json& z) {
    system_.wechsle(z.at("rate"), z.at("kanaele"), [] {});
  };
  taten_["erlaubnis"] = [](const json& z) { mikrofon::erlaubnis(z.at("stand")); };
  taten_["anmeldung"] = [](const json& z) { stummeAnmeldung(!ja(z)); };
  taten_["mikrofonstart"] = [](const json& z) { mikrofon::startFehler(!ja(z)); };

  taten_["fehler"] = [](const json& z) { bildschirm::fehler(frage(z), z.at("code")); };
  taten_["stumm"] = [](const json& z) { bildschirm::stumm(frage(z), ja(z)); };
  taten_["antworte"] = [](const json&) { bildschirm::antworte(); };
  taten_["beende"] = [](const json& z) {
    const bool ton = z.at("strom") == "ton";
    bildschirm::beende(ton ? bildschirm::Art::ton : bildschirm::Art::bild, z.at("code"));
  };
  taten_["displays"] = [this](const json& z) { bild_.displays(z.at("anzahl")); };
  // Of this moment the test outside knows nothing, so the signal comes from here.
  taten_["signalBeiFrage"] = [](const json& z) {
    bildschirm::warteAufFrage();
    ::kill(::getpid(), z.at("nummer"));
  };

  taten_["fenster"] = [this](const json& z) { bild_.zeige(fenster(z)); };
  taten_["schliesse"] = [this](const json& z) { bild_.schliesse(z.at("id")); };
  taten_["bewege"] = [this](const json& z) { bild_.bewege(ja(z)); };
  taten_["warteBild"] = [this](const json& z) { bild_.warteAufBild(z.at("id")); };

  taten_["keinSchreiber"] = [](const json& z) { schreiber::keiner(ja(z)); };
  taten_["schreiberStart"] = [](const json& z) { schreiber::scheitereBeimStart(!ja(z)); };
  taten_["schreiberScheitert"] = [](const json&) { schreiber::scheitere(); };
  taten_["halteAbschluss"] = [](const json& z) { schreiber::halteAbschluss(ja(z)); };
  taten_["schliesseAb"] = [](const json& z) { schreiber::lassAbschliessen(ja(z)); };
}

// On both devices from the same moment on. Reading takes its time, on a slow machine longer than a
// block.
void Drehbuch::spiele(const json& zeile) {
  std::vector<std::pair<Klang*, std::vector<float>>> klaenge;
  for (const auto& [name, spur] : {std::pair("mikro", &mikro_), std::pair("system", &system_)}) {
    if (!zeile.contains(name)) continue;
    auto werte = Klang::lies(zeile[name]);
    if (!werte) falsch("no sound: " + zeile.dump());
    klaenge.emplace_back(&spur->klang, *std::move(werte));
  }
  const auto halter = Klang::halte();
  const double beginn = skriptZeit(Uhr::now());  // every block so far ends before it
  for (auto& [klang, werte] : klaenge)
    klang->beginne(beginn, std::move(werte));
}

// False at the script's end.
bool Drehbuch::naechsteZeile() {
  std::string text;
  if (!std::getline(skript_, text)) return false;
  const json zeile = json::parse(text);
  const std::string was = zeile.at("tu");
  const auto tat = taten_.find(was);
  if (tat == taten_.end()) falsch("unknown: " + text);
  tat->second(zeile);
  return true;
}

void Drehbuch::folge() {
  while (naechsteZeile()) {
  }
}

// What was put off with dispatch_after comes in real time.
void Drehbuch::lassUhrLaufen() {
  auto zuletzt = Uhr::now();
  while (true) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const auto jetzt = Uhr::now();
    lassZeitVergehen(std::chrono::duration<double>(jetzt - zuletzt).count());
    zuletzt = jetzt;
  }
}

void Drehbuch::beginne(const char* pfad) {
  static_cast<void>(skriptNull());
  skript_.open(pfad);
  trageEin();
  bild_.starte();
  while (!los_ && naechsteZeile()) {
  }
  mikro_.starte();
  system_.starte();
  std::thread([this] { folge(); }).detach();
  std::thread([this] { lassUhrLaufen(); }).detach();
}

void Drehbuch::protokolliere(const char* pfad) const {
  const double unix =
      std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  json inhalt;
  inhalt["unixBeiHost0"] = unix - hostZeit(skriptZeit(Uhr::now()));
  inhalt["bilder"] = bild_.bilder();
  inhalt["schreiber"] = {{"zeiten", schreiber::zeiten()},
                         {"rufe", schreiber::rufe()},
                         {"einstellungen", schreiber::einstellungen()}};
  inhalt["zuFrueh"] = schreiber::zuFruehFreigegeben() + bildschirm::zuFruehFreigegeben();
  inhalt["falscheFreigaben"] = mikrofon::falscheFreigaben();
  inhalt["ohnePool"] = laufzeit::ohnePool();
  inhalt["beobachter"] = beobachter();
  inhalt["aktivitaeten"] = aktivitaeten();
  inhalt["fensterserver"] = fensterserver();
  std::ofstream(pfad) << inhalt.dump();
}

Drehbuch* drehbuch = nullptr;

[[gnu::constructor]] void beginneVorMain() {
  const char* pfad = std::getenv("HALLKORB_DREHBUCH");
  if (pfad == nullptr) return;
  drehbuch = new Drehbuch;
  drehbuch->beginne(pfad);
  std::atexit([] {
    const char* ziel = std::getenv("HALLKORB_PROTOKOLL");
    if (ziel == nullptr) return;
    // What is local to this thread is gone already, its autorelease pools too.
    std::thread([ziel] { drehbuch->protokolliere(ziel); }).join();
  });
}

}  // namespace
}  // namespace hallkorb::ersatz
