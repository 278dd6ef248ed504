// quillon-stream-check SCENE WxH FPS FILE.h264 FIRST EVERY
//
// Decodes a recorded stream of a scene and compares it with the scene. Prints JSON:
//
//     pictures   per access unit: [offset behind its last byte, index that it shows or null, damaged]
//     errors     per compared index: [index, first Y, U, V, last Y, U, V, lost], mean squared errors of the
//                first and of the last picture that shows the index; when it was lost, because no picture
//                shows it, of the one that stood there instead
//
// Compared are the indices from FIRST on that EVERY divides.

#include <charconv>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/annex_b_split.hpp"
#include "bench/reference.hpp"
#include "bench/scenes.hpp"
#include "device/counter_barcode.hpp"
#include "device/video_decoder.hpp"

namespace quillon::bench {
namespace {

uint32_t number(std::string_view text) {
    uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) {
        throw std::invalid_argument("not a number: " + std::string(text));
    }
    return value;
}

Bytes contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error(path + ": " + std::strerror(errno));
    return {std::istreambuf_iterator<char>(file), {}};
}

/// What was seen of each index that is compared, in the order of showing: the first and the last picture that
/// shows it, or the one before it.
class Comparison {
  public:
    Comparison(Reference& reference, uint32_t first, uint32_t every)
        : reference_(reference), first_(first), every_(std::max(1U, every)) {}

    void show(uint32_t index, device::DecodedPicturePtr picture) {
        if (index != index_) {
            finish();
            for (uint32_t lost = index_ ? *index_ + 1 : index; lost < index; ++lost) {
                if (!isCompared(lost)) continue;
                const PlaneErrors errors = reference_.errorsOf(*lastPicture_, lost);
                print(lost, errors, errors, true);
            }
            index_ = index;
            firstPicture_ = picture;
        }
        lastPicture_ = std::move(picture);
    }

    void finish() {
        if (!index_ || !isCompared(*index_)) return;
        const PlaneErrors first = reference_.errorsOf(*firstPicture_, *index_);
        print(*index_, first,
              firstPicture_ == lastPicture_ ? first : reference_.errorsOf(*lastPicture_, *index_), false);
    }

  private:
    bool isCompared(uint32_t index) const { return index >= first_ && index % every_ == 0; }

    void print(uint32_t index, const PlaneErrors& first, const PlaneErrors& last, bool isLost) {
        printf("%s\n  [%u, %.5f, %.5f, %.5f, %.5f, %.5f, %.5f, %s]", separator_, index, first[0], first[1],
               first[2], last[0], last[1], last[2], isLost ? "true" : "false");
        separator_ = ",";
    }

    Reference& reference_;
    uint32_t first_;
    uint32_t every_;
    std::optional<uint32_t> index_;  ///< shown now
    device::DecodedPicturePtr firstPicture_;
    device::DecodedPicturePtr lastPicture_;
    const char* separator_ = "";
};

struct Shown {
    size_t end = 0;  ///< offset behind the access unit
    std::optional<uint32_t> index;
    bool damaged = false;
};

std::vector<Shown> decode(ByteView stream, Comparison& comparison) {
    device::VideoDecoder decoder;
    std::vector<Shown> result;
    for (const AccessUnit& unit : splitAnnexB(stream)) {
        if (!unit.parameterSets.empty()) decoder.configure(unit.parameterSets);
        const auto decoded = decoder.decode(unit.slices);
        Shown shown{unit.end, std::nullopt, decoded.failed || decoded.missingReference};
        if (decoded.picture) {
            const auto& picture = *decoded.picture;
            shown.index = barcode::read(
                {picture.plane(0), picture.stride(0), picture.size().width, picture.size().height}, 1);
            if (shown.index) comparison.show(*shown.index, decoded.picture);
        }
        result.push_back(shown);
    }
    comparison.finish();
    return result;
}

void check(const std::vector<std::string>& words) {
    if (words.size() != 6) throw std::invalid_argument("SCENE WxH FPS FILE FIRST EVERY");
    const size_t cross = words[1].find('x');
    if (cross == std::string::npos) throw std::invalid_argument("not a size: " + words[1]);
    const Size size{static_cast<int>(number(words[1].substr(0, cross))),
                    static_cast<int>(number(words[1].substr(cross + 1)))};
    Reference reference(words[0], {size, static_cast<int>(number(words[2]))});
    Comparison comparison(reference, number(words[4]), number(words[5]));

    printf("{\"errors\": [");
    const std::vector<Shown> pictures = decode(contentOf(words[3]), comparison);
    printf("],\n \"pictures\": [");
    for (size_t i = 0; i < pictures.size(); ++i) {
        const Shown& shown = pictures[i];
        printf("%s\n  [%zu, %s, %s]", i == 0 ? "" : ",", shown.end,
               shown.index ? std::to_string(*shown.index).c_str() : "null", shown.damaged ? "true" : "false");
    }
    printf("]}\n");
}

}  // namespace
}  // namespace quillon::bench

int main(int argc, char** argv) {
    try {
        quillon::bench::check({argv + 1, argv + argc});
    } catch (const std::exception& problem) {
        fprintf(stderr, "quillon-stream-check: %s\n", problem.what());
        return 1;
    }
    return 0;
}
