// The mark by which a host recognises the hardened build; no other build has it.
#include <cstdint>

#include "feature/orvo.h"

extern "C" ORVO_EXPORT const std::int32_t orvoHardenedLocking;
const std::int32_t orvoHardenedLocking = 1;
