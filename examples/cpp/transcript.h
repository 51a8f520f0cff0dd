// The transcript, and the thread that asks the user's command for it.
#pragma once

#include <array>
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

// Which streams are read, and whether the program leads a process group of its own.
enum class Kind { recorder, transcriber };

// nullopt if it cannot be started; errno says why. Any thread.
[[nodiscard]] std::optional<Child> spawn(const std::vector<std::string>& command, Kind kind);

// The recorder's lines as they came. What the disk refuses waits until there is room again.
class Kept {
 public:
  explicit Kept(std::string path) : path_(std::move(path)) {}
  Kept(const Kept&) = delete;
  Kept& operator=(const Kept&) = delete;
  ~Kept();

  void add(const std::string& line);
  [[nodiscard]] bool complete();  // whether all of them are in the file

 private:
  std::string path_;
  int file_ = -1;
  std::string waiting_;
  bool complained_ = false;
};

// What was said, by wall clock: a recording that was begun again has another time zero. The files
// are those of the last answer whatever happens: each is replaced when the next one is complete.
// Offsets and announcements belong to the main thread; the rest belongs to the transcriber's thread
// until that has ended.
class Transcript {
 public:
  explicit Transcript(std::string folder) : folder_(std::move(folder)) {}

  // Seconds from the first recording's time zero to this one. If the clock was set back in between,
  // this one follows the one before.
  double offset(std::int64_t nullUnixMs);
  void announced(double offset, const Chunk& chunk);
  void add(double offset, const Chunk& chunk, const std::string& text);
  bool write();  // whether both files are there

 private:
  struct Said {
    long begin;  // milliseconds
    long end;
    std::string channel;
    std::string text;
  };
  std::string folder_;
  std::optional<std::int64_t> zero_;  // of the first recording, milliseconds since 1970
  double end_ = 0.0;                  // of the chunks so far, seconds
  std::vector<Said> said_;
  bool complained_ = false;
};

// Asks the command for each chunk, one after the other, beside the recording.
class Transcriber {
 public:
  // `limit`: seconds that an answer may take.
  Transcriber(std::string command, double limit, Transcript& transcript);
  Transcriber(const Transcriber&) = delete;
  Transcriber& operator=(const Transcriber&) = delete;
  ~Transcriber();

  void take(double offset, Chunk chunk);
  // No chunk follows. The file that is returned can be read (its end) when each has its answer.
  [[nodiscard]] int finish();
  void giveUp();  // the chunks that have no answer yet get none

 private:
  struct Answer {
    int status = -1;
    std::string text;
    bool late = false;
  };

  void run();
  std::optional<std::pair<double, Chunk>> next();  // waits; nullopt at the end
  void ask(double offset, const Chunk& chunk);
  Answer answerOf(const Child& child);
  void setChild(int pid);

  std::string command_;
  double limit_;
  Transcript& transcript_;
  std::mutex lock_;
  std::condition_variable changed_;
  std::deque<std::pair<double, Chunk>> jobs_;
  bool finished_ = false;
  bool givenUp_ = false;
  int child_ = -1;  // runs and has not been waited for
  int leftOut_ = 0;
  std::array<int, 2> ended_{-1, -1};
  std::thread thread_;
};

}  // namespace host
