// Where versions of PipeWire's library differ for us. A program meets the one that is installed,
// not the one that it was built with, so this is decided while it runs.
#pragma once

namespace hallkorb {

struct PipewireFassung {
  // The configuration that gives a client's data thread real-time priority where the user may have
  // it; at normal priority a busy computer loses blocks. It had a file of its own up to 1.3.80. Now
  // every client gets it, and asking for the old file costs a warning.
  const char* konfiguration;
  // What a stream's resampler holds back (pw_time.buffered) counts in the stream's frames; up to
  // 1.3.80 in the ticks of the graph.
  bool zaehltFrames;
};

// `version` as pw_get_library_version() returns it, "1.4.2". One that can't be read counts as new.
[[nodiscard]] PipewireFassung pipewireFassung(const char* version);

}  // namespace hallkorb
