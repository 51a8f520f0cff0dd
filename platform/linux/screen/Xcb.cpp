#include "platform/linux/screen/Xcb.h"

namespace hallkorb {

HALLKORB_XCB(HALLKORB_DEFINIERE)
HALLKORB_XCB_COMPOSITE(HALLKORB_DEFINIERE)
HALLKORB_XCB_DAMAGE(HALLKORB_DEFINIERE)
HALLKORB_XCB_RES(HALLKORB_DEFINIERE)
HALLKORB_XCB_SHM(HALLKORB_DEFINIERE)
HALLKORB_XCB_XFIXES(HALLKORB_DEFINIERE)
HALLKORB_XAU(HALLKORB_DEFINIERE)
HALLKORB_XCB_ERWEITERUNGEN(HALLKORB_DEFINIERE)

namespace {

Ergebnis lade() {
  {
    Bibliothek bibliothek("libxcb.so.1");
    HALLKORB_XCB(HALLKORB_FINDE)
    if (Ergebnis ergebnis = bibliothek.ergebnis("x11"); ergebnis.gescheitert()) return ergebnis;
  }
  {
    Bibliothek bibliothek("libxcb-composite.so.0");
    HALLKORB_XCB_COMPOSITE(HALLKORB_FINDE)
    HALLKORB_FINDE(xcb_composite_id)
    if (Ergebnis ergebnis = bibliothek.ergebnis("x11"); ergebnis.gescheitert()) return ergebnis;
  }
  {
    Bibliothek bibliothek("libxcb-damage.so.0");
    HALLKORB_XCB_DAMAGE(HALLKORB_FINDE)
    HALLKORB_FINDE(xcb_damage_id)
    if (Ergebnis ergebnis = bibliothek.ergebnis("x11"); ergebnis.gescheitert()) return ergebnis;
  }
  {
    Bibliothek bibliothek("libxcb-res.so.0");
    HALLKORB_XCB_RES(HALLKORB_FINDE)
    HALLKORB_FINDE(xcb_res_id)
    if (Ergebnis ergebnis = bibliothek.ergebnis("x11"); ergebnis.gescheitert()) return ergebnis;
  }
  {
    Bibliothek bibliothek("libxcb-shm.so.0");
    HALLKORB_XCB_SHM(HALLKORB_FINDE)
    HALLKORB_FINDE(xcb_shm_id)
    if (Ergebnis ergebnis = bibliothek.ergebnis("x11"); ergebnis.gescheitert()) return ergebnis;
  }
  {
    Bibliothek bibliothek("libxcb-xfixes.so.0");
    HALLKORB_XCB_XFIXES(HALLKORB_FINDE)
    HALLKORB_FINDE(xcb_xfixes_id)
    if (Ergebnis ergebnis = bibliothek.ergebnis("x11"); ergebnis.gescheitert()) return ergebnis;
  }
  {
    Bibliothek bibliothek("libXau.so.6");
    HALLKORB_XAU(HALLKORB_FINDE)
    if (Ergebnis ergebnis = bibliothek.ergebnis("x11"); ergebnis.gescheitert()) return ergebnis;
  }
  return {};
}

}  // namespace

Ergebnis ladeXcb() {
  static const Ergebnis ergebnis = lade();
  return ergebnis;
}

}  // namespace hallkorb
