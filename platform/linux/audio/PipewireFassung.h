// What differs for us between versions of PipeWire's library. A program runs with the one that is
// installed, not with the one that it was built with, so this is decided at run time.
#pragma once

namespace hallkorb {

struct PipewireFassung {
  // The configuration that gives a client's data thread real-time priority if the user's limits
  // allow it; at normal priority a busy computer loses blocks. It was a file of its own up to
  // 1.3.80. Since then every client gets it, and asking for the old file logs a warning.
  const char* konfiguration;
  // What a stream's resampler holds back (pw_time.buffered) counts in the stream's frames; up to
  // 1.3.80 in the ticks of the graph.
  bool zaehltFrames;
};

// `version` as pw_get_library_version() returns it, "1.4.2". One that cannot be parsed counts as
// new.
[[nodiscard]] PipewireFassung pipewireFassung(const char* version);

}  // namespace hallkorb
