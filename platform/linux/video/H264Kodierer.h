// The encoder: frames in, H.264 packets out.
//
// libx264 by way of libavcodec, or another encoder of the installed libraries: not every
// distribution may ship libx264. Encoders that want frames in a graphics card's memory (VA-API and
// its like) are left out: they need a device, which the private screen of a server lacks. The
// settings, and why:
// - for libx264 profile Main; no B frames and no lookahead (tune zerolatency): a picture comes out
//   when it goes in, so nothing is lost in the encoder if the process dies, and a single picture is
//   a video.
// - preset superfast: measured here it costs two thirds of veryfast, and a window's picture, text
//   and flat areas, gains nothing from the search that it leaves out (bench/bildguete.py).
// - key frames at their distance only, not where a scene seems to change: a window in which a film
//   plays would be full of them, at the cost of everything between.
// - one thread: at 15 pictures a second there is time, and every further thread costs a frame of
//   delay and of memory.
// - every picture as good as the next (crf), as far as a buffer of two seconds lasts that fills at
//   the rate. It fills by the time that has passed and not by pictures, so that a page or a slide
//   is sharp although it is a single picture.
//
// libopenh264 drops frames to keep its rate and gives no packet for them; the picture before then
// stays for longer.
//
// One thread at a time.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <utility>

#include "base/Fehler.h"
#include "platform/linux/video/Libav.h"
#include "platform/VideoWriter.h"

namespace hallkorb {

// An encoder of libavcodec with the options of its own.
struct H264Art {
  using Option = std::pair<const char*, const char*>;

  const char* name;
  AVPixelFormat format;
  std::span<const Option> optionen;
};

class H264Kodierer {
 public:
  // Ticks in a second, of all times of frames and packets. A duration in MP4 has 31 bits: with
  // these a picture may last for 59 hours, with the customary 90000 it would be six and a half.
  static constexpr int TICKS = 10000;

  // The first of the usable encoders, the best one first, whose name `gibtEs` knows; null if it
  // knows none.
  [[nodiscard]] static std::span<const H264Art> arten();
  [[nodiscard]] static const H264Art* waehle(const std::function<bool(const char*)>& gibtEs);
  // The best one that the libraries offer, or null. The first call logs one that is not the usual
  // one.
  [[nodiscard]] static const H264Art* vorhandene();

  [[nodiscard]] Ergebnis oeffne(const VideoEinstellungen& einstellungen, const H264Art& art);
  // Encodes a frame; its time must be greater than that of the one before. The packet is valid
  // until the next call; null if the encoder has dropped the frame.
  [[nodiscard]] Ergebnis kodiere(const AVFrame& bild, AVPacket*& paket);
  // The description of the stream for the head of a file. After oeffne().
  [[nodiscard]] const AVCodecContext& strom() const { return *kodierer_; }

 private:
  void gibZeit(std::int64_t pts);

  LibavZeiger<AVCodecContext> kodierer_;
  std::int64_t letzte_ = 0;  // time of the last frame
  LibavZeiger<AVPacket> paket_;
};

}  // namespace hallkorb
