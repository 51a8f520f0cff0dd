#include "platform/linux/screen/X11Bildspeicher.h"

#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/socket.h>

#include <bit>

namespace hallkorb {
namespace {

constexpr std::uint32_t ALLE_EBENEN = 0xFFFFFFFF;

// A port of localhost may be a remote login's way to the server of another computer, which would
// take the number for one of its own segments.
bool istOertlich(int fd) {
  sockaddr_storage adresse{};
  socklen_t laenge = sizeof adresse;
  return ::getsockname(fd, reinterpret_cast<sockaddr*>(&adresse), &laenge) == 0 &&
         adresse.ss_family == AF_UNIX;
}

}  // namespace

X11Bildspeicher::X11Bildspeicher(const X11Verbindung& verbindung, bool mitSegment)
    : verbindung_(verbindung) {
  const auto* erweiterung = xcb_get_extension_data(verbindung.get(), xcb_shm_id);
  geteilt_ = mitSegment && erweiterung != nullptr && erweiterung->present != 0 &&
             istOertlich(xcb_get_file_descriptor(verbindung.get()));
}

X11Bildspeicher::~X11Bildspeicher() {
  gibFrei();
}

X11Bildspeicher::Frage X11Bildspeicher::frage(xcb_drawable_t quelle, int x, int y, int breite,
                                              int hoehe, const X11Punktformat& format) {
  Frage frage;
  frage.bytes = format.zeilenLaenge(breite) * static_cast<std::size_t>(hoehe);
  if (geteilt_ && frage.bytes > groesse_) vergroessere(frage.bytes);
  frage.geteilt = geteilt_;
  const auto links = static_cast<std::int16_t>(x);
  const auto oben = static_cast<std::int16_t>(y);
  const auto w = static_cast<std::uint16_t>(breite);
  const auto h = static_cast<std::uint16_t>(hoehe);
  if (frage.geteilt) {
    frage.perSegment = xcb_shm_get_image(verbindung_.get(), quelle, links, oben, w, h, ALLE_EBENEN,
                                         XCB_IMAGE_FORMAT_Z_PIXMAP, segment_, 0);
  } else {
    frage.perSocket = xcb_get_image(verbindung_.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, quelle, links,
                                    oben, w, h, ALLE_EBENEN);
  }
  return frage;
}

std::uint8_t* X11Bildspeicher::lies(const Frage& frage) {
  if (frage.geteilt) {
    const X11Antwort<xcb_shm_get_image_reply_t> antwort(
        xcb_shm_get_image_reply(verbindung_.get(), frage.perSegment, nullptr));
    return antwort && antwort->size >= frage.bytes ? speicher_ : nullptr;
  }
  antwort_.reset(xcb_get_image_reply(verbindung_.get(), frage.perSocket, nullptr));
  if (!antwort_) return nullptr;
  const int laenge = xcb_get_image_data_length(antwort_.get());
  if (laenge < 0 || static_cast<std::size_t>(laenge) < frage.bytes) return nullptr;
  return xcb_get_image_data(antwort_.get());
}

void X11Bildspeicher::vergroessere(std::size_t bytes) {
  gibFrei();
  const int kennung = ::shmget(IPC_PRIVATE, bytes, IPC_CREAT | 0600);
  void* speicher = kennung >= 0 ? ::shmat(kennung, nullptr, 0) : nullptr;
  if (kennung >= 0 && std::bit_cast<std::intptr_t>(speicher) != -1) {
    segment_ = xcb_generate_id(verbindung_.get());
    const X11Antwort<xcb_generic_error_t> fehler(xcb_request_check(
        verbindung_.get(), xcb_shm_attach_checked(verbindung_.get(), segment_,
                                                  static_cast<std::uint32_t>(kennung), 0)));
    if (!fehler && !verbindung_.verloren()) {
      speicher_ = static_cast<std::uint8_t*>(speicher);
      groesse_ = bytes;
    } else {
      ::shmdt(speicher);
    }
  }
  if (kennung >= 0) ::shmctl(kennung, IPC_RMID, nullptr);
  // A failure is final: the server is on another machine, or the system's limit is reached.
  if (speicher_ == nullptr) geteilt_ = false;
}

void X11Bildspeicher::gibFrei() {
  if (speicher_ == nullptr) return;
  xcb_shm_detach(verbindung_.get(), segment_);
  ::shmdt(speicher_);
  speicher_ = nullptr;
  groesse_ = 0;
}

}  // namespace hallkorb
