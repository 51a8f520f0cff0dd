// Lets `@available` be answered by the test. Included before everything else in each Objective-C++
// file of the backend.
//
// For a system that is none of the platform's, clang takes every such question for answered with
// yes. A macro is not expanded again inside its own expansion, so the compiler still sees, and
// checks, the original.
#pragma once

extern "C" bool hkVerfuegbar(const char* system);
#define available(system, ...) available(system, __VA_ARGS__) && hkVerfuegbar(#system)
