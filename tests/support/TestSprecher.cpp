// Speaks for scripts, at 48 kHz: the samples of its argument as 32-bit floats on standard output.
//
//   testsprecher fern|nah TEXT
#include <cstddef>
#include <cstdio>
#include <string_view>
#include <vector>

#include "tests/support/Sprecher.h"

int main(int argc, char** argv) {
  const std::string_view wer = argc == 3 ? argv[1] : "";
  if (wer != "fern" && wer != "nah") {
    std::fputs("usage: testsprecher fern|nah TEXT\n", stderr);
    return 2;
  }
  hallkorb::Sprecher sprecher(wer == "fern" ? hallkorb::FERNE_STIMME : hallkorb::NAHE_STIMME,
                              48000.0);
  const std::vector<double> gesprochen = sprecher.sprich(argv[2]);
  const std::vector<float> samples(gesprochen.begin(), gesprochen.end());
  const std::size_t geschrieben =
      std::fwrite(samples.data(), sizeof(float), samples.size(), stdout);
  return geschrieben == samples.size() && std::fflush(stdout) == 0 ? 0 : 1;
}
