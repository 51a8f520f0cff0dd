// The transcript, and the thread that asks the user's command for it.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "lines.h"

namespace host {

void say(const std::string& text);

// A running program. `out` and `err` are its streams as they are read here, or -1.
struct Child {
  int pid = -1;
  int out = -1;
  int err = -1;
};

// nullopt if it cannot be started; errno says why. Any thread.
[[nodiscard]] std::optional<Child> spawn(const std::vector<std::string>& command, bool withErr);

// What was said, by wall clock: a recording that was begun again has another time zero. Offsets are
// used by the main thread; the rest belongs to the transcriber's thread until that has ended.
class Transcript {
 public:
  // Seconds from the first recording's time zero to this one.
  double offset(std::int64_t nullUnixMs);
  void add(double offset, const Chunk& chunk, const std::string& text);
  void write(const std::string& folder);

 private:
  struct Said {
    double begin;
    double end;
    std::string channel;
    std::string text;
  };
  std::optional<std::int64_t> zero_;  // of the first recording, milliseconds since 1970
  std::vector<Said> said_;
};

// Asks the command for each chunk, one after the other, beside the recording.
class Transcriber {
 public:
  Transcriber(std::string command, Transcript& transcript);
  Transcriber(const Transcriber&) = delete;
  Transcriber& operator=(const Transcriber&) = delete;
  ~Transcriber() { finish(); }

  void take(double offset, Chunk chunk);
  void finish();  // returns when every chunk has its answer

 private:
  void run();
  std::optional<std::pair<double, Chunk>> next();  // waits; nullopt at the end
  void ask(double offset, const Chunk& chunk);

  std::string command_;
  Transcript& transcript_;
  std::mutex lock_;
  std::condition_variable changed_;
  std::deque<std::pair<double, Chunk>> jobs_;
  bool finished_ = false;
  std::thread thread_;
};

}  // namespace host
