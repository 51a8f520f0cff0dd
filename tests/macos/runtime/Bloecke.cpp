// Blocks: copying to the heap, and the variables that they capture.
//
// Any thread, as on the platform: one block may be copied and released by several.
#include <cstdlib>
#include <cstring>

#include "tests/macos/runtime/Abi.h"
#include "tests/macos/runtime/Laufzeit.h"

extern "C" {
void* _NSConcreteStackBlock[32];
void* _NSConcreteGlobalBlock[32];
void* _NSConcreteMallocBlock[32];
}

namespace hallkorb::laufzeit {
namespace {

std::atomic<long> lebendeBloecke{0};

// A variable marked __block, which moves to the heap with the first block that is copied.
struct Byref {
  static constexpr int AUF_HALDE = 1 << 24;
  static constexpr int ZAEHLER = 0xffff;

  void* isa;
  Byref* weiter;
  int flags;
  int groesse;
  void (*behalte)(Byref* ziel, Byref* quelle);
  void (*gibFrei)(Byref* was);
};

// Kinds of captured variables, as the compiler's helpers name them.
constexpr int BLOCK = 7;
constexpr int BYREF = 8;
constexpr int VOM_BYREF = 128;  // not retained: the helper of a Byref asks

Byref* aufDieHalde(Byref* quelle) {
  if ((quelle->weiter->flags & Byref::AUF_HALDE) == 0) {
    const auto groesse = static_cast<std::size_t>(quelle->groesse);
    auto* neu = static_cast<Byref*>(std::malloc(groesse));
    if (neu == nullptr) ende("kein Speicher");
    std::memcpy(static_cast<void*>(neu), quelle, groesse);
    neu->flags = (quelle->flags & ~Byref::ZAEHLER) | Byref::AUF_HALDE | 1;  // the stack's own
    neu->weiter = neu;
    quelle->weiter = neu;
    if ((quelle->flags & Block::HAT_HELFER) != 0) quelle->behalte(neu, quelle);
  }
  __atomic_add_fetch(&quelle->weiter->flags, 1, __ATOMIC_RELAXED);
  return quelle->weiter;
}

void gibByrefFrei(Byref* was) {
  Byref* byref = was->weiter;
  if ((byref->flags & Byref::AUF_HALDE) == 0) return;
  if ((__atomic_sub_fetch(&byref->flags, 1, __ATOMIC_ACQ_REL) & Byref::ZAEHLER) != 0) return;
  if ((byref->flags & Block::HAT_HELFER) != 0) byref->gibFrei(byref);
  std::free(byref);
}

}  // namespace

bool istBlock(void* objekt) {
  void* isa = *static_cast<void**>(objekt);
  return isa == _NSConcreteMallocBlock || isa == _NSConcreteGlobalBlock ||
         isa == _NSConcreteStackBlock;
}

bool aufDemStapel(void* block) {
  return *static_cast<void**>(block) == _NSConcreteStackBlock;
}

long bloecke() {
  return lebendeBloecke;
}

}  // namespace hallkorb::laufzeit

using namespace hallkorb::laufzeit;

extern "C" {

void* _Block_copy(const void* was) {
  auto* quelle = static_cast<Block*>(const_cast<void*>(was));
  if (quelle == nullptr || (quelle->flags & Block::GLOBAL) != 0) return quelle;
  if (quelle->isa == _NSConcreteMallocBlock) {
    __atomic_add_fetch(&quelle->zaehler, 1, __ATOMIC_RELAXED);
    return quelle;
  }
  auto* neu = static_cast<Block*>(std::malloc(quelle->beschreibung->groesse));
  if (neu == nullptr) ende("kein Speicher");
  std::memcpy(static_cast<void*>(neu), quelle, quelle->beschreibung->groesse);
  neu->isa = _NSConcreteMallocBlock;
  neu->zaehler = 1;
  ++lebendeBloecke;
  if ((quelle->flags & Block::HAT_HELFER) != 0) quelle->beschreibung->kopiere(neu, quelle);
  return neu;
}

void _Block_release(const void* was) {
  auto* block = static_cast<Block*>(const_cast<void*>(was));
  if (block == nullptr || block->isa != _NSConcreteMallocBlock) return;
  const int rest = __atomic_sub_fetch(&block->zaehler, 1, __ATOMIC_ACQ_REL);
  if (rest < 0) ende("Block zu oft freigegeben");
  if (rest > 0) return;
  if ((block->flags & Block::HAT_HELFER) != 0) block->beschreibung->gibFrei(block);
  --lebendeBloecke;
  if (!ZOMBIES) std::free(block);
}

void* objc_retainBlock(void* block) {
  return _Block_copy(block);
}

void _Block_object_assign(void* ort, const void* was, int art) {
  void* quelle = const_cast<void*>(was);
  void** ziel = static_cast<void**>(ort);
  if ((art & BYREF) != 0) {
    *ziel = aufDieHalde(static_cast<Byref*>(quelle));
  } else if ((art & VOM_BYREF) != 0) {
    *ziel = quelle;
  } else if ((art & BLOCK) == BLOCK) {
    *ziel = _Block_copy(quelle);
  } else {
    *ziel = objc_retain(quelle);
  }
}

void _Block_object_dispose(const void* was, int art) {
  void* objekt = const_cast<void*>(was);
  if ((art & BYREF) != 0) {
    gibByrefFrei(static_cast<Byref*>(objekt));
  } else if ((art & VOM_BYREF) == 0) {
    objc_release(objekt);
  }
}

}  // extern "C"
