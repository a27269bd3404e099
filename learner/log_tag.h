// The log tag of the learner's source units, the dump included.
#pragma once

constexpr char kLogTag[] = "TAVO-ORVO-LEARNER";
