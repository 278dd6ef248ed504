// Any command line: one word per line of input. It is parsed, chooses a mode and fills a configuration.

#include "app/mode.hpp"
#include "app/options.hpp"
#include "app/session_config.hpp"
#include "base/text.hpp"
#include "fuzz/input_sockets.hpp"

using namespace quillon;

namespace {

std::vector<std::string> words(std::string_view text) {
    std::vector<std::string> all{"QuillonHost"};
    size_t start = 0;
    while (start <= text.size()) {
        const size_t end = std::min(text.find('\n', start), text.size());
        all.emplace_back(text.substr(start, end - start));
        start = end + 1;
    }
    return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto arguments = words({reinterpret_cast<const char*>(data), size});
    const Options options = Options::parse(arguments);
    chooseMode(options, bundlePathOf(arguments.back()));

    // Skipped words change nothing.
    const auto skipped = Options::skippedWords(arguments);
    fuzz::require(skipped.size() < arguments.size());
    fuzz::require(skipped.size() + 1 < arguments.size() || options == Options());

    const SessionConfig config = sessionConfig(options);
    fuzz::require(!config.tcpHost || !config.tcpHost->empty());
    fuzz::require(!options.tcp || (config.mirror && !config.virtual_));
    return 0;
}
