// Another program, controlled by lines: its standard input and output are pipes of the test.
//
// It dies with the test's thread that started it, however that ends.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "platform/linux/Deskriptor.h"

namespace hallkorb {

class Prozess {
 public:
  enum class Fehlerausgabe { GETEILT, VERWORFEN };  // with the test's own, or nowhere

  // Throws if the program cannot be started.
  explicit Prozess(const std::vector<std::string>& argumente,
                   Fehlerausgabe fehlerausgabe = Fehlerausgabe::GETEILT);
  // Kills it.
  ~Prozess();
  Prozess(const Prozess&) = delete;
  Prozess& operator=(const Prozess&) = delete;

  // Writes a line, whose line feed is added.
  void schreibe(const std::string& zeile) const;
  // The next line of output without its line feed; throws if none comes in time or the program has
  // ended.
  std::string liesZeile(double sekunden = 60.0);
  // All output up to the program's end.
  std::string liesAlles();
  void signal(int nummer) const;
  // Waits for its end; the status as of waitpid(2).
  int warte();
  // Sends a signal and waits for the end.
  int beende(int nummer);
  [[nodiscard]] pid_t nummer() const { return nummer_; }

 private:
  pid_t nummer_ = -1;
  bool zuEnde_ = false;
  int status_ = 0;
  Deskriptor eingabe_;
  Deskriptor ausgabe_;
  std::string gelesen_;
};

}  // namespace hallkorb
