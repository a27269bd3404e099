// Who may read the files that a process makes.
#pragma once

#include <sys/types.h>

namespace host {

/// From now on new files are for their owner alone, also those that the library
/// and the database make.
void keepNewFilesPrivate();

/// The mask as the person has it, for the programs that are started.
mode_t personsUmask();

}  // namespace host
