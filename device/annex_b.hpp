#pragma once

#include "base/bytes.hpp"

namespace quillon::device {

/// Appends the NAL units of `units`, each preceded by its length in four bytes, to `out`, each preceded
/// by a start code instead. False, and `out` as it was, when there is no unit or the lengths do not add
/// up to the whole.
bool appendAnnexB(Bytes& out, ByteView units);

}  // namespace quillon::device
