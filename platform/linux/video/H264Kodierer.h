// The encoder: frames in, H.264 packets out.
//
// libx264 by way of libavcodec, or another encoder of the installed libraries: not every
// distribution may ship libx264. Then libopenh264, and last that of a graphics card (VA-API,
// Grafikspeicher.h), which differs from card to card. Each is opened for a trial: Fedora has an
// empty libopenh264 in the place of the real one, and not every card encodes. The settings, and
// why:
// - for libx264 profile Main; no B frames and no lookahead (tune zerolatency): a picture comes out
//   when it goes in, so nothing is lost in the encoder if the process dies, and a single picture is
//   a video.
// - preset superfast: measured here it costs two thirds of veryfast, and a window's picture gains
//   more from the settings below than from the search that it leaves out (bench/bildguete.py).
// - key frames at their distance only, not where a scene seems to change: a window in which a film
//   plays would be full of them, at the cost of everything between.
// - one thread: at 15 pictures a second there is time, and every further thread costs a frame of
//   delay and of memory.
// - every picture as good as the next (crf), within a buffer of three seconds at the bit rate, of
//   which two are there at the beginning. It fills with the time that passes and not with the
//   pictures, so that a page or a slide is sharp although it is a single picture.
// - the same quality in flat and in busy parts of a picture (aq-mode 0): the bits that flat parts
//   would get are spent on a camera's noise, and text needs them itself.
// - chroma finer than brightness (chromaoffset): coloured text and lines lose most there, and
//   chroma takes few bits.
//
// libopenh264 drops frames to keep its rate and gives no packet for them; the picture before then
// stays for longer.
//
// A graphics card gets a quality that is limited by the rate if its driver can do that, otherwise
// the rate alone; one picture at a time, so that here too its packet comes at once; and no
// supplemental messages, whose times assume a constant distance of the pictures.
//
// One thread at a time.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "base/Fehler.h"
#include "platform/linux/video/Grafikspeicher.h"
#include "platform/linux/video/Libav.h"
#include "platform/VideoWriter.h"

namespace hallkorb {

// An encoder of libavcodec with the options of its own.
struct H264Art {
  using Option = std::pair<const char*, const char*>;

  const char* name;
  AVPixelFormat format;
  std::span<const Option> optionen;
  // The folder of the devices' nodes if it takes its frames from a graphics card; otherwise null.
  const char* geraete = nullptr;
};

class H264Kodierer {
 public:
  // Ticks in a second, of all times of frames and packets. A duration in MP4 has 31 bits: with
  // these a picture may last for 59 hours, with the customary 90000 it would be six and a half.
  static constexpr int TICKS = 10000;

  // All kinds, the best one first. One encoder may come in several, for devices that cannot do the
  // first.
  [[nodiscard]] static std::span<const H264Art> arten();
  // The first one that opens, tried with a video of the usual size; null if none does. Logs another
  // encoder than the first.
  [[nodiscard]] static const H264Art* waehle(std::span<const H264Art> arten);
  // The best of all; only the first call tries.
  [[nodiscard]] static const H264Art* vorhandene();

  [[nodiscard]] Ergebnis oeffne(const VideoEinstellungen& einstellungen, const H264Art& art);
  // Encodes a frame; its time must be greater than that of the one before. The packet is valid
  // until the next call; null if the encoder has dropped the frame.
  [[nodiscard]] Ergebnis kodiere(const AVFrame& bild, AVPacket*& paket);
  // The description of the stream for the head of a file. After oeffne().
  [[nodiscard]] const AVCodecContext& strom() const { return *kodierer_; }

 private:
  [[nodiscard]] Ergebnis oeffneAuf(const std::string* knoten,
                                   const VideoEinstellungen& einstellungen, const H264Art& art,
                                   const AVCodec& codec);
  void stelleEin(const VideoEinstellungen& einstellungen);
  void gibZeit(std::int64_t pts);

  std::optional<Grafikspeicher> grafik_;
  LibavZeiger<AVCodecContext> kodierer_;
  std::int64_t letzte_ = 0;  // time of the last frame
  LibavZeiger<AVPacket> paket_;
};

}  // namespace hallkorb
