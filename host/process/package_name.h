// Which names the host accepts for learning, and what it takes them for.
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

/// Whether a program of that name, or at that path, is a shell: what a script of
/// its starts is the application, and not the shell.
bool isShell(std::string_view program);

}  // namespace host
