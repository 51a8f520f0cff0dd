#include "transcript.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>

extern char** environ;

namespace host {
namespace {

std::string clock(double seconds) {
  const long ms = std::lround(seconds * 1000.0);
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

std::string joined(const std::string& text) {
  std::istringstream words(text);
  std::string result;
  for (std::string word; words >> word;)
    result += (result.empty() ? "" : " ") + word;
  return result;
}

}  // namespace

void say(const std::string& text) {
  std::cerr << "[host] " + text + "\n";
}

std::optional<Child> spawn(const std::vector<std::string>& command, bool withErr) {
  // One at a time: a child that is started beside another one would inherit its pipes, and keep
  // them open.
  static std::mutex one;
  const std::lock_guard guard(one);
  std::array<int, 2> out{-1, -1};
  std::array<int, 2> err{-1, -1};
  if (pipe(out.data()) != 0 || (withErr && pipe(err.data()) != 0)) return std::nullopt;

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
  const int error = posix_spawnp(&child.pid, words[0], &actions, nullptr, words.data(), environ);
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

double Transcript::offset(std::int64_t nullUnixMs) {
  if (!zero_) zero_ = nullUnixMs;
  return static_cast<double>(nullUnixMs - *zero_) / 1000.0;
}

void Transcript::add(double offset, const Chunk& chunk, const std::string& text) {
  said_.push_back({offset + chunk.t0, offset + chunk.t1, chunk.channel, text});
  std::cout << clock(offset + chunk.t0) + " " + chunk.channel + ": " + text + "\n" << std::flush;
}

void Transcript::write(const std::string& folder) {
  std::sort(said_.begin(), said_.end(), [](const Said& a, const Said& b) {
    return std::pair(a.begin, a.end) < std::pair(b.begin, b.end);
  });
  std::ofstream text(folder + "/transcript.txt");
  std::ofstream cues(folder + "/transcript.vtt");
  cues << "WEBVTT\n";
  for (const Said& said : said_) {
    text << clock(said.begin) << " " << said.channel << ": " << said.text << "\n";
    cues << "\n" << clock(said.begin) << " --> " << clock(said.end) << "\n";
    cues << "<v " << said.channel << ">" << escaped(said.text) << "\n";
  }
}

Transcriber::Transcriber(std::string command, Transcript& transcript)
    : command_(std::move(command)), transcript_(transcript), thread_([this] { run(); }) {}

void Transcriber::take(double offset, Chunk chunk) {
  const std::lock_guard guard(lock_);
  jobs_.emplace_back(offset, std::move(chunk));
  changed_.notify_one();
}

void Transcriber::finish() {
  {
    const std::lock_guard guard(lock_);
    finished_ = true;
    changed_.notify_one();
  }
  if (thread_.joinable()) thread_.join();
}

void Transcriber::run() {
  while (const auto job = next())
    ask(job->first, job->second);
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
  // Ctrl-C in a terminal goes to every program in it, and must not cost the last answers.
  const auto child =
      spawn({"/bin/sh", "-c", "trap '' INT; " + command_ + " \"$1\"", "sh", chunk.path}, false);
  int status = -1;
  std::string answer;
  if (child) {
    std::array<char, 4096> buffer{};
    ssize_t length = 0;
    while ((length = read(child->out, buffer.data(), buffer.size())) > 0 ||
           (length < 0 && errno == EINTR))
      if (length > 0) answer.append(buffer.data(), static_cast<std::size_t>(length));
    close(child->out);
    while (waitpid(child->pid, &status, 0) < 0 && errno == EINTR) {
    }
  }
  const std::string text = joined(answer);
  if (status != 0)
    say("transcriber: status " + std::to_string(WIFEXITED(status) ? WEXITSTATUS(status) : status) +
        " for " + chunk.path);
  else if (!text.empty())
    transcript_.add(offset, chunk, text);
}

}  // namespace host
