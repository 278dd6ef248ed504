#pragma once

#include <string>

namespace quillon {

/// The path of a file that belongs to the program: it lies in lib/quillon beside the program's own folder.
std::string supportFile(const std::string& name);

}  // namespace quillon
