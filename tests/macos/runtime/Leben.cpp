// Objects from their allocation to their end: counting of references, and the pools.
//
// The entry points are those that code compiled with automatic reference counting calls. The
// handshake by which the platform spares a pool for a returned object is missing here, so whatever
// is returned autoreleased really goes into a pool: a thread without one is noticed more often than
// on a Mac, and never less often.
//
// Any thread; a pool belongs to its thread.
#include <cstdio>
#include <cstdlib>

#include "tests/macos/runtime/Abi.h"
#include "tests/macos/runtime/Laufzeit.h"

namespace hallkorb::laufzeit {
namespace {

std::atomic<long> poollos{0};

struct Pools {
  ~Pools() {
    if (tiefe != 0) ende("ein Faden endet in einem Pool");
  }
  std::vector<void*> objekte;
  int tiefe = 0;
};
thread_local Pools pools;

const char* namen(void* objekt) {
  return istBlock(objekt) ? "Block" : klasseVon(objekt)->ro->name;
}

void* sende(void* objekt, const char* nachricht) {
  const char* sel = selektor(nachricht);
  return reinterpret_cast<void* (*)(void*, const char*)>(sucheIn(klasseVon(objekt), sel))(objekt,
                                                                                          sel);
}

}  // namespace

void pruefe(void* objekt, const char* nachricht) {
  const std::uint64_t marke = kopf(objekt)->marke;
  if (marke == Kopf::TOT) ende(nachricht, "an ein totes Objekt der Klasse", namen(objekt));
  if (marke != Kopf::LEBT) ende(nachricht, "an etwas, das kein Objekt ist");
}

long ohnePool() {
  return poollos;
}

}  // namespace hallkorb::laufzeit

using namespace hallkorb::laufzeit;

extern "C" {

void* hk_alloc(void* klasse) {
  auto* k = static_cast<Klasse*>(klasse);
  const std::size_t groesse = sizeof(Kopf) + std::max<std::size_t>(k->ro->groesse, sizeof(void*));
  auto* vorn = static_cast<Kopf*>(std::calloc(1, groesse));
  if (vorn == nullptr) ende("kein Speicher");
  vorn->zaehler = 1;
  vorn->marke = Kopf::LEBT;
  auto* objekt = reinterpret_cast<Objekt*>(vorn + 1);
  objekt->isa = k;
  ++k->info->lebende;
  for (Imp bau : k->info->bauen)
    reinterpret_cast<void* (*)(void*, const char*)>(bau)(objekt, ".cxx_construct");
  return objekt;
}

// The end of -[NSObject dealloc].
void hk_freigeben(void* objekt) {
  Klasse* k = klasseVon(objekt);
  for (auto i = k->info->abbauen.rbegin(); i != k->info->abbauen.rend(); ++i)
    reinterpret_cast<void (*)(void*, const char*)>(*i)(objekt, ".cxx_destruct");
  --k->info->lebende;
  kopf(objekt)->marke = Kopf::TOT;
  if (!ZOMBIES) std::free(kopf(objekt));
}

unsigned hk_zaehler(void* objekt) {
  return kopf(objekt)->zaehler;
}

void* objc_alloc(void* klasse) {
  return sende(klasse, "alloc");
}
void* objc_allocWithZone(void* klasse) {
  return objc_alloc(klasse);
}
void* objc_alloc_init(void* klasse) {
  return sende(objc_alloc(klasse), "init");
}
void* objc_opt_new(void* klasse) {
  return objc_alloc_init(klasse);
}
void* objc_opt_self(void* objekt) {
  return objekt;
}
void* objc_opt_class(void* objekt) {
  Klasse* klasse = klasseVon(objekt);
  return klasse->meta() ? objekt : klasse;
}

void* objc_retain(void* objekt) {
  if (objekt == nullptr) return nullptr;
  // A block on the stack only moves when it is copied.
  if (istBlock(objekt)) return aufDemStapel(objekt) ? objekt : _Block_copy(objekt);
  if (unsterblich(objekt)) return objekt;
  pruefe(objekt, "retain");
  kopf(objekt)->zaehler.fetch_add(1, std::memory_order_relaxed);
  return objekt;
}

void objc_release(void* objekt) {
  if (objekt == nullptr) return;
  if (istBlock(objekt)) return _Block_release(objekt);
  if (unsterblich(objekt)) return;
  pruefe(objekt, "release");
  if (letzteFreigabe(objekt)) sende(objekt, "dealloc");
}

void* objc_autorelease(void* objekt) {
  if (objekt == nullptr || (!istBlock(objekt) && unsterblich(objekt))) return objekt;
  if (pools.tiefe == 0) {
    ++poollos;
    std::fprintf(stderr, "Laufzeit: autorelease ohne Pool, Klasse %s\n", namen(objekt));
  }
  pools.objekte.push_back(objekt);
  return objekt;
}

void* objc_autoreleasePoolPush() {
  ++pools.tiefe;
  return reinterpret_cast<void*>(pools.objekte.size() + 1);
}
void objc_autoreleasePoolPop(void* marke) {
  const std::size_t bis = reinterpret_cast<std::size_t>(marke) - 1;
  while (pools.objekte.size() > bis) {
    void* objekt = pools.objekte.back();
    pools.objekte.pop_back();
    objc_release(objekt);
  }
  --pools.tiefe;
}

void* objc_retainAutorelease(void* objekt) {
  return objc_autorelease(objc_retain(objekt));
}
void* objc_autoreleaseReturnValue(void* objekt) {
  return objc_autorelease(objekt);
}
void* objc_retainAutoreleaseReturnValue(void* objekt) {
  return objc_retainAutorelease(objekt);
}
void* objc_retainAutoreleasedReturnValue(void* objekt) {
  return objc_retain(objekt);
}
void* objc_claimAutoreleasedReturnValue(void* objekt) {
  return objc_retain(objekt);
}
void* objc_unsafeClaimAutoreleasedReturnValue(void* objekt) {
  return objekt;
}

void objc_storeStrong(void** ort, void* neu) {
  void* alt = *ort;
  if (alt == neu) return;
  objc_retain(neu);
  *ort = neu;
  objc_release(alt);
}

}  // extern "C"
