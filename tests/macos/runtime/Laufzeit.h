// What the tests ask the small Objective-C runtime: what is alive, and what went wrong quietly.
//
// The macOS backend is Objective-C++, and its errors are of a kind that no compiler finds: an
// object too many, one too few, a block that outlives what it captured. So this runtime counts
// every object and every block. It is no copy of another one: it is written from the structures
// that clang emits with -fobjc-runtime=macosx, for ELF on x86-64, for tests alone, and prefers
// counting to speed.
//
// A message to a dead object, a release too many, and an unknown selector end the process with one
// line on standard error. Without the address sanitizer, which sees the same earlier, the memory of
// dead objects is kept for that.
//
// Any thread.
#pragma once

#include <map>
#include <string>

namespace hallkorb::laufzeit {

// Living objects by the name of their class; classes without any are not listed.
using Bestand = std::map<std::string, long>;

[[nodiscard]] Bestand lebende();
[[nodiscard]] long lebende(const std::string& klasse);
// Blocks that were copied to the heap and still live.
[[nodiscard]] long bloecke();
// How many objects were autoreleased so far on a thread that had no pool: on the platform they
// leak.
[[nodiscard]] long ohnePool();
// What lives in `nachher` beyond `vorher`, as text; empty if nothing does.
[[nodiscard]] std::string unterschied(const Bestand& vorher, const Bestand& nachher);

}  // namespace hallkorb::laufzeit
