// Counts what a test program allocates, and makes allocations fail on request.
//
// It replaces the operators new and delete of the program that it is linked to: linked into a test
// program directly, never through a library that others use. Any thread.
#pragma once

#include <cstddef>
#include <string>

namespace hallkorb::speicherwacht {

// Bytes that are allocated now.
[[nodiscard]] std::size_t belegt();
// The most since the last call of merkeGipfel().
[[nodiscard]] std::size_t gipfel();
void merkeGipfel();

// From now on the allocation number n (counted from 0) fails; with `immer` all later ones too.
void scheitere(std::size_t n, bool immer);
// The same for the threads of this name alone; only their allocations are counted.
void scheitereIn(const std::string& faden, std::size_t n, bool immer);
void scheitereNicht();
// Allocations since the last of these calls.
[[nodiscard]] std::size_t rufe();

}  // namespace hallkorb::speicherwacht
