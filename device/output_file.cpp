#include "device/output_file.hpp"

#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace quillon::device {

OutputFile::OutputFile(const std::optional<std::string>& name) {
    if (!name) return;
    file_.reset(std::fopen(name->c_str(), "wbe"));
    if (!file_) throw std::runtime_error("cannot write " + *name + ": " + std::strerror(errno));
}

void OutputFile::write(ByteView bytes) {
    if (file_) std::fwrite(bytes.data(), 1, bytes.size(), file_.get());
}

void OutputFile::write(std::string_view text) {
    write(viewOf(text));
    if (file_) std::fflush(file_.get());
}

}  // namespace quillon::device
