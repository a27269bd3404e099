// The format of a picture's file.
#pragma once

#include <string>

#include "host/dump/plot_commands.h"

namespace host {

/// The format that the name ends in: .svg, .png or .txt. Throws HostError, kUsage.
PictureFormat formatOf(const std::string& file);

}  // namespace host
