#include "driver/Ausgabe.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
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
  std::function<void()> melden;
  {
    const std::lock_guard halter(lock_);
    while (!text.empty()) {
      const ssize_t n = schreiber_(handle, text.data(), text.size());
      if (n >= 0) {
        text.remove_prefix(static_cast<std::size_t>(n));
        continue;
      }
      if (errno == EINTR) continue;
      if (errno == EAGAIN || errno == EWOULDBLOCK) {
        // The host made its end non-blocking; the line is to be whole all the same.
        pollfd wer{handle, POLLOUT, 0};
        ::poll(&wer, 1, 1000);
        continue;
      }
      if (errno == EPIPE || errno == ECONNRESET) melden = std::exchange(leserWeg_, nullptr);
      break;
    }
  }
  if (melden) melden();
  return text.empty();
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
