// hallkorb-sitzung: the second program, for people. It looks at what the recorder has left.
#include <variant>

#include "tool/Aufruf.h"
#include "tool/Befehle.h"

int main(int argc, char** argv) {
  const auto aufruf = hallkorb::liesAufruf(argc, argv);
  if (const int* status = std::get_if<int>(&aufruf)) return *status;
  return hallkorb::fuehreAus(std::get<hallkorb::Aufruf>(aufruf));
}
