// Removes what the loudspeakers played from what the microphone heard.
#include <array>
#include <cstdio>
#include <exception>
#include <hallkorb/audio.hpp>

using namespace hallkorb::audio;

int main(int argc, char** argv) try {
  if (argc != 4) throw std::invalid_argument("usage: clean MICROPHONE REFERENCE CLEANED");
  WavReader microphone(argv[1]);
  WavReader reference(argv[2]);
  if (microphone.rate() != HALLKORB_ECHO_RATE || reference.rate() != HALLKORB_ECHO_RATE)
    throw std::invalid_argument("both files must be at 16 kHz");
  WavWriter cleaned(argv[3], HALLKORB_ECHO_RATE);
  Echo echo([&](std::span<const float> samples, std::span<const std::uint8_t>) {
    cleaned.write(samples);
  });
  std::array<float, 4800> room{};
  for (std::size_t read = 1; read > 0;) {  // 0.3 s at a time
    const std::span<const float> far = reference.read(room);
    read = far.size();
    echo.reference(far);
    const std::span<const float> near = microphone.read(room);
    read += near.size();
    echo.microphone(near);
  }
  echo.finish();
  cleaned.finish();
  std::puts(echo.statistics().c_str());
} catch (const std::exception& error) {
  std::fprintf(stderr, "clean: %s\n", error.what());
  return 1;
}
