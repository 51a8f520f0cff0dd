// Exceptions: a class that is thrown or caught is a type_info of the C++ runtime, so exceptions of
// both languages unwind through the frames of both.
//
// Any thread.
#include <cxxabi.h>

#include <mutex>
#include <typeinfo>

#include "tests/macos/runtime/Abi.h"

namespace hallkorb::laufzeit {

// What the compiler lays out for a class in a @catch: table, name, class.
class EhTyp : public std::type_info {
 public:
  EhTyp(const char* name, Klasse* klasse) : std::type_info(name), klasse_(klasse) {}
  ~EhTyp() override;
  bool __is_pointer_p() const override { return true; }
  bool __do_catch(const std::type_info* geworfen, void**, unsigned) const override {
    const auto* typ = dynamic_cast<const EhTyp*>(geworfen);
    if (typ == nullptr) return false;
    for (Klasse* k = typ->klasse_; k != nullptr; k = k->super) {
      if (k == klasse_) return true;
    }
    return false;
  }

 private:
  Klasse* klasse_;
};
EhTyp::~EhTyp() = default;

namespace {

const EhTyp* typVon(Klasse* klasse) {
  static auto& lock = *new std::mutex;
  static auto& alle = *new std::unordered_map<Klasse*, EhTyp*>;
  const std::lock_guard halter(lock);
  EhTyp*& typ = alle[klasse];
  if (typ == nullptr) typ = new EhTyp(klasse->ro->name, klasse);
  return typ;
}

}  // namespace
}  // namespace hallkorb::laufzeit

asm(".globl objc_ehtype_vtable\n.set objc_ehtype_vtable, _ZTVN8hallkorb8laufzeit5EhTypE\n");
// Its tables of call sites are those of C++.
asm(".text\n.globl __objc_personality_v0\n.type __objc_personality_v0,@function\n"
    "__objc_personality_v0:\n jmp __gxx_personality_v0\n");

using namespace hallkorb::laufzeit;

extern "C" {

[[noreturn]] void objc_exception_throw(void* objekt) {
  const EhTyp* typ = typVon(klasseVon(objekt));
  auto* platz = static_cast<void**>(abi::__cxa_allocate_exception(sizeof(void*)));
  *platz = objc_retain(objekt);
  abi::__cxa_throw(platz, const_cast<EhTyp*>(typ),
                   [](void* p) { objc_release(*static_cast<void**>(p)); });
}
void* objc_begin_catch(void* ausnahme) {
  return abi::__cxa_begin_catch(ausnahme);
}
void objc_end_catch() {
  abi::__cxa_end_catch();
}
void objc_exception_rethrow() {
  abi::__cxa_rethrow();
}
void objc_terminate() {
  ende("eine Ausnahme, die niemand faengt");
}

}  // extern "C"
