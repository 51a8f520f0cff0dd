#include "platform/linux/screen/Anstrich.h"

#include <algorithm>

namespace hallkorb {

void Anstrich::beginne(Uhr::time_point jetzt) {
  if (!offenSeit_) offenSeit_ = jetzt;
  gemaltSeit_.reset();
  fertigAb_ =
      std::min<Uhr::time_point>(jetzt + fristen_.ungemalt, *offenSeit_ + fristen_.laengstens);
}

void Anstrich::gemalt(Uhr::time_point jetzt) {
  if (!offenSeit_) return;
  if (!gemaltSeit_) gemaltSeit_ = jetzt;
  fertigAb_ = std::min<Uhr::time_point>(
      {jetzt + fristen_.ruhe, *gemaltSeit_ + fristen_.malerei, *offenSeit_ + fristen_.laengstens});
}

bool Anstrich::wartetWeiter(Uhr::time_point jetzt) {
  if (!offenSeit_ || !gelesenSeit_) return offen();
  const Uhr::time_point grenze = *gelesenSeit_ + fristen_.laengstens;
  if (jetzt >= grenze) return false;
  offenSeit_ = gelesenSeit_;
  fertigAb_ = std::min(fertigAb_, grenze);
  return true;
}

}  // namespace hallkorb
