// How a test plays the audio converter, and formats and buffers that cannot be had.
//
// Plain C++, any thread.
#pragma once

#include <optional>

namespace hallkorb::ersatz::wandler {

// The numbers of AVAudioConverterOutputStatus.
inline constexpr long HAT_DATEN = 0;
inline constexpr long EINGABE_ZU_ENDE = 1;
inline constexpr long STROM_ZU_ENDE = 2;
inline constexpr long FEHLER = 3;

// From now on conversions end with this status, and with an error of that code if there is one;
// what could be converted is still there, unless the status is FEHLER. A negative status is the
// converter's own.
void ende(long status, std::optional<long> code = std::nullopt);
void wirfBeimWandeln(bool ja);
void wirfBeimBau(bool ja);
// No converter can be had.
void keiner(bool ja);
// How many converters were made.
[[nodiscard]] long gebaut();

// There is no format of that rate.
void keinFormat(double rate);
// Buffers of that rate do not give out their channels.
void keineKanaele(double rate);
// So many buffers can still be had; -1: any number.
void nochPuffer(long anzahl);

}  // namespace hallkorb::ersatz::wandler
