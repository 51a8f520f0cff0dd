// The program: reads the command line, picks the platform and one mode, and runs it.

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "base/Abbruch.h"
#include "base/Signalhalt.h"
#include "driver/Config.h"
#include "driver/modes/EchoDatei.h"
#include "driver/modes/FensterModi.h"
#include "driver/modes/LiveAufnahme.h"
#include "driver/modes/Selbsttest.h"
#include "platform/DiesePlattform.h"

namespace {

// A host may start the program with standard streams closed. The next file opened would get such a
// number, and the lines meant for the host would go into a recording. It is opened for reading
// only, so that a write to it fails as it should.
void besetzeStandardstroeme() {
  int deskriptor = 0;
  do {
    deskriptor = ::open("/dev/null", O_RDONLY);  // NOLINT(cppcoreguidelines-pro-type-vararg)
  } while (deskriptor >= 0 && deskriptor <= 2);
  if (deskriptor > 2) ::close(deskriptor);
}

}  // namespace

int main(int argc, char** argv) {
  besetzeStandardstroeme();
#if defined(__GLIBC__)
  // Each thread's own arena reserves 64 MB of addresses: with a limit on them, a thread would get
  // no memory while most of it lies unused.
  mallopt(M_ARENA_MAX, 2);
#endif
  // A failed write shows that the reader is gone; the signal would end the process.
  std::signal(SIGPIPE, SIG_IGN);
  // The same for a limit of file sizes: the recording loses that file, not everything.
  std::signal(SIGXFSZ, SIG_IGN);
  hallkorb::meldeAbstuerze();
  hallkorb::cfg = hallkorb::parseArgs(argc, argv);

  const hallkorb::Modus modus = hallkorb::modus(hallkorb::cfg);
  if (modus != hallkorb::Modus::live) hallkorb::gibSignaleFrei();

  const auto plattform = hallkorb::diesePlattform();
  switch (modus) {
    case hallkorb::Modus::echoDatei:
      return hallkorb::echoDatei(hallkorb::cfg);
    case hallkorb::Modus::zeitachseTest:
      return hallkorb::zeitachseTest(*plattform);
    case hallkorb::Modus::fensterWahl:
      return hallkorb::fensterWahl(*hallkorb::cfg.fensterWahl);
    case hallkorb::Modus::fensterProbe:
      return hallkorb::fensterProbe(*plattform, hallkorb::cfg.alleFenster);
    case hallkorb::Modus::live:
      break;
  }
  return hallkorb::LiveAufnahme(hallkorb::cfg, *plattform).laufe();
}
