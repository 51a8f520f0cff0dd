// The table of one variant, from the kernels compiled with its instruction set.
#pragma once

#include "echo/kernels/FftKern.h"
#include "echo/kernels/FilterKern.h"
#include "echo/kernels/VerzoegerungKern.h"

namespace hallkorb::kern::HALLKORB_KERN {

inline constexpr Kernsatz tabelle(const char* name) {
  return {name,         fft,           fftGross,        fftGrossHin, fftGrossHer,  paarMischen,
          paarTrennen,  skalarprodukt, differenz,       abstand,     skalieren,    vorfilter,
          deemphase,    gradient,      filtern,         glaetten,    schrittweite, anlaufschritt,
          ueberblenden, rahmen,        rauschenUndRest, rhoLernen,   verstaerken,  ueberlappen,
          restklasse,   kreuzspektrum, phase,           lagSumme};
}

}  // namespace hallkorb::kern::HALLKORB_KERN
