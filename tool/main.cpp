// hallkorb-sitzung: the second program, for people. It looks at what the recorder has left.
#include <csignal>
#include <variant>

#include "platform/DiesePlattform.h"
#include "tool/Aufruf.h"
#include "tool/Befehle.h"

int main(int argc, char** argv) {
  // A failed write shows that the reader is gone; the signal would end the process.
  std::signal(SIGPIPE, SIG_IGN);
  const auto aufruf = hallkorb::liesAufruf(argc, argv);
  if (const int* status = std::get_if<int>(&aufruf)) return *status;
  return hallkorb::fuehreAus(std::get<hallkorb::Aufruf>(aufruf), hallkorb::diesePlattform);
}
