# The echo code. Its kernels are one source, compiled once for each instruction set with flags of
# its own; which one runs is decided at run time. On macOS the FFT is the platform's own (Accelerate)
# and the other kernels use what every processor of the family has.

set(echo_kernel KernAvx2.cpp KernAvx512.cpp KernBasis.cpp)
list(TRANSFORM echo_kernel PREPEND kernels/)
if(HALLKORB_MACOS)
  set(echo_fft KFFTAccelerate.cpp)
else()
  set(echo_fft KFFT.cpp)
endif()

hallkorb_library(hallkorb_echo FOLDER echo
  HEADERS DFeld.h EchoStrecke.h Echokompensation.h Fliesskomma.h KFFT.h Nachfilter.h PaarFFT.h
          Verzoegerungsschaetzer.h kernels/FftKern.h kernels/FilterKern.h
          kernels/Kernsatz.h kernels/Kerntabelle.h kernels/Vektor.h kernels/VerzoegerungKern.h
  SOURCES DFeld.cpp EchoStrecke.cpp Echokompensation.cpp Nachfilter.cpp PaarFFT.cpp
          Verzoegerungsschaetzer.cpp ${echo_fft} kernels/Kernsatz.cpp ${echo_kernel}
  DEPENDS hallkorb_base)
set_property(SOURCE ${PROJECT_SOURCE_DIR}/echo/DFeld.cpp ${PROJECT_SOURCE_DIR}/echo/kernels/Kernsatz.cpp
             APPEND PROPERTY COMPILE_DEFINITIONS HALLKORB_MACOS=$<BOOL:${HALLKORB_MACOS}>)
if(HALLKORB_MACOS_ERSATZ)
  target_link_libraries(hallkorb_echo PUBLIC hallkorb_ersatz)
elseif(APPLE)
  target_link_libraries(hallkorb_echo PUBLIC "-framework Accelerate")
endif()

# Unoptimised vector code is slower than scalar code, and the tests of a debug build would take minutes.
# Fused multiplication and addition is wanted if the processor has it.
list(TRANSFORM echo_kernel PREPEND ${PROJECT_SOURCE_DIR}/echo/)
set_property(SOURCE ${echo_kernel} APPEND PROPERTY COMPILE_OPTIONS -O3 -ffp-contract=fast)
if(NOT HALLKORB_MACOS AND CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
  set_property(SOURCE ${PROJECT_SOURCE_DIR}/echo/kernels/KernAvx2.cpp
               APPEND PROPERTY COMPILE_OPTIONS -mavx2 -mfma)
  set_property(SOURCE ${PROJECT_SOURCE_DIR}/echo/kernels/KernAvx512.cpp
               APPEND PROPERTY COMPILE_OPTIONS -mavx512f -mavx512dq -mfma)
endif()
