// The payload of a touch: any bytes.

#include <algorithm>

#include "fuzz/input_sockets.hpp"
#include "transport/wire_protocol.hpp"

using namespace quillon;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const ByteView payload(data, size);
    const auto input = wire::parseInput(payload);
    fuzz::require(input.has_value() == (size >= wire::kInputSize));
    if (!input) return 0;
    const Bytes again = wire::inputPayload(*input);
    fuzz::require(again.size() == wire::kInputSize &&
                  std::equal(again.begin(), again.end(), payload.begin()));
    return 0;
}
