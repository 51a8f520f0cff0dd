// Libraries that are loaded when they are first needed, not with the program.
//
// The dynamic linker maps and relocates every library that a program is linked with before the
// program's first instruction, and until then a signal ends the process by its default action.
// Linked with all that a recording uses, that took 3 ms on an idle computer and up to 25 ms on a
// busy one; with the C library alone it is a fifth of that. If a library is missing, the program
// can also say so, and still run what does not need it.
//
// A header that stands before such a library (Avutil.h, audio/Pipewire.h, screen/Xcb.h, ...) lists
// the functions in use and declares for each a pointer of the same name in `namespace hallkorb`,
// which hides the function itself there. So calls read as the library's manual has them. A function
// that is missing from the list does not link.
//
// Any thread. A library stays for the life of the process.
#pragma once

#include <dlfcn.h>

#include <cerrno>
#include <string>

#include "base/Fehler.h"

namespace hallkorb {

class Bibliothek {
 public:
  // `name` as the dynamic linker knows the library.
  explicit Bibliothek(std::string name)
      : name_(std::move(name)), griff_(::dlopen(name_.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (griff_ != nullptr) return;
    const char* text = ::dlerror();
    if (text != nullptr) grund_ = text;
  }

  // Points `zeiger` to what the library calls `ruf`; notes what is missing.
  template <class T>
  void finde(const char* ruf, T*& zeiger) {
    if (griff_ != nullptr) zeiger = reinterpret_cast<T*>(::dlsym(griff_, ruf));
    if (zeiger == nullptr) vollstaendig_ = false;
  }

  // Fails, in the given domain, if the library or one of its functions was not found.
  [[nodiscard]] Ergebnis ergebnis(const char* domain) const {
    if (vollstaendig_ && griff_ != nullptr) return {};
    std::string was = " ist eine andere als beim Bau";
    if (griff_ == nullptr) {
      const bool fehlt = grund_.find("No such file") != std::string::npos;
      was = fehlt ? " fehlt" : " ist nicht zu laden: " + grund_;
    }
    return Fehler{domain, ENOSYS, "die Bibliothek " + name_ + was};
  }

 private:
  std::string name_;
  void* griff_;
  std::string grund_;  // why there is no handle
  bool vollstaendig_ = true;
};

}  // namespace hallkorb

// For lists of functions: declares, defines and finds one of them. The last needs a variable
// `bibliothek`. NOLINTBEGIN(bugprone-macro-parentheses): a declared name takes none
#define HALLKORB_DEKLARIERE(name) extern decltype(&::name) name;
#define HALLKORB_DEFINIERE(name) decltype(&::name) name = nullptr;
#define HALLKORB_FINDE(name) bibliothek.finde(#name, name);
// NOLINTEND(bugprone-macro-parentheses)
