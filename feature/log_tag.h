// The log tag of the feature's source units.
#pragma once

constexpr char kLogTag[] = "TAVO-ORVO";
