// hallkorb-sitzung: the second program, for people. It looks at what the recorder has left.
#include <csignal>
#include <variant>

#include "base/Signalhalt.h"
#include "platform/DiesePlattform.h"
#include "tool/Aufruf.h"
#include "tool/Befehle.h"

namespace {

int fuehreAus(int argc, char** argv) {
  const auto aufruf = hallkorb::liesAufruf(argc, argv);
  if (const int* status = std::get_if<int>(&aufruf)) return *status;
  const auto& was = std::get<hallkorb::Aufruf>(aufruf);
  // Only a playback ends as a recording does.
  if (was.befehl != hallkorb::Befehl::abspielen) hallkorb::gibSignaleFrei();
  return hallkorb::fuehreAus(was, hallkorb::diesePlattform);
}

}  // namespace

int main(int argc, char** argv) {
  // A failed write shows that the reader is gone; the signal would end the process.
  std::signal(SIGPIPE, SIG_IGN);
  const int status = fuehreAus(argc, argv);
  // "All is well" is not said by a report of which nothing has arrived.
  return hallkorb::ausgabeGeschrieben() ? status : hallkorb::UNMOEGLICH;
}
