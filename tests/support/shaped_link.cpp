#include "tests/support/shaped_link.hpp"

#include <unistd.h>

#include <cstdlib>

namespace quillon::testing {

namespace {

bool run(const std::string& command) {
    return std::system((command + " 2>/dev/null").c_str()) == 0;
}

}  // namespace

std::string ShapedLink::missing() {
    if (!run("ip -V >/dev/null")) return "ip is not installed (package iproute2)";
    if (!run("unshare -n true")) return "network namespaces cannot be made here (they need root)";
    const auto link = make();
    if (!link) return "network namespaces cannot be connected here";
    return link->limitTo(1000) ? "" : "this kernel cannot shape a link (tbf)";
}

ShapedLink::ShapedLink()
    : near_("quillon-near-" + std::to_string(getpid())), far_("quillon-far-" + std::to_string(getpid())) {}

ShapedLink::~ShapedLink() {
    run("ip netns delete " + near_);
    run("ip netns delete " + far_);
}

std::unique_ptr<ShapedLink> ShapedLink::make() {
    std::unique_ptr<ShapedLink> link(new ShapedLink);
    if (!link->build()) return nullptr;
    return link;
}

bool ShapedLink::build() const {
    const std::string interface = kInterface;
    for (const auto& name : {near_, far_}) {
        if (!run("ip netns add " + name) || !run("ip -n " + name + " link set lo up")) return false;
    }
    if (!run("ip -n " + near_ + " link add " + interface + " type veth peer name " + interface + " netns " +
             far_))
        return false;
    for (const auto& [name, address] : {std::pair(near_, kNearAddress), std::pair(far_, kFarAddress)}) {
        if (!run("ip -n " + name + " address add " + address + "/24 brd + dev " + interface) ||
            !run("ip -n " + name + " link set " + interface + " up multicast on"))
            return false;
    }
    return true;
}

bool ShapedLink::limitTo(int kilobitsPerSecond) const {
    return run("tc -n " + near_ + " qdisc replace dev " + kInterface + " root tbf rate " +
               std::to_string(kilobitsPerSecond) + "kbit burst 4kb latency 50ms");
}

bool ShapedLink::stall() const {
    return run("ip -n " + far_ + " link set " + std::string(kInterface) + " down");
}

bool ShapedLink::resume() const {
    return run("ip -n " + far_ + " link set " + std::string(kInterface) + " up");
}

// The old address goes first: with it the kernel takes others of the same network away.
bool ShapedLink::moveFarTo(const std::string& address) const {
    const std::string interface = kInterface;
    return run("ip -n " + far_ + " address delete " + kFarAddress + "/24 dev " + interface) &&
           run("ip -n " + far_ + " address add " + address + "/24 brd + dev " + interface);
}

std::vector<std::string> ShapedLink::inside(const std::string& name, std::vector<std::string> command) {
    command.insert(command.begin(), {"ip", "netns", "exec", name});
    return command;
}

}  // namespace quillon::testing
