#include "base/Ausgabe.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <utility>

namespace hallkorb {
namespace {

// How often a write that waits for its reader looks whether its time is up.
constexpr std::chrono::milliseconds BLICK_AUF_FRIST{100};

// The length in bytes of the well-formed UTF-8 character at the beginning of `text` (RFC 3629: no
// overlong forms, no surrogates); 0 where there is none.
std::size_t zeichenLaenge(std::string_view text) {
  const auto erstes = static_cast<unsigned char>(text.front());
  if (erstes < 0x80) return 1;
  std::size_t laenge = 0;
  std::uint32_t kleinster = 0;
  std::uint32_t zeichen = 0;
  if ((erstes & 0xE0U) == 0xC0U) {
    laenge = 2, kleinster = 0x80, zeichen = erstes & 0x1FU;
  } else if ((erstes & 0xF0U) == 0xE0U) {
    laenge = 3, kleinster = 0x800, zeichen = erstes & 0x0FU;
  } else if ((erstes & 0xF8U) == 0xF0U) {
    laenge = 4, kleinster = 0x10000, zeichen = erstes & 0x07U;
  } else {
    return 0;
  }
  if (text.size() < laenge) return 0;
  for (std::size_t k = 1; k < laenge; ++k) {
    const auto byte = static_cast<unsigned char>(text[k]);
    if ((byte & 0xC0U) != 0x80U) return 0;
    zeichen = zeichen << 6U | (byte & 0x3FU);
  }
  const bool ersatz = zeichen >= 0xD800 && zeichen <= 0xDFFF;
  return zeichen < kleinster || zeichen > 0x10FFFF || ersatz ? 0 : laenge;
}

bool istUtf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t laenge = zeichenLaenge(text);
    if (laenge == 0) return false;
    text.remove_prefix(laenge);
  }
  return true;
}

// A line of `text`. File names are bytes and need not be UTF-8; the line that tells of such a file
// is worth more than its exact name, so what is no character becomes U+FFFD.
std::string zeile(std::string_view text) {
  std::string ganz;
  ganz.reserve(text.size() + 1);
  while (!text.empty()) {
    const std::size_t laenge = zeichenLaenge(text);
    ganz.append(laenge > 0 ? text.substr(0, laenge) : "\xEF\xBF\xBD");
    text.remove_prefix(laenge > 0 ? laenge : 1);
  }
  ganz.push_back('\n');
  return ganz;
}

// Only calls that are safe in a signal handler.
void absturz(int nummer) {
  static const char meldung[] = "[hallkorb] Abbruch: Absturz (Speicherzugriff oder Rechenfehler)\n";
  [[maybe_unused]] const ssize_t geschrieben = ::write(STDERR_FILENO, meldung, sizeof meldung - 1);
  std::raise(nummer);  // SA_RESETHAND: now with the default action
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
    // A pipe with room takes this much at once without blocking; a longer line could get stuck in
    // the middle, which matters only when there is a limit of time.
    const std::size_t hoechstens = frist_ != 0 ? PIPE_BUF : text.size();
    const ssize_t n = schreiber_(handle, text.data(), std::min(text.size(), hoechstens));
    if (n > 0) {
      text.remove_prefix(static_cast<std::size_t>(n));
      continue;
    }
    // A host may have made its end non-blocking; the line is to be whole all the same.
    if (n < 0 && (errno == EINTR || errno == EAGAIN || errno == EWOULDBLOCK)) continue;
    leserIstWeg_ = n < 0 && (errno == EPIPE || errno == ECONNRESET);
    return false;
  }
  return true;
}

// Until the reader has made room, or nobody will: then the write itself tells.
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

std::string jsonEscape(std::string_view text) {
  std::string sicher;
  sicher.reserve(text.size());
  for (const char zeichen : text) {
    switch (zeichen) {
      case '\\':
      case '"':
        sicher.push_back('\\');
        sicher.push_back(zeichen);
        break;
      case '\t':
      case '\n':
      case '\r':
        sicher.push_back(' ');
        break;
      default:
        sicher.push_back(zeichen);
    }
  }
  return sicher;
}

std::string formatiert(const char* format, ...) {
  va_list werte;
  va_start(werte, format);
  va_list nochmal;
  va_copy(nochmal, werte);
  const int laenge = std::vsnprintf(nullptr, 0, format, werte);
  va_end(werte);
  std::string text(laenge > 0 ? static_cast<std::size_t>(laenge) : 0, '\0');
  std::vsnprintf(text.data(), text.size() + 1, format, nochmal);
  va_end(nochmal);
  return text;
}

void abbruch(std::string_view grund) {
  log("[hallkorb] Abbruch: " + std::string(grund));
  std::abort();
}

void meldeAbstuerze() {
  std::set_terminate([] {
    std::string grund = "unerwartetes Ende";
    if (const auto ausnahme = std::current_exception()) {
      try {
        std::rethrow_exception(ausnahme);
      } catch (const std::exception& e) {
        grund = std::string("unbehandelte Ausnahme: ") + e.what();
      } catch (...) {
        grund = "unbehandelte Ausnahme";
      }
    }
    abbruch(grund);
  });
  for (const int nummer : {SIGSEGV, SIGBUS, SIGFPE, SIGILL}) {
    struct sigaction bisher {};
    // Where somebody else watches already (a sanitizer, a debugger's library), it stays so.
    if (sigaction(nummer, nullptr, &bisher) != 0 || bisher.sa_handler != SIG_DFL) continue;
    struct sigaction neu {};
    neu.sa_handler = absturz;
    neu.sa_flags = static_cast<int>(SA_RESETHAND | SA_NODEFER);
    sigaction(nummer, &neu, nullptr);
  }
}

}  // namespace hallkorb
