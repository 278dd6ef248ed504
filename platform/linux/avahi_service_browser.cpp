#include "platform/linux/avahi_service_browser.hpp"

#include <thread>
#include <utility>

#include "platform/linux/avahi/module.hpp"
#include "platform/linux/module.hpp"
#include "platform/posix/interface_addresses.hpp"

namespace quillon {

namespace {

/// Stands in where the module cannot be loaded.
class NoSearch : public ServiceBrowser::Search {
  public:
    NoSearch(ServiceBrowser::Callbacks callbacks, std::string failure)
        : callbacks_(std::move(callbacks)), failure_(std::move(failure)) {}

    void run(Duration slice) override {
        if (!std::exchange(hasTold_, true)) callbacks_.onNotSearching(failure_);
        std::this_thread::sleep_for(slice);
    }
    void resolve(const std::string&, Duration) override {}

  private:
    const ServiceBrowser::Callbacks callbacks_;
    const std::string failure_;
    bool hasTold_ = false;
};

std::string withoutFinalDot(std::string name) {
    if (name.ends_with('.')) name.pop_back();
    return name;
}

}  // namespace

std::unique_ptr<ServiceBrowser::Search> AvahiServices::search(const std::string& type,
                                                              const std::string& domain,
                                                              Callbacks callbacks) {
    static const ModuleSymbol module = loadFromModule("libquillon-avahi.so", "quillonMakeAvahiSearch");
    if (module.address == nullptr) return std::make_unique<NoSearch>(std::move(callbacks), module.failure);
    const auto make = reinterpret_cast<decltype(&quillonMakeAvahiSearch)>(module.address);
    return std::unique_ptr<Search>(
        make(withoutFinalDot(type).c_str(), withoutFinalDot(domain).c_str(), std::move(callbacks)));
}

std::vector<std::string> AvahiServices::interfaceAddresses() {
    return ipv4InterfaceAddresses();
}

}  // namespace quillon
