// A device that greets with any bytes: the line is read, repaired and searched for version and panel.

#include "base/text.hpp"
#include "fuzz/input_sockets.hpp"
#include "platform/simulated/network.hpp"
#include "platform/simulated/threads.hpp"
#include "transport/usb_link.hpp"
#include "transport/wire_protocol.hpp"

using namespace quillon;

namespace {

void parse(const std::string& line) {
    fuzz::require(repairedUtf8(viewOf(line)) == line);
    wire::parseGreeting(line);
    if (const auto size = wire::panelSize(line)) {
        fuzz::require(size->width > 100 && size->width <= 8192);
        fuzz::require(size->height > 100 && size->height <= 8192);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static simulated::Machine machine;
    static simulated::SimulatedThreads threads(machine);
    static simulated::Network network(machine);
    static simulated::SimulatedUsbMux mux(network);

    fuzz::InputSockets sockets({data, size}, size);
    USBLink link(threads, sockets, mux);
    try {
        for (;;) parse(link.readLine(0, 10));
    } catch (const USBLinkError&) {
        fuzz::require(sockets.rest().empty());
    }
    return 0;
}
