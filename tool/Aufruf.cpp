#include "tool/Aufruf.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <string_view>

#include "session/Sitzungsordner.h"

namespace hallkorb {
namespace {

constexpr char OPTIONEN[] = "Optionen";
constexpr double HOECHSTES_TEMPO = 1e6;

// CLI11 speaks English; what it prints by itself is named in German here.
void sprichDeutsch(CLI::App& app) {
  const auto form = app.get_formatter();
  form->label("Usage", "Aufruf");
  form->label("OPTIONS", "OPTIONEN");
  form->label("SUBCOMMAND", "BEFEHL");
  form->label("SUBCOMMANDS", "BEFEHLE");
  form->label("Positionals", "Angaben");
  form->label("REQUIRED", "");
  form->label("TEXT", "");
}

CLI::App* neuerBefehl(CLI::App& app, const char* name, const char* text, Aufruf& aufruf,
                      Befehl befehl, bool ordnerNoetig = true) {
  CLI::App* neuer = app.add_subcommand(name, text);
  neuer->group("Befehle");
  neuer->set_help_flag("-h,--help", "diese Hilfe")->group(OPTIONEN);
  sprichDeutsch(*neuer);
  if (ordnerNoetig) {
    neuer->add_option("ORDNER", aufruf.ordner, "der aufgenommene Ordner")->required();
  } else {
    neuer->add_option("ORDNER", aufruf.ordner, "der Ordner, in den aufgenommen werden soll");
  }
  neuer->callback([&aufruf, befehl] { aufruf.befehl = befehl; });
  return neuer;
}

int meldeFehler(const CLI::App& app, const CLI::ParseError& fehler) {
  std::string grund = "der Aufruf ist nicht verstaendlich: " + zeigbar(fehler.what());
  if (dynamic_cast<const CLI::RequiredError*>(&fehler) != nullptr) {
    grund = app.get_subcommands().empty() ? "es fehlt ein Befehl" : "es fehlt ein Ordner";
    if (std::string_view(fehler.what()).starts_with("--out")) grund = "es fehlt --out ORDNER";
  }
  if (dynamic_cast<const CLI::ExtrasError*>(&fehler) != nullptr) {
    grund = "unbekannte Angabe:";
    for (const std::string& wort : app.remaining(true))
      grund += " " + zeigbar(wort);
  }
  std::fprintf(stderr, "hallkorb-sitzung: %s\nMehr mit hallkorb-sitzung --help\n", grund.c_str());
  return UNMOEGLICH;
}

void beschreibeZusammen(CLI::App& app, Aufruf& aufruf) {
  CLI::App* zusammen = neuerBefehl(
      app, "zusammen", "fuegt Ton, Marken und Video fuer Abspieler und Schnittprogramme zusammen",
      aufruf, Befehl::zusammen);
  zusammen
      ->add_option("--nach", aufruf.ziel,
                   "Ordner fuer die Ergebnisse statt der aufgenommene selbst")
      ->option_text("ORDNER")
      ->group(OPTIONEN);
  zusammen
      ->add_flag("--einzeln", aufruf.einzeln,
                 "eine Tondatei fuer jeden Kanal statt einer in Stereo")
      ->group(OPTIONEN);
  zusammen->add_flag("--ohne-video", aufruf.ohneVideo, "kein Video")->group(OPTIONEN);
}

void beschreibeAbspielen(CLI::App& app, Aufruf& aufruf) {
  CLI::App* abspielen =
      neuerBefehl(app, "abspielen", "spielt die Aufnahme einem Programm vor, wie hallkorb selbst",
                  aufruf, Befehl::abspielen);
  // A host calls it as it calls the recorder, with options that mean nothing here.
  abspielen->allow_extras();
  abspielen->add_option("--out", aufruf.ziel, "Ordner, in dem die Dateien erscheinen")
      ->option_text("ORDNER")
      ->take_last()
      ->required()
      ->group(OPTIONEN);
  abspielen
      ->add_option("--tempo", aufruf.tempo,
                   "so vielmal so schnell wie aufgenommen; 0: so schnell es geht")
      ->option_text("ZAHL")
      ->check(CLI::Range(0.0, HOECHSTES_TEMPO))
      ->group(OPTIONEN);
}

void beschreibeArzt(CLI::App& app, Aufruf& aufruf) {
  CLI::App* arzt =
      neuerBefehl(app, "arzt", "untersucht, was auf diesem Rechner zum Aufnehmen fehlt", aufruf,
                  Befehl::arzt, false);
  arzt->add_flag("--echo", aufruf.echo,
                 "spielt einen leisen Pruefton und misst das Echo im Mikrofon")
      ->group(OPTIONEN);
}

}  // namespace

std::variant<Aufruf, int> liesAufruf(int anzahl, const char* const* worte) {
  Aufruf aufruf;
  CLI::App app(
      "Zeigt aufgenommene Ordner von hallkorb, sieht sie nach, repariert sie, fuegt sie zusammen "
      "und spielt sie vor.",
      "hallkorb-sitzung");
  app.set_help_flag("-h,--help", "diese Hilfe")->group(OPTIONEN);
  app.set_version_flag("--version", "hallkorb-sitzung " HALLKORB_VERSION, "die Version")
      ->group(OPTIONEN);
  sprichDeutsch(app);
  app.footer("Status: 0 alles gut, 1 etwas ist auffaellig, 2 falscher Aufruf oder nicht moeglich.");
  app.require_subcommand(1);
  neuerBefehl(app, "bericht",
              "macht daraus die Seite sitzung.html, zum Ansehen und Anhoeren im Browser", aufruf,
              Befehl::bericht);
  neuerBefehl(app, "pruefen", "prueft jede Datei gegen ihre Zeile und ihren Kopf", aufruf,
              Befehl::pruefen);
  neuerBefehl(app, "reparieren", "setzt instand, was ein Abbruch hinterlassen hat", aufruf,
              Befehl::reparieren);
  beschreibeZusammen(app, aufruf);
  beschreibeAbspielen(app, aufruf);
  beschreibeArzt(app, aufruf);
  try {
    app.parse(anzahl, worte);
  } catch (const CLI::Success& erfolg) {
    return app.exit(erfolg);
  } catch (const CLI::ParseError& fehler) {
    return meldeFehler(app, fehler);
  }
  return aufruf;
}

}  // namespace hallkorb
