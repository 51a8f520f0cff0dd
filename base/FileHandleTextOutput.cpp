#include "base/FileHandleTextOutput.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <utility>

#include "base/Faden.h"
#include "base/Schreibplatz.h"
#include "base/Text.h"

namespace hallkorb {
namespace {

using Uhr = std::chrono::steady_clock;

// How often a waiting write looks at its time limit.
constexpr std::chrono::milliseconds BLICK_AUF_FRIST{20};
// Between two looks at a pipe that has room, but not for the whole line.
constexpr std::chrono::milliseconds BLICK_AUF_PLATZ{5};

}  // namespace

FileHandleTextOutput::FileHandleTextOutput(int offen, Schreiber schreiber)
    : handle(offen), schreiber_(schreiber != nullptr ? schreiber : &::write) {}

FileHandleTextOutput::~FileHandleTextOutput() {
  {
    const std::lock_guard halter(lock_);
    ende_ = true;
  }
  begrenze(0.0);
  neues_.notify_all();
  if (faden_.joinable()) faden_.join();
}

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
      ganz = nimm(text);
      melden = nimmMeldung();
    }
  }
  if (melden) melden();
  return ganz;
}

bool FileHandleTextOutput::starteFaden() {
  const std::lock_guard halter(lock_);
  if (faden_.joinable()) return true;
  auto faden = neuerFaden("ausgabe", [this] { laufe(); });
  if (!faden) return false;
  faden_ = std::move(*faden);
  return true;
}

bool FileHandleTextOutput::leere() {
  std::unique_lock halter(lock_);
  leer_.wait(halter, [this] { return wartende_.empty() && !meldet_; });
  return !std::exchange(aufgegeben_, false);
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
      nimm(text);
    const auto danach = std::exchange(zurueckgehalten_, std::nullopt);
    if (danach) {
      for (const std::string& text : *danach)
        nimm(text);
    }
    melden = nimmMeldung();
  }
  if (melden) melden();
}

// With lock_ held.
bool FileHandleTextOutput::nimm(std::string_view text) {
  Zeile zeile{std::string(text)};
  bool ganz = false;
  if (!faden_.joinable()) {
    ganz = schreibeWartend(zeile);
  } else {
    const Ausgang ausgang = wartende_.empty() ? versuche(zeile) : Ausgang::wartet;
    ganz = ausgang != Ausgang::gescheitert;
    if (ausgang == Ausgang::wartet) {
      wartende_.push_back(std::move(zeile));
      neues_.notify_one();
    }
  }
  aufgegeben_ = aufgegeben_ || !ganz;
  return ganz;
}

// Writes what fits now: the whole line, or of one that is longer than the pipe as much as there is
// room for.
FileHandleTextOutput::Ausgang FileHandleTextOutput::versuche(Zeile& zeile) {
  while (zeile.geschrieben < zeile.text.size()) {
    const std::size_t rest = zeile.text.size() - zeile.geschrieben;
    const bool begonnen = zeile.geschrieben > 0;
    const std::size_t n =
        schreibplatz(handle, begonnen ? std::min<std::size_t>(rest, PIPE_BUF) : rest);
    if (n == 0) return Ausgang::wartet;
    const ssize_t geschrieben = schreiber_(handle, zeile.text.data() + zeile.geschrieben, n);
    if (geschrieben > 0) {
      zeile.geschrieben += static_cast<std::size_t>(geschrieben);
    } else if (geschrieben < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      return Ausgang::wartet;  // a host may have made the pipe non-blocking
    } else if (geschrieben == 0 || errno != EINTR) {
      leserIstWeg_ = geschrieben < 0 && (errno == EPIPE || errno == ECONNRESET);
      return Ausgang::gescheitert;
    }
  }
  return Ausgang::fertig;
}

bool FileHandleTextOutput::schreibeWartend(Zeile& zeile) {
  Ausgang ausgang = Ausgang::wartet;
  while ((ausgang = versuche(zeile)) == Ausgang::wartet) {
    if (abgelaufen()) return false;
    warteAufLeser();
  }
  return ausgang == Ausgang::fertig;
}

bool FileHandleTextOutput::abgelaufen() const {
  const std::int64_t frist = frist_;
  return frist != 0 && Uhr::now().time_since_epoch().count() > frist;
}

void FileHandleTextOutput::warteAufLeser() const {
  pollfd wer{handle, POLLOUT, 0};
  const auto dauer = static_cast<int>(BLICK_AUF_FRIST.count());
  if (::poll(&wer, 1, dauer) > 0) std::this_thread::sleep_for(BLICK_AUF_PLATZ);
}

// The stream's thread. The line at the front is its own while it is there: others only append.
void FileHandleTextOutput::laufe() {
  std::unique_lock halter(lock_);
  while (true) {
    neues_.wait(halter, [this] { return ende_ || !wartende_.empty(); });
    if (wartende_.empty()) return;
    Zeile& zeile = wartende_.front();
    halter.unlock();
    const bool ganz = schreibeWartend(zeile);
    halter.lock();
    wartende_.pop_front();
    aufgegeben_ = aufgegeben_ || !ganz;
    if (const auto melden = nimmMeldung()) {
      meldet_ = true;
      halter.unlock();
      melden();
      halter.lock();
      meldet_ = false;
    }
    if (wartende_.empty()) leer_.notify_all();
  }
}

std::function<void()> FileHandleTextOutput::nimmMeldung() {
  if (!leserIstWeg_.exchange(false)) return nullptr;
  return std::exchange(leserWeg_, nullptr);
}

void FileHandleTextOutput::begrenze(std::optional<double> sekunden) {
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

}  // namespace hallkorb
