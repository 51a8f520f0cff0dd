// Arbitrary bytes as what the session manager says of a default device: a name no longer than the
// text, without a null byte.
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "fuzz/Bytestrom.h"
#include "platform/linux/audio/Metadatum.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t anzahl) {
  // On the heap, in just this size: what is read beyond the text's end is noticed.
  std::vector<char> kopie(bytes, bytes + anzahl);
  kopie.push_back('\0');
  const std::string name = hallkorb::nameAusJson(kopie.data());
  hallkorb::pruefe(name.size() <= anzahl && name.find('\0') == std::string::npos);
  return 0;
}
