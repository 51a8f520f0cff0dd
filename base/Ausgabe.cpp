#include "base/Ausgabe.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <utility>

#include "base/Text.h"

namespace hallkorb {
namespace {

// How often a waiting write checks its time limit.
constexpr std::chrono::milliseconds BLICK_AUF_FRIST{100};

// A line of `text`. File names are bytes and need not be UTF-8; the line that names such a file is
// worth more than the exact name.
std::string zeile(std::string_view text) {
  return alsUtf8(text) + '\n';
}

}  // namespace

FileHandleTextOutput::FileHandleTextOutput(int offen, Schreiber schreiber)
    : handle(offen), schreiber_(schreiber != nullptr ? schreiber : &::write) {}

// Never destroyed: threads may still write while the process ends.
FileHandleTextOutput& FileHandleTextOutput::standardOutput() {
  static auto& ausgabe = *new FileHandleTextOutput(STDOUT_FILENO);
  return ausgabe;
}

FileHandleTextOutput& FileHandleTextOutput::standardError() {
  static auto& ausgabe = *new FileHandleTextOutput(STDERR_FILENO);
  return ausgabe;
}

bool FileHandleTextOutput::write(std::string_view text) {
  if (!istUtf8(text)) return false;
  bool ganz = true;
  std::function<void()> melden;
  {
    const std::lock_guard halter(lock_);
    if (zurueckgehalten_) {
      zurueckgehalten_->emplace_back(text);
    } else {
      ganz = schreibe(text);
      melden = nimmMeldung();
    }
  }
  if (melden) melden();
  return ganz;
}

void FileHandleTextOutput::halteZurueck() {
  const std::lock_guard halter(lock_);
  zurueckgehalten_.emplace();
}

void FileHandleTextOutput::gibFrei(const std::vector<std::string>& zuerst) {
  std::function<void()> melden;
  {
    const std::lock_guard halter(lock_);
    for (const std::string& text : zuerst)
      schreibe(text);
    const auto danach = std::exchange(zurueckgehalten_, std::nullopt);
    if (danach) {
      for (const std::string& text : *danach)
        schreibe(text);
    }
    melden = nimmMeldung();
  }
  if (melden) melden();
}

// With lock_ held.
bool FileHandleTextOutput::schreibe(std::string_view text) {
  while (!text.empty()) {
    if (!warteAufPlatz()) return false;
    // A pipe that has room takes this much without blocking. A longer write could block, and then
    // the time limit would not be noticed.
    const std::size_t hoechstens = frist_ != 0 ? PIPE_BUF : text.size();
    const ssize_t n = schreiber_(handle, text.data(), std::min(text.size(), hoechstens));
    if (n > 0) {
      text.remove_prefix(static_cast<std::size_t>(n));
      continue;
    }
    // A host may have made the pipe non-blocking; the line must be whole all the same.
    if (n < 0 && (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK)) continue;
    leserIstWeg_ = n < 0 && (errno == EPIPE || errno == ECONNRESET);
    return false;
  }
  return true;
}

// Waits until the reader has made room, or has gone: the write then reports that. False when the
// time is up.
bool FileHandleTextOutput::warteAufPlatz() const {
  if (handle < 0) return true;
  for (;;) {
    pollfd wer{handle, POLLOUT, 0};
    const int ergebnis = ::poll(&wer, 1, static_cast<int>(BLICK_AUF_FRIST.count()));
    if (ergebnis > 0 || (ergebnis < 0 && errno != EINTR)) return true;
    const std::int64_t frist = frist_;
    if (frist != 0 && std::chrono::steady_clock::now().time_since_epoch().count() > frist) {
      return false;
    }
  }
}

std::function<void()> FileHandleTextOutput::nimmMeldung() {
  if (!std::exchange(leserIstWeg_, false)) return nullptr;
  return std::exchange(leserWeg_, nullptr);
}

void FileHandleTextOutput::begrenze(std::optional<double> sekunden) {
  using Uhr = std::chrono::steady_clock;
  frist_ = !sekunden ? 0
                     : (Uhr::now() + std::chrono::duration_cast<Uhr::duration>(
                                         std::chrono::duration<double>(*sekunden)))
                           .time_since_epoch()
                           .count();
}

void FileHandleTextOutput::leserWeg(std::function<void()> handler) {
  const std::lock_guard halter(lock_);
  leserWeg_ = std::move(handler);
}

void log(std::string_view text) {
  FileHandleTextOutput::standardError().write(zeile(text));
}

void emit(std::string_view text) {
  FileHandleTextOutput::standardOutput().write(zeile(text));
}

void halteZeilenZurueck() {
  FileHandleTextOutput::standardOutput().halteZurueck();
}

void gibZeilenFrei(const std::vector<std::string>& zuerst) {
  std::vector<std::string> zeilen;
  zeilen.reserve(zuerst.size());
  for (const std::string& text : zuerst)
    zeilen.push_back(zeile(text));
  FileHandleTextOutput::standardOutput().gibFrei(zeilen);
}

bool druckeErgebnis(std::string_view text) {
  const std::string ganz = zeile(text);
  return std::fwrite(ganz.data(), 1, ganz.size(), stdout) == ganz.size() &&
         std::fflush(stdout) == 0;
}

}  // namespace hallkorb
