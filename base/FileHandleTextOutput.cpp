#include "base/FileHandleTextOutput.h"

#include <poll.h>
#include <sys/stat.h>
#include <sys/types.h>
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

bool heisstOhneLeser(int nummer) {
  return nummer == EPIPE || nummer == ECONNRESET;
}

// Cuts the last `bytes` bytes off a regular file; false if it is none, or has gone on meanwhile.
bool schneideAb(int datei, std::size_t bytes) {
  struct stat auskunft{};
  if (::fstat(datei, &auskunft) != 0 || !S_ISREG(auskunft.st_mode)) return false;
  const off_t stelle = ::lseek(datei, 0, SEEK_CUR);
  const off_t davor = stelle - static_cast<off_t>(bytes);
  if (davor < 0 || stelle != auskunft.st_size || ::ftruncate(datei, davor) != 0) return false;
  return ::lseek(datei, davor, SEEK_SET) == davor;
}

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
  if (terminal_) ::close(*terminal_);
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
  if (!terminal_) {
    terminal_ = terminalOhneWarten(handle);
    handle = terminal_.value_or(handle);
  }
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
  Ausgang ausgang = Ausgang::wartet;
  if (!faden_.joinable()) {
    ausgang = schreibeWartend(zeile);
  } else if (wartende_.empty()) {
    ausgang = versuche(zeile);
  }
  if (ausgang == Ausgang::wartet) {
    wartende_.push_back(std::move(zeile));
    neues_.notify_one();
    return true;
  }
  verbuche(zeile, ausgang);
  return ausgang == Ausgang::fertig;
}

// With lock_ held, once a line is written or given up.
void FileHandleTextOutput::verbuche(const Zeile& zeile, Ausgang ausgang) {
  const bool ganz = ausgang == Ausgang::fertig;
  if (zeile.geschrieben > 0) {
    const std::size_t halb = zeile.geschrieben - zeile.vorsatz;
    halbeDavor_ = !ganz && halb > 0 && !schneideAb(handle, halb);
  }
  aufgegeben_ = aufgegeben_ || !ganz;
  if (ganz && verloren_ > 0) {
    stoerung_ = Stoerung{0, std::exchange(verloren_, 0)};
  } else if (heisstOhneLeser(zeile.nummer)) {
    leserIstWeg_ = true;
  } else if (zeile.nummer != 0 && verloren_++ == 0) {
    stoerung_ = Stoerung{zeile.nummer, 0};
  }
}

// Writes what fits now: the whole line, or of one that is longer than the pipe as much as there is
// room for.
FileHandleTextOutput::Ausgang FileHandleTextOutput::versuche(Zeile& zeile) {
  if (halbeDavor_ && zeile.vorsatz == 0) {
    zeile.text.insert(0, "\n");
    zeile.vorsatz = 1;
  }
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
      zeile.nummer = geschrieben < 0 ? errno : EIO;
      return Ausgang::gescheitert;
    }
  }
  return Ausgang::fertig;
}

// Returns when the line is written or given up.
FileHandleTextOutput::Ausgang FileHandleTextOutput::schreibeWartend(Zeile& zeile) {
  Ausgang ausgang = Ausgang::wartet;
  while ((ausgang = versuche(zeile)) == Ausgang::wartet) {
    if (abgelaufen()) return Ausgang::gescheitert;
    warteAufLeser();
  }
  return ausgang;
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
    const Ausgang ausgang = schreibeWartend(zeile);
    halter.lock();
    verbuche(zeile, ausgang);
    wartende_.pop_front();
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
  if (std::exchange(leserIstWeg_, false)) return std::exchange(leserWeg_, nullptr);
  const auto stoerung = std::exchange(stoerung_, std::nullopt);
  if (!stoerung || !beiStoerung_) return nullptr;
  return [melden = beiStoerung_, wie = *stoerung] { melden(wie.nummer, wie.verloren); };
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

void FileHandleTextOutput::beiStoerung(std::function<void(int, std::int64_t)> handler) {
  const std::lock_guard halter(lock_);
  beiStoerung_ = std::move(handler);
}

}  // namespace hallkorb
