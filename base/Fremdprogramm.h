// Another program, run to its end: for the few things that a program of the system does well.
//
// It gets no input, and what it prints is dropped.
//
// Any thread; the caller waits.
#pragma once

#include <string>
#include <vector>

namespace hallkorb {

struct Programmende {
  int status = -1;  // exit status; -1 after a signal or if it did not start
  int nummer = 0;   // error number of the start; 0 if it started

  [[nodiscard]] bool gelungen() const { return nummer == 0 && status == 0; }
  // Whether there is no such program.
  [[nodiscard]] bool fehlt() const;
};

// Runs the program `worte[0]`, looked for in PATH, with the other words as its arguments.
[[nodiscard]] Programmende fuehreProgrammAus(const std::vector<std::string>& worte);

}  // namespace hallkorb
