#include "transcript.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

extern char** environ;

namespace host {
namespace {

std::string clock(long ms) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%02ld:%02ld:%02ld.%03ld", ms / 3600000, ms / 60000 % 60,
                ms / 1000 % 60, ms % 1000);
  return text.data();
}

std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '&')
      result += "&amp;";
    else if (c == '<')
      result += "&lt;";
    else if (c == '>')
      result += "&gt;";
    else
      result += c;
  }
  return result;
}

// Puts a complete file in the place of an earlier one; false if that fails, and errno says why.
bool replace(const std::string& path, const std::string& content) {
  const std::string part = path + ".part";
  errno = 0;
  std::ofstream file(part, std::ios::binary);
  file << content;
  file.close();
  return file.good() && std::rename(part.c_str(), path.c_str()) == 0;
}

std::string joined(const std::string& text) {
  std::istringstream words(text);
  std::string result;
  for (std::string word; words >> word;)
    result += (result.empty() ? "" : " ") + word;
  return result;
}

// The transcript is UTF-8 whatever the transcriber writes.
std::string utf8(const std::string& text) {
  using Json = nlohmann::json;
  const std::string valid = Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
  return Json::parse(valid).get<std::string>();
}

}  // namespace

void say(const std::string& text) {
  std::cerr << "[host] " + text + "\n";
}

std::optional<Child> spawn(const std::vector<std::string>& command, Kind kind) {
  const bool withErr = kind == Kind::recorder;
  // One at a time: a child that is started beside another one would inherit its pipes, and keep
  // them open.
  static std::mutex one;
  const std::lock_guard guard(one);
  std::array<int, 2> out{-1, -1};
  std::array<int, 2> err{-1, -1};
  if (pipe(out.data()) != 0) return std::nullopt;
  if (withErr && pipe(err.data()) != 0) {
    const int error = errno;
    for (const int fd : out)
      close(fd);
    errno = error;
    return std::nullopt;
  }

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  if (withErr) posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
  for (const int fd : {out[0], out[1], err[0], err[1]})
    if (fd > STDERR_FILENO) posix_spawn_file_actions_addclose(&actions, fd);
  std::vector<char*> words;
  words.reserve(command.size() + 1);
  for (const std::string& word : command)
    words.push_back(const_cast<char*>(word.c_str()));
  words.push_back(nullptr);
  Child child{-1, out[0], err[0]};
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  // Ctrl-C in a terminal goes to every program in it and must not cost the last answers; and what
  // the transcriber has started is killed with it.
  if (kind == Kind::transcriber) posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  const int error =
      posix_spawnp(&child.pid, words[0], &actions, &attributes, words.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  for (const int fd : {out[1], err[1]})
    if (fd >= 0) close(fd);
  for (const int fd : {out[0], err[0]})
    if (fd >= 0) fcntl(fd, F_SETFD, FD_CLOEXEC);
  if (error == 0) return child;
  for (const int fd : {out[0], err[0]})
    if (fd >= 0) close(fd);
  errno = error;
  return std::nullopt;
}

Kept::~Kept() {
  if (file_ >= 0) close(file_);
}

void Kept::add(const std::string& line) {
  waiting_ += line;
  if (file_ < 0) file_ = open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  ssize_t written = file_ < 0 ? -1 : 0;
  while (written >= 0 && !waiting_.empty()) {
    written = write(file_, waiting_.data(), waiting_.size());
    if (written > 0) waiting_.erase(0, static_cast<std::size_t>(written));
    if (written < 0 && errno == EINTR) written = 0;
  }
  if (written >= 0 || complained_) return;
  complained_ = true;
  say(std::string("the lines cannot be kept: ") + std::strerror(errno));
}

bool Kept::complete() {
  add("");
  return waiting_.empty();
}

double Transcript::offset(std::int64_t nullUnixMs) {
  if (!zero_) zero_ = nullUnixMs;
  const double ms = static_cast<double>(nullUnixMs) - static_cast<double>(*zero_);
  return std::max(ms / 1000.0, end_);
}

void Transcript::announced(double offset, const Chunk& chunk) {
  end_ = std::max(end_, offset + chunk.t1);
}

void Transcript::add(double offset, const Chunk& chunk, const std::string& text) {
  const long begin = std::lround((offset + chunk.t0) * 1000.0);
  const long end = std::lround((offset + chunk.t1) * 1000.0);
  said_.push_back({begin, std::max(end, begin + 1), chunk.channel, text});  // WebVTT wants it later
  std::cout << clock(begin) + " " + chunk.channel + ": " + text + "\n" << std::flush;
  write();
}

bool Transcript::write() {
  std::sort(said_.begin(), said_.end(), [](const Said& a, const Said& b) {
    return std::pair(a.begin, a.end) < std::pair(b.begin, b.end);
  });
  std::ostringstream text;
  std::ostringstream cues;
  cues << "WEBVTT\n";
  for (const Said& said : said_) {
    text << clock(said.begin) << " " << said.channel << ": " << said.text << "\n";
    cues << "\n" << clock(said.begin) << " --> " << clock(said.end) << "\n";
    cues << "<v " << said.channel << ">" << escaped(said.text) << "\n";
  }
  if (replace(folder_ + "/transcript.txt", text.str()) &&
      replace(folder_ + "/transcript.vtt", cues.str()))
    return true;
  if (!complained_) say(std::string("the transcript cannot be written: ") + std::strerror(errno));
  complained_ = true;
  return false;
}

Transcriber::Transcriber(std::string command, double limit, Transcript& transcript)
    : command_(std::move(command)), limit_(limit), transcript_(transcript) {
  if (pipe(ended_.data()) != 0) throw std::runtime_error(std::strerror(errno));
  for (const int fd : ended_)
    fcntl(fd, F_SETFD, FD_CLOEXEC);
  thread_ = std::thread([this] { run(); });
}

Transcriber::~Transcriber() {
  const int ended = finish();
  thread_.join();
  close(ended);
}

void Transcriber::take(double offset, Chunk chunk) {
  const std::lock_guard guard(lock_);
  jobs_.emplace_back(offset, std::move(chunk));
  changed_.notify_one();
}

int Transcriber::finish() {
  const std::lock_guard guard(lock_);
  finished_ = true;
  changed_.notify_one();
  return ended_[0];
}

void Transcriber::giveUp() {
  const std::lock_guard guard(lock_);
  givenUp_ = true;
  leftOut_ += static_cast<int>(jobs_.size());
  jobs_.clear();
  if (child_ > 0) kill(-child_, SIGKILL);
}

void Transcriber::run() {
  while (const auto job = next())
    ask(job->first, job->second);
  const std::lock_guard guard(lock_);
  if (leftOut_ > 0) say(std::to_string(leftOut_) + " chunks were not waited for");
  close(ended_[1]);
}

std::optional<std::pair<double, Chunk>> Transcriber::next() {
  std::unique_lock guard(lock_);
  changed_.wait(guard, [this] { return finished_ || !jobs_.empty(); });
  if (jobs_.empty()) return std::nullopt;
  auto job = std::move(jobs_.front());
  jobs_.pop_front();
  return job;
}

void Transcriber::ask(double offset, const Chunk& chunk) {
  // A name cannot hold a zero byte, and would end there.
  const bool nameable = chunk.path.find('\0') == std::string::npos;
  const auto child =
      nameable ? spawn({"/bin/sh", "-c", command_ + " \"$1\"", "sh", chunk.path}, Kind::transcriber)
               : std::nullopt;
  const std::string name = chunk.path.substr(0, 100);
  if (!child) {
    const std::string why = nameable ? std::strerror(errno) : "a zero byte";
    return say("transcriber: " + why + " for " + name);
  }
  setChild(child->pid);
  const Answer answer = answerOf(*child);
  const std::string text = utf8(joined(answer.text));
  if (answer.late) {
    say("transcriber: no answer within the limit for " + name);
  } else if (answer.status == 0) {
    if (!text.empty()) transcript_.add(offset, chunk, text);
  } else if (const std::lock_guard guard(lock_); givenUp_) {
    ++leftOut_;
  } else {
    say("transcriber: status " +
        std::to_string(WIFEXITED(answer.status) ? WEXITSTATUS(answer.status) : answer.status) +
        " for " + name);
  }
}

// What it prints until its end; killed if that takes too long.
Transcriber::Answer Transcriber::answerOf(const Child& child) {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                      std::chrono::duration<double>(limit_));
  Answer answer;
  std::array<char, 4096> buffer{};
  ssize_t length = 1;
  while (length > 0 || (length < 0 && errno == EINTR)) {
    const std::chrono::duration<double, std::milli> rest = end - Clock::now();
    answer.late = rest.count() <= 0.0;
    if (answer.late) break;
    pollfd output{child.out, POLLIN, 0};
    if (poll(&output, 1, static_cast<int>(std::ceil(rest.count()))) <= 0) continue;
    length = read(child.out, buffer.data(), buffer.size());
    if (length > 0) answer.text.append(buffer.data(), static_cast<std::size_t>(length));
  }
  close(child.out);  // what has left the group may hold the other end open
  if (answer.late) kill(-child.pid, SIGKILL);
  // Seen here, and reaped only when nobody can kill what has its number next.
  siginfo_t gone{};
  while (waitid(P_PID, static_cast<id_t>(child.pid), &gone, WEXITED | WNOWAIT) < 0 &&
         errno == EINTR) {
  }
  setChild(-1);
  while (waitpid(child.pid, &answer.status, 0) < 0 && errno == EINTR) {
  }
  return answer;
}

// One that begins after all was given up is killed at once.
void Transcriber::setChild(int pid) {
  const std::lock_guard guard(lock_);
  child_ = pid;
  if (pid > 0 && givenUp_) kill(-pid, SIGKILL);
}

}  // namespace host
