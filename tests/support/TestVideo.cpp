// testvideo: records pictures into a file until it is killed, for tests of what is left then.
//
//   testvideo FILE PICTURES_PER_SECOND COUNT
//
// Writes COUNT moving pictures at their real times, then stays alive. A line on standard output
// ("NUMBER TIME", time from the first picture) comes after the writer has taken that picture.
#include <poll.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "platform/HostClock.h"
#include "platform/linux/LinuxHostClock.h"
#include "platform/linux/video/H264Schreiber.h"
#include "platform/linux/video/Libav.h"
#include "tests/support/Testbild.h"

int main(int argc, char** argv) {
  using namespace hallkorb;
  if (argc != 4) return 2;
  const double abstand = 1.0 / std::strtod(argv[2], nullptr);
  const int anzahl = std::atoi(argv[3]);
  LinuxHostClock uhr;
  setzeHostClock(uhr);
  if (ladeLibav().gescheitert()) return 2;
  H264Schreiber schreiber(argv[1], {1280, 800, 1'400'000, 30, 15.0});
  Testbild bild(640, 400, 0x2060A0);
  const double basis = hostSekunden();
  if (!schreiber.starte(basis)) return 1;
  for (int i = 0; i < anzahl; ++i) {
    bild.fuelle(0, 0, 640, 400, 0x2060A0);
    bild.fuelle(i * 5 % 600, 0, 40, 400, 0xE0C020);
    // On a busy machine the encoder may be late.
    while (schreiber.schreibt() && !schreiber.bereit())
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const double zeit = i == 0 ? basis : hostSekunden();
    if (!schreiber.haengeAn(bild.alsBild(zeit))) return 1;
    std::printf("%d %.4f\n", i, zeit - basis);
    std::fflush(stdout);
    std::this_thread::sleep_for(std::chrono::duration<double>(abstand));
  }
  char ende = 0;
  return ::read(STDIN_FILENO, &ende, 1) == 0 ? 0 : 1;
}
