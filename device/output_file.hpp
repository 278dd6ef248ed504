#pragma once

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "base/bytes.hpp"

namespace quillon::device {

/// A file that is written from its beginning, or nothing at all when no name was given: then every write
/// is dropped. One thread at a time.
class OutputFile {
  public:
    /// Throws std::runtime_error when the file cannot be made.
    explicit OutputFile(const std::optional<std::string>& name);

    bool isOpen() const { return file_ != nullptr; }
    void write(ByteView bytes);
    /// In the file at once, so that somebody can follow it.
    void write(std::string_view text);

  private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, Close> file_;
};

}  // namespace quillon::device
