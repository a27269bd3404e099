// Which package names the host accepts for learning.
#pragma once

#include <string>

namespace host {

/// What is wrong with the name, to follow "PACKAGE "; empty when nothing is.
std::string packageNameFault(const std::string& name);

}  // namespace host
