// Writes a finished picture.
#pragma once

#include <string>

#include "host/dump/plot_commands.h"

namespace host {

/// The format that the name ends in: .svg, .png or .txt. Throws HostError, kUsage.
PictureFormat formatOf(const std::string& file);

/// Writes beside `file` and then over it, so that there is never half a picture.
/// Throws HostError, kEnvironment.
void writePicture(const std::string& file, const std::string& picture);

}  // namespace host
