// A video file as ffmpeg and ffprobe see it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace hallkorb {

struct VideoPaket {
  double zeit = 0.0;
  double dauer = 0.0;
  bool schluesselbild = false;
};

// What every film's stream is, whichever encoder made it.
inline const std::map<std::string, std::string> STROM = {
    {"codec_name", "h264"},      {"profile", "Main"},      {"pix_fmt", "yuv420p"},
    {"color_range", "tv"},       {"color_space", "bt709"}, {"color_primaries", "bt709"},
    {"color_transfer", "bt709"}, {"has_b_frames", "0"}};

// The properties of the file's only stream, and "format.…" for those of the file.
[[nodiscard]] std::map<std::string, std::string> videoEigenschaften(const std::string& pfad);
[[nodiscard]] std::vector<VideoPaket> videoPakete(const std::string& pfad);
// The complaints of decoding all of it; empty if there are none.
[[nodiscard]] std::string dekodierFehler(const std::string& pfad);

// A decoded picture, three bytes for each pixel.
struct VideoBild {
  int breite = 0;
  int hoehe = 0;
  std::string punkte;

  // The colour as 0xRRGGBB.
  [[nodiscard]] std::uint32_t farbe(int x, int y) const;
};

// The picture that a player shows at `zeit`.
[[nodiscard]] VideoBild videoBild(const std::string& pfad, double zeit, int breite = 1280,
                                  int hoehe = 800);

// The greatest difference of two colours in red, green or blue.
[[nodiscard]] int farbAbstand(std::uint32_t a, std::uint32_t b);

}  // namespace hallkorb
