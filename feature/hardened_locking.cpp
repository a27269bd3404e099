// The mark by which a host tells the hardened build from the default one; in no
// other build.
#include <cstdint>

#include "feature/orvo.h"

extern "C" ORVO_EXPORT const std::int32_t orvoHardenedLocking;
const std::int32_t orvoHardenedLocking = 1;
