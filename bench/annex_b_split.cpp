#include "bench/annex_b_split.hpp"

#include <algorithm>
#include <array>

namespace quillon::bench {
namespace {

constexpr std::array<uint8_t, 3> kStartCode{0, 0, 1};

enum NalType : uint8_t { slice = 1, idrSlice = 5, sps = 7, pps = 8 };

size_t startCodeFrom(ByteView stream, size_t at) {
    const auto found = std::search(stream.begin() + static_cast<ptrdiff_t>(at), stream.end(),
                                   kStartCode.begin(), kStartCode.end());
    return static_cast<size_t>(found - stream.begin());
}

void append(Bytes& to, ByteView unit) {
    for (int shift = 24; shift >= 0; shift -= 8) to.push_back(static_cast<uint8_t>(unit.size() >> shift));
    to.insert(to.end(), unit.begin(), unit.end());
}

}  // namespace

std::vector<AccessUnit> splitAnnexB(ByteView stream) {
    std::vector<AccessUnit> result;
    AccessUnit current;
    bool hasSlice = false;
    size_t start = startCodeFrom(stream, 0);
    while (start < stream.size()) {
        const size_t begin = start + kStartCode.size();
        const size_t next = startCodeFrom(stream, begin);
        // A fourth byte of the next start code, or padding, does not belong to the unit.
        size_t end = next;
        while (end > begin && stream[end - 1] == 0) --end;
        start = next;
        if (end < begin + 2) continue;

        const uint8_t type = stream[begin] & 0x1F;
        const bool isSlice = type == slice || type == idrSlice;
        // The first slice of a picture begins with macroblock 0, which is coded as a single set bit.
        const bool beginsPicture = !isSlice || (stream[begin + 1] & 0x80) != 0;
        if (hasSlice && beginsPicture) {
            result.push_back(std::move(current));
            current = {};
            hasSlice = false;
        }
        append(type == sps || type == pps ? current.parameterSets : current.slices,
               stream.subspan(begin, end - begin));
        current.end = end;
        hasSlice |= isSlice;
    }
    if (hasSlice) result.push_back(std::move(current));
    return result;
}

}  // namespace quillon::bench
