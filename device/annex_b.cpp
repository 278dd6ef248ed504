#include "device/annex_b.hpp"

#include <array>

namespace quillon::device {

bool appendAnnexB(Bytes& out, ByteView units) {
    static constexpr std::array<uint8_t, 4> kStartCode{0, 0, 0, 1};
    const size_t before = out.size();
    bool good = !units.empty();
    while (good && !units.empty()) {
        const size_t length = units.size() < 4 ? 0 : loadBigEndian32(units.data());
        good = length > 0 && length <= units.size() - 4;
        if (!good) break;
        const ByteView unit = units.subspan(4, length);
        out.insert(out.end(), kStartCode.begin(), kStartCode.end());
        out.insert(out.end(), unit.begin(), unit.end());
        units = units.subspan(4 + length);
    }
    if (!good) out.resize(before);
    return good;
}

}  // namespace quillon::device
