// libswresample, loaded late (Bibliothek.h), in whatever version a computer has.
//
// Without it there is no sound, and a distribution's upgrade brings it under another name. So this
// takes the version that the program was built with, or any other that has the functions below and
// passes the caller's trial: the resampler sets options by name, which a version may lack or drop.
// No structure of the libraries is looked into. Their libavutil is the one that this libswresample
// brings along, which need not be the video's (../Avutil.h).
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

// Loads the first version for which `taugt` returns true, once.
[[nodiscard]] Ergebnis ladeSwresample(bool (*taugt)(const SwresampleAufrufe& rufe));

[[nodiscard]] const SwresampleAufrufe& swresample();

}  // namespace hallkorb
