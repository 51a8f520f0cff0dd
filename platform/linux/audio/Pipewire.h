// libpipewire, loaded late (Bibliothek.h), when the first capture starts.
//
// Any thread, after ladePipewire() has succeeded.
#pragma once

#include <pipewire/pipewire.h>

#include "base/Fehler.h"
#include "platform/linux/Bibliothek.h"

// clang-format off
#define HALLKORB_PIPEWIRE(RUF)                                                                \
  RUF(pw_context_connect) RUF(pw_context_destroy) RUF(pw_context_new)                         \
  RUF(pw_core_disconnect) RUF(pw_get_library_version) RUF(pw_init) RUF(pw_properties_new)     \
  RUF(pw_properties_set) RUF(pw_proxy_destroy) RUF(pw_stream_add_listener)                    \
  RUF(pw_stream_connect) RUF(pw_stream_dequeue_buffer) RUF(pw_stream_destroy)                 \
  RUF(pw_stream_get_node_id) RUF(pw_stream_get_time_n) RUF(pw_stream_new)                     \
  RUF(pw_stream_queue_buffer) RUF(pw_thread_loop_destroy) RUF(pw_thread_loop_get_loop)        \
  RUF(pw_thread_loop_lock) RUF(pw_thread_loop_new) RUF(pw_thread_loop_start)                  \
  RUF(pw_thread_loop_stop) RUF(pw_thread_loop_unlock)
// clang-format on

namespace hallkorb {

HALLKORB_PIPEWIRE(HALLKORB_DEKLARIERE)

// Loads the library, once.
[[nodiscard]] Ergebnis ladePipewire();

}  // namespace hallkorb
