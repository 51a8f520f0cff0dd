// Sending a message: the entry points that compiled code calls, for x86-64.
//
// All argument registers are kept while the method is looked up, and then it is jumped to, so that
// it sees the caller's arguments and stack. A message to nil gives zeros.
#include "tests/macos/runtime/Abi.h"

using namespace hallkorb::laufzeit;

extern "C" {

// What the code below calls.
void* hk_suche(void* objekt, const char* sel) {
  if (istBlock(objekt)) ende("Nachricht an einen Block:", sel);
  Klasse* klasse = klasseVon(objekt);
  if (!klasse->meta() && !klasse->info->unsterblich) pruefe(objekt, sel);
  return reinterpret_cast<void*>(sucheIn(klasse, sel));
}

struct SuperAufruf {
  void* empfaenger;
  Klasse* klasse;
};
void* hk_sucheSuper(SuperAufruf* aufruf, const char* sel) {
  return reinterpret_cast<void*>(sucheIn(aufruf->klasse->super, sel));
}

}  // extern "C"

// clang-format off
#define SICHERE                                                                   \
  "push %rbp\n mov %rsp,%rbp\n sub $0xc0,%rsp\n"                                  \
  "mov %rdi,(%rsp)\n mov %rsi,8(%rsp)\n mov %rdx,16(%rsp)\n mov %rcx,24(%rsp)\n"  \
  "mov %r8,32(%rsp)\n mov %r9,40(%rsp)\n mov %rax,48(%rsp)\n"                     \
  "movaps %xmm0,64(%rsp)\n movaps %xmm1,80(%rsp)\n movaps %xmm2,96(%rsp)\n"       \
  "movaps %xmm3,112(%rsp)\n movaps %xmm4,128(%rsp)\n movaps %xmm5,144(%rsp)\n"    \
  "movaps %xmm6,160(%rsp)\n movaps %xmm7,176(%rsp)\n"
// The method goes to %r11, everything else back to where it was.
#define HOLE                                                                      \
  "mov %rax,%r11\n"                                                               \
  "mov (%rsp),%rdi\n mov 8(%rsp),%rsi\n mov 16(%rsp),%rdx\n mov 24(%rsp),%rcx\n"  \
  "mov 32(%rsp),%r8\n mov 40(%rsp),%r9\n mov 48(%rsp),%rax\n"                     \
  "movaps 64(%rsp),%xmm0\n movaps 80(%rsp),%xmm1\n movaps 96(%rsp),%xmm2\n"       \
  "movaps 112(%rsp),%xmm3\n movaps 128(%rsp),%xmm4\n movaps 144(%rsp),%xmm5\n"    \
  "movaps 160(%rsp),%xmm6\n movaps 176(%rsp),%xmm7\n leave\n"
#define FUNKTION(name) ".globl " name "\n.type " name ",@function\n" name ":\n"
asm(".text\n"
    FUNKTION("objc_msgSend") " test %rdi,%rdi\n je 1f\n"
    SICHERE "call hk_suche\n" HOLE "jmp *%r11\n"
    "1: xor %eax,%eax\n xor %edx,%edx\n xorps %xmm0,%xmm0\n xorps %xmm1,%xmm1\n ret\n"
    // The result goes to memory whose address is the first argument; for nil the caller clears it.
    FUNKTION("objc_msgSend_stret") " test %rsi,%rsi\n je 1b\n"
    SICHERE "mov %rsi,%rdi\n mov %rdx,%rsi\n call hk_suche\n" HOLE "jmp *%r11\n"
    FUNKTION("objc_msgSendSuper2")
    SICHERE "call hk_sucheSuper\n" HOLE "mov (%rdi),%rdi\n jmp *%r11\n"
    FUNKTION("objc_msgSendSuper2_stret")
    SICHERE "mov %rsi,%rdi\n mov %rdx,%rsi\n call hk_sucheSuper\n" HOLE "mov (%rsi),%rsi\n jmp *%r11\n");
// clang-format on
