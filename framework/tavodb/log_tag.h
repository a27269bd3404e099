// The tag of the database's log lines.
#pragma once

namespace tavodb {

constexpr char kLogTag[] = "TAVO-DB";

}  // namespace tavodb
