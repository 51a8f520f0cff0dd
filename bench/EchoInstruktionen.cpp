// Does one part of the echo path's work a given number of times; bench/echo-instructions runs it
// under callgrind to count instructions.
//
//   echo_instruktionen fft512|fft131072|block|analysis|path TIMES
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string_view>
#include <vector>

#include "echo/DFeld.h"
#include "echo/EchoStrecke.h"
#include "echo/KFFT.h"
#include "echo/Verzoegerungsschaetzer.h"
#include "tests/echo/scenes/Szene.h"

namespace {

using namespace hallkorb;

void transformiere(std::uint64_t log2n, int male) {
  KFFT fft(log2n);
  DFeld re(fft.n);
  DFeld im(fft.n);
  re[1] = 1.0;
  for (int i = 0; i < male; ++i)
    fft.vor(re.p, im.p);
}

void bloecke(const std::vector<double>& x, int male) {
  Echokompensation ec(20);
  constexpr int LERNEN = 150;  // blocks until the canceller leaves its start-up phase
  for (int i = 0; i < LERNEN + male; ++i) {
    const std::size_t stelle = static_cast<std::size_t>(i % 200) * 256;
    ec.block({x.data() + stelle + 200, 256}, {x.data() + stelle, 512});
  }
}

void analysen(const std::vector<double>& x, int male) {
  Verzoegerungsschaetzer schaetzer;
  schaetzer.fuettern({x.data(), 44800}, {x.data() + 1000, 44800});
  for (int i = 0; i < male; ++i) {
    schaetzer.fuettern({x.data(), 8000}, {x.data() + 1000, 8000});
  }
}

// `male` seconds of conversation.
void strecke(int male) {
  const auto szene = szenen::szene({.name = "", .sekunden = 6.0, .fern = {{0.0, 6.0}}});
  EchoStrecke echo(20);
  for (int i = 0; i < male; ++i) {
    const std::size_t ab = static_cast<std::size_t>(i % 6) * 16000;
    echo.referenz({szene.referenz.data() + ab, 16000});
    echo.mikro({szene.mikro.data() + ab, 16000});
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  const std::string_view was = argv[1];
  const int male = std::atoi(argv[2]);
  szenen::Signal x = szenen::kunstsprache(4.0, 1);
  for (double& v : x)
    v *= 32768.0;
  if (was == "fft512") {
    transformiere(9, male);
  } else if (was == "fft131072") {
    transformiere(17, male);
  } else if (was == "block") {
    bloecke(x, male);
  } else if (was == "analysis") {
    analysen(x, male);
  } else if (was == "path") {
    strecke(male);
  } else {
    std::fputs("unknown work\n", stderr);
    return 2;
  }
  return 0;
}
