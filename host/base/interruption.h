// Requests to end: INT, TERM and HUP.
#pragma once

namespace host {

/// From now on these signals are noted and do not end the process. One that was
/// ignored at the start (nohup) stays ignored; a broken pipe gives errors.
void noteInterruptions();

bool isInterrupted();

}  // namespace host
