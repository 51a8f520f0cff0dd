// How a test looks into the stand-in for the platform's transform.
//
// Plain C++, any thread.
#pragma once

namespace hallkorb::ersatz::vdsp {

// From now on no setup can be had.
void keine(bool ja);
// Setups that were made and not yet destroyed.
[[nodiscard]] long lebende();
// Values cleared so far.
[[nodiscard]] long geloeschteWerte();

}  // namespace hallkorb::ersatz::vdsp
