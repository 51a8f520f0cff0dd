#include "tests/support/Speicherwacht.h"

#include <malloc.h>
#include <pthread.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

namespace {

constexpr std::size_t NIE = std::numeric_limits<std::size_t>::max();

std::atomic<std::size_t> jetztBelegt{0};
std::atomic<std::size_t> hoechstens{0};
std::atomic<std::size_t> gerufen{0};
std::atomic<std::size_t> scheitertAb{NIE};
std::atomic<std::size_t> scheitertBis{NIE};
std::atomic<bool> nurEinFaden{false};
std::array<char, 16> fadenname{};  // which one

bool zaehlt() {
  if (!nurEinFaden) return true;
  std::array<char, 16> eigener{};
  return ::pthread_getname_np(::pthread_self(), eigener.data(), eigener.size()) == 0 &&
         std::strcmp(eigener.data(), fadenname.data()) == 0;
}

void* belege(std::size_t bytes, std::size_t ausrichtung) {
  if (zaehlt()) {
    const std::size_t nummer = gerufen++;
    if (nummer >= scheitertAb && nummer <= scheitertBis) return nullptr;
  }
  const std::size_t ganze = (bytes + ausrichtung - 1) / ausrichtung * ausrichtung;
  void* p = std::aligned_alloc(ausrichtung, ganze == 0 ? ausrichtung : ganze);
  if (p == nullptr) return p;
  const std::size_t neu = jetztBelegt += ::malloc_usable_size(p);
  std::size_t bisher = hoechstens;
  while (bisher < neu && !hoechstens.compare_exchange_weak(bisher, neu)) {
  }
  return p;
}

void* belegeOderWirf(std::size_t bytes, std::size_t ausrichtung) {
  if (void* p = belege(bytes, ausrichtung)) return p;
  throw std::bad_alloc();
}

void gibFrei(void* p) {
  if (p == nullptr) return;
  jetztBelegt -= ::malloc_usable_size(p);
  std::free(p);
}

}  // namespace

void* operator new(std::size_t bytes) {
  return belegeOderWirf(bytes, 16);
}
void* operator new[](std::size_t bytes) {
  return belegeOderWirf(bytes, 16);
}
void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
  return belege(bytes, 16);
}
void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
  return belege(bytes, 16);
}
void* operator new(std::size_t bytes, std::align_val_t a) {
  return belegeOderWirf(bytes, static_cast<std::size_t>(a));
}
void* operator new(std::size_t bytes, std::align_val_t a, const std::nothrow_t&) noexcept {
  return belege(bytes, static_cast<std::size_t>(a));
}
void operator delete(void* p) noexcept {
  gibFrei(p);
}
void operator delete[](void* p) noexcept {
  gibFrei(p);
}
void operator delete(void* p, std::size_t) noexcept {
  gibFrei(p);
}
void operator delete[](void* p, std::size_t) noexcept {
  gibFrei(p);
}
void operator delete(void* p, std::align_val_t) noexcept {
  gibFrei(p);
}
void operator delete(void* p, std::size_t, std::align_val_t) noexcept {
  gibFrei(p);
}

namespace hallkorb::speicherwacht {

std::size_t belegt() {
  return jetztBelegt;
}

std::size_t gipfel() {
  return hoechstens;
}

void merkeGipfel() {
  hoechstens = jetztBelegt.load();
}

void scheitere(std::size_t n, bool immer) {
  nurEinFaden = false;
  gerufen = 0;
  scheitertBis = immer ? NIE : n;
  scheitertAb = n;
}

void scheitereIn(const std::string& faden, std::size_t n, bool immer) {
  scheitereNicht();
  fadenname.fill('\0');
  std::copy_n(faden.begin(), std::min(faden.size(), fadenname.size() - 1), fadenname.begin());
  nurEinFaden = true;
  gerufen = 0;
  scheitertBis = immer ? NIE : n;
  scheitertAb = n;
}

void scheitereNicht() {
  scheitertAb = NIE;
  nurEinFaden = false;
  gerufen = 0;
}

std::size_t rufe() {
  return gerufen;
}

}  // namespace hallkorb::speicherwacht
