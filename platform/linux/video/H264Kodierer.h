// The encoder: frames in, H.264 packets out, one for one.
//
// libx264 by way of libavcodec. The settings beside those of the recording, and why:
// - profile Main; no B frames and no lookahead (tune zerolatency): a picture comes out when it goes
//   in, so nothing is lost in the encoder when the process dies, and a single picture is a video.
// - preset superfast: measured here it costs two thirds of veryfast, and a window's picture, text
//   and flat areas, gains little from the search that it leaves out.
// - key frames at their distance only, not where a scene seems to change: a window in which a film
//   plays would be full of them, at the cost of everything between.
// - one thread: at 15 pictures a second there is time, and every further thread costs a frame of
//   delay and of memory.
// - the rate is averaged with a buffer of two seconds and a peak of one and a half times the
//   average. It is meant for the full number of pictures: where fewer come, fewer bits do.
//
// One thread at a time.
#pragma once

#include <cstdint>

#include "base/Fehler.h"
#include "platform/linux/video/Libav.h"
#include "platform/VideoWriter.h"

namespace hallkorb {

class H264Kodierer {
 public:
  // Ticks in a second, of all times of frames and packets. A duration in MP4 has 31 bits: with
  // these a picture may last for 59 hours, with the customary 90000 it would be six and a half.
  static constexpr int TAKT = 10000;

  [[nodiscard]] static bool vorhanden();

  [[nodiscard]] Ergebnis oeffne(const VideoEinstellungen& einstellungen);
  // Encodes a frame; its time must be greater than that of the one before. The packet is valid
  // until the next call.
  [[nodiscard]] Ergebnis kodiere(const AVFrame& bild, AVPacket*& paket);
  // What a file says of the stream in its head. After oeffne().
  [[nodiscard]] const AVCodecContext& strom() const { return *kodierer_; }

 private:
  LibavZeiger<AVCodecContext> kodierer_;
  LibavZeiger<AVPacket> paket_;
};

}  // namespace hallkorb
