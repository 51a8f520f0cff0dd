// The program's two voices: JSON lines for the host, German diagnostics for people.
//
// The host reads standard output line by line while the recording runs, and lines are written by
// many threads. So a line is one unbuffered write call: it arrives at once and whole. If the kernel
// takes less than the whole line (a pipe that is nearly full, a line longer than the pipe's atomic
// size, a signal), more calls follow, and a lock for each stream keeps other lines out until the
// line is complete.
//
// A recorder must not outlive its host: when the reader of standard output has closed it, the
// handler set with `leserWeg` is called once. A host that keeps it open without reading must not
// delay the end for ever: from the stop on, writes have a time limit.
//
// All functions may be called from any thread, but not from a real-time callback: once the pipe is
// full, a host that does not read blocks its writers.
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

  // `schreiber` replaces write(2).
  explicit FileHandleTextOutput(int handle, Schreiber schreiber = nullptr);
  FileHandleTextOutput(const FileHandleTextOutput&) = delete;
  FileHandleTextOutput& operator=(const FileHandleTextOutput&) = delete;

  // The two shared instances, made on first use. Not named stdout and stderr: those are macros.
  static FileHandleTextOutput& standardOutput();
  static FileHandleTextOutput& standardError();

  // Writes all of `text`; returns whether that succeeded (or it is kept, see halteZurueck). Text
  // that is not valid UTF-8 is not written at all.
  bool write(std::string_view text);

  // Keeps what is written from now on until gibFrei(), which writes `zuerst` and then what was
  // kept, each text with a write of its own.
  void halteZurueck();
  void gibFrei(const std::vector<std::string>& zuerst);

  // From now on writes give up if the reader has not made room within this many seconds from now.
  // Without a value they wait as long as it takes.
  void begrenze(std::optional<double> sekunden);

  // Called once, on the writing thread and with no lock held, when a write fails because the
  // reading end is closed.
  void leserWeg(std::function<void()> handler);

  // The open file handle. May be replaced while nothing is being written.
  int handle;

 private:
  bool schreibe(std::string_view text);
  [[nodiscard]] bool warteAufPlatz() const;
  std::function<void()> nimmMeldung();

  Schreiber schreiber_;
  std::mutex lock_;
  std::function<void()> leserWeg_;
  bool leserIstWeg_ = false;  // found by a write, not reported yet
  std::optional<std::vector<std::string>> zurueckgehalten_;
  std::atomic<std::int64_t> frist_{0};  // ticks of the steady clock, 0 for none
};

// Writes `text` and a line feed to standard error; the caller supplies the prefix "[hallkorb] ".
// Bytes that are not UTF-8 (in a file name) go out as U+FFFD.
void log(std::string_view text);

// The same, to standard output.
void emit(std::string_view text);

// Keeps the lines of emit() back until the report about the start, `zuerst`, has gone out: one
// capture already delivers while the other is still starting.
void halteZeilenZurueck();
void gibZeilenFrei(const std::vector<std::string>& zuerst);

// Prints a result line of an offline mode through the C library's standard output and flushes it.
// Returns whether it arrived: a result that nobody received is a failure.
[[nodiscard]] bool druckeErgebnis(std::string_view text);

}  // namespace hallkorb
