// A small host for hallkorb: records, has every chunk transcribed, writes one transcript.
//
//     host --recorder PATH --folder DIR --transcriber CMD [--seconds N] [--patience N]
//          [--restarts N] [--limit N] [-- options of the recorder...]
//
// See ../README.md. Exit status: 0 recorded, 1 something was lost, 2 nothing could be recorded.

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <map>
#include <stdexcept>

#include "lines.h"
#include "transcript.h"

namespace host {
namespace {

enum class Outcome { recorded, lost, refused };

struct Options {
  std::string recorder, folder, transcriber;
  double seconds = 0.0;     // of recording, then stop; 0: at Ctrl-C
  double patience = 150.0;  // how long a stop may take
  int restarts = 3;         // after crashes, at most
  double limit = 120.0;     // how long the transcriber's answer may take
  std::vector<std::string> recorderOptions;
};

// A signal becomes a byte in a pipe, which the loop below waits for beside the recorder's streams.
std::array<int, 2> wakeUp{-1, -1};

void onSignal(int) {
  const int before = errno;
  [[maybe_unused]] const auto written = write(wakeUp[1], "", 1);
  errno = before;
}

class Host {
 public:
  explicit Host(Options options)
      : options_(std::move(options)),
        transcript_(options_.folder),
        transcriber_(options_.transcriber, options_.limit, transcript_) {}

  Outcome run() {
    createFolder();
    Outcome outcome = Outcome::refused;
    for (int left = options_.restarts; left >= 0; --left) {
      outcome = record();
      if (outcome != Outcome::lost || stopping_ || left == 0) break;
      say("beginning again");
    }
    waitForAnswers();
    const bool written = transcript_.write();
    if (outcome == Outcome::recorded) return written && allKept_ ? outcome : Outcome::lost;
    return began_ ? Outcome::lost : outcome;
  }

 private:
  using Time = std::chrono::steady_clock::time_point;

  // For its owner alone.
  void createFolder() const {
    const mode_t before = umask(077);
    std::error_code error;
    std::filesystem::create_directories(options_.folder, error);
    umask(before);
    if (error) throw std::runtime_error(options_.folder + ": " + error.message());
  }

  void waitForAnswers() {
    std::array<pollfd, 2> fds{{{transcriber_.finish(), POLLIN, 0}, {wakeUp[0], POLLIN, 0}}};
    while (fds[0].revents == 0) {
      if (poll(fds.data(), fds.size(), -1) > 0 && fds[1].revents != 0) answerSignals();
    }
  }

  // The first one stops the recording; whoever sends another does not want to wait for answers.
  void answerSignals() {
    for (char number = 0; read(wakeUp[0], &number, 1) == 1;) {
      if (stopping_)
        transcriber_.giveUp();
      else
        stop();
    }
  }

  static Time after(double seconds) {
    return std::chrono::steady_clock::now() +
           std::chrono::duration_cast<Time::duration>(std::chrono::duration<double>(seconds));
  }

  // A folder for each recording, so that none writes over another's files. nullopt if there can be
  // none; errno says why.
  [[nodiscard]] std::optional<std::string> newFolder() const {
    for (int number = 1;; ++number) {
      const std::string folder = options_.folder + "/" + std::to_string(number);
      if (mkdir(folder.c_str(), 0700) == 0) return folder;
      if (errno != EEXIST) return std::nullopt;
    }
  }

  // One run of the recorder; returns how it ended.
  Outcome record() {
    const auto folder = newFolder();
    if (!folder) {
      say(std::string("no folder to record into: ") + std::strerror(errno));
      return Outcome::refused;
    }
    std::vector<std::string> command{options_.recorder, "--out", *folder};
    command.insert(command.end(), options_.recorderOptions.begin(), options_.recorderOptions.end());
    const auto child = spawn(command, Kind::recorder);
    if (!child) {
      say("cannot start " + options_.recorder + ": " + std::strerror(errno));
      return Outcome::refused;
    }
    recorder_ = child->pid;
    folder_ = *folder;
    offset_ = 0.0;
    started_ = done_ = killed_ = false;
    kept_.emplace(folder_ + "/ereignisse.jsonl");
    readStreams(*child);
    allKept_ = kept_->complete() && allKept_;
    kept_.reset();
    close(child->out);
    close(child->err);
    const int status = waitForEnd();
    recorder_ = -1;
    began_ = began_ || started_;
    return outcome(status);
  }

  // A recorder that has closed its streams may still hang: signals and times count until it is
  // gone.
  int waitForEnd() {
    constexpr int OFTEN = 20;  // ms; usually it is gone at once
    int status = 0;
    while (waitpid(recorder_, &status, WNOHANG) == 0) {
      pollfd signals{wakeUp[0], POLLIN, 0};
      if (poll(&signals, 1, OFTEN) > 0) answerSignals();
      keepTimes();
    }
    return status;
  }

  void keepTimes() {
    const Time now = std::chrono::steady_clock::now();
    if (stopAt_ && now >= *stopAt_) stop();
    if (killAt_ && now >= *killAt_) kill9();
  }

  // Reads both streams to their ends, and stops the recorder when it is time.
  void readStreams(const Child& child) {
    std::array<pollfd, 3> fds{
        {{child.out, POLLIN, 0}, {child.err, POLLIN, 0}, {wakeUp[0], POLLIN, 0}}};
    // Lines that are not complete; what is left of them at the end was cut off by a kill.
    std::array<std::string, 2> rest;
    while (fds[0].fd >= 0 || fds[1].fd >= 0) {
      const int ready = poll(fds.data(), fds.size(), untilNextTime());
      keepTimes();
      if (ready <= 0) continue;
      std::array<char, 4096> buffer{};
      for (std::size_t i = 0; i < fds.size(); ++i) {
        if (fds[i].fd < 0 || fds[i].revents == 0) continue;
        if (i == fds.size() - 1) {
          answerSignals();
          continue;
        }
        const ssize_t length = read(fds[i].fd, buffer.data(), buffer.size());
        if (length < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (length <= 0) {
          fds[i].fd = -1;
        } else {
          rest[i].append(buffer.data(), static_cast<std::size_t>(length));
          for (std::size_t end = 0; (end = rest[i].find('\n')) != std::string::npos;) {
            const std::string line = rest[i].substr(0, end);
            rest[i].erase(0, end + 1);
            i == 0 ? take(line) : passOn(line);
          }
        }
      }
    }
  }

  static void passOn(const std::string& line) { std::cerr << line + "\n"; }

  [[nodiscard]] int untilNextTime() const {
    if (!stopAt_ && !killAt_) return -1;
    const Time next = stopAt_ && (!killAt_ || *stopAt_ < *killAt_) ? *stopAt_ : *killAt_;
    const std::chrono::duration<double, std::milli> rest = next - std::chrono::steady_clock::now();
    return static_cast<int>(std::ceil(std::clamp(rest.count(), 0.0, 60'000.0)));
  }

  // Once, from the first "started" on.
  void countSeconds() {
    if (options_.seconds > 0.0) stopAt_ = after(options_.seconds);
    options_.seconds = 0.0;
  }

  // The orderly stop, with a limit. A second one changes nothing.
  void stop() {
    stopAt_.reset();
    if (stopping_) return;
    stopping_ = true;
    say("stopping");
    if (recorder_ > 0) kill(recorder_, SIGINT);
    killAt_ = after(options_.patience);
  }

  void kill9() {
    killAt_.reset();
    say("it does not stop: killed");
    killed_ = true;
    kill(recorder_, SIGKILL);
  }

  void take(const std::string& text) {
    kept_->add(text + "\n");
    try {
      const Line line = parse(text);
      if (const auto* started = std::get_if<Started>(&line)) {
        started_ = true;
        offset_ = transcript_.offset(started->null_unix_ms);
        countSeconds();
      }
      if (const auto* chunk = std::get_if<Chunk>(&line)) {
        transcript_.announced(offset_, *chunk);
        transcriber_.take(offset_, *chunk);
      }
      done_ = done_ || std::holds_alternative<Done>(line);
      std::visit([this](const auto& known) { this->show(known); }, line);
    } catch (const std::exception& error) {
      say("not understood: " + text + " (" + error.what() + ")");
    }
  }

  void show(const Started& line) const {
    std::string parts;
    for (const auto& [name, there] : {std::pair("me", line.mic), std::pair("them", line.system),
                                      std::pair("echo path", line.echo)})
      if (there) parts += (parts.empty() ? "" : ", ") + std::string(name);
    say("recording into " + folder_ + ": " + parts);
  }
  static void show(const Degraded& line) { say("without " + line.channel + ": " + line.message); }
  static void show(const Error& line) { say("nothing is recorded: " + line.message); }
  static void show(const VideoStart& line) { say("picture: " + line.quelle); }
  static void show(const VideoWechsel& line) { say("picture: " + line.quelle); }
  static void show(const VideoNone& line) { say("no picture: " + line.message); }
  static void show(const VideoPause& line) { say("no picture: " + line.message); }
  static void show(const Video& line) {
    say("video: " + line.path + ", " + std::to_string(line.frames) + " pictures");
  }
  static void show(const Zeitachse& line) {
    say("gaps: me " + std::to_string(line.me.luecken_ms) + " ms, them " +
        std::to_string(line.them.luecken_ms) + " ms");
  }
  static void show(const Unknown& line) { say("skipped: " + line.text); }
  static void show(const Chunk&) {}
  static void show(const Echo&) {}
  static void show(const Done&) {}

  // Asked to stop before its first instruction, or options that it cannot work with: no crash.
  static bool isBeforeTheBegin(int number) {
    return number == SIGINT || number == SIGTERM || number == SIGABRT;
  }

  [[nodiscard]] Outcome outcome(int status) const {
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0 && done_) {
      say("recorded");
      return Outcome::recorded;
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == 2) {
      say("the recorder refused: status 2");
      return Outcome::refused;
    }
    if (!started_ && WIFSIGNALED(status) && isBeforeTheBegin(WTERMSIG(status))) {
      say("the recorder ended before it began: signal " + std::to_string(WTERMSIG(status)));
      return Outcome::refused;
    }
    if (killed_)
      say("killed at the stop");
    else if (WIFSIGNALED(status))
      say("the recorder crashed: signal " + std::to_string(WTERMSIG(status)));
    else
      say("the recorder ended early: status " + std::to_string(WEXITSTATUS(status)));
    return Outcome::lost;
  }

  Options options_;
  Transcript transcript_;
  Transcriber transcriber_;
  pid_t recorder_ = -1;
  std::string folder_;
  std::optional<Kept> kept_;
  double offset_ = 0.0;
  std::optional<Time> stopAt_, killAt_;
  bool started_ = false, done_ = false, stopping_ = false, killed_ = false, allKept_ = true;
  bool began_ = false;  // any recording of this run
};

// Timers take no more than some weeks.
double number(const std::string& name, const std::string& text) {
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  if (text.empty() || *end != '\0' || !(value >= 0.0 && value <= 1e6) ||
      (name == "restarts" && value != std::floor(value)))
    throw std::invalid_argument("--" + name + " is no number that can be used: " + text);
  return value;
}

Options read(const std::vector<std::string>& words) {
  Options options;
  std::map<std::string, std::string> values;
  std::size_t next = 0;
  for (; next < words.size() && words[next] != "--"; next += 2) {
    if (!words[next].starts_with("--") || next + 1 == words.size())
      throw std::invalid_argument("unexpected: " + words[next]);
    values[words[next].substr(2)] = words[next + 1];
  }
  for (auto& [name, value] : values) {
    if (name == "recorder")
      options.recorder = value;
    else if (name == "folder")
      options.folder = value;
    else if (name == "transcriber")
      options.transcriber = value;
    else if (name == "seconds")
      options.seconds = number(name, value);
    else if (name == "patience")
      options.patience = number(name, value);
    else if (name == "restarts")
      options.restarts = static_cast<int>(number(name, value));
    else if (name == "limit")
      options.limit = number(name, value);
    else
      throw std::invalid_argument("no option --" + name);
  }
  if (options.recorder.empty() || options.folder.empty() || options.transcriber.empty())
    throw std::invalid_argument("--recorder, --folder and --transcriber are needed");
  if (next < words.size())
    options.recorderOptions.assign(words.begin() + static_cast<std::ptrdiff_t>(next) + 1,
                                   words.end());
  return options;
}

}  // namespace
}  // namespace host

int main(int argc, char** argv) {
  try {
    auto options = host::read({argv + 1, argv + argc});
    if (pipe(host::wakeUp.data()) != 0) throw std::runtime_error(std::strerror(errno));
    for (const int fd : host::wakeUp) {
      fcntl(fd, F_SETFD, FD_CLOEXEC);
      fcntl(fd, F_SETFL, O_NONBLOCK);
    }
    signal(SIGINT, host::onSignal);
    signal(SIGTERM, host::onSignal);
    // Whoever reads the transcript or the state may go. Not SIG_IGN, which the recorder and the
    // transcriber would inherit.
    signal(SIGPIPE, [](int) {});
    return static_cast<int>(host::Host(std::move(options)).run());
  } catch (const std::exception& error) {
    host::say(error.what());
    return 64;
  }
}
