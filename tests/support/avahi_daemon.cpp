#include "tests/support/avahi_daemon.hpp"

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>

namespace quillon::testing {

namespace {

using namespace std::chrono_literals;

constexpr const char* kBusConfiguration = R"(<busconfig><type>system</type><listen>unix:path=%s</listen>
<auth>EXTERNAL</auth><policy context="default"><allow user="*"/><allow own="*"/><allow send_type="method_call"/>
<allow send_type="signal"/><allow send_type="method_return"/><allow send_type="error"/>
<allow receive_type="method_call"/><allow receive_type="signal"/><allow receive_type="method_return"/>
<allow receive_type="error"/></policy></busconfig>
)";

constexpr const char* kDaemonConfiguration = R"([server]
host-name=%s
use-ipv4=yes
use-ipv6=no
allow-interfaces=%s
objects-per-client-max=4096
entries-per-entry-group-max=4096
[publish]
publish-workstation=no
publish-hinfo=no
)";

/// The daemon keeps its socket and process number in /run: it gets one of its own, like its network.
constexpr const char* kDaemonScript = R"(
mount --make-rprivate / && mount -t tmpfs tmpfs /run && mkdir -p /run/avahi-daemon && ip link set lo up &&
exec avahi-daemon -f "$1" --no-drop-root --no-chroot --no-rlimits)";

constexpr auto kStartLimit = 15s;

bool isInstalled(const std::string& program) {
    for (const char* folder : {"/usr/bin/", "/usr/sbin/", "/bin/", "/sbin/"}) {
        if (std::filesystem::exists(folder + program)) return true;
    }
    return false;
}

void writeFile(const std::filesystem::path& path, const std::string& content) {
    std::ofstream(path) << content;
}

std::string with(const std::string& word, std::string text) {
    return text.replace(text.find("%s"), 2, word);
}

std::filesystem::path newFolder(const std::string& name) {
    const auto folder = std::filesystem::temp_directory_path() / ("quillon-avahi-" + name);
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
    return folder;
}

}  // namespace

std::string AvahiDaemon::missing() {
    if (!isInstalled("avahi-daemon")) return "avahi-daemon is not installed";
    if (!isInstalled("dbus-daemon")) return "dbus-daemon is not installed";
    if (!isInstalled("ip")) return "ip is not installed (package iproute2)";
    if (std::system("unshare -n -m --pid --fork true 2>/dev/null") != 0)
        return "network namespaces cannot be made here (they need root)";
    return "";
}

// The address of the bus is looked up once in a process, so that it is the same for all of a process's
// daemons.
AvahiDaemon::AvahiDaemon()
    : folder_(newFolder(std::to_string(getpid()))), enterNetwork_{"unshare", "-n"}, interface_("lo") {
    setenv("DBUS_SYSTEM_BUS_ADDRESS", address().c_str(), 1);
}

AvahiDaemon::AvahiDaemon(const std::string& networkNamespace, const std::string& interface)
    : folder_(newFolder(networkNamespace)),
      enterNetwork_{"ip", "netns", "exec", networkNamespace, "unshare"},
      interface_(interface) {}

AvahiDaemon::~AvahiDaemon() {
    killDaemon();
    killBus();
    std::filesystem::remove_all(folder_);
}

bool AvahiDaemon::startBus() {
    const std::string configuration = folder_ / "bus.conf";
    const std::string socket = folder_ / "bus";
    std::filesystem::remove(socket);
    writeFile(configuration, with(socket, kBusConfiguration));
    bus_ = std::make_unique<ChildProcess>(std::vector<std::string>{
        "dbus-daemon", "--config-file=" + configuration, "--nofork", "--nopidfile", "--print-address"});
    return bus_->printed("unix:path=", kStartLimit);
}

bool AvahiDaemon::startDaemon() {
    const std::string configuration = folder_ / "avahi.conf";
    writeFile(configuration, with(interface_, with(folder_.filename(), kDaemonConfiguration)));
    std::vector<std::string> command = enterNetwork_;
    command.insert(command.end(), {"-m", "--pid", "--fork", "--kill-child", "sh", "-c", kDaemonScript,
                                   "avahi-daemon", configuration});
    daemon_ = std::make_unique<ChildProcess>(
        command, ChildProcess::Environment{{"DBUS_SYSTEM_BUS_ADDRESS", address()}});
    return daemon_->printed("Server startup complete", kStartLimit);
}

// The daemon is the child of the program that made its namespaces.
void AvahiDaemon::freezeDaemon() const {
    const std::string parent = std::to_string(daemon_->pid());
    std::ifstream children("/proc/" + parent + "/task/" + parent + "/children");
    for (pid_t child = 0; children >> child;) kill(child, SIGSTOP);
}

std::string AvahiDaemon::output() const {
    return (bus_ ? bus_->output() : "") + (daemon_ ? daemon_->output() : "");
}

}  // namespace quillon::testing
