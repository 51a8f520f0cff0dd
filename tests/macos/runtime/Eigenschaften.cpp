// Properties: the accessors that the compiler calls instead of writing them out.
//
// Any thread; one lock for all atomic ones. What is copied here is immutable, so a copy is the same
// object.
#include <cstring>
#include <mutex>

#include "tests/macos/runtime/Abi.h"

namespace {

std::mutex& lock() {
  static auto& einer = *new std::mutex;
  return einer;
}

void** ort(void* objekt, long versatz) {
  return reinterpret_cast<void**>(static_cast<char*>(objekt) + versatz);
}

void setze(void* objekt, void* neu, long versatz) {
  objc_retain(neu);
  void* alt = nullptr;
  {
    const std::lock_guard halter(lock());
    alt = *ort(objekt, versatz);
    *ort(objekt, versatz) = neu;
  }
  objc_release(alt);
}

}  // namespace

extern "C" {

void* objc_getProperty(void* objekt, const char*, long versatz, bool) {
  void* wert = nullptr;
  {
    const std::lock_guard halter(lock());
    wert = objc_retain(*ort(objekt, versatz));
  }
  return objc_autorelease(wert);
}
void objc_setProperty_atomic(void* objekt, const char*, void* neu, long versatz) {
  setze(objekt, neu, versatz);
}
void objc_setProperty_nonatomic(void* objekt, const char*, void* neu, long versatz) {
  setze(objekt, neu, versatz);
}
void objc_setProperty_atomic_copy(void* objekt, const char*, void* neu, long versatz) {
  setze(objekt, neu, versatz);
}
void objc_setProperty_nonatomic_copy(void* objekt, const char*, void* neu, long versatz) {
  setze(objekt, neu, versatz);
}
void objc_copyStruct(void* ziel, const void* quelle, long groesse, bool, bool) {
  const std::lock_guard halter(lock());
  std::memcpy(ziel, quelle, static_cast<std::size_t>(groesse));
}
void objc_enumerationMutation(void*) {
  hallkorb::laufzeit::ende("eine Sammlung wurde beim Aufzaehlen geaendert");
}

}  // extern "C"
