// Weak references: nil as soon as the last strong one is gone.
//
// Any thread. One lock for all, since it also keeps a weak load from reviving an object in the
// middle of its last release.
#include <mutex>

#include "tests/macos/runtime/Abi.h"

namespace hallkorb::laufzeit {
namespace {

std::mutex& lock() {
  static auto& einer = *new std::mutex;
  return einer;
}
// Object -> the places that refer to it.
std::unordered_multimap<void*, void**>& verweise() {
  static auto& alle = *new std::unordered_multimap<void*, void**>;
  return alle;
}

bool gezaehlt(void* objekt) {
  return objekt != nullptr && !istBlock(objekt) && !unsterblich(objekt);
}

void vergiss(void* objekt, void** ort) {
  auto [von, bis] = verweise().equal_range(objekt);
  for (auto i = von; i != bis; ++i) {
    if (i->second == ort) {
      verweise().erase(i);
      return;
    }
  }
}

}  // namespace

bool letzteFreigabe(void* objekt) {
  const std::lock_guard halter(lock());
  const std::uint32_t vorher = kopf(objekt)->zaehler.fetch_sub(1, std::memory_order_acq_rel);
  if (vorher == 0) ende("zu oft freigegeben:", klasseVon(objekt)->ro->name);
  if (vorher != 1) return false;
  auto [von, bis] = verweise().equal_range(objekt);
  for (auto i = von; i != bis; ++i)
    *i->second = nullptr;
  verweise().erase(objekt);
  return true;
}

}  // namespace hallkorb::laufzeit

using namespace hallkorb::laufzeit;

extern "C" {

void* objc_storeWeak(void** ort, void* objekt) {
  const std::lock_guard halter(lock());
  if (*ort != nullptr) vergiss(*ort, ort);
  if (gezaehlt(objekt)) {
    if (kopf(objekt)->zaehler == 0) objekt = nullptr;  // on its way out
    if (objekt != nullptr) verweise().emplace(objekt, ort);
  }
  return *ort = objekt;
}
void* objc_initWeak(void** ort, void* objekt) {
  *ort = nullptr;
  return objc_storeWeak(ort, objekt);
}
void objc_destroyWeak(void** ort) {
  objc_storeWeak(ort, nullptr);
}
void* objc_loadWeakRetained(void** ort) {
  const std::lock_guard halter(lock());
  void* objekt = *ort;
  if (gezaehlt(objekt)) kopf(objekt)->zaehler.fetch_add(1);
  return objekt;
}
void* objc_loadWeak(void** ort) {
  return objc_autorelease(objc_loadWeakRetained(ort));
}
void objc_copyWeak(void** ziel, void** quelle) {
  void* objekt = objc_loadWeakRetained(quelle);
  objc_initWeak(ziel, objekt);
  objc_release(objekt);
}
void objc_moveWeak(void** ziel, void** quelle) {
  objc_copyWeak(ziel, quelle);
  objc_destroyWeak(quelle);
}

}  // extern "C"
