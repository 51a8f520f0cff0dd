// The program's two voices: JSON lines for the host, German diagnostics for people.
//
// The host reads standard output line by line while the recording runs, and lines are written by
// many threads. So a line is one write call, unbuffered: it arrives at once and whole. Only where
// the kernel takes less than the whole line (a pipe that is nearly full, a line longer than the
// pipe's atomic size, a signal) more calls follow, and a lock for each stream keeps other lines out
// of the middle until the line is complete.
//
// A host that is gone must not leave a recorder behind: when the reader of standard output is found
// to have closed it, the handler set with `leserWeg` is called, once. And one that keeps it open
// and does not read must not hold up the end for ever: from the stop on, writes have a limit of
// time.
//
// All functions may be called from any thread, but not from a real-time callback: a host that does
// not read blocks its writers once the pipe is full.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace hallkorb {

// A text output stream on an open file handle.
class FileHandleTextOutput {
 public:
  using Schreiber = ssize_t (*)(int, const void*, std::size_t);

  // `schreiber` stands for write(2).
  explicit FileHandleTextOutput(int handle, Schreiber schreiber = nullptr);
  FileHandleTextOutput(const FileHandleTextOutput&) = delete;
  FileHandleTextOutput& operator=(const FileHandleTextOutput&) = delete;

  // The two shared instances, made on first use. Not named after the C library's streams, which are
  // macros and would rename these.
  static FileHandleTextOutput& standardOutput();
  static FileHandleTextOutput& standardError();

  // Writes all bytes of `text`, which is UTF-8. Returns whether it was written whole (or is kept,
  // see halteZurueck); text that is no valid UTF-8 is not written at all.
  bool write(std::string_view text);

  // Keeps what is written from now on, until gibFrei(). That writes `zuerst` and then what was
  // kept, each with a write of its own.
  void halteZurueck();
  void gibFrei(const std::vector<std::string>& zuerst);

  // From now on writes wait for a reader that does not read until this many seconds from now and no
  // longer: what cannot be written then is given up. Without a value they wait as long as it takes.
  void begrenze(std::optional<double> sekunden);

  // Called once, on the writing thread and with no lock held, when a write fails because the
  // reading end is closed.
  void leserWeg(std::function<void()> handler);

  // The open file handle. May be set anew while nothing is being written.
  int handle;

 private:
  bool schreibe(std::string_view text);
  [[nodiscard]] bool warteAufPlatz() const;
  std::function<void()> nimmMeldung();

  Schreiber schreiber_;
  std::mutex lock_;
  std::function<void()> leserWeg_;
  bool leserIstWeg_ = false;  // found by a write, not told yet
  std::optional<std::vector<std::string>> zurueckgehalten_;
  std::atomic<std::int64_t> frist_{0};  // nanoseconds of the steady clock, 0 for none
};

// Writes `text` and a line feed to standard error; the caller supplies the whole message, with its
// prefix "[hallkorb] ". Bytes that are no UTF-8 (a file name's) go out as U+FFFD.
void log(std::string_view text);

// The same, to standard output.
void emit(std::string_view text);

// Keeps the lines of emit() back until the report about the start, `zuerst`, has gone out before
// them: a capture delivers while the other one still starts.
void halteZeilenZurueck();
void gibZeilenFrei(const std::vector<std::string>& zuerst);

// Prints a result line of an offline mode through the C library's buffered standard output, all of
// it: the mode ends right afterwards. Returns whether it arrived; a result that nobody got is a
// failure.
[[nodiscard]] bool druckeErgebnis(std::string_view text);

// `text` made safe to stand between double quotes in a JSON line: backslash and double quote get a
// backslash; tab, line feed and carriage return become a blank; all else stays as it is. No \u
// escapes are produced.
[[nodiscard]] std::string jsonEscape(std::string_view text);

// printf into a string, in the C locale (the program never sets another).
[[nodiscard]] std::string formatiert(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Stops the process abnormally (SIGABRT), after the line "[hallkorb] Abbruch: " + `grund`.
[[noreturn]] void abbruch(std::string_view grund);

// Makes the crashes that nobody can handle (an exception that nobody caught, a fault of the
// processor) write a line before they end the process. Called once at the start.
void meldeAbstuerze();

}  // namespace hallkorb
