#pragma once

#include <string>

namespace quillon {

/// The path of a file that belongs to the program: it lies in the lib folder beside the program's own.
std::string supportFile(const std::string& name);

}  // namespace quillon
