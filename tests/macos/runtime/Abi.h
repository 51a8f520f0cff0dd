// The structures that clang emits for classes, methods and blocks with -fobjc-runtime=macosx, and
// what the runtime keeps beside them.
//
// Only for the files of this folder. Classes are prepared once, before main(), and are not changed
// afterwards; for everything else, the threads are named beside it.
#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace hallkorb::laufzeit {

using Imp = void (*)();

struct Methode {
  const char* name;
  const char* typen;
  Imp imp;
};

struct Methodenliste {
  std::uint32_t groesse;
  std::uint32_t anzahl;
  Methode methoden[1];
};

struct Ivar {
  long* versatz;
  const char* name;
  const char* typ;
  std::uint32_t ausrichtung;
  std::uint32_t groesse;
};

struct Ivarliste {
  std::uint32_t groesse;
  std::uint32_t anzahl;
  Ivar ivars[1];
};

// The part of a class that the compiler lays into constant data.
struct Ro {
  static constexpr std::uint32_t META = 1;

  std::uint32_t flags;
  std::uint32_t beginn;   // where the class's own instance variables begin
  std::uint32_t groesse;  // of an instance
  const void* layout;
  const char* name;
  Methodenliste* methoden;
  void* protokolle;
  Ivarliste* ivars;
  const void* schwach;
  void* eigenschaften;
};

// What the runtime knows of a class.
struct Info {
  std::unordered_map<const void*, Imp> tafel;  // by selector, with the inherited ones
  std::vector<Imp> bauen;                      // .cxx_construct, from the root downwards
  std::vector<Imp> abbauen;                    // .cxx_destruct, in the same order
  std::atomic<long> lebende{0};
  bool unsterblich = false;  // instances are static data and have no Kopf
};

struct Klasse {
  Klasse* isa;
  Klasse* super;
  Info* info;  // the compiler's place for a cache of methods
  void* vtable;
  Ro* ro;

  [[nodiscard]] bool meta() const { return (ro->flags & Ro::META) != 0; }
};

struct Objekt {
  Klasse* isa;
};

// What stands before each object on the heap.
struct Kopf {
  static constexpr std::uint64_t LEBT = 0x6f626a6563744c31;
  static constexpr std::uint64_t TOT = 0xdeadbeefdeadbeef;

  std::atomic<std::uint32_t> zaehler;
  std::uint32_t frei;  // keeps the object at a multiple of 16
  std::uint64_t marke;
};

struct BlockBeschreibung {
  unsigned long reserviert;
  unsigned long groesse;
  void (*kopiere)(void* ziel, const void* quelle);
  void (*gibFrei)(void* block);
};

struct Block {
  static constexpr int HAT_HELFER = 1 << 25;
  static constexpr int GLOBAL = 1 << 28;

  void* isa;
  int flags;
  int zaehler;  // the compiler's reserved field
  void (*rufe)();
  BlockBeschreibung* beschreibung;
};

#if __has_feature(address_sanitizer)
inline constexpr bool ZOMBIES = false;  // freed for good: the sanitizer reports a use
#else
inline constexpr bool ZOMBIES = true;  // kept, so that a message to a dead object is noticed
#endif

[[noreturn]] void ende(const char* was, const char* a = "", const char* b = "");

[[nodiscard]] inline Kopf* kopf(void* objekt) {
  return static_cast<Kopf*>(objekt) - 1;
}
[[nodiscard]] inline Klasse* klasseVon(void* objekt) {
  return static_cast<Objekt*>(objekt)->isa;
}
[[nodiscard]] inline bool unsterblich(void* objekt) {
  return klasseVon(objekt)->info->unsterblich;
}

// The one address of a selector's name.
[[nodiscard]] const char* selektor(const char* name);
// Ends the process if the class does not know the message.
[[nodiscard]] Imp sucheIn(Klasse* klasse, const char* sel);
[[nodiscard]] const std::vector<Klasse*>& klassen();
// Ends the process if `objekt` is dead, or no object.
void pruefe(void* objekt, const char* nachricht);
[[nodiscard]] bool istBlock(void* objekt);
[[nodiscard]] bool aufDemStapel(void* block);
// For the last release, under the lock of the weak references: whether it was the last, and then
// all weak references to `objekt` are nil.
[[nodiscard]] bool letzteFreigabe(void* objekt);

}  // namespace hallkorb::laufzeit

extern "C" {
void* objc_retain(void* objekt);
void objc_release(void* objekt);
void* objc_autorelease(void* objekt);
void* _Block_copy(const void* block);
void _Block_release(const void* block);

// For NSObject.mm, which cannot see C++ structures of classes as such.
void* hk_alloc(void* klasse);
void hk_freigeben(void* objekt);
void* hk_superklasse(void* klasse);
const char* hk_klassenname(void* klasse);
bool hk_antwortet(void* klasse, const char* sel);
unsigned hk_zaehler(void* objekt);
}
