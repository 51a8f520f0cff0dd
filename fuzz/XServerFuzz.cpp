// An X server that answers anything: the list of windows, a window's picture and the pointer are
// read without an access beyond an answer's end, and every wait ends.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <vector>

#include "base/Text.h"
#include "fuzz/Bytestrom.h"
#include "fuzz/XServer.h"
#include "platform/linux/screen/FensterInventar.h"
#include "platform/linux/screen/X11Bildspeicher.h"
#include "platform/linux/screen/X11Fenster.h"
#include "platform/linux/screen/X11ScreenCapture.h"
#include "platform/linux/screen/X11Verbindung.h"
#include "platform/linux/screen/X11Zeiger.h"
#include "platform/linux/screen/Zeigerbild.h"

namespace hallkorb {
namespace {

constexpr xcb_window_t FENSTER = 7;

void pruefeListe(const X11Verbindung& verbindung) {
  ScreenContent content;
  if (liesFenster(verbindung, content).gescheitert()) return;
  for (const ScreenWindow& fenster : content.windows) {
    pruefe(!fenster.titel || istUtf8(*fenster.titel));
    pruefe(fenster.breite >= 0 && fenster.hoehe >= 0);
    if (!fenster.anwendung) continue;
    pruefe(istUtf8(fenster.anwendung->bundle) && istUtf8(fenster.anwendung->name));
    pruefe(fenster.anwendung->bundle.find_first_of("\"\\\n") == std::string::npos);
  }
}

void liesBild(const X11Verbindung& verbindung, X11Fenster& fenster) {
  const X11Fenster::Quelle quelle = fenster.quelle();
  if (quelle.pixmap == XCB_NONE || quelle.breite < 1 || quelle.hoehe < 1) return;
  X11Bildspeicher speicher(verbindung, false);
  const auto frage = speicher.frage(quelle.pixmap, quelle.x, quelle.y, quelle.breite, quelle.hoehe,
                                    fenster.punktformat());
  const std::uint8_t* daten = speicher.lies(frage);
  if (daten == nullptr) return;
  std::vector<std::uint8_t> bgr;
  fenster.punktformat().wandle({daten, frage.bytes}, quelle.breite, quelle.hoehe, bgr);
  if (verbindung.verloren()) return;
  X11Zeiger zeiger(verbindung);
  const auto stand = zeiger.lies(zeiger.frage(fenster.id(), fenster.oberstes()));
  if (!stand) return;
  zeichneZeiger(zeiger.form(), stand->x, stand->y, bgr.data(), quelle.breite, quelle.hoehe);
}

void pruefeFenster(const X11Verbindung& verbindung) {
  xcb_connection_t* c = verbindung.get();
  for (xcb_extension_t* erweiterung :
       {xcb_composite_id, xcb_damage_id, xcb_xfixes_id, xcb_shm_id}) {
    const auto* daten = xcb_get_extension_data(c, erweiterung);
    if (daten == nullptr || daten->present == 0) return;
  }
  Fehler fehler;
  const auto fenster = X11Fenster::neu(verbindung, FENSTER, fehler);
  if (!fenster) return;
  for (int k = 0; k < 8 && !verbindung.verloren(); ++k) {
    liesBild(verbindung, *fenster);
    while (const X11Antwort<xcb_generic_event_t> ereignis{xcb_poll_for_event(c)})
      fenster->ereignis(*ereignis);
  }
}

void laufe(XServer& server, std::span<const std::uint8_t> bytes) {
  server.beginne(bytes);
  {
    X11Verbindung verbindung(server.display(), X11ScreenCapture::FRIST);
    pruefe(verbindung.oeffne().gelungen());
    pruefeListe(verbindung);
    if (!verbindung.verloren()) pruefeFenster(verbindung);
  }
  server.warte();
}

}  // namespace
}  // namespace hallkorb

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t anzahl) {
  static hallkorb::XServer server;
  hallkorb::laufe(server, std::span(bytes, anzahl));
  return 0;
}
