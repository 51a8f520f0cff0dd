// Another program, run to its end: for the few things that a program of the system does well.
//
// It gets no input. What it prints is dropped, but for its standard output if somebody wants that.
//
// Any thread; the caller waits.
#pragma once

#include <functional>
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

// Gets a line of standard output, without its line feed, as soon as it is printed.
using Zeilennehmer = std::function<void(const std::string&)>;

// Runs the program `worte[0]`, looked for in PATH, with the other words as its arguments. It must
// not leave another process behind that keeps its standard output open, if `nimm` is given.
[[nodiscard]] Programmende fuehreProgrammAus(const std::vector<std::string>& worte,
                                             const Zeilennehmer& nimm = nullptr);

}  // namespace hallkorb
