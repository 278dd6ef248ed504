#pragma once

#include <vector>

#include "base/bytes.hpp"

namespace quillon::bench {

/// One picture of an H.264 byte stream. Its NAL units are preceded by their lengths in four bytes.
struct AccessUnit {
    Bytes parameterSets;  ///< SPS and PPS
    Bytes slices;         ///< everything else
    size_t end = 0;       ///< offset behind its last byte in the stream
};

/// Splits a byte stream (NAL units behind start codes) into its pictures. A picture may consist of
/// several slices. What stands before the first start code is left out.
std::vector<AccessUnit> splitAnnexB(ByteView stream);

}  // namespace quillon::bench
