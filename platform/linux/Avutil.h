// libavutil, loaded late (Bibliothek.h), as the codec libraries need it.
//
// Any thread, after ladeAvutil() has succeeded.
#pragma once

extern "C" {
#include <libavutil/buffer.h>
#include <libavutil/dict.h>
#include <libavutil/error.h>
#include <libavutil/frame.h>
#include <libavutil/hwcontext.h>
#include <libavutil/log.h>
#include <libavutil/mem.h>
#include <libavutil/opt.h>
#include <libavutil/rational.h>
}

#include "base/Fehler.h"
#include "platform/linux/Bibliothek.h"

// clang-format off
#define HALLKORB_AVUTIL(RUF)                                                                  \
  RUF(av_buffer_ref) RUF(av_buffer_unref) RUF(av_d2q) RUF(av_dict_free) RUF(av_dict_set)      \
  RUF(av_dict_set_int) RUF(av_frame_alloc) RUF(av_frame_free) RUF(av_frame_get_buffer)        \
  RUF(av_frame_unref) RUF(av_freep) RUF(av_hwdevice_ctx_create) RUF(av_hwframe_ctx_alloc)     \
  RUF(av_hwframe_ctx_init) RUF(av_hwframe_get_buffer) RUF(av_hwframe_transfer_data)           \
  RUF(av_log_set_level) RUF(av_malloc) RUF(av_opt_set) RUF(av_strerror)
// clang-format on

namespace hallkorb {

HALLKORB_AVUTIL(HALLKORB_DEKLARIERE)

// Loads the library, once, in the version that the program was built with.
[[nodiscard]] Ergebnis ladeAvutil();

}  // namespace hallkorb
