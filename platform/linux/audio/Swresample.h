// libswresample, loaded late (Bibliothek.h), with libavutil that it builds on.
//
// Any thread, after ladeSwresample() has succeeded.
#pragma once

extern "C" {
#include <libswresample/swresample.h>
}

#include "platform/linux/Avutil.h"

// clang-format off
#define HALLKORB_SWRESAMPLE(RUF)                                                              \
  RUF(swr_alloc) RUF(swr_convert) RUF(swr_drop_output) RUF(swr_free) RUF(swr_init)            \
  RUF(swr_inject_silence)
// clang-format on

namespace hallkorb {

HALLKORB_SWRESAMPLE(HALLKORB_DEKLARIERE)

// Loads both libraries, once, in the versions that the program was built with.
[[nodiscard]] Ergebnis ladeSwresample();

}  // namespace hallkorb
