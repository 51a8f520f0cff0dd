// Frames in a graphics card's memory, for an encoder that reads them there (VA-API).
//
// The device is opened by its render node, which needs neither a screen nor a right that users
// lack. Never by way of a display: Xlib ends the process when the X server goes away, and with it
// the sound. A computer may have several cards of which only one encodes, so the caller tries
// the nodes in turn.
//
// Cards take NV12, the one layout that every driver has: brightness as the writer's frames have it,
// both chroma values in one plane. The frame is made so here and then copied over.
//
// One thread at a time.
#pragma once

#include <string>
#include <vector>

#include "base/Fehler.h"
#include "platform/linux/video/Libav.h"

namespace hallkorb {

class Grafikspeicher {
 public:
  // The render nodes in `ordner`, in their order; none if there is no graphics card.
  [[nodiscard]] static std::vector<std::string> knoten(const std::string& ordner);

  // Opens the device and lets `kodierer`, whose size is set and which is not open yet, take its
  // frames from there.
  [[nodiscard]] Ergebnis oeffne(const std::string& knoten, AVCodecContext& kodierer);
  // Copies a frame (AV_PIX_FMT_YUV420P) into the device's memory. The copy is valid until the next
  // call.
  [[nodiscard]] Ergebnis lade(const AVFrame& bild, const AVFrame*& kopie);

 private:
  LibavZeiger<AVBufferRef> rahmen_;  // the pool of frames, which holds the device
  LibavZeiger<AVFrame> nv12_;
  LibavZeiger<AVFrame> kopie_;
};

}  // namespace hallkorb
