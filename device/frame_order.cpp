#include "device/frame_order.hpp"

#include <algorithm>
#include <array>
#include <bit>

namespace quillon::device {
namespace {

constexpr uint8_t kSlice = 1;
constexpr uint8_t kIdrSlice = 5;
constexpr uint8_t kSequenceParameterSet = 7;

uint8_t typeOf(ByteView unit) {
    return unit[0] & 0x1F;
}
bool isReference(ByteView unit) {
    return (unit[0] & 0x60) != 0;
}

/// Reads bits after the header byte of a NAL unit and leaves out emulation prevention bytes. Past the
/// end come zeros, and `ended` says so.
class BitReader {
  public:
    explicit BitReader(ByteView unit) : rest_(unit.subspan(1)) {}

    uint32_t bit() {
        if (left_ == 0 && !nextByte()) return 0;
        return current_ >> --left_ & 1U;
    }
    uint32_t bits(int count) {
        uint32_t value = 0;
        while (count-- > 0) value = value << 1 | bit();
        return value;
    }
    /// Exp-Golomb code.
    uint32_t golomb() {
        int zeros = 0;
        while (zeros < 31 && !ended_ && bit() == 0) ++zeros;
        return (1U << zeros) - 1 + bits(zeros);
    }
    bool ended() const { return ended_; }

  private:
    bool nextByte() {
        if (!rest_.empty() && zeroBytes_ >= 2 && rest_[0] == 3) {
            rest_ = rest_.subspan(1);
            zeroBytes_ = 0;
        }
        if (rest_.empty()) {
            ended_ = true;
            return false;
        }
        current_ = rest_[0];
        rest_ = rest_.subspan(1);
        zeroBytes_ = current_ == 0 ? zeroBytes_ + 1 : 0;
        left_ = 8;
        return true;
    }

    ByteView rest_;
    uint8_t current_ = 0;
    int left_ = 0;
    int zeroBytes_ = 0;
    bool ended_ = false;
};

/// Calls `visit` with each unit of a length-prefixed sequence, up to the first malformed one.
template <typename Visit>
void forEachUnit(ByteView units, Visit visit) {
    while (units.size() > 4) {
        const size_t length = loadBigEndian32(units.data());
        if (length == 0 || length > units.size() - 4) return;
        visit(units.subspan(4, length));
        units = units.subspan(4 + length);
    }
}

bool hasChromaFields(uint32_t profile) {
    static constexpr std::array<uint32_t, 9> kHighProfiles{100, 110, 122, 244, 44, 83, 86, 118, 128};
    return std::find(kHighProfiles.begin(), kHighProfiles.end(), profile) != kHighProfiles.end();
}

void skipScalingLists(BitReader& reader, int lists) {
    for (int list = 0; list < lists; ++list) {
        if (reader.bit() == 0) continue;
        int last = 8;
        int next = 8;
        for (int i = 0; i < (list < 6 ? 16 : 64) && !reader.ended(); ++i) {
            if (next != 0) {
                const uint32_t code = reader.golomb();
                const int delta = static_cast<int>((code + 1) / 2) * (code % 2 == 1 ? 1 : -1);
                next = (last + delta) & 0xFF;
            }
            if (next != 0) last = next;
        }
    }
}

}  // namespace

std::optional<FrameOrder::Sequence> FrameOrder::parseSequence(ByteView unit) {
    BitReader reader(unit);
    Sequence sequence;
    const uint32_t profile = reader.bits(8);
    reader.bits(16);  // constraints and level
    reader.golomb();  // identifier
    if (hasChromaFields(profile)) {
        const uint32_t chroma = reader.golomb();
        if (chroma == 3) sequence.separatePlanes = reader.bit() != 0;
        reader.golomb();  // bit depth of luma
        reader.golomb();  // and of chroma
        reader.bit();     // transform bypass
        if (reader.bit() != 0) skipScalingLists(reader, chroma == 3 ? 12 : 8);
    }
    const uint32_t digits = reader.golomb() + 4;
    if (reader.ended() || digits > 16) return std::nullopt;
    sequence.frameNumbers = 1U << digits;
    return sequence;
}

void FrameOrder::configure(ByteView parameterSets) {
    forEachUnit(parameterSets, [this](ByteView unit) { acceptUnit(unit); });
}

void FrameOrder::acceptUnit(ByteView unit) {
    const uint8_t type = typeOf(unit);
    if (type == kSlice || type == kIdrSlice) acceptSlice(unit);
    if (type != kSequenceParameterSet) return;
    if (const auto sequence = parseSequence(unit)) sequence_ = *sequence;
}

void FrameOrder::acceptSlice(ByteView unit) {
    BitReader reader(unit);
    reader.golomb();  // first macroblock
    reader.golomb();  // slice type
    reader.golomb();  // picture parameter set
    if (sequence_.separatePlanes) reader.bits(2);
    const uint32_t number = reader.bits(std::countr_zero(sequence_.frameNumbers));
    if (typeOf(unit) == kIdrSlice) {
        lastReference_ = number;
        return;
    }
    // A picture has the number after the last reference; its further slices repeat it.
    if (!lastReference_ ||
        (number != *lastReference_ && number != (*lastReference_ + 1) % sequence_.frameNumbers)) {
        lastReference_.reset();
    } else if (isReference(unit)) {
        lastReference_ = number;
    }
}

bool FrameOrder::accept(ByteView accessUnit) {
    forEachUnit(accessUnit, [this](ByteView unit) { acceptUnit(unit); });
    return lastReference_.has_value();
}

}  // namespace quillon::device
