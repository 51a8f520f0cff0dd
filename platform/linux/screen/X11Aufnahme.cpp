#include "platform/linux/screen/X11Aufnahme.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <utility>

#include "platform/HostClock.h"
#include "platform/linux/screen/Xcb.h"

namespace hallkorb {
namespace {

constexpr std::string_view TITEL = "_NET_WM_NAME";

Fehler fehlt(const std::string& erweiterung) {
  return nichtAufnehmbar("dem X-Server fehlt die Erweiterung " + erweiterung);
}

bool vorhanden(xcb_connection_t* c, xcb_extension_t* erweiterung) {
  const auto* daten = xcb_get_extension_data(c, erweiterung);
  return daten != nullptr && daten->present != 0;
}

}  // namespace

X11Aufnahme::X11Aufnahme(const X11Verbindung& verbindung, const StreamKonfiguration& konfiguration,
                         bool mitSegment, const AnstrichFristen& fristen)
    : verbindung_(verbindung),
      abstand_(std::chrono::ceil<std::chrono::nanoseconds>(
          std::chrono::duration<double>(konfiguration.kleinsterAbstand))),
      mitZeiger_(konfiguration.mitZeiger),
      mitSegment_(mitSegment),
      fristen_(fristen) {}

Ergebnis X11Aufnahme::beginne() {
  xcb_connection_t* c = verbindung_.get();
  for (xcb_extension_t* erweiterung :
       {xcb_composite_id, xcb_damage_id, xcb_xfixes_id, xcb_shm_id}) {
    xcb_prefetch_extension_data(c, erweiterung);
  }
  if (!vorhanden(c, xcb_composite_id)) return fehlt("Composite");
  if (!vorhanden(c, xcb_damage_id)) return fehlt("DAMAGE");
  if (!vorhanden(c, xcb_xfixes_id)) return fehlt("XFIXES");
  // The server serves a client only after the client has stated its version. Pixmaps can be named
  // since version 0.2 of Composite.
  const auto compositeFrage = xcb_composite_query_version(c, 0, 4);
  const auto damageFrage = xcb_damage_query_version(c, 1, 1);
  const auto xfixesFrage = xcb_xfixes_query_version(c, 4, 0);
  const auto titelFrage =
      xcb_intern_atom(c, 0, static_cast<std::uint16_t>(TITEL.size()), TITEL.data());
  const X11Antwort<xcb_composite_query_version_reply_t> composite(
      xcb_composite_query_version_reply(c, compositeFrage, nullptr));
  const X11Antwort<xcb_damage_query_version_reply_t> damage(
      xcb_damage_query_version_reply(c, damageFrage, nullptr));
  const X11Antwort<xcb_xfixes_query_version_reply_t> xfixes(
      xcb_xfixes_query_version_reply(c, xfixesFrage, nullptr));
  const X11Antwort<xcb_intern_atom_reply_t> titel(xcb_intern_atom_reply(c, titelFrage, nullptr));
  if (auto fehler = verbindung_.verloren()) return *fehler;
  if (titel) titelName_ = titel->atom;
  if (!composite || (composite->major_version == 0 && composite->minor_version < 2)) {
    return fehlt("Composite 0.2");
  }
  if (!damage) return fehlt("DAMAGE");
  if (!xfixes) return fehlt("XFIXES");
  for (auto& ablage : ablagen_)
    ablage.emplace(verbindung_, mitSegment_);
  if (mitZeiger_) zeiger_.emplace(verbindung_);
  return {};
}

Ergebnis X11Aufnahme::waehle(xcb_window_t id) {
  liesEreignisse();
  if (fenster_ && fenster_->id() == id && !fenster_->zerstoert()) {
    fenster_->siehNach();
  } else {
    Fehler fehler;
    auto neues = X11Fenster::neu(verbindung_, id, fehler, fristen_);
    if (!neues) return fehler;
    fenster_ = std::move(neues);
    titelNeu_ = true;
  }
  gezeichnet_.reset();
  return {};
}

bool X11Aufnahme::titelGeaendert() {
  liesEreignisse();
  return std::exchange(titelNeu_, false);
}

bool X11Aufnahme::lesbar() {
  liesEreignisse();
  return !fenster_ || !fenster_->sichtbar() || Uhr::now() >= fenster_->bereitAb();
}

std::optional<Fehler> X11Aufnahme::verschwunden() const {
  if (!fenster_ || !fenster_->zerstoert()) return std::nullopt;
  return fenster_->verschwunden();
}

std::optional<BgrBild> X11Aufnahme::schritt() {
  liesEreignisse();
  if (!fenster_ || !fenster_->sichtbar()) return std::nullopt;
  if (Uhr::now() < std::max(fruehestens_, fenster_->bereitAb())) return std::nullopt;
  if (!fenster_->veraendert()) frageZeiger();
  if (fenster_->veraendert()) return lies();
  fruehestens_ = Uhr::now() + abstand_;
  liesEreignisse();  // some may have come with the answer: polling the socket would not show them
  return std::nullopt;
}

std::optional<X11Aufnahme::Uhr::time_point> X11Aufnahme::naechster() const {
  if (!fenster_ || !fenster_->sichtbar()) return std::nullopt;
  if (!fenster_->veraendert() && !zeiger_) return std::nullopt;
  return std::max(fruehestens_, fenster_->bereitAb());
}

void X11Aufnahme::bieteAn() {
  vergleich_.vergiss();
  if (fenster_) fenster_->setzeVeraendert();
}

void X11Aufnahme::liesEreignisse() {
  xcb_connection_t* c = verbindung_.get();
  while (const X11Antwort<xcb_generic_event_t> ereignis{xcb_poll_for_event(c)}) {
    titelNeu_ = titelNeu_ || istNeuerTitel(*ereignis);
    if (fenster_) fenster_->ereignis(*ereignis);
    if (zeiger_) zeiger_->ereignis(*ereignis);
  }
  xcb_flush(c);
}

bool X11Aufnahme::istNeuerTitel(const xcb_generic_event_t& ereignis) const {
  if ((ereignis.response_type & 0x7F) != XCB_PROPERTY_NOTIFY || !fenster_) return false;
  const auto& meldung = reinterpret_cast<const xcb_property_notify_event_t&>(ereignis);
  return meldung.window == fenster_->id() &&
         (meldung.atom == titelName_ || meldung.atom == XCB_ATOM_WM_NAME);
}

void X11Aufnahme::frageZeiger() {
  if (!zeiger_) return;
  const auto frage = zeiger_->frage(fenster_->id(), fenster_->oberstes());
  if (zeiger_->lies(frage) != gezeichnet_) fenster_->setzeVeraendert();
}

std::optional<BgrBild> X11Aufnahme::lies() {
  // Before the requests: the answer may be late, in the server or in this thread, and the window
  // may have changed by then.
  const double zeit = hostSekunden();
  fruehestens_ = Uhr::now() + abstand_;
  const X11Fenster::Quelle quelle = fenster_->quelle();
  if (quelle.pixmap == XCB_NONE || quelle.breite < 1 || quelle.hoehe < 1) return std::nullopt;

  const bool erstes = fenster_->ungesehen();
  fenster_->nimmVeraendert();
  const std::uint8_t* daten = liesPunkte(quelle);
  fruehestens_ = Uhr::now() + abstand_;
  if (daten == nullptr) {
    vergleich_.vergiss();
    fenster_->verwirfPixmap();
    return std::nullopt;
  }
  // What had become of the window before the picture was read has been reported before its answer:
  // the pixmap may have been replaced or emptied just now.
  liesEreignisse();
  BgrBild bild(zeit, daten, quelle.breite, quelle.hoehe,
               static_cast<std::size_t>(quelle.breite) * 4, fenster_->id());
  const bool bekannt = !erstes && vergleich_.gleich(bild);
  vergleich_.merke(bild);
  if (fenster_->verwirftBild() || bekannt) return std::nullopt;
  return bild;
}

// Waits for the pixels and returns them as a BgrBild has them, with the pointer; null if there are
// none.
const std::uint8_t* X11Aufnahme::liesPunkte(const X11Fenster::Quelle& quelle) {
  ablage_ = (ablage_ + 1) % ablagen_.size();
  Ablage& ablage = *ablagen_[ablage_];
  // Sent together: the pointer is where it was when the picture was taken.
  std::optional<X11Zeiger::Frage> zeigerFrage;
  if (zeiger_) zeigerFrage = zeiger_->frage(fenster_->id(), fenster_->oberstes());
  const X11Punktformat& format = fenster_->punktformat();
  const auto bildFrage =
      ablage.speicher.frage(quelle.pixmap, quelle.x, quelle.y, quelle.breite, quelle.hoehe, format);
  gezeichnet_.reset();
  if (zeigerFrage) gezeichnet_ = zeiger_->lies(*zeigerFrage);
  std::uint8_t* daten = ablage.speicher.lies(bildFrage);
  if (daten == nullptr) return nullptr;
  if (!format.istBgr()) {
    format.wandle({daten, bildFrage.bytes}, quelle.breite, quelle.hoehe, ablage.umgewandelt);
    daten = ablage.umgewandelt.data();
  }
  if (gezeichnet_) {
    zeichneZeiger(zeiger_->form(), gezeichnet_->x - quelle.fensterX,
                  gezeichnet_->y - quelle.fensterY, daten, quelle.breite, quelle.hoehe);
  }
  return daten;
}

}  // namespace hallkorb
