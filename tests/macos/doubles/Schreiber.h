// How a test plays the asset writer.
//
// Plain C++, any thread. Appending does not encode; what was appended, and in which calls, is kept
// for the test.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace hallkorb::ersatz::schreiber {

// Calls into the writer that can raise an exception.
enum class Ruf {
  bau,
  eingang,
  fragmente,
  fuegeHinzu,
  beginne,
  setzeBeginn,
  haengeAn,
  markiere,
  setzeEnde,
  schliesseAb
};

void wirfBei(Ruf ruf, bool ja);
// The writer cannot be made: nil, with an error or without one.
void keiner(bool ja, bool mitFehler = true);
void nimmtEingang(bool ja);
// Writing does not start, and the writer has failed.
void scheitereBeimStart(bool ja);
// The writer fails with the next appended sample, or by itself.
void scheitereBeimAnhaengen(bool ja);
void scheitere();
// The code of every failure from now on; 0: each has its own.
void fehlercode(long code);
void bereit(bool ja);

// While it is held, the completion handler waits for lassAbschliessen().
void halteAbschluss(bool ja);
// Calls the handlers that wait, on a queue of the writer's, `wieOft` times each; `erfolg`: the file
// is complete.
void lassAbschliessen(bool erfolg, int wieOft = 1);

// Of the writer made last: times appended, settings, calls in their order.
[[nodiscard]] std::vector<double> zeiten();
[[nodiscard]] std::map<std::string, std::string> einstellungen();
[[nodiscard]] std::vector<std::string> rufe();
// Writers that were deallocated before their completion handler had been called.
[[nodiscard]] long zuFruehFreigegeben();

}  // namespace hallkorb::ersatz::schreiber
