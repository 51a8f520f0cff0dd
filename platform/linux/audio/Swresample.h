// libswresample, loaded late (Bibliothek.h), in whatever version a computer has.
//
// Without it there is no sound, and a distribution's upgrade brings it under another name. So this
// takes the version that the program was built with, or any other: the functions below and the
// options that the resampler sets by name are the same in all of them, and no structure of the
// libraries is looked into. Their libavutil is the one that this libswresample brings along, which
// need not be the video's (../Avutil.h).
//
// Any thread, after ladeSwresample() has succeeded.
#pragma once

extern "C" {
#include <libavutil/error.h>
#include <libavutil/log.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include "base/Fehler.h"

// clang-format off
#define HALLKORB_SWRESAMPLE(RUF)                                                              \
  RUF(av_log_set_level) RUF(av_opt_set) RUF(av_opt_set_double) RUF(av_opt_set_int)            \
  RUF(av_strerror) RUF(swr_alloc) RUF(swr_convert) RUF(swr_drop_output) RUF(swr_free)         \
  RUF(swr_init) RUF(swr_inject_silence)
// clang-format on

namespace hallkorb {

struct SwresampleAufrufe {
// NOLINTNEXTLINE(bugprone-macro-parentheses): the name of a member
#define HALLKORB_ZEIGER(name) decltype(&::name) name = nullptr;
  HALLKORB_SWRESAMPLE(HALLKORB_ZEIGER)
#undef HALLKORB_ZEIGER
};

// Loads the library, once.
[[nodiscard]] Ergebnis ladeSwresample();

[[nodiscard]] const SwresampleAufrufe& swresample();

}  // namespace hallkorb
