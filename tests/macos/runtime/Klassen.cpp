// Classes, selectors and the look-up of methods.
//
// All classes are linked statically, so they are prepared once, before main(): selectors get one
// address each, instance variables slide behind those of the superclass, and each class gets a
// table of its methods with the inherited ones.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tests/macos/runtime/Abi.h"
#include "tests/macos/runtime/Laufzeit.h"

extern "C" {
void* _objc_empty_cache;
// The linker gives the ends of the sections that the compiler fills; a program that uses no class
// has none.
[[gnu::weak]] extern hallkorb::laufzeit::Klasse* __start_objc_classlist[];
[[gnu::weak]] extern hallkorb::laufzeit::Klasse* __stop_objc_classlist[];
[[gnu::weak]] extern const char* __start_objc_selrefs[];
[[gnu::weak]] extern const char* __stop_objc_selrefs[];
}

namespace hallkorb::laufzeit {
namespace {

const char* selBau = nullptr;
const char* selAbbau = nullptr;

std::vector<Klasse*>& alleKlassen() {
  static auto& alle = *new std::vector<Klasse*>;
  return alle;
}

bool bereitet(const Klasse& k) {
  return k.info != nullptr && static_cast<void*>(k.info) != static_cast<void*>(&_objc_empty_cache);
}

// Moves the class's instance variables behind those of its superclass.
void schiebe(Klasse& k) {
  if (k.ro->beginn >= k.super->ro->groesse) return;
  const std::uint32_t schub = (k.super->ro->groesse - k.ro->beginn + 15) & ~15U;
  if (k.ro->ivars != nullptr) {
    for (std::uint32_t i = 0; i < k.ro->ivars->anzahl; ++i) {
      if (long* versatz = k.ro->ivars->ivars[i].versatz) *versatz += schub;
    }
  }
  k.ro->beginn += schub;
  k.ro->groesse += schub;
}

void nimmMethoden(Klasse& k) {
  if (k.ro->methoden == nullptr) return;
  for (std::uint32_t i = 0; i < k.ro->methoden->anzahl; ++i) {
    Methode& methode = k.ro->methoden->methoden[i];
    methode.name = selektor(methode.name);
    if (methode.name == selBau) {
      k.info->bauen.push_back(methode.imp);
    } else if (methode.name == selAbbau) {
      k.info->abbauen.push_back(methode.imp);
    } else {
      k.info->tafel[methode.name] = methode.imp;
    }
  }
}

void bereite(Klasse& k) {
  if (bereitet(k)) return;
  k.info = new Info;
  if (k.super != nullptr) {
    bereite(*k.super);
    k.info->tafel = k.super->info->tafel;
    if (!k.meta()) {
      k.info->bauen = k.super->info->bauen;
      k.info->abbauen = k.super->info->abbauen;
      schiebe(k);
    }
  }
  k.info->unsterblich = std::strstr(k.ro->name, "Unsterblich") != nullptr;
  nimmMethoden(k);
}

__attribute__((constructor(101))) void beginne() {
  selBau = selektor(".cxx_construct");
  selAbbau = selektor(".cxx_destruct");
  for (const char** s = __start_objc_selrefs; s != __stop_objc_selrefs; ++s)
    *s = selektor(*s);
  for (Klasse** k = __start_objc_classlist; k != __stop_objc_classlist; ++k) {
    bereite(**k);
    alleKlassen().push_back(*k);
  }
  // The root's metaclass has the root as its superclass, which must be ready by then.
  for (Klasse* k : alleKlassen())
    bereite(*k->isa);
}

}  // namespace

void ende(const char* was, const char* a, const char* b) {
  std::fprintf(stderr, "Laufzeit: %s %s %s\n", was, a, b);
  std::abort();
}

const char* selektor(const char* name) {
  static auto& alle = *new std::unordered_map<std::string_view, const char*>;
  return alle.try_emplace(name, name).first->second;
}

Imp sucheIn(Klasse* klasse, const char* sel) {
  const auto stelle = klasse->info->tafel.find(sel);
  if (stelle == klasse->info->tafel.end()) ende("unbekannte Nachricht:", klasse->ro->name, sel);
  return stelle->second;
}

const std::vector<Klasse*>& klassen() {
  return alleKlassen();
}

Bestand lebende() {
  Bestand bestand;
  for (const Klasse* k : klassen()) {
    if (const long anzahl = k->info->lebende; anzahl != 0) bestand[k->ro->name] = anzahl;
  }
  return bestand;
}

long lebende(const std::string& klasse) {
  const Bestand alle = lebende();
  const auto stelle = alle.find(klasse);
  return stelle == alle.end() ? 0 : stelle->second;
}

std::string unterschied(const Bestand& vorher, const Bestand& nachher) {
  std::string text;
  for (const auto& [name, anzahl] : nachher) {
    const auto stelle = vorher.find(name);
    const long mehr = anzahl - (stelle == vorher.end() ? 0 : stelle->second);
    if (mehr > 0) text += " " + name + " +" + std::to_string(mehr);
  }
  return text;
}

}  // namespace hallkorb::laufzeit

using hallkorb::laufzeit::Klasse;

extern "C" {

void* hk_superklasse(void* klasse) {
  return static_cast<Klasse*>(klasse)->super;
}
const char* hk_klassenname(void* klasse) {
  return static_cast<Klasse*>(klasse)->ro->name;
}
bool hk_antwortet(void* klasse, const char* sel) {
  return static_cast<Klasse*>(klasse)->info->tafel.contains(sel);
}
const char* class_getName(void* klasse) {
  return hk_klassenname(klasse);
}
const char* sel_getName(const char* sel) {
  return sel;
}
void* object_getClass(void* objekt) {
  return objekt != nullptr ? hallkorb::laufzeit::klasseVon(objekt) : nullptr;
}

}  // extern "C"
