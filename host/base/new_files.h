// Who may read the files that a process makes.
#pragma once

#include <sys/types.h>

namespace host {

/// From now on new files are for their owner alone, those of the library and the
/// database included.
void keepNewFilesPrivate();

/// The mask as the person has it, for the programs that are started.
mode_t personsUmask();

}  // namespace host
