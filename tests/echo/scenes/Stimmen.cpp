#include "tests/echo/scenes/Stimmen.h"

#include "tests/support/Sprecher.h"

namespace hallkorb::szenen {

namespace {

const char* const FERN =
    "Guten Morgen zusammen. Ich fange gleich mit dem Bericht an. Im letzten Quartal haben wir acht "
    "Anlagen geliefert, zwei mehr als geplant. Die Zahlen aus Hamburg fehlen noch, aber sie werden "
    "das Bild kaum ändern. Der Verbrauch ist um ein Fünftel gesunken. Das freut vor allem die "
    "Kollegen im Einkauf. Am Donnerstag stelle ich alles noch einmal ausführlich vor, bis dahin "
    "nehme ich gern Fragen auf. Wer die Unterlagen nicht bekommen hat, meldet sich bitte bei mir.";
const char* const NAH =
    "Das klingt gut. Ich hätte dazu zwei Fragen. Wie lange läuft die neue Anlage schon ohne "
    "Störung, und wer übernimmt die Wartung im Sommer? Mir wäre wichtig, dass wir das vor der "
    "Urlaubszeit klären. Den Bericht lese ich heute Abend noch einmal in Ruhe durch. Vielleicht "
    "können wir den Termin auf den Vormittag legen, am Nachmittag bin ich unterwegs.";

}  // namespace

Stimmen stimmen() {
  return {Sprecher(FERNE_STIMME, RATE).sprich(FERN), Sprecher(NAHE_STIMME, RATE).sprich(NAH)};
}

}  // namespace hallkorb::szenen
