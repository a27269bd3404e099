// Which names the host accepts for learning, and which it takes for packages.
#pragma once

#include <string>
#include <string_view>

namespace host {

/// What is wrong with the name, to follow "PACKAGE "; empty when nothing is.
std::string packageNameFault(const std::string& name);

/// Whether a process of that name is taken for an application: letters, digits,
/// '_' and at least one '.', each part starting with a letter. A secondary
/// process, whose name has a colon, is not, and nor is a path.
bool looksLikePackage(std::string_view name);

}  // namespace host
