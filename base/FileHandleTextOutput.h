// A text output stream: whole lines, each with one unbuffered write, that never make a recording
// wait for their reader.
//
// The host reads standard output line by line while the recording runs, and lines are written by
// many threads, a capture's own among them. Three things follow:
// - A line is one write call and arrives at once and whole. It is written only when all of it fits
//   into the pipe (Schreibplatz.h), so that a line that has to be given up leaves no half of it. A
//   disk that becomes full breaks a line off all the same: the half is cut off the file again,
//   since a reader must be able to take every line for a whole one. What cannot be cut off (the
//   beginning of a line that is longer than the pipe) is ended by a line feed before the next line:
//   the reader then loses that line and not the next one, too.
// - A host that is busy for a minute must not cost a block of sound. With a thread of its own
//   (starteFaden) a stream keeps lines that do not fit yet and writes them, in order, when the
//   reader has made room; write() returns at once. Without one, write() itself waits, as the
//   offline modes need it.
// - A recorder must not outlive its host: when the reader has closed the stream, the handler set
//   with `leserWeg` is called once. A host that keeps it open without reading must not delay the
//   end: from `begrenze` on there is one time limit for everything that is still to be written.
//
// What waits is kept in memory: some 200 bytes for each chunk, 10 MB in half a day.
//
// Any thread, but not a real-time callback.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace hallkorb {

class FileHandleTextOutput {
 public:
  using Schreiber = ssize_t (*)(int, const void*, std::size_t);

  // `schreiber` replaces write(2).
  explicit FileHandleTextOutput(int handle, Schreiber schreiber = nullptr);
  FileHandleTextOutput(const FileHandleTextOutput&) = delete;
  FileHandleTextOutput& operator=(const FileHandleTextOutput&) = delete;
  // Gives up what still waits.
  ~FileHandleTextOutput();

  // The two shared instances, made on first use. Not named stdout and stderr: those are macros.
  static FileHandleTextOutput& standardOutput();
  static FileHandleTextOutput& standardError();

  // Writes `text`, or keeps it to be written (by the stream's thread, or see halteZurueck). False
  // if that failed, the time was up, or `text` is not valid UTF-8.
  bool write(std::string_view text);

  // From now on write() never waits; a terminal is opened anew for that, and `handle` is then the
  // new one. May be repeated. False if the system has no thread left; then write() goes on waiting.
  bool starteFaden();

  // Waits until everything has been written or given up, and the stream's thread has left the
  // handlers of leserWeg() and beiStoerung(): what those use may go afterwards. Returns whether
  // nothing was given up since the last call.
  bool leere();

  // Keeps what is written from now on until gibFrei(), which writes `zuerst` and then what was
  // kept, each text with a write of its own.
  void halteZurueck();
  void gibFrei(const std::vector<std::string>& zuerst);

  // What cannot be written within this many seconds from now is given up. Without a value there is
  // no limit.
  void begrenze(std::optional<double> sekunden);

  // Called once, on the writing thread and with no lock held, when a write fails because the
  // reading end is closed.
  void leserWeg(std::function<void()> handler);

  // Called in the same way when lines begin to be lost because writing fails for another reason
  // (its error number, 0), and when a line arrives again (0, the number of lost lines).
  void beiStoerung(std::function<void(int nummer, std::int64_t verloren)> handler);

  // The open file handle. May be replaced while nothing is being written.
  int handle;

 private:
  struct Zeile {
    std::string text;
    std::size_t geschrieben = 0;  // bytes; only a line longer than the pipe goes in pieces
    std::size_t vorsatz = 0;      // bytes of `text` that end half a line before it
    int nummer = 0;               // the error number that ended it, if one did
  };
  struct Stoerung {
    int nummer = 0;
    std::int64_t verloren = 0;
  };
  enum class Ausgang { fertig, wartet, gescheitert };

  bool nimm(std::string_view text);
  Ausgang versuche(Zeile& zeile);
  Ausgang schreibeWartend(Zeile& zeile);
  void verbuche(const Zeile& zeile, Ausgang ausgang);
  [[nodiscard]] bool abgelaufen() const;
  void warteAufLeser() const;
  void laufe();
  std::function<void()> nimmMeldung();

  Schreiber schreiber_;
  std::mutex lock_;
  std::condition_variable neues_;
  std::condition_variable leer_;
  std::function<void()> leserWeg_;
  std::function<void(int, std::int64_t)> beiStoerung_;
  bool leserIstWeg_ = false;          // found by a write, not reported yet
  std::optional<Stoerung> stoerung_;  // the same
  std::int64_t verloren_ = 0;         // lines, since one arrived
  // The stream ends with half a line. Belongs to whoever may write.
  bool halbeDavor_ = false;
  std::optional<std::vector<std::string>> zurueckgehalten_;
  std::deque<Zeile> wartende_;  // while it is not empty, others may only append
  bool aufgegeben_ = false;
  bool meldet_ = false;  // the thread is in the handler
  bool ende_ = false;
  std::atomic<std::int64_t> frist_{0};  // ticks of the steady clock, 0 for none
  std::optional<int> terminal_;         // opened by starteFaden()
  std::thread faden_;
};

}  // namespace hallkorb
