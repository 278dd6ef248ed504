#include "platform/linux/program_files.hpp"

#include <filesystem>
#include <system_error>

namespace quillon {

std::string supportFile(const std::string& name) {
    std::error_code ignored;
    const auto program = std::filesystem::read_symlink("/proc/self/exe", ignored);
    return program.parent_path().parent_path() / "lib" / "quillon" / name;
}

}  // namespace quillon
